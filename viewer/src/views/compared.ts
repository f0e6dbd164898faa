/** What views share that show one report at a time beside another one that it is compared with. */
import { labelled, numberInput, option } from "../basics/controls.js";
import type { RemoteCapture } from "../decoder/client.js";
import { headOf, newsOf, warningOf, type Comparison, type Looked } from "./comparison.js";
import { made } from "../basics/dom.js";
import { afterSteps, groupOf, pieceEntries, type Against, type Group } from "./streams.js";
import { StepView, type IsWanted } from "./stepview.js";
import { countBelow, indexOf } from "../basics/numbers.js";
import type { ViewHost } from "./view.js";

export abstract class ComparedView<Shown extends Comparison = Comparison> extends StepView<Shown> {
  protected readonly tools: HTMLElement;
  protected readonly content = made("div", "content");
  private readonly which = made("p", "which");
  private readonly news = made("div", "news");
  private readonly against = made("select");
  private readonly number = numberInput("Number of the report to compare with", 1);
  private groups = new Map<string, Group>(); // by decoder

  constructor(name: string, title: string, host: ViewHost) {
    super(name, title, host);
    for (const [value, text] of [
      ["before", "the one before"],
      ["first", "the first"],
      ["number", "report number …"],
      ["nothing", "nothing"],
    ] as const)
      this.against.append(option(value, text));
    this.number.hidden = true;
    this.against.onchange = () => {
      this.number.hidden = this.against.value !== "number";
      this.redraw();
    };
    this.number.onchange = () => this.redraw();
    this.tools = made("div", "tools", [
      this.stepper.root,
      labelled("Compare with", this.against),
      this.number,
    ]);
    this.which.setAttribute("role", "status");
    this.panel.classList.add("compared");
    this.panel.append(this.tools, this.which, this.news, this.content);
  }

  /** Draws the report itself, into this.content. */
  protected abstract drawContent(shown: Shown): void;

  /** Gets what else is drawn of it; null if it isn't wanted any more. */
  protected abstract complete(
    comparison: Comparison,
    file: RemoteCapture,
    isWanted: IsWanted,
  ): Promise<Shown | null>;

  protected override clear(): void {
    this.groups.clear();
    this.which.textContent = "";
    this.news.replaceChildren();
    this.content.replaceChildren();
  }

  protected override async takeIn(file: RemoteCapture): Promise<void> {
    const end = this.own.at(-1)! + 1;
    const groups = new Map<string, Group>();
    for (const decoder of this.decoders)
      groups.set(decoder, await groupOf(file, decoder, end, this.groups.get(decoder)));
    if (file === this.file) this.groups = groups;
  }

  /** Those of its decoder. */
  protected override groupOf(entry: number): Uint32Array {
    return this.groupWith(entry)?.entries ?? this.own;
  }

  /** How many reports of a decoder there are; the last time it was drawn. */
  protected countOf(decoder: string): number {
    return this.groups.get(decoder)?.entries.length ?? 0;
  }

  /** Goes to the report of a decoder that came before the shown one, or else to its first one. */
  protected goToDecoder(decoder: string): void {
    const entries = this.groups.get(decoder)?.entries;
    if (entries === undefined || entries.length === 0) return;
    this.goTo(entries[countBelow(entries, this.current) - 1] ?? entries[0]!);
  }

  protected override key(event: KeyboardEvent): void {
    const target = event.target as HTMLElement;
    // A table that is wider than the window scrolls.
    if (target.matches(".sideways") && target.scrollWidth > target.clientWidth) return;
    super.key(event);
  }

  protected async look(
    file: RemoteCapture,
    entry: number,
    isWanted: IsWanted,
  ): Promise<Shown | null> {
    const group = this.groupWith(entry);
    if (group === undefined) return null;
    const comparison = await this.compared(file, entry, group, isWanted);
    return comparison === null ? null : this.complete(comparison, file, isWanted);
  }

  protected draw(shown: Shown): void {
    this.number.max = String(shown.group.entries.length);
    this.which.textContent = headOf(shown);
    this.news.replaceChildren(...newsOf(shown).map((text) => made("p", "", text)));
    const warning = warningOf(shown);
    if (warning !== "") this.news.append(made("p", "warning", `⚠ ${warning}`));
    this.drawContent(shown);
  }

  /** Says that it takes a while. */
  protected tellWaiting(reports: number): void {
    if (reports <= pieceEntries) return;
    this.news.replaceChildren(made("p", "", `Looking at ${reports} reports …`));
  }

  private groupWith(entry: number): Group | undefined {
    return [...this.groups.values()].find((one) => one.numberOf(entry) > 0);
  }

  /** Null if something else is wanted by now. */
  private async compared(
    file: RemoteCapture,
    number: number,
    group: Group,
    isWanted: IsWanted,
  ): Promise<Comparison | null> {
    const now = await look(file, number, group);
    const against = this.against.value as Against;
    const wanted = this.number.value;
    const found: Comparison = {
      ...now,
      group,
      against,
      wanted,
      base: null,
      follows: false,
      difference: null,
      between: [],
    };
    const base = group.baseOf(now.entry, against, Number(wanted));
    if (base === null || base === number) return found;
    found.base = await look(file, base, group);
    const stream = group.streamOf(now.entry);
    found.follows = base < number && indexOf(stream.entries, base) >= 0;
    if (!found.follows) return found;
    [found.difference = null] = await file.changes([base, number]);
    if (stream.numberBetween(base, number) === 1) return found;
    this.tellWaiting(stream.unseen(number));
    const between = await stream.turns(base, number, isWanted);
    if (between === null) return null;
    found.between = between;
    if (found.difference !== null) found.difference = afterSteps(found.difference, between);
    return found;
  }
}

async function look(file: RemoteCapture, number: number, group: Group): Promise<Looked> {
  const [[entry], decoded] = await Promise.all([file.entries(number, 1), file.decode(number)]);
  return { entry: entry!, number: group.numberOf(number), decoded };
}
