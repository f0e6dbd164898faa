/** ADC dumps: which packets make one, and what is drawn of them. */
import assert from "node:assert/strict";
import { rmSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import type { Page } from "playwright-core";
import { csvOf } from "../src/basics/csv.js";
import { DumpSorter, type Packet } from "../src/views/dumps.js";
import { histogramOf, samplesOf, spectrumOf, Wave, type Reading } from "../src/plots/wave.js";
import { choose, folder, launched, opened, shownLines } from "./browser.js";
import { capture } from "./captures.js";
import { adcPacket } from "./reports.js";
import { native, root } from "./support.js";
import { becomes, waitForText, waitUntil } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

// ---------------------------------------------------------------------------------- without a page

/** Packets with these numbers; a number has the same payload each time, unless it has a sign. */
async function dumpsOf(numbers: number[], total: number, other = total) {
  const packets = numbers.map(
    (number, entry): Packet => ({
      entry,
      number: Math.abs(number),
      size: 2048,
      total: entry < numbers.length / 2 ? total : other,
    }),
  );
  const sorter = new DumpSorter(2048, async (one, two) => numbers[one] === numbers[two]);
  // As they come while a file is read: in pieces.
  for (let at = 0; at < packets.length; at += 3) await sorter.add(packets.slice(at, at + 3));
  await sorter.flush();
  return sorter.dumps.map((dump) => {
    const { first, count } = dump.range(2048);
    const entries = Array.from({ length: count }, (_, place) => dump.entryAt(first + place));
    return { first, entries, late: dump.late, doubled: dump.doubled };
  });
}

const clean = { late: 0, doubled: 0 };

test("packets are joined by their numbers, lost ones leave their places", async () => {
  assert.deepEqual(await dumpsOf([0, 1, 4, 5], 6 * 2048), [
    { first: 0, entries: [0, 1, null, null, 2, 3], ...clean },
  ]);
});

test("a dump has as many places as its total size says, at both ends", async () => {
  assert.deepEqual(await dumpsOf([3], 8 * 2048), [
    { first: 0, entries: [null, null, null, 0, null, null, null, null], ...clean },
  ]);
  // Of a dump whose size isn't told, only those that came are known; numbers may begin anywhere.
  assert.deepEqual(await dumpsOf([7, 8], 0), [{ first: 7, entries: [0, 1], ...clean }]);
  assert.deepEqual(await dumpsOf([1, 2, 3], 3 * 2048), [
    { first: 1, entries: [0, 1, 2], ...clean },
  ]);
  // A last packet that isn't full is one, too.
  assert.deepEqual(await dumpsOf([0], 2049), [{ first: 0, entries: [0, null], ...clean }]);
  // Packets that are far apart are no dump.
  assert.deepEqual(
    (await dumpsOf([5, 100_005, 100_006], 0)).map(({ first, entries }) => [first, entries]),
    [
      [5, [0]],
      [100_005, [1, 2]],
    ],
  );
  // Nobody waits for four gigabytes because a packet says so.
  assert.deepEqual(await dumpsOf([0, 1], 0xffffffff), [{ first: 0, entries: [0, 1], ...clean }]);
});

test("where numbers start again, or the total size is another, another dump begins", async () => {
  assert.deepEqual(await dumpsOf([0, 1, 2, 0, 1, 2], 3 * 2048), [
    { first: 0, entries: [0, 1, 2], ...clean },
    { first: 0, entries: [3, 4, 5], ...clean },
  ]);
  // The end of the first, and the beginning of the second are lost.
  assert.deepEqual(await dumpsOf([0, 1, -1, -2], 3 * 2048), [
    { first: 0, entries: [0, 1, null], ...clean },
    { first: 0, entries: [null, 2, 3], ...clean },
  ]);
  // The capture began in the middle of the first one.
  assert.deepEqual(await dumpsOf([2, 3, 0, 1, 2, 3], 4 * 2048), [
    { first: 0, entries: [null, null, 0, 1], ...clean },
    { first: 0, entries: [2, 3, 4, 5], ...clean },
  ]);
  assert.deepEqual(await dumpsOf([0, 1, 2, 3], 2 * 2048, 4 * 2048), [
    { first: 0, entries: [0, 1], ...clean },
    { first: 0, entries: [null, null, 2, 3], ...clean },
  ]);
});

test("packets that come late or twice are put where they belong, and counted", async () => {
  assert.deepEqual(await dumpsOf([0, 1, 4, 4, 2, 3, 5], 6 * 2048), [
    { first: 0, entries: [0, 1, 4, 5, 2, 6], late: 2, doubled: 1 },
  ]);
  assert.deepEqual(await dumpsOf([1, 0, 2, 2], 3 * 2048), [
    { first: 0, entries: [1, 0, 2], late: 1, doubled: 1 },
  ]);
});

/** 4 packets of 512 words each, the second one lost, the last one with 100 words. */
function waveOf(reading: Reading): { wave: Wave; words: Uint32Array } {
  const words = Uint32Array.from({ length: 2048 }, (_, i) => (i * 2654435761) >>> 0);
  const wave = new Wave(words, 512, Uint32Array.of(512, 0, 512, 100), reading);
  return { wave, words };
}

/** What a sample is, worked out from the words' digits. */
function expected(words: Uint32Array, reading: Reading, index: number): number {
  const isHalf = reading.endsWith("16");
  const digits = words[isHalf ? index >> 1 : index]!.toString(16).padStart(8, "0");
  const part = isHalf ? (index % 2 === 0 ? digits.slice(4) : digits.slice(0, 4)) : digits;
  const value = parseInt(part, 16);
  const limit = 16 ** part.length;
  return reading.startsWith("s") && value >= limit / 2 ? value - limit : value;
}

test("words are read as chosen, and the least and the most of any stretch are right", () => {
  for (const reading of ["u32", "s32", "u16", "s16"] as const) {
    const { wave, words } = waveOf(reading);
    const perWord = reading.endsWith("16") ? 2 : 1;
    assert.equal(wave.length, 2048 * perWord);
    assert.equal(wave.present, (512 + 512 + 100) * perWord);
    const isThere = (i: number) => i < 512 * perWord || (i >= 1024 * perWord && i < 1636 * perWord);
    assert.deepEqual(
      wave.gaps,
      [
        [512, 1024],
        [1636, 2048],
      ].map(([from, to]) => ({ from: from! * perWord, to: to! * perWord })),
    );
    for (const [from, to] of [
      [0, wave.length],
      [0, 1],
      [3, 700],
      [300, 1500],
      [513 * perWord, 1000 * perWord],
      [255, 257],
      [1600 * perWord, 1700 * perWord],
    ] as const) {
      const values = [];
      for (let i = from; i < to; ++i) if (isThere(i)) values.push(expected(words, reading, i));
      const extremes = { least: Math.min(...values), most: Math.max(...values) };
      assert.deepEqual(wave.extremes(from, to), values.length === 0 ? null : extremes);
    }
    assert.equal(wave.at(600 * perWord), null);
    assert.equal(wave.at(1100), isThere(1100) ? expected(words, reading, 1100) : null);
  }
});

test("the counts of a histogram sum up to the samples", () => {
  const { wave, words } = waveOf("u16");
  const { first, width, counts } = histogramOf(wave, 0, wave.length)!;
  assert.equal(counts.reduce((sum, count) => sum + count), wave.present);
  const [low, high] = [first + 7 * width, first + 8 * width];
  let count = 0;
  for (let i = 0; i < wave.length; ++i) {
    if (wave.at(i) === null) continue;
    const value = expected(words, "u16", i);
    if (value >= low && value < high) ++count;
  }
  assert.equal(counts[7], count);
  assert.equal(histogramOf(wave, 1100, 1200), null); // the lost packet
  // Few values have a bar each.
  const few = Uint32Array.from({ length: 512 }, (_, i) => 5 + (i % 3));
  const flat = new Wave(few, 512, Uint32Array.of(512), "u32");
  assert.deepEqual(histogramOf(flat, 0, 512), {
    first: 5,
    width: 1,
    counts: Uint32Array.of(171, 171, 170),
  });
});

test("a sine has its peak in the right bin, and its amplitude there", () => {
  for (const [size, bin] of [
    [512, 40],
    [4096, 777],
    [2048, 1],
  ] as const) {
    const words = Uint32Array.from({ length: size }, (_, i) =>
      Math.round(1e6 + 1e5 * Math.sin((2 * Math.PI * bin * i) / size)),
    );
    const wave = new Wave(words, 512, new Uint32Array(size / 512).fill(512), "u32");
    const { from, size: used, amplitudes } = spectrumOf(wave, 0, size)!;
    assert.deepEqual([from, used, amplitudes.length], [0, size, size / 2]);
    const peak = amplitudes.indexOf(Math.max(...amplitudes));
    assert.equal(peak, bin);
    assert.ok(Math.abs(amplitudes[bin]! - 1e5) < 2, `${amplitudes[bin]}`);
    // A Hann window gives half of it to both neighbours, and nothing to others.
    assert.ok(Math.abs(amplitudes[bin + 1]! - 5e4) < 2);
    assert.ok(amplitudes[bin + 3]! < 2);
  }
});

test("a spectrum is of the longest stretch without a gap", () => {
  const words = new Uint32Array(8 * 512);
  const wave = new Wave(words, 512, Uint32Array.of(512, 0, 512, 512, 512, 0, 512, 512), "u32");
  const { from, size } = spectrumOf(wave, 0, wave.length)!;
  assert.deepEqual([from, size], [1024, 1024]); // of three packets, two are a power of two
  assert.equal(spectrumOf(wave, 510, 1025), null);
});

test("copied as CSV, lost samples are empty", () => {
  const { wave, words } = waveOf("u32");
  assert.equal(
    csvOf(samplesOf(wave, 40, 510, 514)),
    `sample,packet,value\n510,40,${words[510]}\n511,40,${words[511]}\n512,41,\n513,41,\n`,
  );
});

// ------------------------------------------------------------------------------------- in the page

/** A sine with a period of 32 samples. */
function sine(packet: number): number[] {
  return Array.from({ length: 512 }, (_, i) =>
    Math.round(1000 + 500 * Math.sin((2 * Math.PI * (packet * 512 + i)) / 32)),
  );
}

/** `devices` are the numbers of the devices that the packets come from, if they are several. */
async function show(
  page: Page,
  name: string,
  packets: Uint8Array[],
  devices: number[] = [],
): Promise<string> {
  const path = join(folder, name);
  writeFileSync(path, capture(packets.map((bytes, at) => ({ bytes, device: devices[at] ?? 5 }))));
  await choose(page, path);
  await page.waitForSelector("#state[data-read]");
  await page.click("#tab-adc");
  await page.waitForSelector("#adc[data-measured] .long canvas");
  return path;
}

/** Points at a sample of the first plot. */
async function pointAt(page: Page, sample: number): Promise<void> {
  const wave = page.locator("#adc .long").first();
  const { from, to } = await wave.evaluate(({ dataset }) => ({ ...dataset }));
  const over = (await wave.locator(".u-over").boundingBox())!;
  const share = (sample - Number(from)) / (Number(to) - Number(from));
  await page.mouse.move(over.x + share * over.width, over.y + 39);
  await page.mouse.move(over.x + share * over.width, over.y + 40);
}

/** Points at a sample until this is told of it: the plot may be drawn anew meanwhile. */
async function isTold(page: Page, sample: number, expected: string): Promise<void> {
  await becomes(async () => {
    await pointAt(page, sample);
    return page.textContent("#adc .pointed");
  }, expected);
}

/** How many pixels of the waveform's colour a column of the first plot has, and how many marks. */
async function columnAt(page: Page, sample: number): Promise<{ wave: number; marks: number }> {
  return page
    .locator("#adc .long")
    .first()
    .evaluate((root, sample) => {
      const canvas = root.querySelector("canvas")!;
      const box = canvas.getBoundingClientRect();
      const over = root.querySelector(".u-over")!.getBoundingClientRect();
      const { from, to } = (root as HTMLElement).dataset;
      const share = (sample - Number(from)) / (Number(to) - Number(from));
      const x = Math.floor((over.left - box.left + share * over.width) * devicePixelRatio);
      const copy = document.createElement("canvas");
      copy.width = 1;
      copy.height = canvas.height;
      const pen = copy.getContext("2d", { willReadFrequently: true })!;
      pen.drawImage(canvas, -x, 0);
      const { data } = pen.getImageData(0, 0, 1, canvas.height);
      const found = { wave: 0, marks: 0 };
      for (let at = 0; at < data.length; at += 4) {
        if (data[at + 3]! < 200) {
          if (data[at + 3]! > 0 && data[at]! > data[at + 2]! + 60) ++found.marks;
          continue;
        }
        if (data[at + 2]! > data[at]! + 100) ++found.wave;
        else if (data[at]! > data[at + 2]! + 60) ++found.marks;
      }
      return found;
    }, sample);
}

/** Waits until a column has the waveform, or none of it; and marks of a gap, or none. */
async function columnHas(page: Page, sample: number, has: "wave" | "gap"): Promise<void> {
  await becomes(async () => {
    const { wave, marks } = await columnAt(page, sample);
    if (wave > 10 && marks === 0) return "wave";
    return wave === 0 && marks > 10 ? "gap" : `${wave} and ${marks} pixels at ${sample}`;
  }, has);
}

test("a dump is one waveform, with gaps where packets are lost", async () => {
  const page = await opened(browser);
  const there = [0, 1, 2, 5, 6, 7];
  const path = await show(
    page,
    "gap.pcap",
    there.map((number) => adcPacket(number, sine(number), 8 * 2048)),
  );
  assert.equal(await page.getAttribute("#adc", "data-packets"), "6/8");
  assert.match((await page.textContent("#adc .faults"))!, /2 packets are lost/);
  for (const packet of [0.5, 1.5, 2.5, 5.5, 7.5]) await columnHas(page, packet * 512, "wave");
  for (const packet of [3.1, 3.5, 4, 4.9]) await columnHas(page, packet * 512, "gap");
  // What is told of samples is what the native program says.
  const lines = native(null, "-o", "ndjson", path).toString().trimEnd().split("\n");
  const values = lines.flatMap((line) => JSON.parse(line).value.PAYLOAD_DATA as number[]);
  await page.locator("#adc .long").first().focus();
  for (let i = 0; i < 12; ++i) await page.keyboard.press("+");
  await page.keyboard.press("Home");
  for (const sample of [1, 3]) {
    await isTold(page, sample, `Sample ${sample} (packet 0, its ${sample}.): ${values[sample]}`);
  }
  await page.keyboard.press("End");
  const last = 8 * 512 - 3;
  await isTold(page, last, `Sample ${last} (packet 7, its 509.): ${values.at(-3)}`);
  await page.close();
});

test("the spectrum of a sine is told with its frequency", async () => {
  const page = await opened(browser);
  await show(
    page,
    "sine.pcap",
    [0, 1, 2, 3].map((number) => adcPacket(number, sine(number), 4 * 2048)),
  );
  assert.equal(await page.getAttribute("#adc [data-peak]", "data-peak"), "64 2048"); // 2048 / 32
  await page.locator("#adc").getByLabel("Samples a second").fill("3200");
  await page.keyboard.press("Enter");
  await waitForText(page, "#adc", /Strongest at 100 Hz/);
  await page.close();
});

test("dumps of one capture are chosen, and an entry's dump is gone to", async () => {
  const page = await opened(browser);
  const first = [0, 1].map((number) => adcPacket(number, sine(number), 2 * 2048));
  const second = [0, 1, 2].map((number) => adcPacket(number, new Array(512).fill(7), 3 * 2048));
  await show(page, "two.pcap", [...first, ...second]);
  assert.equal(await page.getAttribute("#adc", "data-packets"), "2/2");
  await page.locator("#adc").getByRole("button", { name: "The next dump" }).click();
  await page.waitForSelector('#adc[data-packets="3/3"]');
  assert.match((await page.textContent("#adc"))!, /1536 samples in sight: 7 to 7/);
  await page.focus("#list");
  await page.keyboard.press("ArrowDown"); // to the packet 1 of the first
  await page.waitForSelector('#adc[data-dump="1"][data-packets="2/2"]');
  // And the other way round: a click at a sample goes to its packet.
  await pointAt(page, 300);
  await page.mouse.down();
  await page.mouse.up();
  assert.match(await shownLines(page, 0), /^\[ADC Packet # {4}= 0\]/);
  await page.close();
});

test("packets of two devices, one among the other, are dumps of their own", async () => {
  const page = await opened(browser);
  const packets = [0, 0, 1, 1, 2, 2].map((number, at) => {
    const words = new Array(512).fill(at % 2 === 0 ? 100 : 900);
    return adcPacket(number, words, 3 * 2048);
  });
  await show(page, "devices.pcap", packets, [3, 4, 3, 4, 3, 4]);
  for (const [dump, device, value] of [
    [1, 3, 100],
    [2, 4, 900],
  ]) {
    await page.waitForSelector(`#adc[data-dump="${dump}"][data-packets="3/3"]`);
    assert.match((await page.textContent("#adc .about"))!, new RegExp(`device 1:${device}`));
    assert.match(
      (await page.textContent("#adc"))!,
      new RegExp(`1536 samples in sight: ${value} to ${value}`),
    );
    await page.locator("#adc").getByRole("button", { name: "The next dump" }).click();
  }
  await page.close();
});

test("what is behind PAYLOAD_SIZE is told, and left out when that is chosen", async () => {
  const page = await opened(browser);
  await show(page, "size.pcap", [
    adcPacket(0, sine(0), 2448),
    adcPacket(1, sine(1), 2448, 400),
  ]);
  assert.match((await page.textContent("#adc .about"))!, /1024 samples/);
  assert.match(
    (await page.textContent("#adc .faults"))!,
    /1 packet has a PAYLOAD_SIZE other than 2048 \(such as 400\).* shown/,
  );
  await page.locator("#adc").getByLabel("Only PAYLOAD_SIZE bytes").check();
  assert.match((await page.textContent("#adc .about"))!, /612 samples/);
  assert.match((await page.textContent("#adc .faults"))!, /left out/);
  await page.locator("#adc").getByLabel("Read as").selectOption("u16");
  assert.match((await page.textContent("#adc .about"))!, /1224 samples/);
  await page.close();
});

test("500,000 samples are one waveform, that zooms and pans", async () => {
  const page = await opened(browser);
  const count = 977;
  await show(
    page,
    "long.pcap",
    Array.from({ length: count }, (_, number) => adcPacket(number, sine(number), count * 2048)),
  );
  assert.equal(await page.getAttribute("#adc", "data-packets"), "977/977");
  const wave = page.locator("#adc .long").first();
  const range = async () =>
    wave.evaluate(({ dataset }) => [Number(dataset["from"]), Number(dataset["to"])]);
  assert.deepEqual(await range(), [0, 500_224]);
  await wave.focus();
  await page.keyboard.press("+");
  await page.waitForSelector('#adc .long[data-from="125056"]');
  assert.deepEqual(await range(), [125_056, 375_168]);
  await page.keyboard.press("ArrowLeft");
  await becomes(async () => (await range()).map(Math.round), [100_045, 350_157]);
  const [from, to] = await range();
  const over = (await wave.locator(".u-over").boundingBox())!;
  await page.mouse.move(over.x + 300, over.y + 50);
  await page.mouse.down();
  await page.mouse.move(over.x + 200, over.y + 50, { steps: 5 });
  await page.mouse.up();
  const dragged = from! + (100 / over.width) * (to! - from!);
  await becomes(async () => Math.abs((await range())[0]! - dragged) < 2, true);
  await page.keyboard.press("0");
  await page.waitForSelector('#adc .long[data-to="500224"]');
  await page.close();
});

test("one packet of a dump shows where it belongs", async () => {
  const page = await opened(browser);
  await choose(page, join(root, "samples/forms/tour.hid"));
  await page.waitForSelector("#state[data-read]");
  await page.click("#tab-adc");
  await page.waitForSelector('#adc[data-packets="1/8"][data-measured] .long canvas');
  assert.match((await page.textContent("#adc .about"))!, /packets 0 to 7, 1 of 8 are there/);
  await becomes(async () => (await columnAt(page, 3.5 * 512)).marks, 0);
  await becomes(async () => (await columnAt(page, 2.5 * 512)).wave, 0);
  await page.close();
});

test("gaps are gone to one by one", async () => {
  const page = await opened(browser);
  const there = Array.from({ length: 200 }, (_, number) => number).filter(
    (number) => number !== 50 && number !== 120 && number !== 121,
  );
  await show(
    page,
    "gaps.pcap",
    there.map((number) => adcPacket(number, sine(number), 200 * 2048)),
  );
  const next = page.getByRole("button", { name: "Go to the next gap" });
  for (const [first, end] of [
    [120, 122], // the middle of all is 100
    [50, 51],
    [120, 122],
  ] as const) {
    await next.click();
    const middle = ((first + end) / 2) * 512;
    const isThere = (middle: number) => {
      const { from, to } = document.querySelector<HTMLElement>("#adc .long")!.dataset;
      return (Number(from) + Number(to)) / 2 === middle;
    };
    await waitUntil(page, isThere, middle);
    await becomes(async () => (await columnAt(page, middle)).wave, 0);
    // A thin line's pixels may be pale, but not all of them.
    await becomes(async () => {
      let pixels = 0;
      for (let before = 10; before < 200; before += 10)
        pixels += (await columnAt(page, first * 512 - before)).wave;
      return pixels > 10;
    }, true);
  }
  await page.close();
});

test("another file takes the place of the one before", async () => {
  const page = await opened(browser);
  await show(page, "long-one.pcap", [0, 1, 2].map((n) => adcPacket(n, sine(n), 3 * 2048)));
  await show(page, "short-one.pcap", [0].map((n) => adcPacket(n, sine(n), 2048)));
  await page.waitForSelector('#adc[data-packets="1/1"]');
  assert.match((await page.textContent("#adc .about"))!, /512 samples/);
  await page.close();
});

test("nothing is told of a dump that isn't shown any more", async () => {
  const page = await opened(browser);
  const first = [0, 1].map((number) => adcPacket(number, new Array(512).fill(5), 2 * 2048));
  const second = [0, 1].map((number) => adcPacket(number, new Array(512).fill(7), 2 * 2048));
  await show(page, "told.pcap", [...first, ...second]);
  await page.locator("#adc .long").first().focus();
  await pointAt(page, 100);
  await waitForText(page, "#adc .pointed", /^Sample 1\d\d \(packet 0, its 1\d\d\.\): 5$/);
  await page.focus("#adc");
  await page.keyboard.press("PageDown");
  await page.waitForSelector('#adc[data-dump="2"]');
  assert.doesNotMatch((await page.textContent("#adc .pointed"))!, /Sample/);
  await waitForText(page, "#adc .says", /7 to 7/);
  const path = join(folder, "behind.pcap");
  writeFileSync(path, capture(first));
  await choose(page, path);
  await page.locator("#state[data-read]", { hasText: /behind\.pcap/ }).waitFor();
  assert.equal(await page.textContent("#adc .says"), "");
  await page.close();
});
