/** A table that is sorted by its heads: once by a column, again the other way round, and then as
 *  it came. */
import { made } from "../basics/dom.js";

export interface TableColumn<Row> {
  title: string;

  /** What it is sorted by: numbers, the largest first, or texts. */
  value(row: Row): bigint | number | string;

  /** What stands in it; value()'s text if it isn't given. */
  cell?(row: Row): Node | string;

  className?: string;
}

type Direction = "none" | "ascending" | "descending";

export class SortedTable<Row> {
  readonly element = made("table", "sorted");
  private readonly body = made("tbody");
  private readonly heads: HTMLElement[] = [];
  private columns: readonly TableColumn<Row>[] = [];
  private rows: readonly Row[] = [];
  private by = -1;
  private direction: Direction = "none";

  /** `styleOf` gives a row's classes. */
  constructor(
    label: string,
    private readonly styleOf: (row: Row) => string = () => "",
  ) {
    this.element.setAttribute("aria-label", label);
  }

  /** Shows rows; the order that people have chosen stays, as long as the columns are as many. */
  show(columns: readonly TableColumn<Row>[], rows: readonly Row[]): void {
    if (columns.length !== this.columns.length) [this.by, this.direction] = [-1, "none"];
    this.columns = columns;
    this.rows = rows;
    this.heads.length = 0;
    const head = made("tr");
    columns.forEach(({ title, className = "" }, at) => {
      const button = made("button", "sort", title);
      button.type = "button";
      button.onclick = () => this.sortBy(at);
      const cell = made("th", className, [button]);
      cell.scope = "col";
      this.heads.push(cell);
      head.append(cell);
    });
    this.element.replaceChildren(made("thead", "", [head]), this.body);
    this.fill();
  }

  /** Those that are shown, in the order that they are shown in. */
  get sorted(): readonly Row[] {
    const column = this.columns[this.by];
    if (column === undefined || this.direction === "none") return this.rows;
    const sign = this.direction === "ascending" ? 1 : -1;
    return [...this.rows].sort((a, b) => sign * compare(column.value(a), column.value(b)));
  }

  private sortBy(at: number): void {
    const [first] = this.rows;
    const isText = first !== undefined && typeof this.columns[at]!.value(first) === "string";
    const order: Direction[] = isText
      ? ["ascending", "descending", "none"]
      : ["descending", "ascending", "none"];
    const last = this.by === at ? order.indexOf(this.direction) : -1;
    this.by = at;
    this.direction = order[(last + 1) % order.length]!;
    this.fill();
  }

  private fill(): void {
    this.heads.forEach((head, at) => {
      head.setAttribute("aria-sort", at === this.by ? this.direction : "none");
    });
    this.body.replaceChildren(
      ...this.sorted.map((row) => {
        const cells = this.columns.map(({ cell, value, className = "" }) => {
          const content = cell?.(row) ?? String(value(row));
          return made("td", className, [typeof content === "string" ? new Text(content) : content]);
        });
        return made("tr", this.styleOf(row), cells);
      }),
    );
  }
}

function compare(a: bigint | number | string, b: bigint | number | string): number {
  if (typeof a === "string" && typeof b === "string") return a.localeCompare(b, "en");
  return a < b ? -1 : a > b ? 1 : 0;
}
