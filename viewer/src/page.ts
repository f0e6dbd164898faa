/** The page: it joins its parts, which know nothing of each other. */
import { Client, type RemoteCapture } from "./client.js";
import { element } from "./dom.js";
import { embeddedBytes, workerUrl } from "./embedded.js";
import { FileBar } from "./filebar.js";
import { Files, type OpenFile } from "./files.js";
import { FilterBar } from "./filterbar.js";
import { ReportList } from "./list.js";
import { LivePanel } from "./livepanel.js";
import { Paced } from "./paced.js";
import { ReportView } from "./report.js";
import { Selection } from "./selection.js";
import { Status } from "./status.js";
import { Tabs } from "./tabs.js";
import type { ViewHost } from "./view.js";
import { views } from "./views/all.js";

const status = new Status(element("state"));
const tell = (fault: unknown) => status.tell(fault);

const host: ViewHost = { tell, moved: goTo };
const report = new ReportView(element("one"));
const tabs = new Tabs(element("tabs"), element("one"), "Report", views(host));
const files = new Files(newClient, () => tabs.reduced);
const fileBar = new FileBar(element("files"), files, tell);
const list = new ReportList(element("list"), tell);
const selection = new Selection(tell);
const filterBar = new FilterBar(element("filters"), selection, tell);
const cancel = element<HTMLButtonElement>("cancel");

let capture: RemoteCapture | null = null; // that is shown
let chosen = -1;

async function newClient(): Promise<Client> {
  const [url, module] = await Promise.all([workerUrl(), embeddedBytes("module")]);
  const made = await Client.create(url, module);
  URL.revokeObjectURL(url);
  return made;
}

// -------------------------------------------------------------------------------------- the files

const growing = new Paced(
  () => selection.grow(files.current?.entries ?? 0),
  100,
  tell,
  2,
);
const refreshing = new Paced(() => tabs.refresh(), 400, tell);

files.onShown = (file, about) => {
  capture = file?.capture ?? null;
  chosen = -1;
  status.setRead(null);
  status.clear();
  report.clear();
  list.open(capture);
  selection.open(capture);
  tabs.open(capture, about);
  if (file !== null) advance(file);
};

files.onChanged = (file) => {
  fileBar.draw(file);
  if (files.current === null) status.show("Drop captures here, or open files.");
  else if (file === null || file === files.current) advance(files.current);
};

files.onRead = (file) => {
  if (file === files.current) void finish(file).catch(tell);
};

/** More of the shown file is there, or all of it. */
function advance(file: OpenFile): void {
  status.show(textOf(file));
  cancel.hidden = file.reading !== "going on";
  if (file.capture === null || file.entries === 0) return;
  if (chosen < 0) void choose(0).catch(tell);
  if (file.reading !== "going on" && status.isRead) return;
  growing.ask();
  refreshing.ask();
}

/** All of a file is read. */
async function finish(file: OpenFile): Promise<void> {
  await growing.now();
  await refreshing.now();
  if (file.capture === null || file.capture !== capture) return;
  list.redraw();
  status.setRead(file.entries);
}

function textOf(file: OpenFile): string {
  const { name, entries, position, size, form, note, fault, reading } = file;
  if (file.blob === null && file.capture !== null) return ""; // the device's panel tells
  const parts = [`${name}: ${entries} ${entries === 1 ? "report" : "reports"}`];
  if (reading === "going on")
    parts.push(`${size === 0 ? 100 : Math.floor((100 * position) / size)} % read`);
  if (form !== "") parts.push(`read as ${form}`);
  const sentences = [`${parts.join(", ")}.`, note, fault];
  if (reading === "cancelled") sentences.push("Reading was cancelled.");
  return sentences.filter((one) => one !== "").join(" ");
}

// ---------------------------------------------------------------------------------- list and report

selection.onChanged = (goesOn) => {
  list.setRows(selection.rows, goesOn);
  list.setDevices(areSeveralDevices());
  filterBar.draw();
  live.moreIsListed();
  // It may not have had a row when it was gone to.
  if (live.isFollowing && latest !== null && latest.of === capture) list.choose(chosen);
};

function areSeveralDevices(): boolean {
  const senders = selection.kinds.map(({ sender }) => sender && `${sender.bus}:${sender.device}`);
  return new Set(senders.filter((one) => one !== null)).size > 1;
}

async function choose(number: number, inViews = true): Promise<void> {
  const from = capture;
  if (from === null || number < 0 || number >= (files.current?.entries ?? 0)) return;
  chosen = number;
  const [decoded, [entry]] = await Promise.all([from.decode(number), from.entries(number, 1)]);
  if (chosen !== number || from !== capture) return;
  report.show(entry!, decoded, from.name, list.beginning);
  list.choose(number);
  if (inViews) tabs.goToEntry(number);
  if (decoded.problem !== null) return;
  const layout = await from.layout(number);
  if (chosen === number && from === capture) report.setLayout(layout);
}

/** Somebody goes to an entry. */
function goTo(entry: number): void {
  live.stopFollowing();
  void choose(entry).catch(tell);
}

list.onChosen = goTo;
list.onEntered = () => tabs.enter();
filterBar.onStep = (by) => list.step(by);

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

// ------------------------------------------------------------------------------------- what one does

const chooser = element<HTMLInputElement>("choose");
chooser.onchange = () => {
  const chosen = [...(chooser.files ?? [])];
  chooser.value = ""; // the same again is another choice
  void files.open(chosen).catch(tell);
};
cancel.onclick = () => files.current && files.cancel(files.current);
document.ondragover = (event) => event.preventDefault();
document.ondrop = (event) => {
  event.preventDefault();
  void files.open([...(event.dataTransfer?.files ?? [])]).catch(tell);
};
