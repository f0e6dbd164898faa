/** Power modes: which share of the time each took, how often it was entered, and the same of the
 *  time between two reports. */
import type { RemoteCapture } from "../decoder/client.js";
import { csvLine } from "../basics/csv.js";
import { made } from "../basics/dom.js";
import { snapshotOf } from "../plots/snapshot.js";
import type { Copies, ViewHost } from "./view.js";
import { durationText, jsonText, shareText } from "../basics/words.js";
import { ComparedView } from "./compared.js";
import { wholeOf, type Comparison, type Looked } from "./comparison.js";
import { sideways } from "./sideways.js";
import type { IsWanted } from "./stepview.js";
import { isFall, wrappedBy } from "./streams.js";

const decoder = "parsePowerModeStats";

/** A mode's time and how often it was entered: since the counters began, or in between. */
interface Mode {
  name: string;
  time: bigint; // milliseconds
  entered: bigint;
}

/** A span of time, and the modes in it. */
interface Span {
  name: string; // in copies
  title: string;
  modes: Mode[];
}

/** Counters of 32 bits go over their largest value: a time's after 49.7 days. */
interface Shown extends Comparison {
  wrapped: Map<string, bigint>; // what they lost by that, as far as the capture shows it; by key
}

export class PowerView extends ComparedView<Shown> {
  readonly decoders = [decoder];
  readonly copies: Copies = {
    csv: async () => this.csv(),
    json: async () => this.json(),
    png: async () => snapshotOf(this.content),
  };
  private spans: Span[] = [];

  constructor(host: ViewHost) {
    super("power", "Power modes", host);
  }

  protected override async complete(
    comparison: Comparison,
    _file: RemoteCapture,
    isWanted: IsWanted,
  ): Promise<Shown | null> {
    const { entry, group } = comparison;
    const stream = group.streamOf(entry);
    this.tellWaiting(stream.unseen(entry.number));
    const turns = await stream.turns(stream.entries[0]!, entry.number, isWanted);
    return turns === null ? null : { ...comparison, wrapped: wrappedBy(turns) };
  }

  protected override clear(): void {
    super.clear();
    this.spans = [];
  }

  protected drawContent(shown: Shown): void {
    const { wrapped } = shown;
    const modes = modesOf(shown, wrapped);
    const all: Span = { name: "all", title: "Since the counters began", modes };
    const between = betweenOf(shown);
    this.spans = [all];
    const parts = [figureOf(all)];
    if (wrapped.size > 0)
      parts[0]!.append(made("p", "wrapped", wrappedText([...wrapped.keys()])));
    if (typeof between === "string") {
      if (between !== "") parts.push(made("p", "", between));
    } else {
      const span = { name: "between", title: "Between the two reports", modes: between };
      this.spans.push(span);
      parts.push(figureOf(span));
    }
    this.content.replaceChildren(...parts);
  }

  private csv(): string {
    const head = csvLine(["span", "mode", "time_ms", "share", "times_entered", "mean_ms"]);
    const lines = this.spans.flatMap(({ name, modes }) =>
      modes.map((mode) => {
        const share = Number(mode.time) / Number(totalOf(modes));
        const mean = Number(mode.time) / Number(mode.entered);
        const cells = [name, mode.name, mode.time, numberOr(share), mode.entered, numberOr(mean)];
        return csvLine(cells);
      }),
    );
    return head + lines.join("");
  }

  private json(): string {
    const { shown } = this;
    if (shown === null) throw new Error("there is nothing to copy");
    return jsonText({
      entry: shown.entry.number,
      compared_with: shown.base?.entry.number ?? null,
      restart: shown.difference?.restart || null,
      wrapped_in_capture: [...shown.wrapped.keys()],
      spans: this.spans.map(({ name, modes }) => ({
        span: name,
        total_ms: totalOf(modes),
        modes: modes.map((mode) => ({
          mode: mode.name,
          time_ms: mode.time,
          times_entered: mode.entered,
        })),
      })),
    });
  }
}

const timeKey = /^(.+) time ms$/;

/** The modes of a report's keys: "READY time ms", "READY times entered"; with what they lost. */
function modesOf({ decoded }: Looked, wrapped: Map<string, bigint>): Mode[] {
  const whole = (key: string, value: bigint) => value + (wrapped.get(key) ?? 0n);
  return decoded.fields.flatMap((field) => {
    const { key } = field;
    const name = timeKey.exec(key)?.[1];
    const enteredKey = `${name} times entered`;
    const time = wholeOf(field);
    const entered = wholeOf(decoded.fields.find((one) => one.key === enteredKey));
    if (name === undefined || time === null || entered === null) return [];
    return [{ name, time: whole(key, time), entered: whole(enteredKey, entered) }];
  });
}

function wrappedText(keys: readonly string[]): string {
  return (
    `Went over the largest value of its counter while the capture ran: ${keys.join(", ")}.` +
    " That is counted here, and the report alone says less." +
    " What went over before the capture isn't known."
  );
}

/** What the counters grew by, or why that isn't known; empty if nothing is to be said of it. */
function betweenOf(shown: Comparison): Mode[] | string {
  const { base, follows, difference, between } = shown;
  if (base === null || !follows) return "";
  const turned = [...between, ...(difference === null ? [] : [difference])];
  if (turned.some(isFall))
    return "What came in between isn't known, since counters fell.";
  const growthOf = (key: string) =>
    difference?.changes.find((change) => change.key === key)?.difference ?? 0n;
  return modesOf(shown, new Map()).map(({ name }) => ({
    name,
    time: growthOf(`${name} time ms`),
    entered: growthOf(`${name} times entered`),
  }));
}

function totalOf(modes: readonly Mode[]): bigint {
  return modes.reduce((sum, { time }) => sum + time, 0n);
}

function figureOf({ name, title, modes }: Span): HTMLElement {
  const total = totalOf(modes);
  const caption = made("figcaption", "", [
    made("strong", "", title),
    made("span", "", `all modes together ${durationText(total)}`),
  ]);
  const figure = made("figure", "shares", [caption]);
  figure.dataset["span"] = name;
  if (total > 0n) figure.append(barOf(modes, total));
  else figure.append(made("p", "", "No time was counted."));
  figure.append(sideways(tableOf(title, modes, total)));
  return figure;
}

/** A bar of parts, each as wide as its share; whose the parts are stands in them, as far as
 *  there is room, and in the table. */
function barOf(modes: readonly Mode[], total: bigint): HTMLElement {
  const parts = modes.map(({ name, time }, at) => {
    const share = shareText(time, total);
    const part = made("span", `part mode${at % styles}`, [made("span", "", `${name} ${share}`)]);
    part.style.flexGrow = String(Number(time) / Number(total));
    part.hidden = time === 0n;
    part.title = `${name}: ${share}, ${durationText(time)}`;
    part.setAttribute("aria-hidden", "true");
    return part;
  });
  const bar = made("div", "stack", parts);
  bar.setAttribute("role", "img");
  const said = modes.map(({ name, time }) => `${name} ${shareText(time, total)}`);
  bar.setAttribute("aria-label", said.join(", "));
  return bar;
}

const styles = 5; // of parts, in the style sheet

function tableOf(title: string, modes: readonly Mode[], total: bigint): HTMLTableElement {
  const titles = ["Mode", "Share", "Time", "Milliseconds", "Times entered", "Mean per entry"];
  const head = titles.map((text, at) => {
    const cell = made("th", at === 0 ? "" : "figure", text);
    cell.scope = "col";
    return cell;
  });
  const rows = modes.map(({ name, time, entered }, at) => {
    const swatch = made("span", `swatch mode${at % styles}`);
    swatch.setAttribute("aria-hidden", "true");
    const mode = made("th", "", [swatch, new Text(name)]);
    mode.scope = "row";
    const mean = entered === 0n ? "–" : durationText((2n * time + entered) / (2n * entered));
    const texts = [shareText(time, total), durationText(time), String(time), String(entered), mean];
    return made("tr", "", [mode, ...texts.map((text) => made("td", "figure", text))]);
  });
  const table = made("table", "modes", [
    made("thead", "", [made("tr", "", head)]),
    made("tbody", "", rows),
  ]);
  table.setAttribute("aria-label", title);
  return table;
}

function numberOr(value: number): number | string {
  return Number.isFinite(value) ? value : "";
}
