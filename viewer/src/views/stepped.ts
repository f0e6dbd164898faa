/** What views share that show one report at a time, beside another one that it is compared with. */
import type { RemoteCapture } from "../decoder/client.js";
import type { About, Change, Decoded, Difference, Entry, Field } from "../decoder/decoder.js";
import { hexId, made } from "../basics/dom.js";
import { panelOf } from "./tabs.js";
import { countBelow, indexOf } from "../basics/numbers.js";
import type { Copies, View, ViewHost } from "./view.js";
import { timeText } from "../basics/times.js";
import { countText, durationText } from "../basics/words.js";

/** A report, as it is looked at. */
export interface Looked {
  entry: Entry;
  number: number; // among its decoder's, from 1
  decoded: Decoded;
}

/** The report that a view shows, and what it is compared with. */
export interface Shown extends Looked {
  base: Looked | null;

  /** Whether both are of one kind from one sender and follow each other: only then it is known what
   *  became of what counts. */
  follows: boolean;

  /** What became of it since `base`; null if it is the same, or where it isn't known. */
  difference: Difference | null;

  /** What became of numbers on the way from `base`, where a counter fell or wrapped. */
  between: Difference[];
}

/** What the shown report may be compared with. */
type Against = "before" | "first" | "number" | "nothing";

const pieceEntries = 2048;

export abstract class SteppedView implements View {
  abstract readonly name: string;
  abstract readonly title: string;
  abstract readonly decoders: readonly string[];
  abstract readonly copies: Copies;
  readonly reduced = [];
  protected readonly host: ViewHost;
  protected panel!: HTMLElement;
  protected tools!: HTMLElement;
  protected content!: HTMLElement;
  protected file: RemoteCapture | null = null;
  protected shown: Shown | null = null; // null as long as nothing is drawn
  private which!: HTMLElement;
  private news!: HTMLElement;
  private against!: HTMLSelectElement;
  private number!: HTMLInputElement;
  private decoder = "";
  private current = -1; // an entry
  private own: Uint32Array = new Uint32Array(); // of all decoders
  private groups = new Map<string, Group>(); // by decoder
  private isStale = true; // the groups are
  private isShown = false;
  private wanted = 0; // drawings asked for
  private drawing: Promise<void> | null = null;

  constructor(host: ViewHost) {
    this.host = host;
  }

  /** Makes what all of them have. A view calls it once it is made. */
  protected build(): void {
    this.decoder = this.decoders[0]!;
    this.panel = panelOf(this.name);
    this.panel.classList.add("stepped");
    const button = (text: string, label: string, title: string, step: number) => {
      const one = made("button", "", text);
      one.type = "button";
      one.setAttribute("aria-label", label);
      one.title = title;
      one.onclick = () => this.step(step);
      return one;
    };
    this.against = made("select");
    for (const [value, text] of [
      ["before", "the one before"],
      ["first", "the first"],
      ["number", "report number …"],
      ["nothing", "nothing"],
    ] as const)
      this.against.append(new Option(text, value));
    this.number = made("input");
    this.number.type = "number";
    this.number.min = "1";
    this.number.value = "1";
    this.number.setAttribute("aria-label", "Number of the report to compare with");
    this.number.hidden = true;
    this.against.onchange = () => {
      this.number.hidden = this.against.value !== "number";
      this.redraw();
    };
    this.number.onchange = () => this.redraw();
    this.tools = made("div", "tools", [
      button("◀", "One report back", "Left arrow; Home for the first one", -1),
      button("▶", "One report on", "Right arrow; End for the last one", 1),
      made("label", "", [new Text("Compare with "), this.against]),
      this.number,
    ]);
    this.which = made("p", "which");
    this.which.setAttribute("role", "status");
    this.news = made("div", "news");
    this.content = made("div", "content");
    this.panel.append(this.tools, this.which, this.news, this.content);
    this.panel.onkeydown = (event) => this.key(event);
  }

  /** Draws this.shown into this.content. */
  protected abstract draw(shown: Shown): void | Promise<void>;

  open(file: RemoteCapture | null, _about: About): void {
    this.file = file;
    this.shown = null;
    this.current = -1;
    this.own = new Uint32Array();
    this.groups.clear();
    this.isStale = true;
    this.which.textContent = "";
    this.news.replaceChildren();
    this.content.replaceChildren();
  }

  async refresh(entries: Uint32Array): Promise<void> {
    if (entries.length !== this.own.length) this.isStale = true;
    this.own = entries;
    // Once drawn, a report stays as it is; only how many there are has changed.
    if (this.isShown && this.isStale) this.redraw();
  }

  setShown(isShown: boolean): void {
    this.isShown = isShown;
    if (isShown) this.redraw();
  }

  goToEntry(entry: number): void {
    if (entry === this.current || indexOf(this.own, entry) < 0) return;
    this.current = entry;
    this.redraw();
  }

  // ------------------------------------------------------------------------- going from one to one

  private key(event: KeyboardEvent): void {
    if (event.ctrlKey || event.altKey || event.metaKey || event.shiftKey) return;
    const target = event.target as HTMLElement;
    if (target.matches("select, input")) return;
    if (target.matches(".sideways") && target.scrollWidth > target.clientWidth) return;
    const steps: Record<string, number> = {
      ArrowLeft: -1,
      ArrowRight: 1,
      Home: -Infinity,
      End: Infinity,
    };
    const step = steps[event.key];
    if (step === undefined) return;
    event.preventDefault();
    this.step(step);
  }

  private step(by: number): void {
    const group = this.groups.get(this.decoder);
    if (group === undefined) return;
    const { entries } = group;
    const at = indexOf(entries, this.current) + by;
    const entry = entries[Math.min(Math.max(at, 0), entries.length - 1)];
    if (entry === undefined || entry === this.current) return;
    this.current = entry;
    this.redraw();
    this.host.moved(entry);
  }

  /** How many reports of a decoder there are; the last time it was drawn. */
  protected countOf(decoder: string): number {
    return this.groups.get(decoder)?.entries.length ?? 0;
  }

  /** All reports of the shown one's kind from its sender, in order, and what became of them. */
  protected get stream(): Stream | null {
    const { shown } = this;
    return shown === null ? null : this.groups.get(this.decoder)!.streamOf(shown.entry);
  }

  /** Goes to the report of a decoder that came before the shown one, or else to the next one. */
  protected goToDecoder(decoder: string): void {
    const entries = this.groups.get(decoder)?.entries;
    if (entries === undefined || entries.length === 0 || decoder === this.decoder) return;
    this.goTo(entries[countBelow(entries, this.current) - 1] ?? entries[0]!);
  }

  /** Somebody goes to an entry. */
  protected goTo(entry: number): void {
    this.current = entry;
    this.redraw();
    this.host.moved(entry);
  }

  // ----------------------------------------------------------------------------------- the drawing

  /** Draws as soon as it can; of what is asked for meanwhile, the last. */
  protected redraw(): void {
    ++this.wanted;
    if (!this.isShown) return;
    this.drawing ??= this.drawWanted().finally(() => {
      this.drawing = null;
    });
  }

  private async drawWanted(): Promise<void> {
    for (let drawn = -1; drawn !== this.wanted && this.isShown; ) {
      drawn = this.wanted;
      try {
        await this.drawOnce();
      } catch (fault) {
        this.host.tell(fault);
      }
    }
  }

  private async drawOnce(): Promise<void> {
    const { file, own } = this;
    if (file === null || own.length === 0) return;
    if (this.isStale) {
      this.isStale = false;
      const groups = new Map<string, Group>();
      for (const decoder of this.decoders)
        groups.set(decoder, await groupOf(file, decoder, this.groups.get(decoder)));
      if (file !== this.file) return;
      this.groups = groups;
    }
    if (this.current < 0) this.current = own[0]!;
    const current = this.current;
    const [group] = [...this.groups.values()].filter((one) => one.numberOf(current) > 0);
    if (group === undefined) return;
    const shown = await this.compared(file, await look(file, current, group), group);
    if (shown === null || file !== this.file || current !== this.current) return;
    this.shown = shown;
    this.decoder = shown.entry.kind.decoder;
    this.tell(shown, group);
    const hadFocus = this.panel.contains(document.activeElement);
    await this.draw(shown);
    // What had it may be gone, and keys go to what has it.
    if (hadFocus && !this.panel.contains(document.activeElement))
      this.panel.focus({ preventScroll: true });
    this.panel.dataset["entry"] = String(current);
  }

  /** Null if something else is wanted by now. */
  private async compared(file: RemoteCapture, now: Looked, group: Group): Promise<Shown | null> {
    const asked = this.wanted;
    const shown: Shown = { ...now, base: null, follows: false, difference: null, between: [] };
    const base = group.baseOf(now.entry, this.against.value as Against, Number(this.number.value));
    if (base === null || base === now.entry.number) return shown;
    shown.base = await look(file, base, group);
    const stream = group.streamOf(now.entry);
    shown.follows = base < now.entry.number && indexOf(stream.entries, base) >= 0;
    if (!shown.follows) return shown;
    [shown.difference = null] = await file.changes([base, now.entry.number]);
    const steps = stream.numberBetween(base, now.entry.number);
    if (steps === 1) return shown;
    if (steps > pieceEntries) this.tellWaiting(steps);
    const isWanted = () => asked === this.wanted && this.isShown;
    const between = await stream.turns(base, now.entry.number, isWanted);
    if (between === null) return null;
    shown.between = between;
    if (shown.difference !== null)
      shown.difference = afterSteps(shown.difference, shown.between);
    return shown;
  }

  private tellWaiting(steps: number): void {
    this.news.replaceChildren(made("p", "", `Looking at the ${steps - 1} reports in between …`));
  }

  private tell(shown: Shown, group: Group): void {
    const { entry, base, difference, between, follows } = shown;
    const parts = [
      `Report ${shown.number} of ${group.entries.length}`,
      nameOf(entry),
    ];
    if (group.senders > 1) parts.push(senderText(entry));
    if (entry.time !== null) parts.push(timeText(entry.time));
    this.number.max = String(group.entries.length);
    this.which.textContent = parts.join(" · ");
    const said: string[] = [];
    if (base === null) {
      if (this.against.value !== "nothing") said.push(this.whyNone(entry, group));
    } else {
      const way = wayText(base.entry, entry);
      said.push(`Compared with report ${base.number}, ${nameOf(base.entry)}${way}.`);
      if (!follows) said.push(whyUnknown(base.entry, entry));
      else if (difference === null) said.push("Nothing changed.");
    }
    this.news.replaceChildren(...said.map((text) => made("p", "", text)));
    const turns = between.filter(({ restart }) => restart !== "");
    const warned: string[] = [];
    if (difference !== null && difference.restart !== "") warned.push(sentence(difference.restart));
    else if (difference !== null && isTurn(difference))
      warned.push(`Fell or wrapped: ${keysOf([difference]).join(", ")}.`);
    else if (turns.length > 0)
      warned.push(
        `Between the two reports ${countText(turns.length, "time")}: ${turns[0]!.restart}. ` +
          "The differences don't say how much came in between.",
      );
    else if (between.length > 0)
      warned.push(`Between the two reports fell or wrapped: ${keysOf(between).join(", ")}.`);
    for (const text of warned) this.news.append(made("p", "warning", `⚠ ${text}`));
  }

  private whyNone(entry: Entry, group: Group): string {
    if (this.against.value === "number") {
      const number = Number(this.number.value);
      const isThere = Number.isInteger(number) && number >= 1 && number <= group.entries.length;
      if (!isThere) return `There is no report ${this.number.value} among these.`;
    }
    if (this.against.value === "before")
      return `No ${nameOf(entry)} came before this one from its sender to compare it with.`;
    return "It is the same report: it is compared with nothing.";
  }
}

/** All reports of a decoder. */
class Group {
  constructor(
    readonly entries: Uint32Array,
    readonly streams: readonly Stream[],
    readonly senders: number,
  ) {}

  /** From 1; 0 if it is none of them. */
  numberOf(entry: number): number {
    return indexOf(this.entries, entry) + 1;
  }

  streamOf({ number }: Entry): Stream {
    return this.streams.find(({ entries }) => indexOf(entries, number) >= 0)!;
  }

  /** What an entry is to be compared with; null if there is none. Another ID's report of the
   *  same sender and decoder is the next best. */
  baseOf(entry: Entry, against: Against, number: number): number | null {
    if (against === "nothing") return null;
    if (against === "number") return this.entries[number - 1] ?? null;
    const stream = this.streamOf(entry);
    const at = indexOf(stream.entries, entry.number);
    if (at > 0) return stream.entries[against === "before" ? at - 1 : 0]!;
    const others = this.streams.filter((one) => one !== stream && one.sender === stream.sender);
    const before = others.flatMap(({ entries }) => {
      const found = entries[countBelow(entries, entry.number) - 1];
      return found === undefined ? [] : [found];
    });
    return before.length === 0 ? null : Math.max(...before);
  }
}

/** The reports of one kind from one sender, and what became of their counters. */
export class Stream {
  private seen = 0; // entries that were looked through
  private found: Difference[] = []; // where something fell, wrapped or restarted

  constructor(
    private readonly file: RemoteCapture,
    readonly key: string, // of its kind and sender
    readonly sender: string,
    public entries: Uint32Array,
  ) {}

  /** How many steps there are from one to the other. */
  numberBetween(from: number, to: number): number {
    return indexOf(this.entries, to) - indexOf(this.entries, from);
  }

  /** What became of numbers from one entry to another, step by step, where something fell,
   *  wrapped or was concluded; null if it isn't wanted any more before that is known. */
  async turns(from: number, to: number, isWanted: () => boolean): Promise<Difference[] | null> {
    const end = indexOf(this.entries, to) + 1;
    while (this.seen < end) {
      if (!isWanted()) return null;
      const first = Math.max(0, this.seen - 1); // that the next one is compared with
      const last = Math.min(end, first + pieceEntries);
      this.found.push(...(await this.file.changes(this.entries.subarray(first, last), true)));
      this.seen = last;
    }
    return this.found.filter(({ entry }) => entry > from && entry <= to);
  }
}

function isTurn({ restart, changes }: Difference): boolean {
  return restart !== "" || changes.some(isTurned);
}

function isTurned({ course }: Change): boolean {
  return course === "fell" || course === "wrapped";
}

/** What became of numbers over many steps. Only the steps tell what fell on the way, and how often
 *  something wrapped. */
function afterSteps(difference: Difference, between: Difference[]): Difference {
  const turned = between.flatMap(({ changes }) => changes.filter(isTurned));
  const isUnknown =
    turned.some(({ course }) => course === "fell") || between.some((one) => one.restart !== "");
  const changes = difference.changes.map((change): Change => {
    if (change.course === "" || change.difference === null) return change;
    const plain = change.difference - (change.course === "wrapped" ? wrapSize : 0n);
    if (isUnknown) return { ...change, difference: plain, course: "", rate: null };
    const wraps = turned.filter(({ key }) => key === change.key).length;
    if (wraps === 0) return change;
    const grown = plain + BigInt(wraps) * wrapSize;
    return { ...change, difference: grown, course: "wrapped", rate: null };
  });
  return { ...difference, restart: "", changes };
}

const wrapSize = 2n ** 32n; // other numbers than those of 32 bits don't wrap

function keysOf(differences: Difference[]): string[] {
  const keys = differences.flatMap(({ changes }) => changes.filter(isTurned));
  return [...new Set(keys.map(({ key, course }) => `${key} (${course})`))];
}

/** What an older group has looked through stays so. */
async function groupOf(file: RemoteCapture, decoder: string, old?: Group): Promise<Group> {
  const kinds = (await file.kinds()).filter(
    (kind) => kind.decoder === decoder && kind.problem === "" && !kind.toDevice,
  );
  const ofKind = (isWanted: (key: string) => boolean) => {
    const numbers = new Set(kinds.filter((kind) => isWanted(keyOf(kind))).map((one) => one.number));
    return file.select(({ number }) => numbers.has(number));
  };
  const keys = new Map(kinds.map((kind) => [keyOf(kind), JSON.stringify(kind.sender)]));
  const streams: Stream[] = [];
  for (const [key, sender] of keys) {
    const entries = await ofKind((one) => one === key);
    const stream = old?.streams.find((one) => one.key === key);
    if (stream === undefined) streams.push(new Stream(file, key, sender, entries));
    else streams.push(Object.assign(stream, { entries }));
  }
  return new Group(await ofKind(() => true), streams, new Set(keys.values()).size);
}

function keyOf({ id, type, sender }: Entry["kind"]): string {
  return JSON.stringify([id, type, sender]);
}

async function look(file: RemoteCapture, number: number, group: Group): Promise<Looked> {
  const [[entry], decoded] = await Promise.all([file.entries(number, 1), file.decode(number)]);
  return { entry: entry!, number: group.numberOf(number), decoded };
}

export function nameOf({ kind }: Entry): string {
  return kind.id === null ? kind.decoder : hexId(kind.id);
}

function senderText({ kind: { sender } }: Entry): string {
  return sender === null ? "no sender" : `device ${sender.bus}:${sender.device}`;
}

/** ", 0:00:02.000 before it". */
function wayText(from: Entry, to: Entry): string {
  if (from.time === null || to.time === null) return "";
  const milliseconds = BigInt(Math.round((to.time - from.time) / 1000));
  if (milliseconds < 0n) return `, ${durationText(-milliseconds)} behind it`;
  return `, ${durationText(milliseconds)} before it`;
}

function whyUnknown(base: Entry, now: Entry): string {
  if (keyOf(base.kind) === keyOf(now.kind))
    return "It came later: the differences are what this one has less or more.";
  return "It is of another kind or sender: what fell or grew isn't known, only what differs.";
}

function sentence(text: string): string {
  return `${text.charAt(0).toUpperCase()}${text.slice(1)}.`;
}

/** A table that may be wider than the window: it scrolls by itself, by keys, too. */
export function sideways(table: HTMLTableElement): HTMLElement {
  const region = made("div", "sideways", [table]);
  region.tabIndex = 0;
  region.setAttribute("role", "region");
  region.setAttribute("aria-label", table.getAttribute("aria-label") ?? "");
  return region;
}

/** A field's whole number; null if it is none. */
export function wholeOf(field: Field | undefined): bigint | null {
  if (field === undefined || field.kind === "float" || field.kind === "double") return null;
  const { value } = field;
  if (typeof value === "bigint") return value;
  return typeof value === "number" ? BigInt(value) : null;
}

export function fieldOf({ decoded }: Looked, key: string): Field | undefined {
  return decoded.fields.find((field) => field.key === key);
}
