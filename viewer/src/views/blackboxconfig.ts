/** The black box's configuration as a grid: a module a row, with how many of its events have a
 *  severity or an option, and its events one by one below. It is made of the lines, which is all
 *  that there is:
 *
 *      PSE_EVENT_AFE_BROWNOUT: ERROR MESSAGE GPIO_0
 *      Global Trace Config:  MASKED
 *
 *  One that isn't of this form stands as it is. */
import { csvLine } from "../basics/csv.js";
import { made } from "../basics/dom.js";
import { sideways } from "./sideways.js";

/** A line that was understood. */
interface Setting {
  name: string;
  level: string; // empty if it tells none
  options: string[];
}

/** Lines between two empty ones. */
interface Block {
  name: string;
  settings: Setting[];
  others: string[]; // as they are
}

/** A row of the grid, beside what it was. */
interface Line {
  block: Block;
  setting: Setting;
  before: Setting | null;
}

export class ConfigurationGrid {
  readonly element = made("div");
  private readonly open = new Set<string>(); // modules whose events are shown
  private readonly told = made("span");
  private readonly every = made("button");
  private readonly grid = made("div");
  private blocks: Block[] = [];
  private before: Block[] | null = null;

  constructor() {
    this.every.type = "button";
    this.every.onclick = () => {
      if (this.open.size > 0) this.open.clear();
      else for (const { name } of this.blocks) this.open.add(name);
      this.draw();
    };
    this.element.append(made("p", "tools", [this.told, this.every]), this.grid);
  }

  show(lines: readonly string[], before: readonly string[] | null): void {
    this.blocks = blocksOf(lines);
    this.before = before === null ? null : blocksOf(before);
    this.draw();
  }

  csv(): string {
    const { levels, options } = this.words();
    const head = ["module", "event", ...(levels.length > 0 ? ["severity"] : []), ...options];
    const lines = this.all().map(({ block, setting }) => {
      const marks = options.map((option) => (setting.options.includes(option) ? "X" : ""));
      const level = levels.length > 0 ? [setting.level] : [];
      return csvLine([block.name, setting.name, ...level, ...marks]);
    });
    return csvLine(head) + lines.join("");
  }

  said(): unknown {
    return this.all().map(({ block, setting, before }) => ({
      module: block.name,
      event: setting.name,
      severity: setting.level || null,
      options: setting.options,
      was: before === null || isSame(setting, before) ? undefined : textOf(before),
    }));
  }

  private all(): Line[] {
    return this.blocks.flatMap((block) => {
      const old = this.before?.find(({ name }) => name === block.name);
      return block.settings.map((setting) => {
        const before = old?.settings.find(({ name }) => name === setting.name) ?? null;
        return { block, setting, before };
      });
    });
  }

  /** All severities and options that the lines have, in the order in which they came; severities
   *  that have a line of their own, as "Global Trace Config", in the order of these. */
  private words(): { levels: string[]; options: string[] } {
    const settings = [...this.blocks, ...(this.before ?? [])].flatMap((block) => block.settings);
    const found = new Set(settings.map(({ level }) => level).filter(Boolean));
    const ranked = settings.flatMap(({ name }) => /^Global (\w+) Config$/.exec(name)?.[1] ?? []);
    const known = ranked.map((name) => name.toUpperCase()).filter((level) => found.has(level));
    const levels = new Set([...known, ...found]);
    const options = new Set(settings.flatMap((one) => one.options));
    return { levels: [...levels], options: [...options] };
  }

  private draw(): void {
    const { levels, options } = this.words();
    const all = this.all();
    const changed = all.filter(isChanged).length;
    const text =
      this.before === null
        ? `${all.length} settings.`
        : `${all.length} settings, ${changed === 0 ? "none" : changed} changed.`;
    this.every.textContent = this.open.size > 0 ? "Hide all events" : "Show all events";
    const head = made("tr", "", ["Module, events", ...levels, ...options].map(headCell));
    const table = made("table", "configuration", [
      made("thead", "", [head]),
      ...this.blocks.flatMap((block) => this.rowsOf(block, all, levels, options)),
    ]);
    table.setAttribute("aria-label", "Severities and options of the events, by module");
    const others = this.blocks.flatMap((block) => block.others);
    this.told.textContent = text;
    this.grid.replaceChildren(
      sideways(table),
      ...(others.length > 0 ? [made("pre", "", others.join("\n"))] : []),
    );
  }

  private rowsOf(block: Block, all: Line[], levels: string[], options: string[]): HTMLElement[] {
    const lines = all.filter((line) => line.block === block);
    if (lines.length === 0) return [];
    const isOpen = this.open.has(block.name);
    const button = made("button", "module", `${isOpen ? "▾" : "▸"} ${block.name} `);
    button.append(made("span", "count", String(lines.length)));
    button.type = "button";
    button.setAttribute("aria-expanded", String(isOpen));
    button.onclick = () => {
      if (isOpen) this.open.delete(block.name);
      else this.open.add(block.name);
      this.draw();
      const again = [...this.grid.querySelectorAll<HTMLElement>("button.module")];
      again.find(({ dataset }) => dataset["module"] === block.name)?.focus();
    };
    button.dataset["module"] = block.name;
    const changed = lines.filter(isChanged).length;
    const head = made("th", "", [button]);
    if (changed > 0) head.append(made("span", "was", ` ${changed} changed`));
    head.scope = "rowgroup";
    const share = (has: (setting: Setting) => boolean) => {
      const count = lines.filter(({ setting }) => has(setting)).length;
      return made("td", count > 0 ? "some" : "", count > 0 ? String(count) : "");
    };
    const rows = [
      made("tr", changed > 0 ? "changed" : "", [
        head,
        ...levels.map((level) => share((setting) => setting.level === level)),
        ...options.map((option) => share((setting) => setting.options.includes(option))),
      ]),
    ];
    if (isOpen) rows.push(...lines.map((line) => rowOf(line, levels, options)));
    return [made("tbody", "", rows)];
  }
}

function rowOf(line: Line, levels: string[], options: string[]): HTMLTableRowElement {
  const { setting, before } = line;
  const head = made("th", "event", setting.name);
  head.scope = "row";
  if (isChanged(line)) head.append(made("span", "was", ` was ${textOf(before!)}`));
  const mark = (isSet: boolean) => made("td", isSet ? "set" : "", isSet ? "●" : "");
  return made("tr", isChanged(line) ? "changed" : "", [
    head,
    ...levels.map((level) => mark(setting.level === level)),
    ...options.map((option) => mark(setting.options.includes(option))),
  ]);
}

function headCell(text: string): HTMLElement {
  const cell = made("th", "", text);
  cell.scope = "col";
  return cell;
}

function isSame(a: Setting, b: Setting): boolean {
  return textOf(a) === textOf(b);
}

function isChanged({ setting, before }: Line): boolean {
  return before !== null && !isSame(setting, before);
}

function textOf({ level, options }: Setting): string {
  return [level, ...options].filter(Boolean).join(" ") || "no options";
}

/** A line of the configuration; null if it isn't of the form. */
function settingOf(line: string): Setting | null {
  const [, name, level, rest] = /^ *(\S[^:]*): (\S*) (.*)$/.exec(line) ?? [];
  if (name === undefined) return null;
  const options = /^\(.*\)$/.test(rest!) ? [] : rest!.split(" ").filter(Boolean);
  return { name, level: level!, options };
}

/** Lines up to each empty one. A module has the name that stands alone in front of its events,
 *  or else what their names begin with. */
function blocksOf(lines: readonly string[]): Block[] {
  const blocks: Block[] = [];
  let block: Block = { name: "", settings: [], others: [] };
  const end = () => {
    if (block.settings.length + block.others.length > 0) blocks.push(named(block));
    block = { name: "", settings: [], others: [] };
  };
  for (const line of lines) {
    const setting = settingOf(line);
    if (line.trim() === "") end();
    else if (setting !== null) block.settings.push(setting);
    else if (block.settings.length === 0 && block.name === "" && /^ *\w+$/.test(line))
      block.name = line.trim();
    else block.others.push(line);
  }
  end();
  return blocks;
}

function named(block: Block): Block {
  if (block.name !== "") return block;
  const [first] = block.settings;
  const prefix = first === undefined ? "" : /^(.+?)(?:_EVENT_| )/.exec(first.name)?.[1];
  const isShared = block.settings.every(({ name }) => prefix && name.startsWith(prefix));
  return { ...block, name: isShared && prefix ? prefix : (first?.name ?? "") };
}
