/** The page: files, the list of their reports, and a report's lines. */
import { Client, type RemoteCapture } from "./client.js";
import type { Entry } from "./decoder.js";
import { element, hexId, made } from "./dom.js";
import { embeddedBytes, workerUrl } from "./embedded.js";
import { LivePanel } from "./livepanel.js";
import { ReportView } from "./report.js";
import { Tabs } from "./tabs.js";
import type { ViewHost } from "./view.js";
import { views } from "./views/all.js";

const list = element("list");
const state = element("state");
const cancel = element<HTMLButtonElement>("cancel");

const rowHeight = 24;
const shown = 200;

let client: Promise<Client> | null;
let file: RemoteCapture | null = null;
let count = 0;
let chosen = -1;
let rows = 0; // that the list shows

const report = new ReportView(element("one"));
const host: ViewHost = {
  tell,
  moved(entry) {
    live.stopFollowing();
    scrollTo(entry);
    void choose(entry).catch(tell);
  },
};
const tabs = new Tabs(element("tabs"), element("one"), "Report", views(host));

async function newClient(): Promise<Client> {
  const [url, module] = await Promise.all([workerUrl(), embeddedBytes("module")]);
  const made = await Client.create(url, module);
  URL.revokeObjectURL(url);
  made.onBroken = (reason) => {
    state.textContent = `${reason}. Choose the file again.`;
    client = null;
    file = null;
  };
  return made;
}

function tell(fault: unknown): void {
  state.textContent = fault instanceof Error ? fault.message : String(fault);
}

/** The columns of an entry's row. */
function cellsOf({ kind, time, length, place, number }: Entry): HTMLElement[] {
  const id = kind.id === null ? "" : hexId(kind.id);
  const seconds = time === null ? "" : (time / 1e6).toFixed(6);
  const name = kind.problem || kind.report?.name || kind.decoder;
  const where = `${kind.unit} ${place}`;
  const cells = { number, seconds, type: kind.type ?? "", id, name, length: `${length} B`, where };
  return Object.entries(cells).map(([name, text]) => made("span", name, `${text} `));
}

async function showList(): Promise<void> {
  const from = file;
  if (from === null) return;
  const section = list.parentElement!;
  const first = Math.max(0, Math.floor(section.scrollTop / rowHeight) - 20);
  const entries = await from.entries(first, shown);
  if (from !== file) return;
  rows = entries.length;
  list.style.height = `${count * rowHeight}px`;
  list.style.boxSizing = "border-box";
  list.style.paddingTop = `${first * rowHeight}px`;
  list.replaceChildren(
    ...entries.map((entry) => {
      const row = document.createElement("div");
      row.setAttribute("role", "option");
      row.setAttribute("aria-selected", String(entry.number === chosen));
      row.append(...cellsOf(entry));
      if (entry.kind.problem !== "") row.className = "wrong";
      row.onclick = () => {
        live.stopFollowing();
        void choose(entry.number).catch(tell);
      };
      return row;
    }),
  );
}

/** Brings a row of the list into sight. */
function scrollTo(number: number): void {
  const section = list.parentElement!;
  const top = number * rowHeight;
  if (top < section.scrollTop) section.scrollTop = top;
  else if (top + rowHeight > section.scrollTop + section.clientHeight)
    section.scrollTop = top + rowHeight - section.clientHeight;
}

async function choose(number: number): Promise<void> {
  if (file === null || number < 0 || number >= count) return;
  chosen = number;
  const from = file;
  const decoded = await from.decode(number);
  if (chosen !== number || from !== file) return;
  report.show(number, decoded);
  tabs.goToEntry(number);
  const [layout] = await Promise.all([
    decoded.problem === null ? from.layout(number) : null,
    showList(),
  ]);
  if (chosen === number && from === file && layout !== null) report.setLayout(layout);
}

async function open(opened: File): Promise<void> {
  client ??= newClient();
  const ready = await client;
  if (file !== null) void file.close();
  count = 0;
  chosen = -1;
  rows = 0;
  report.clear();
  let last = 0;
  let looked = 0; // entries, when the views were
  const begun = performance.now();
  const reading = ready.open(opened, {
    reduce: tabs.reduced,
    onProgress: ({ entries, position, size, note, ended }) => {
      if (file !== reading) return;
      count = entries;
      const part = size === 0 ? 100 : Math.floor((100 * position) / size);
      state.textContent = `${opened.name}: ${entries} reports, ${part} % read. ${note}`;
      if (chosen < 0 && entries > 0) void choose(0).catch(tell);
      if (performance.now() - last < 100 && !ended) return;
      last = performance.now();
      // All entries are looked through each time, so ever more rarely.
      if (!ended && last - begun > 400 && entries > 1.5 * looked) {
        looked = entries;
        void tabs.refresh().catch(tell);
      }
      // A full list stays as it is while more is read: drawn over and over it would be garbage.
      if (rows < shown) void showList().catch(tell);
      else list.style.height = `${count * rowHeight}px`;
    },
  });
  file = reading;
  tabs.open(reading, ready.about);
  cancel.hidden = false;
  const { cancelled, entries } = await reading.done;
  if (file !== reading) return;
  cancel.hidden = true;
  await tabs.refresh();
  state.dataset["read"] = String(entries);
  if (cancelled) state.textContent += " Reading was cancelled.";
}

/** Shows the reports of a device, which come one by one. */
async function openLive(name: string): Promise<{ capture: RemoteCapture }> {
  client ??= newClient();
  const ready = await client;
  if (file !== null) void file.close();
  count = 0;
  chosen = -1;
  rows = 0;
  report.clear();
  delete state.dataset["read"];
  state.textContent = name;
  const capture = ready.openLive(name, {
    reduce: tabs.reduced,
    onProgress: ({ entries }) => {
      if (file !== capture) return;
      count = entries;
      list.style.height = `${count * rowHeight}px`;
      takeIn();
    },
  });
  file = capture;
  tabs.open(capture, ready.about);
  cancel.hidden = true;
  return { capture };
}

let takingIn: Promise<void> | null = null;

/** Has list and views take in what came, a few times a second. */
function takeIn(): void {
  takingIn ??= (async () => {
    const begin = performance.now();
    await Promise.all([tabs.refresh(), rows < shown ? showList() : null]);
    const took = performance.now() - begin;
    await new Promise((resolve) => setTimeout(resolve, Math.max(200, 4 * took)));
    const isOver = count === takenIn;
    takenIn = count;
    if (!isOver) setTimeout(takeIn);
  })()
    .catch(tell)
    .finally(() => (takingIn = null));
}
let takenIn = 0;

const live = new LivePanel(element("connect"), element("live"), {
  about: async () => (await (client ??= newClient())).about,
  openLive,
  async goToLast(capture) {
    if (capture !== file || count === 0) return;
    if (tabs.view !== null) return tabs.goToLast();
    scrollTo(count - 1);
    await choose(count - 1);
  },
  tell,
});

// Ready before anybody asks for it.
client = newClient();
client.catch(tell);

element<HTMLInputElement>("choose").onchange = ({ target }) => {
  const [first] = (target as HTMLInputElement).files ?? [];
  if (first) void open(first).catch(tell);
};
cancel.onclick = () => void file?.cancel();
document.ondragover = (event) => event.preventDefault();
document.ondrop = (event) => {
  event.preventDefault();
  const [first] = event.dataTransfer?.files ?? [];
  if (first) void open(first).catch(tell);
};
list.parentElement!.onscroll = () => void showList().catch(tell);
list.onkeydown = (event) => {
  const step = { ArrowDown: 1, ArrowUp: -1 }[event.key];
  if (step === undefined) return;
  event.preventDefault();
  live.stopFollowing();
  scrollTo(chosen + step);
  void choose(chosen + step).catch(tell);
};
