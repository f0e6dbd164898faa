/** Tables as lines of values separated by commas. Texts with a comma, a quote or a line's end stand in
 *  quotes. */

type Cell = string | number | bigint | null;

export function csvLine(cells: readonly Cell[]): string {
  return `${cells.map(csvCell).join(",")}\n`;
}

export function csvOf(rows: Iterable<readonly Cell[]>): string {
  return Array.from(rows, csvLine).join("");
}

function csvCell(value: Cell): string {
  const text = value === null ? "" : String(value);
  return /[",\r\n]/.test(text) ? `"${text.replaceAll('"', '""')}"` : text;
}
