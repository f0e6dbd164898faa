/** The page: files, the list of their reports, and a report's lines. */
import { Client, type RemoteCapture } from "./client.js";
import type { Entry } from "./decoder.js";
import { embeddedBytes, workerUrl } from "./embedded.js";

function element<T extends HTMLElement>(id: string): T {
  return document.getElementById(id) as T;
}

const list = element("list");
const report = element("report");
const state = element("state");
const cancel = element<HTMLButtonElement>("cancel");

const rowHeight = 24;
const shown = 200;

let client: Promise<Client> | null;
let file: RemoteCapture | null = null;
let count = 0;
let chosen = -1;
let rows = 0; // that the list shows

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

function textOf({ kind, time, length, place, number }: Entry): string {
  const id = kind.id === null ? "" : `0x${kind.id.toString(16).toUpperCase().padStart(2, "0")}`;
  const seconds = time === null ? "" : (time / 1e6).toFixed(6);
  const name = kind.problem || kind.report?.name || kind.decoder;
  const parts = [number, seconds, kind.type ?? "", id, name, `${length} B`, kind.unit, place];
  return parts.join("  ");
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
      row.textContent = textOf(entry);
      row.onclick = () => void choose(entry.number).catch(tell);
      return row;
    }),
  );
}

async function choose(number: number): Promise<void> {
  if (file === null || number < 0 || number >= count) return;
  chosen = number;
  const { lines, problem } = await file.decode(number);
  if (chosen !== number) return;
  report.textContent = [...(problem ? [problem.message] : []), ...lines].join("\n");
  report.dataset["entry"] = String(number);
  await showList();
}

async function open(opened: File): Promise<void> {
  client ??= newClient();
  const ready = await client;
  if (file !== null) void file.close();
  count = 0;
  chosen = -1;
  rows = 0;
  let last = 0;
  const reading = ready.open(opened, {
    onProgress: ({ entries, position, size, note, ended }) => {
      if (file !== reading) return;
      count = entries;
      const part = size === 0 ? 100 : Math.floor((100 * position) / size);
      state.textContent = `${opened.name}: ${entries} reports, ${part} % read. ${note}`;
      if (chosen < 0 && entries > 0) void choose(0).catch(tell);
      if (performance.now() - last < 100 && !ended) return;
      last = performance.now();
      // A full list stays as it is while more is read: drawn over and over it would be garbage.
      if (rows < shown) void showList().catch(tell);
      else list.style.height = `${count * rowHeight}px`;
    },
  });
  file = reading;
  cancel.hidden = false;
  const { cancelled, entries } = await reading.done;
  if (file !== reading) return;
  cancel.hidden = true;
  state.dataset["read"] = String(entries);
  if (cancelled) state.textContent += " Reading was cancelled.";
}

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
list.onkeydown = ({ key }) => {
  if (key === "ArrowDown") void choose(chosen + 1).catch(tell);
  if (key === "ArrowUp") void choose(chosen - 1).catch(tell);
};
