/** The index, and what is read again by it. */
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";
import { DecoderError, noTime, type Capture, type Decoded } from "../src/decoder/decoder.js";
import { ChunkStore, MemorySource } from "../src/decoder/sources.js";
import { capture } from "./captures.js";
import { imageReport } from "./reports.js";
import { cases, native, newDecoder, root, samples, sectionOf } from "./support.js";

const decoder = await newDecoder();

function opened(bytes: Uint8Array, step?: [bytes: number, entries: number]): Capture {
  const file = decoder.open("-", new MemorySource(bytes));
  while (!file.read(...(step ?? [])).ended);
  return file;
}

function all(file: Capture): number[] {
  return Array.from({ length: file.size }, (_, number) => number);
}

/** What a golden case's lines come to: their text, or what stands for none. */
function expectedLines(text: string): { text: string } | "throws" | "nil" {
  const lines = sectionOf(text, "lines");
  if (lines[0] === "throws" || lines[0] === "nil") return lines[0];
  return { text: lines.map((line) => line.slice(1, -1)).join("\n") };
}

test("each golden case decodes to its lines, or is refused as it has to be", () => {
  // The plug-in, which the cases are of, leaves lengths to those who call it.
  const refused: Record<string, string> = {
    "image-long-793.txt": "refused_length",
    "image-short-791.txt": "short_report",
    "packet-long-2065.txt": "refused_length",
    "packet-short-2063.txt": "short_report",
  };
  for (const { name, bytes } of cases()) {
    const expected = expectedLines(readFileSync(join(root, name), "utf8"));
    const file = opened(bytes);
    assert.equal(file.size, 1, name);
    const { problem, lines } = file.decode(0);
    const code = refused[name.split("/").at(-1)!];
    if (code !== undefined) assert.equal(problem?.code, code, name);
    else if (name.includes("/dispatch-")) assert.equal(problem?.code, "unknown_report", name);
    else if (expected === "nil" || expected === "throws")
      assert.equal(problem?.code, "decoder_failed", name);
    // A version text is one line, whatever newlines it has. Some have lines, and no object.
    else assert.equal(lines.join("\n"), expected.text, name);
    file.close();
  }
});

test("fields have the kinds and values of the golden case of an image", () => {
  const [image] = cases().filter(({ name }) => name.endsWith("/image-plain.txt"));
  const file = opened(image!.bytes);
  const text = readFileSync(join(root, image!.name), "utf8");
  const object = sectionOf(text, "object").join("\n");
  const { fields } = file.decode(0);
  assert.ok(fields.length > 4);
  for (const { key, kind, value } of fields) {
    if (kind === "nil" || kind === "text" || typeof value === "object") continue;
    const line = `"${key}" ${kind} `;
    const begin = object.indexOf(line);
    assert.ok(begin >= 0, `${line} isn't in the case`);
    const expected = object.slice(begin + line.length).split("\n")[0]!;
    assert.equal(Number(value), Number(expected), key);
  }
  file.close();
});

test("entries that are read again give what the program writes", () => {
  for (const { name, bytes } of samples()) {
    const file = opened(bytes);
    const expected = native(bytes, "-o", "csv", "--report", "0x76");
    const images = file.select((kind) => kind.id === 0x76 && kind.hasBytes && !kind.toDevice);
    assert.ok(Buffer.from(file.render("csv", images).bytes).equals(expected), name);
    assert.ok(Buffer.from(file.render("text", all(file)).bytes).equals(native(bytes)), name);
    file.close();
  }
});

test("what is rendered in steps is what the program writes at once", () => {
  const bytes = readFileSync(join(root, "samples/forms/tour-usbmon.pcap"));
  const file = opened(bytes);
  for (const form of ["json", "ndjson", "text", "csv", "recording"])
    for (const atOnce of [1, 5, file.size, 100]) {
      const steps = [...file.renderInSteps(form, Uint32Array.from(all(file)), { atOnce })];
      assert.equal(steps.length, Math.ceil(file.size / atOnce));
      const whole = Buffer.concat(steps.map((step) => step.bytes));
      assert.ok(whole.equals(native(bytes, "-o", form)), `${form}, ${atOnce} at once`);
    }
  const [nothing, ...more] = [...file.renderInSteps("json", new Uint32Array())];
  assert.deepEqual(JSON.parse(Buffer.from(nothing!.bytes).toString()), []);
  assert.equal(more.length, 0);
  // Two at a time don't mix.
  const one = file.renderInSteps("recording", Uint32Array.of(0, 1), { atOnce: 1 });
  const other = file.renderInSteps("json", Uint32Array.of(2), { atOnce: 1 });
  const begun = one.next().value!;
  assert.match(Buffer.from(other.next().value!.bytes).toString(), /^\[/);
  const ended = one.next().value!;
  const both = Buffer.concat([begun.bytes, ended.bytes]);
  assert.ok(both.equals(Buffer.from(file.render("recording", [0, 1]).bytes)));
  file.close();
});

test("pieces of any size give the index that the whole gives", () => {
  for (const { name, bytes } of samples()) {
    const whole = opened(bytes);
    for (const step of [
      [1, 1],
      [100, 3],
      [5000, 1000],
    ] as const) {
      const pieces = opened(bytes, [...step]);
      assert.deepEqual(
        pieces.entries(0, pieces.size),
        whole.entries(0, whole.size),
        `${name} in steps of ${step[0]}`,
      );
      pieces.close();
    }
    whole.close();
  }
});

test("a source that hands out a byte at a time gives the same", () => {
  const [sample] = samples().filter(({ name }) => name.endsWith("tour-usbmon.pcap"));
  const bytes = sample!.bytes;
  const slow = {
    size: bytes.length,
    read: (offset: number) => bytes.subarray(offset, offset + 1),
  };
  const file = decoder.open("-", slow);
  while (!file.read().ended);
  const whole = opened(bytes);
  assert.deepEqual(file.entries(0, file.size), whole.entries(0, whole.size));
  assert.deepEqual(file.decode(3), whole.decode(3));
  file.close();
  whole.close();
});

test("an index of many entries is exact at its blocks' ends, and small", () => {
  const count = 3000;
  const bytes = capture(Array.from({ length: count }, (_, frame) => imageReport(frame)));
  const file = opened(bytes);
  assert.equal(file.size, count);
  for (const number of [0, 255, 256, 257, 1023, 1024, 2047, 2048, count - 1]) {
    const [entry] = file.entries(number, 1);
    assert.equal(entry!.number, number);
    assert.equal(entry!.time, 1_700_000_000_000_000 + number * 1000);
    assert.equal(entry!.length, 792);
    assert.deepEqual(file.decode(number).bytes, imageReport(number), `entry ${number}`);
  }
  assert.deepEqual(
    file.entries(250, 12).map((entry) => entry.place),
    Array.from({ length: 12 }, (_, i) => 251 + i),
  );
  const { indexBytes } = file.read();
  assert.ok(indexBytes / count < 16, `${indexBytes / count} bytes a report`);
  assert.equal(file.entries(count - 3, 10).length, 3);
  assert.throws(() => file.decode(count), DecoderError);
  file.close();
});

test("columns are those of the reports, and what is followed comes once each", () => {
  const count = 700;
  const bytes = capture(Array.from({ length: count }, (_, frame) => imageReport(frame)));
  const follow = { parseVeskImage: [counterOf("parseVeskImage")] };
  const file = decoder.open("-", new MemorySource(bytes), { follow });
  const numbers: number[] = [];
  const entries: number[] = [];
  for (let ended = false; !ended; ) {
    const step = file.read(100_000, 64);
    ended = step.ended;
    const table = step.followed.get("parseVeskImage");
    if (table === undefined) continue;
    const column = table.column(counterOf("parseVeskImage"));
    for (let row = 0; row < table.rows; ++row) numbers.push(column.numberAt(row));
    entries.push(...table.entries);
  }
  assert.deepEqual(numbers, all(file));
  assert.deepEqual(entries, all(file));

  const chosen = [699, 0, 256];
  const table = file.columns({ parseVeskImage: "all" }, chosen).get("parseVeskImage")!;
  assert.deepEqual([...table.entries], chosen);
  assert.equal(table.texts[Number(table.column("source").numberAt(0))], "-");
  assert.equal(table.column("time").at(0)[0], 1_700_000_000_699_000n);
  for (const [row, entry] of chosen.entries()) {
    for (const { key, value } of file.decode(entry).fields) {
      const got = table.column(key).at(row);
      if (typeof value === "object") assert.deepEqual(got, value, key);
      else assert.equal(got[0], value, key);
    }
  }
  assert.equal(file.columns({ parseVeskVersion: "all" }, chosen).size, 0);
  assert.throws(() => table.column("NONE"), DecoderError);
  file.close();
});

function counterOf(name: string): string {
  return decoder.about.reports.find((report) => report.decoder === name)!.counter;
}

test("a text's reports are kept, and their room has a limit", () => {
  const [hex] = samples().filter(({ name }) => name === "samples/tour.hex");
  const file = opened(hex!.bytes);
  const decoded: Decoded[] = all(file).map((number) => file.decode(number));
  assert.ok(decoded.length > 5);
  assert.ok(decoded.every((one) => one.lines.length > 0));

  const small = decoder.open("-", new MemorySource(hex!.bytes), { store: new ChunkStore(100) });
  while (!small.read().ended);
  const [last] = small.entries(small.size - 1, 1);
  assert.equal(last!.kind.problem, "unreadable_input");
  assert.match(small.message(last!.message), /more memory/);
  assert.ok(small.size < file.size);
  file.close();
  small.close();
});

test("reports that come one by one are entries as well", () => {
  const live = decoder.openLive("a device", { follow: { parseVeskImage: [] } });
  live.append(imageReport(5), "input", 1_000_000);
  live.append(Uint8Array.of(0x76, 1), "input", null);
  const { followed, entries } = live.read();
  assert.equal(entries, 2);
  assert.equal(followed.get("parseVeskImage")!.rows, 1);
  assert.deepEqual(live.decode(0).bytes, imageReport(5));
  assert.equal(live.decode(1).problem!.code, "short_report");
  const table = live.columns({ parseVeskImage: [] }, [0]).get("parseVeskImage")!;
  assert.notEqual(table.column("time").at(0)[0], noTime);
  live.close();
});

test("reports that there is no room for are told, and those before them stay", () => {
  const live = decoder.openLive("a device", { store: new ChunkStore(2000) });
  const reports = [1, 2, 3, 4].map((number) => ({
    bytes: imageReport(number),
    type: "input" as const,
    microseconds: number,
  }));
  const { appended, fault } = live.appendAll(reports);
  assert.equal(appended, 2);
  assert.match(fault, /more memory/);
  assert.equal(live.read().entries, 2);
  assert.deepEqual(live.decode(1).bytes, imageReport(2));
  assert.deepEqual(live.appendAll(reports.slice(0, 1)).appended, 0);
  live.close();
});

test("an index of a mixture gives back what came", () => {
  const live = decoder.openLive("a mixture");
  const came: { bytes: Uint8Array; time: number | null }[] = [];
  for (let number = 0; number < 1500; ++number) {
    // Steady for a while, and then not: lengths, times and IDs change, and go back.
    const isSteady = number % 100 < 60;
    const length = isSteady ? 64 : 1 + ((number * 7919) % 3000);
    const bytes = new Uint8Array(length).fill(number & 0xff);
    bytes[0] = isSteady ? 0xd0 : [0x76, 0xd1, 0xa9][number % 3]!;
    const time = number % 17 === 3 ? null : 1e15 + (isSteady ? number * 1000 : -number * 99_991);
    live.append(bytes, isSteady ? "feature" : null, time);
    came.push({ bytes, time });
  }
  assert.equal(live.size, came.length);
  const entries = live.entries(0, came.length);
  for (const [number, { bytes, time }] of came.entries()) {
    const { kind, length, place, time: got } = entries[number]!;
    assert.deepEqual([kind.id, length, place, got], [bytes[0], bytes.length, number + 1, time]);
    assert.deepEqual(live.decode(number).bytes, bytes);
  }
  assert.equal(
    live.kinds().reduce((sum, kind) => sum + kind.count, 0),
    came.length,
  );
  live.close();
});

test("a search finds lines and problems", () => {
  const [bin] = samples().filter(({ name }) => name === "samples/tour.hex");
  const file = opened(bin!.bytes);
  const version = file.decode(0).lines[0]!;
  assert.ok(file.search(version, 0, file.size).includes(0));
  assert.deepEqual([...file.search("no line has this", 0, file.size)], []);
  file.close();

  // One that has lines, and an object that can't be made of them.
  const [short] = cases().filter(({ name }) => name.endsWith("/version-extended-empty.txt"));
  const refused = opened(short!.bytes);
  const { problem, lines } = refused.decode(0);
  assert.ok(lines.length > 0);
  assert.match(problem!.message, /its object needs 6/);
  assert.deepEqual([...refused.search("its object needs 6", 0, 1)], [0]);
  refused.close();
});

test("a file that is gone says so, and the module goes on", () => {
  const bytes = capture(Array.from({ length: 1000 }, (_, frame) => imageReport(frame)));
  let gone = false;
  const source = {
    size: bytes.length,
    read: (offset: number, room: number) => {
      if (gone) throw new Error("NotReadableError");
      return bytes.subarray(offset, offset + room);
    },
  };
  const file = decoder.open("-", source);
  while (!file.read().ended);
  gone = true;
  assert.throws(() => file.decode(900), /can't be read at byte/);
  gone = false;
  assert.deepEqual(file.decode(900).bytes, imageReport(900));
  file.close();
  assert.throws(() => file.decode(0), DecoderError);
});

test("where reports of a device are missing, the list says so", async () => {
  const decoder = await newDecoder();
  const live = decoder.openLive("a device");
  live.append(imageReport(5), "input", 1_000_000);
  const told = "17 reports lost here: too slow";
  live.appendGap({ told, lost: 17, microseconds: 1_500_000 });
  live.appendGap({ told: "no more", lost: 0, microseconds: null });
  live.append(imageReport(23), "input", 2_000_000);
  const { entries, reports } = live.read();
  assert.deepEqual([entries, reports], [4, 2]);
  const all = live.entries(0, 4);
  const places = all.map(({ kind, place }) => `${kind.unit} ${kind.unit === "file" ? "" : place}`);
  assert.deepEqual(places, ["report 1", "file ", "file ", "report 2"]);
  assert.deepEqual([all[1]!.time, all[2]!.time], [1_500_000, null]);
  assert.deepEqual(live.decode(1).problem, { code: "lost_reports", message: told });
  assert.deepEqual([...live.search("lost here", 0, 4)], [1]);

  // As the program writes what its own queue lost.
  const text = new TextDecoder().decode(live.render("ndjson", [1, 2]).bytes);
  const records = text.trimEnd().split("\n").map((one) => JSON.parse(one).error);
  assert.deepEqual(records, [
    { code: "lost_reports", lost: 17, message: told },
    { code: "lost_reports", message: "no more" },
  ]);
  live.close();
});
