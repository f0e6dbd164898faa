/** Numbers as the views of the firmware's counters say them. */

/** Milliseconds as "1:02:03.004"; days stay hours. */
export function durationText(milliseconds: bigint): string {
  const sign = milliseconds < 0n ? "−" : "";
  const all = milliseconds < 0n ? -milliseconds : milliseconds;
  const two = (value: bigint) => String(value).padStart(2, "0");
  const rest = String(all % 1000n).padStart(3, "0");
  const seconds = all / 1000n;
  return `${sign}${seconds / 3600n}:${two((seconds / 60n) % 60n)}:${two(seconds % 60n)}.${rest}`;
}

/** With its sign: "+5", "−3", "±0". */
export function signedText(difference: bigint): string {
  if (difference === 0n) return "±0";
  return difference > 0n ? `+${difference}` : `−${-difference}`;
}

/** A share as "12.3 %"; what is less than the last digit, and isn't nothing, is told so. */
export function shareText(part: bigint, whole: bigint): string {
  if (whole === 0n) return "–";
  const tenths = (part * 1000n + whole / 2n) / whole;
  if (tenths === 0n && part > 0n) return "< 0.1 %";
  if (tenths === 1000n && part < whole) return "> 99.9 %";
  return `${tenths / 10n}.${tenths % 10n} %`;
}

/** One or several: "1 channel", "2 channels"; `many` is given where an s doesn't make it. */
export function countText(count: number, one: string, many = `${one}s`): string {
  return `${count} ${count === 1 ? one : many}`;
}

/** What a file holds: "1,024 reports", "16 reports and 10 unreadable places"; `other` is what stands
 *  there where no report is. */
export function contentText(reports: number, entries: number, other = "unreadable place"): string {
  const counted = (count: number, what: string) =>
    `${count.toLocaleString("en")} ${what}${count === 1 ? "" : "s"}`;
  const text = counted(reports, "report");
  return entries === reports ? text : `${text} and ${counted(entries - reports, other)}`;
}

/** Four digits of a rate are enough, as in the program. */
export function rateText(rate: number): string {
  return rate >= 1000 ? rate.toFixed(0) : String(Number(rate.toPrecision(4)));
}

/** JSON for people and programs; numbers of 64 bits with all their digits. */
export function jsonText(value: unknown): string {
  const mark = "\u0000";
  const text = JSON.stringify(
    value,
    (_, one: unknown) => (typeof one === "bigint" ? `${mark}${one}${mark}` : one),
    2,
  );
  return text.replaceAll(/"\\u0000(-?\d+)\\u0000"/g, "$1") + "\n";
}
