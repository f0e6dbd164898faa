/** The page: it joins its parts, which know nothing of each other. */
import { openCarried } from "./files/carried.js";
import { Choosing } from "./files/choosing.js";
import { Client, type RemoteCapture } from "./decoder/client.js";
import { CopyBar } from "./copybar.js";
import { fillAbout, fillHelp, fillKnown } from "./dialogs.js";
import { element } from "./basics/dom.js";
import { embeddedBytes, workerUrl } from "./files/embedded.js";
import { ExportBar } from "./list/exportbar.js";
import { FileBar } from "./files/filebar.js";
import { Files, type OpenFile } from "./files/files.js";
import { isEmpty } from "./list/filter.js";
import { FilterBar } from "./list/filterbar.js";
import { FormChoice } from "./files/formchoice.js";
import { listenToKeys } from "./keys.js";
import { LinkKeeper, type Link } from "./list/links.js";
import { deviceOf } from "./basics/devices.js";
import { ReportList } from "./list/list.js";
import { LivePanel } from "./live/livepanel.js";
import { inPageWords } from "./basics/pagewords.js";
import { Paced } from "./basics/paced.js";
import { ReportView } from "./report.js";
import { stemOf } from "./basics/saving.js";
import { Selection } from "./list/selection.js";
import { fillStart } from "./files/start.js";
import { Status } from "./files/status.js";
import { Tabs } from "./views/tabs.js";
import type { Copies, ViewHost } from "./views/view.js";
import { views } from "./views/all.js";
import { contentText } from "./basics/words.js";

let capture: RemoteCapture | null = null; // that is shown
let chosen = -1;
let isNew = true; // nothing of it was shown yet

const status = new Status(element("state"));
const tell = (what: unknown) => status.tell(what);
const attempt = (work: Promise<unknown>) => void work.catch(tell);

const host: ViewHost = { tell, moved: (entry) => goTo(entry) };
const report = new ReportView(element("one"));
const tabs = new Tabs(element("tabs"), element("one"), "Report", views(host));
const files = new Files(newClient, () => tabs.reduced);
const fileBar = new FileBar(element("files"), files, tell);
const formChoice = new FormChoice(element("as"), element<HTMLSelectElement>("form"), files, tell);
const list = new ReportList(element("list"), tell);
const selection = new Selection(tell);
const filterBar = new FilterBar(element("filters"), selection, tell);
const links = new LinkKeeper(shownLink);
const copyBar = new CopyBar(element("copies"), copied, tell);
const exportBar = new ExportBar(
  element("export"),
  () => ({ capture, rows: selection.rows, isFiltered: !isEmpty(selection.filter) }),
  tell,
);
const cancel = element<HTMLButtonElement>("cancel");
const help = element<HTMLDialogElement>("help");

async function newClient(): Promise<Client> {
  try {
    const [url, module] = await Promise.all([workerUrl(), embeddedBytes("module")]);
    return await Client.create(url, module).finally(() => URL.revokeObjectURL(url));
  } catch (fault) {
    const said = fault instanceof Error ? fault.message : String(fault);
    throw new Error(
      `The decoder can't begin here: ${said}. If the browser is old, use a newer one: ` +
        "Chromium, Chrome, Edge or Firefox.",
      { cause: fault },
    );
  }
}

// -------------------------------------------------------------------------------------- the files

const growing = new Paced(() => selection.grow(files.current?.entries ?? 0), 100, tell, 2);
// They look through all entries each time.
const refreshing = new Paced(refresh, 400, tell);

async function refresh(): Promise<void> {
  await tabs.refresh();
  copyBar.draw();
  if (files.current !== null) follow(files.current);
}

files.onShown = (file, about) => {
  capture = file?.capture ?? null;
  chosen = -1;
  isNew = true;
  status.setRead(null);
  status.clear();
  report.clear();
  list.open(capture);
  selection.open(capture);
  tabs.open(capture, about);
  copyBar.draw();
  element("start").hidden = file !== null;
  document.title = file === null ? "Vesk viewer" : `${file.name} – Vesk viewer`;
  if (file === null) return;
  advance(file);
  // One that was read before is there at once.
  if (capture !== null && !isGrowing(file)) attempt(finish(file));
};

files.onChanged = (file) => {
  fileBar.draw(file);
  const { current } = files;
  if (current === null) showNothing();
  else if (file === null || file === current) advance(current);
};

files.onRead = (file) => {
  if (file === files.current) attempt(finish(file));
};

function isGrowing({ reading }: OpenFile): boolean {
  return reading === "going on" || reading === "live";
}

/** More of the shown file is there, or all of it. */
function advance(file: OpenFile): void {
  status.show(textOf(file), isGrowing(file));
  cancel.hidden = file.reading !== "going on";
  formChoice.draw(file);
  if (file.capture === null || file.entries === 0 || status.isRead) return;
  // The views come first: which bytes say what is found out by trying, and takes its time.
  if (isNew) attempt(refreshing.now());
  else refreshing.ask();
  isNew = false;
  growing.ask();
  follow(file);
  if (chosen < 0 && (links.wanted?.report ?? null) === null) attempt(choose(0));
}

/** All of a file is read. */
async function finish(file: OpenFile): Promise<void> {
  await growing.now();
  await refreshing.now();
  if (file.capture === null || file.capture !== capture) return;
  list.redraw();
  giveUp(file);
  if (chosen < 0) attempt(choose(0));
  status.setRead(file.entries);
}

/** More may come at any time. */
function isLive({ blob, capture }: OpenFile): boolean {
  return blob === null && capture !== null;
}

function textOf(file: OpenFile): string {
  const { name, entries, reports, position, size, form, note, fault, reading } = file;
  if (isLive(file)) return ""; // the device's panel tells
  const parts = [`${name}: ${contentText(reports, entries)}`];
  if (reading === "waiting") parts.push("waiting for others");
  if (reading === "going on")
    parts.push(`${size === 0 ? 100 : Math.floor((100 * position) / size)} % read`);
  if (form !== "" && size > 0) parts.push(`read as ${form}`);
  const sentences = [`${parts.join(", ")}.`, note, fault];
  if (reading === "cancelled") sentences.push("Reading was cancelled.");
  if (reading === "over" && fault === "" && entries === 0)
    sentences.push(size === 0 ? "It is empty." : "If it is in another form, choose that.");
  return sentences.filter((one) => one !== "").join(" ");
}

function showNothing(): void {
  const { wanted } = links;
  cancel.hidden = true;
  formChoice.draw(null);
  const what = wanted?.report === null ? "what the link shows" : `report ${wanted?.report}`;
  if (wanted === null || wanted.file === "")
    status.show("Drop captures here, or open files. They stay on this computer.");
  else status.show(`Open ${wanted.file} to see ${what}: a link can't open a file by itself.`);
}

// ---------------------------------------------------------------------------------- list and report

selection.onChanged = (goesOn) => {
  list.setRows(selection.rows, goesOn);
  const { kinds } = selection;
  const devices = new Set(kinds.map(deviceOf).filter((one) => one !== ""));
  const hasTimes = kinds.length === 0 || kinds.some((kind) => kind.hasTime);
  list.setColumns({ hasDevices: devices.size > 1, hasTimes });
  filterBar.draw();
  live.moreIsListed();
  // It may not have had a row when it was gone to.
  if (live.isFollowing && latest !== null && latest.of === capture) list.choose(chosen);
};

async function choose(number: number, inViews = true): Promise<void> {
  const from = capture;
  if (from === null || number < 0 || number >= (files.current?.entries ?? 0)) return;
  chosen = number;
  links.changed();
  const isWanted = () => chosen === number && from === capture;
  const [decoded, [entry], beginning] = await Promise.all([
    from.decode(number),
    from.entries(number, 1),
    list.beginning(),
  ]).catch((fault: unknown) => {
    if (isWanted()) report.clear(); // of another one
    throw fault;
  });
  if (!isWanted()) return;
  report.show(entry!, decoded, from.name, beginning);
  report.highlight(selection.filter.text);
  list.choose(number);
  if (inViews) tabs.goToEntry(number);
  copyBar.draw();
  if (decoded.problem !== null) return;
  const layout = await from.layout(number);
  if (isWanted()) report.setLayout(layout);
}

/** Somebody goes to a report. */
function goTo(entry: number): void {
  live.stopFollowing();
  links.done();
  attempt(choose(entry));
}

list.onChosen = goTo;
list.onEntered = () => tabs.enter();
filterBar.onStep = (by) => list.step(by);
filterBar.onFilter = ({ text }) => {
  report.highlight(text);
  links.changed();
};
tabs.onShown = () => {
  copyBar.draw();
  links.changed();
};

/** What the tab shows, for the clipboard. */
function copied(): { copies: Copies; stem: string } {
  const stem = stemOf(capture?.name ?? "");
  if (tabs.view !== null) return { copies: tabs.view.copies, stem: `${stem}-${tabs.current}` };
  const [from, entry] = [capture, chosen];
  if (from === null || entry < 0) return { copies: {}, stem };
  const rendered = async (form: string) => {
    const { blob, leftOut } = await from.render(form, [entry]);
    if (leftOut !== "") throw new Error(inPageWords(leftOut));
    return blob.text();
  };
  const copies = { csv: () => rendered("csv"), json: () => rendered("json") };
  return { copies, stem: `${stem}-${entry}` };
}

// ---------------------------------------------------------------------------------------- the links

function shownLink(): Link {
  const { current } = files;
  return {
    file: current?.name ?? "",
    report: chosen < 0 ? null : chosen,
    view: tabs.view === null ? "" : tabs.current,
    filter: selection.filter,
  };
}

links.onLink = (link) => {
  const file = link.file === "" ? files.current : files.all.find(({ name }) => name === link.file);
  if (file === undefined || file === null) {
    tell(`Open ${link.file || "a file"} to see what the link shows.`);
    return;
  }
  if (file !== files.current) attempt(files.show(file));
  else {
    if (link.view === "") tabs.show("one");
    follow(file);
    if (!isGrowing(file)) giveUp(file);
  }
};

/** Goes where the link leads, as far as that has been read. */
function follow(file: OpenFile): void {
  const link = links.wanted;
  if (link === null || (link.file !== "" && link.file !== file.name) || file.entries === 0) return;
  if (JSON.stringify(link.filter) !== JSON.stringify(selection.filter)) filterBar.set(link.filter);
  if (link.report !== null && chosen !== link.report) {
    if (link.report >= file.entries) return;
    attempt(choose(link.report));
  }
  if (link.view !== "" && link.view !== tabs.current && !tabs.show(link.view)) return;
  links.done();
}

/** All of the file is read: what the link leads to isn't in it. */
function giveUp(file: OpenFile): void {
  const link = links.wanted;
  if (link === null || (link.file !== "" && link.file !== file.name)) return;
  if (link.report !== null && link.report >= file.entries)
    tell(`The link leads to report ${link.report}, which ${file.name} doesn't have.`);
  else if (link.view !== "") tell(`The link leads to a view that ${file.name} has nothing for.`);
  links.done();
}

// ---------------------------------------------------------------------------------- a live device

let latest: { of: RemoteCapture; entry: number } | null = null;

/** A view is drawn at the screen's rate, and is further on by then. */
const choosing = new Paced(
  async () => {
    if (latest === null || latest.of !== capture || latest.entry === chosen) return;
    if (live.isFollowing) await choose(latest.entry, tabs.view === null);
  },
  100,
  tell,
  2,
);

const live = new LivePanel(element("connect"), element("live"), {
  about: () => files.about(),
  openLive: (name) => files.openLive(name),
  endLive: (ended) => files.endLive(ended),
  async goToLast(from) {
    if (from !== capture) return;
    const { rows } = selection;
    const inView = tabs.view === null ? null : await tabs.goToLast();
    const inList = rows.count > 0 ? rows.at(rows.count - 1) : -1;
    latest = { of: from, entry: inView ?? inList };
    choosing.ask();
  },
  tell,
});
for (const type of ["wheel", "touchmove"])
  element("list").addEventListener(type, () => live.stopFollowing(), { passive: true });

// ------------------------------------------------------------------------------------ what one does

new Choosing(element<HTMLInputElement>("choose"), files, tell);
cancel.onclick = () => files.current && files.cancel(files.current);
fillHelp(help);
element("help-open").onclick = () => help.showModal();
fillAbout(element<HTMLDialogElement>("about"), async () => (await files.about()).version);
element("drawer").onclick = () => {
  const isHidden = document.querySelector("main")!.classList.toggle("wide");
  element("drawer").setAttribute("aria-expanded", String(!isHidden));
};
// Plots are drawn in the screen's ink.
addEventListener("beforeprint", () => {
  const isDark = matchMedia("(prefers-color-scheme: dark)").matches;
  document.documentElement.classList.toggle("dark", isDark);
});
listenToKeys({
  "/": () => filterBar.focus(),
  "?": () => help.showModal(),
  n: () => list.step(1),
  N: () => list.step(-1),
});
showNothing();
attempt(
  files.about().then((about) => {
    formChoice.setForms(about);
    exportBar.setForms(about);
    fillStart(element("start"), about);
    fillKnown(help, about);
    formChoice.draw(files.current);
  }),
);
attempt(openCarried((carried) => attempt(files.open(carried))));
