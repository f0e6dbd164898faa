/** The memory of browsers, for tests and benchmarks. */
import { readdirSync, readFileSync } from "node:fs";

/** What the processes that this one has started take, in KiB, what they share divided among them;
 *  and the part of it that maps files: the browser's program, which is less where other browsers
 *  run. */
export function browserMemory() {
  const parents = new Map();
  for (const name of readdirSync("/proc").filter((name) => /^\d+$/.test(name)))
    try {
      const status = readFileSync(`/proc/${name}/stat`, "utf8");
      const fields = status.slice(status.lastIndexOf(")") + 2).split(" ");
      parents.set(Number(name), Number(fields[1]));
    } catch {
      // It has ended.
    }
  const isOurs = (id) => id === process.pid || (parents.has(id) && isOurs(parents.get(id)));
  const sum = { all: 0, files: 0 };
  for (const id of parents.keys())
    if (id !== process.pid && isOurs(id))
      try {
        const rollup = readFileSync(`/proc/${id}/smaps_rollup`, "utf8");
        sum.all += Number(/^Pss:\s+(\d+)/m.exec(rollup)[1]);
        sum.files += Number(/^Pss_File:\s+(\d+)/m.exec(rollup)[1]);
      } catch {
        // The same.
      }
  return sum;
}
