/** The page: files, the list of their reports, and a report's lines. */
import { openCarried } from "./carried.js";
import { Client, type RemoteCapture } from "./client.js";
import type { Entry } from "./decoder.js";
import { element, hexId, made } from "./dom.js";
import { embeddedBytes, workerUrl } from "./embedded.js";
import { FramesView, imageDecoder } from "./frames.js";
import { ReportView } from "./report.js";

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
const frames = new FramesView(element("frames"), tell, (entry) => {
  scrollTo(entry);
  void choose(entry).catch(tell);
});
const tabs = [element<HTMLButtonElement>("tab-one"), element<HTMLButtonElement>("tab-frames")];

function showTab(tab: HTMLButtonElement): void {
  for (const one of tabs) {
    const isShown = one === tab;
    one.setAttribute("aria-selected", String(isShown));
    one.tabIndex = isShown ? 0 : -1;
    element(one.getAttribute("aria-controls")!).hidden = !isShown;
  }
  frames.setShown(tab.id === "tab-frames");
}

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
      row.onclick = () => void choose(entry.number).catch(tell);
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
  frames.goToEntry(number);
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
  showTab(tabs[0]!);
  tabs[1]!.disabled = true;
  let last = 0;
  let looked = 0; // entries, when the frames were looked at
  const begun = performance.now();
  const reading = ready.open(opened, {
    reduce: [imageDecoder],
    onProgress: ({ entries, position, size, note, ended }) => {
      if (file !== reading) return;
      count = entries;
      const part = size === 0 ? 100 : Math.floor((100 * position) / size);
      state.textContent = `${opened.name}: ${entries} reports, ${part} % read. ${note}`;
      if (chosen < 0 && entries > 0) void choose(0).catch(tell);
      if (performance.now() - last < 100 && !ended) return;
      last = performance.now();
      // All of its frames are looked through each time, so ever more rarely.
      if (!ended && last - begun > 400 && entries > 1.5 * looked) {
        looked = entries;
        void showFrames().catch(tell);
      }
      // A full list stays as it is while more is read: drawn over and over it would be garbage.
      if (rows < shown) void showList().catch(tell);
      else list.style.height = `${count * rowHeight}px`;
    },
  });
  file = reading;
  const { counter } = ready.about.reports.find(({ decoder }) => decoder === imageDecoder) ?? {};
  frames.open(reading, counter);
  cancel.hidden = false;
  const { cancelled, entries } = await reading.done;
  if (file !== reading) return;
  cancel.hidden = true;
  await showFrames();
  state.dataset["read"] = String(entries);
  if (cancelled) state.textContent += " Reading was cancelled.";
}

async function showFrames(): Promise<void> {
  const from = file;
  const count = await frames.refresh();
  if (from === file) tabs[1]!.disabled = count === 0;
}

// Ready before anybody asks for it.
client = newClient();
client.catch(tell);
const openOne = (one: File) => void open(one).catch(tell);
void openCarried(([first]) => openOne(first!), openOne).catch(tell);

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
  scrollTo(chosen + step);
  void choose(chosen + step).catch(tell);
};
for (const tab of tabs) {
  tab.onclick = () => showTab(tab);
  tab.onkeydown = ({ key }) => {
    const other = tabs[1 - tabs.indexOf(tab)]!;
    if ((key !== "ArrowLeft" && key !== "ArrowRight") || other.disabled) return;
    showTab(other);
    other.focus();
  };
}
