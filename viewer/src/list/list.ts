/** The list of a file's reports. Of any number of rows only those in sight are there. */
import type { RemoteCapture } from "../decoder/client.js";
import type { Entry, EntryKind } from "../decoder/decoder.js";
import { deviceOf } from "../basics/devices.js";
import { hexId, made } from "../basics/dom.js";
import { Rows } from "./rows.js";
import * as scroll from "./scroll.js";
import { sinceText, timeText } from "../basics/times.js";

const rowHeight = 24;
const spare = 20; // rows drawn above and below those in sight
const restAfter = 150; // milliseconds without scrolling
const near = 64; // entries that are asked for together with others

interface Cell {
  name: string; // its class
  title: string;
  meaning: string;
  text(entry: Entry): string;
}

export class ReportList {
  private readonly scroller: HTMLElement;
  private readonly heads = made("div", "heads");
  private capture: RemoteCapture | null = null;
  private rows = new Rows(0);
  private chosen = -1; // an entry
  private isSought = false; // its row is to come into sight
  private place = scroll.beginning;
  private firstTime: number | null = null;
  private drawn = { first: 0, end: 0 };
  private isDrawing = false;
  private isStale = false;
  private timer: ReturnType<typeof setTimeout> | undefined;
  private readonly cells: Cell[] = [
    { name: "number", title: "No.", meaning: "From 0, in the file's order", text: numberOf },
    {
      name: "seconds",
      title: "Time s",
      meaning: "Seconds since the first report that has a time; its own time stands at the report",
      text: ({ time }) => (time === null ? "" : sinceText(time - (this.firstTime ?? 0))),
    },
    { name: "device", title: "Device", meaning: "Bus and number", text: deviceIn },
    { name: "type", title: "Type", meaning: "", text: ({ kind }) => kind.type ?? "" },
    { name: "id", title: "ID", meaning: "Of the report", text: ({ kind }) => idOf(kind) },
    { name: "name", title: "Name", meaning: "As the plug-in names it", text: nameIn },
    { name: "length", title: "Length", meaning: "Bytes, with the ID", text: lengthOf },
    { name: "where", title: "Place", meaning: "In the file", text: entryPlace },
  ];

  constructor(
    private readonly list: HTMLElement,
    private readonly tell: (fault: unknown) => void,
  ) {
    this.scroller = list.parentElement!;
    this.heads.setAttribute("aria-hidden", "true");
    for (const { name, title, meaning } of this.cells) {
      const head = made("span", name, title);
      head.title = meaning;
      this.heads.append(head);
    }
    list.before(this.heads);
    this.scroller.onscroll = () => this.scrolled();
    for (const byHand of ["wheel", "pointerdown", "keydown"])
      this.scroller.addEventListener(byHand, () => (this.isSought = false), { passive: true });
    new ResizeObserver(() => this.draw()).observe(this.scroller);
    list.onclick = ({ target }) => {
      const row = (target as HTMLElement).closest<HTMLElement>("[data-number]");
      if (row !== null) this.goTo(Number(row.dataset["number"]));
    };
    list.onkeydown = (event) => this.key(event);
  }

  /** Somebody has chosen an entry. */
  onChosen: (entry: number) => void = () => undefined;

  /** Somebody wants to see the one that is chosen. */
  onEntered: () => void = () => undefined;

  /** Lists another file's reports, none yet. */
  open(capture: RemoteCapture | null): void {
    this.capture = capture;
    this.firstTime = null;
    this.chosen = -1;
    this.setRows(new Rows(0), false);
  }

  /** Lists others of them, or more as it `goesOn`. */
  setRows(rows: Rows, goesOn: boolean): void {
    const isSame = goesOn && rows.count === this.rows.count;
    this.rows = rows;
    if (!goesOn) {
      this.place = scroll.beginning;
      this.drawn = { first: 0, end: 0 };
    }
    this.list.style.height = `${scroll.heightOf(this.extent)}px`;
    this.moveTo(scroll.rested(this.extent, this.place));
    this.isSought ||= !goesOn;
    if (this.isSought) this.seek();
    if (isSame) return;
    if (goesOn && this.covers()) return this.tellSize();
    this.isStale = true;
    this.draw();
  }

  /** Each row that is drawn says how many there are. */
  private tellSize(): void {
    for (const row of this.list.children)
      row.setAttribute("aria-setsize", String(this.rows.count));
  }

  /** Draws all anew, since what stands in the rows has changed. */
  redraw(): void {
    this.isStale = true;
    this.draw();
  }

  /** The columns of devices and times are there where they say something. */
  setColumns({ hasDevices, hasTimes }: { hasDevices: boolean; hasTimes: boolean }): void {
    this.scroller.classList.toggle("devices", hasDevices);
    this.scroller.classList.toggle("timeless", !hasTimes);
  }

  /** The time of the first report that has one, in microseconds; null if none has. */
  async beginning(): Promise<number | null> {
    const { capture } = this;
    if (this.firstTime !== null || capture === null) return this.firstTime;
    const time = await firstTimeOf(capture);
    if (capture === this.capture) this.firstTime = time;
    return time;
  }

  /** Marks an entry as chosen, and brings it into sight. */
  choose(entry: number): void {
    this.chosen = entry;
    this.isSought = true;
    this.seek();
    this.mark();
    this.draw();
  }

  /** Brings the row of what is chosen into sight, as soon as there is one. */
  private seek(): void {
    const row = this.rows.rowOf(this.chosen);
    if (row < 0) return;
    this.isSought = false;
    this.moveTo(scroll.shown(this.extent, this.place, row));
  }

  private get extent(): scroll.Extent {
    const viewport = Math.max(rowHeight, this.scroller.clientHeight - this.heads.offsetHeight);
    return { count: this.rows.count, rowHeight, viewport };
  }

  private moveTo(place: scroll.Place): void {
    this.place = place;
    if (Math.abs(this.scroller.scrollTop - place.top) >= 1) this.scroller.scrollTop = place.top;
  }

  private scrolled(): void {
    const { extent } = this;
    this.place = scroll.scrolled(extent, this.place, this.scroller.scrollTop);
    clearTimeout(this.timer);
    const rest = () => this.moveTo(scroll.rested(this.extent, this.place));
    if (scroll.isOff(extent, this.place)) rest();
    else this.timer = setTimeout(rest, restAfter);
    this.draw();
  }

  /** The rows that are in sight, and their end. */
  private inSight(): [number, number] {
    const { row } = this.place;
    const first = Math.min(Math.floor(row), this.rows.count);
    const end = Math.ceil(row + this.extent.viewport / rowHeight);
    return [first, Math.min(end, this.rows.count)];
  }

  /** Whether all that is in sight is drawn. */
  private covers(): boolean {
    const [first, end] = this.inSight();
    const { drawn } = this;
    return first < end && drawn.first <= first && drawn.end >= end;
  }

  /** Draws what is in sight; of what is asked for meanwhile, the last. */
  private draw(): void {
    this.putInPlace();
    if (this.isDrawing || (!this.isStale && this.covers())) return;
    this.isDrawing = true;
    const drawn = (isThere: boolean) => {
      this.isDrawing = false;
      if (this.isStale || (isThere && !this.covers() && this.rows.count > 0)) this.draw();
    };
    // What failed is tried again when something changes: with a decoder that broke off it would
    // fail forever, and nothing else had a turn.
    void this.drawNow().then(
      () => drawn(true),
      (fault: unknown) => {
        this.tell(fault);
        drawn(false);
      },
    );
  }

  private async drawNow(): Promise<void> {
    const { capture, rows } = this;
    this.isStale = false;
    const [from, to] = this.inSight();
    const first = Math.max(0, from - spare);
    const end = Math.min(rows.count, to + spare);
    if (capture === null || first === end) {
      this.list.replaceChildren();
      this.drawn = { first, end };
      return;
    }
    const numbers = Array.from({ length: end - first }, (_, at) => rows.at(first + at));
    const entries = await entriesOf(capture, numbers);
    await this.beginning();
    if (capture !== this.capture || this.isStale) {
      this.isStale = true;
      return;
    }
    this.list.replaceChildren(
      ...entries.map((entry, at) => this.rowOf(entry, first + at)),
    );
    this.tellSize();
    this.drawn = { first, end: first + entries.length };
    this.mark();
    this.putInPlace();
  }

  /** The first row that is drawn stands where it belongs, and the others below. */
  private putInPlace(): void {
    const [head] = this.list.children;
    if (head === undefined) return;
    const top = scroll.offsetOf(this.extent, this.place, this.drawn.first);
    (head as HTMLElement).style.marginTop = `${top}px`;
  }

  private rowOf(entry: Entry, row: number): HTMLElement {
    const one = made("div", entry.kind.problem === "" ? "" : "wrong");
    one.setAttribute("role", "option");
    one.id = `row-${entry.number}`;
    one.dataset["number"] = String(entry.number);
    one.setAttribute("aria-posinset", String(row + 1));
    one.append(...this.cells.map(({ name, text }) => made("span", name, `${text(entry)} `)));
    const { time, kind } = entry;
    if (time !== null) one.querySelector<HTMLElement>(".seconds")!.title = timeText(time);
    one.querySelector<HTMLElement>(".name")!.title = `${nameOf(kind)} ${kind.decoder}`;
    return one;
  }

  private mark(): void {
    let active = "";
    for (const row of this.list.children) {
      const isChosen = (row as HTMLElement).dataset["number"] === String(this.chosen);
      row.setAttribute("aria-selected", String(isChosen));
      if (isChosen) active = row.id;
    }
    if (active === "") this.list.removeAttribute("aria-activedescendant");
    else this.list.setAttribute("aria-activedescendant", active);
  }

  private key(event: KeyboardEvent): void {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    if (event.key === "Enter") {
      event.preventDefault();
      this.onEntered();
      return;
    }
    const page = Math.max(1, Math.floor(this.extent.viewport / rowHeight) - 1);
    const step = {
      ArrowDown: 1,
      ArrowUp: -1,
      PageDown: page,
      PageUp: -page,
      Home: -Infinity,
      End: Infinity,
    }[event.key];
    if (step === undefined || this.rows.count === 0) return;
    event.preventDefault();
    this.step(step);
  }

  /** Goes so many rows on. */
  step(by: number): void {
    const row = this.rows.rowOf(this.chosen);
    // One that isn't in the list has its neighbours in it.
    const before = this.rows.countBefore(this.chosen);
    const next = row >= 0 ? row + by : by > 0 ? before + by - 1 : before + by;
    const inside = Math.min(Math.max(next, 0), this.rows.count - 1);
    if (inside >= 0 && inside !== row) this.goTo(this.rows.at(inside));
  }

  /** The row is marked at once, so that keys that follow go on from it. */
  private goTo(entry: number): void {
    this.choose(entry);
    this.onChosen(entry);
  }
}

/** Entries by their numbers, which rise. */
async function entriesOf(capture: RemoteCapture, numbers: readonly number[]): Promise<Entry[]> {
  const runs: { first: number; end: number }[] = [];
  for (const number of numbers) {
    const last = runs.at(-1);
    if (last !== undefined && number < last.end + near) last.end = number + 1;
    else runs.push({ first: number, end: number + 1 });
  }
  const parts = await Promise.all(runs.map(({ first, end }) => capture.entries(first, end - first)));
  const found = new Map(parts.flat().map((entry) => [entry.number, entry]));
  return numbers.flatMap((number) => found.get(number) ?? []);
}

/** Null if none has one. */
async function firstTimeOf(capture: RemoteCapture): Promise<number | null> {
  const first = (await capture.entries(0, 256)).find(({ time }) => time !== null);
  if (first !== undefined) return first.time;
  const [later] = await capture.select(({ hasTime }) => hasTime);
  if (later === undefined) return null;
  return (await capture.entries(later, 1))[0]?.time ?? null;
}

function deviceIn({ kind }: Entry): string {
  return deviceOf(kind);
}

function nameIn({ kind }: Entry): string {
  return nameOf(kind);
}

function lengthOf({ kind, length }: Entry): string {
  return kind.hasBytes ? `${length} B` : "";
}

function numberOf({ number }: Entry): string {
  return String(number);
}

export function idOf({ id }: EntryKind): string {
  return id === null ? "" : hexId(id);
}

export function nameOf({ problem, report, decoder, toDevice }: EntryKind): string {
  const name = report?.name || decoder;
  if (problem !== "") return name === "" ? `⚠ ${problem}` : `⚠ ${problem}: ${name}`;
  return toDevice ? `to the device: ${name}` : name;
}

/** Empty for what is of no place in the file. */
export function entryPlace({ kind, place }: Entry): string {
  return kind.unit === "file" ? "" : `${kind.unit} ${place}`;
}
