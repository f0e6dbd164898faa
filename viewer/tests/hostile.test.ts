/** Files that are damaged on purpose, and a module that breaks off. */
import assert from "node:assert/strict";
import { test } from "node:test";
import { DecoderBroken, DecoderError } from "../src/decoder/decoder.js";
import { MemorySource } from "../src/decoder/sources.js";
import { cases, newDecoder, numbers, samples } from "./support.js";

test("damaged files are read to their end, and all that is found can be looked at", async () => {
  const decoder = await newDecoder();
  const random = numbers(14);
  const next = (below: number) => Math.floor((random.next().value / 2 ** 32) * below);
  let entries = 0;
  for (const { name, bytes } of samples())
    for (let round = 0; round < 20; ++round) {
      const damaged = Uint8Array.from(bytes.subarray(0, 1 + next(bytes.length)));
      for (let i = next(12); i >= 0; --i) damaged[next(damaged.length)] = next(256);
      const file = decoder.open(name, new MemorySource(damaged));
      for (let steps = 0; !file.read().ended; ++steps) assert.ok(steps < 1000, name);
      for (const entry of file.entries(0, file.size)) {
        const { problem, bytes: found } = file.decode(entry.number);
        assert.equal(found.length, entry.length);
        assert.equal(problem?.code ?? "", entry.kind.problem, `${name}: entry ${entry.number}`);
        ++entries;
      }
      file.statistics();
      file.close();
    }
  assert.ok(entries > 1000);
});

test("a report of each length is decoded or refused", async () => {
  const decoder = await newDecoder();
  const live = decoder.openLive("lengths");
  const smallest = decoder.about.reports.map((report) => report.smallest);
  const lengths = [...new Set(smallest)].flatMap((length) => [length - 1, length, length + 1]);
  for (const { id, type } of decoder.about.reports)
    for (const length of [1, 2, ...lengths, 65536]) {
      const bytes = new Uint8Array(length).fill(0xff);
      bytes[0] = id;
      live.append(bytes, type, null);
      const { lines, problem } = live.decode(live.size - 1);
      assert.ok(lines.length > 0 || problem !== null, `${id} of ${length}`);
    }
  assert.throws(() => live.append(new Uint8Array(65537), null, null), DecoderError);
  assert.throws(() => live.append(new Uint8Array(), null, null), DecoderError);
  live.close();
});

test("a file that claims to be longer than it is ends where it ends", async () => {
  const decoder = await newDecoder();
  const [sample] = samples().filter(({ name }) => name.endsWith("tour.bin"));
  const bytes = sample!.bytes;
  const file = decoder.open("-", {
    size: 1e12,
    read: (offset, room) => bytes.subarray(offset, offset + 2 * room),
  });
  while (!file.read().ended);
  assert.equal(file.position, bytes.length);
});

test("forms and keys that don't exist are refused", async () => {
  const decoder = await newDecoder();
  const source = new MemorySource(cases()[0]!.bytes);
  assert.throws(() => decoder.open("-", source, { form: "nothing" }), /no form of input/);
  assert.throws(() => [...decoder.convert("-", source, "screen")], /no form of output/);
  const file = decoder.open("-", source);
  while (!file.read().ended);
  assert.throws(() => file.decode(7), DecoderError);
  assert.throws(() => file.message(1), DecoderError);
  assert.equal(file.columns({ nobody: "all" }, [0]).size, 0);
});

test("a module that broke off says so from then on, and a new one goes on", async () => {
  const decoder = await newDecoder();
  const bytes = cases()[0]!.bytes;
  const file = decoder.open("-", new MemorySource(bytes));
  while (!file.read().ended);
  // There is no such call.
  assert.throws(() => decoder.call("nothing", null), DecoderBroken);
  assert.throws(() => file.decode(0), DecoderBroken);
  assert.throws(() => decoder.open("-", new MemorySource(bytes)), DecoderBroken);
  file.close();

  const another = await newDecoder();
  const again = another.open("-", new MemorySource(bytes));
  while (!again.read().ended);
  assert.ok(again.decode(0).lines.length > 0);
});
