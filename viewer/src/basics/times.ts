/** Times as people read them. */

/** Microseconds since the first report, in seconds. */
export function sinceText(microseconds: number): string {
  return (microseconds / 1e6).toFixed(6);
}

/** The capture's own time. Most have the time of day, some count from a beginning of their own. */
export function timeText(microseconds: number): string {
  const isDay = microseconds >= 1e14 && microseconds < 1e16; // 1973 to 2286
  if (!isDay) return `${(microseconds / 1e6).toFixed(6)} s`;
  const day = new Date(Math.floor(microseconds / 1e6) * 1000).toISOString();
  const part = String(microseconds % 1e6).padStart(6, "0");
  return `${day.slice(0, 10)} ${day.slice(11, 19)}.${part} UTC`;
}
