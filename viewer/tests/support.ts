/** What the tests share: the module, the native program, and samples. */
import { execFileSync } from "node:child_process";
import { readdirSync, readFileSync } from "node:fs";
import { join } from "node:path";
import { Decoder } from "../src/decoder/decoder.js";

export function fromEnvironment(name: string): string {
  const value = process.env[name];
  if (value === undefined) throw new Error(`${name} isn't set; scripts/viewer --test sets it`);
  return value;
}

export const root = fromEnvironment("VESK_ROOT");

const module = WebAssembly.compile(readFileSync(fromEnvironment("VESK_MODULE")));

export async function newDecoder(): Promise<Decoder> {
  return Decoder.create(await module);
}

export interface Sample {
  name: string;
  bytes: Uint8Array;
}

/** All captures in samples/. */
export function samples(): Sample[] {
  const isSample = (name: string) => !name.endsWith(".py");
  const found: Sample[] = [];
  for (const folder of ["samples", "samples/forms"])
    for (const entry of readdirSync(join(root, folder), { withFileTypes: true }))
      if (entry.isFile() && isSample(entry.name)) {
        const name = join(folder, entry.name);
        found.push({ name, bytes: readFileSync(join(root, name)) });
      }
  return found;
}

/** The lines of a section of a golden case's file. */
export function sectionOf(text: string, name: string): string[] {
  const lines = text.split("\n");
  const begin = lines.indexOf(`[${name}]`);
  if (begin < 0) throw new Error(`a case has no [${name}]`);
  const isHead = (line: string, at: number) => at > begin && /^\[[a-z ]+\]$/.test(line);
  const end = lines.findIndex(isHead);
  return lines.slice(begin + 1, end < 0 ? undefined : end).filter((line) => line !== "");
}

/** The report of each golden case, as a line of hex digits. */
export function cases(): Sample[] {
  const folder = join(root, "tests/cases");
  return readdirSync(folder).map((name) => {
    const text = readFileSync(join(folder, name), "utf8");
    const line = sectionOf(text, "report").join(" ") + "\n";
    return { name: `tests/cases/${name}`, bytes: new TextEncoder().encode(line) };
  });
}

/** Numbers that look random, and are the same in each run. */
export function* numbers(seed: number): Generator<number, never> {
  for (;;) {
    seed = (Math.imul(seed, 1664525) + 1013904223) >>> 0;
    yield seed;
  }
}

/** What the native program writes of bytes, or of files where they are null, whatever its exit
 *  status. */
export function native(bytes: Uint8Array | null, ...options: string[]): Buffer {
  try {
    return execFileSync(fromEnvironment("VESK_DECODE"), bytes ? [...options, "-"] : options, {
      input: bytes ?? new Uint8Array(),
      stdio: ["pipe", "pipe", "ignore"],
      maxBuffer: 1 << 28,
    });
  } catch (fault) {
    const { status, stdout } = fault as { status: number; stdout: Buffer };
    if (![1, 3, 5].includes(status)) throw fault;
    return stdout;
  }
}

/** What the native program says of each of a file's reports. */
export function nativeRecords<Record>(path: string, ...options: string[]): Record[] {
  const text = native(null, "-o", "ndjson", ...options, path).toString();
  return text.split("\n").filter(Boolean).map((line) => JSON.parse(line) as Record);
}
