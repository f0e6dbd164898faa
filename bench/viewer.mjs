/** What the viewer's page costs, in a browser: until something shows, memory, and jumps.
 *
 *  scripts/bench-viewer builds the page and runs this. */
import { spawnSync } from "node:child_process";
import {
  closeSync,
  mkdtempSync,
  openSync,
  rmSync,
  statfsSync,
  statSync,
  writeFileSync,
  writeSync,
} from "node:fs";
import { createRequire } from "node:module";
import { cpus, loadavg, tmpdir } from "node:os";
import { join, resolve } from "node:path";
import { pathToFileURL } from "node:url";
import { parseArgs } from "node:util";
import { browserMemory } from "../viewer/tests/memory.mjs";

const { values: options, positionals } = parseArgs({
  options: { quick: { type: "boolean" }, size: { type: "string" } },
  allowPositionals: true,
});
const [pagePath, packages, output] = positionals;
const { chromium } = createRequire(resolve(packages, "package.json"))("playwright-core");
const executablePath = process.env.VESK_CHROMIUM ?? "/usr/bin/chromium";

const frameSize = 792;
const packetSize = 16 + 64 + frameSize; // in a capture
const chunkFrames = 1000;
const wholeSize = 2000; // MB
const smallSize = 256;

// ------------------------------------------------------------------------------------------ captures

/** A thousand image frames in a pcap of usbmon, without its head. */
function chunk() {
  const bytes = new Uint8Array(chunkFrames * packetSize);
  const view = new DataView(bytes.buffer);
  for (let n = 0; n < chunkFrames; ++n) {
    const at = n * packetSize;
    const event = at + 16;
    const report = event + 64;
    view.setUint32(at + 8, 64 + frameSize, true);
    view.setUint32(at + 12, 64 + frameSize, true);
    bytes[event + 8] = "C".charCodeAt(0);
    bytes.set([1, 0x81, 5, 1, 0, 1], event + 9); // interrupt, endpoint, device, bus, no setup
    view.setUint32(event + 32, frameSize, true);
    view.setUint32(event + 36, frameSize, true);
    for (let i = 1; i < frameSize; ++i) bytes[report + i] = (n * 31 + i * 7) & 0x3f;
    bytes[report] = 0x76;
  }
  return bytes;
}

/** Writes a capture of so many frames, a millisecond each, of which each has its number. */
function writeCapture(path, frames) {
  const head = new DataView(new ArrayBuffer(24));
  head.setUint32(0, 0xa1b2c3d4, true);
  head.setUint16(4, 2, true);
  head.setUint16(6, 4, true);
  head.setUint32(16, 262144, true);
  head.setUint32(20, 220, true);
  const file = openSync(path, "w");
  writeSync(file, head);
  const bytes = chunk();
  const view = new DataView(bytes.buffer);
  for (let first = 0; first < frames; first += chunkFrames) {
    for (let n = 0; n < chunkFrames; ++n) {
      const at = n * packetSize;
      view.setUint32(at, 1_700_000_000 + Math.floor((first + n) / 1000), true);
      view.setUint32(at + 4, ((first + n) % 1000) * 1000, true);
      view.setUint32(at + 16 + 64 + 4, first + n, true);
    }
    writeSync(file, bytes);
  }
  closeSync(file);
}

// ------------------------------------------------------------------------------------------- browser

async function withPage(use) {
  const browser = await chromium.launch({ executablePath, args: ["--no-sandbox"] });
  try {
    const page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
    await page.addInitScript(notes);
    return await use(page);
  } finally {
    await browser.close();
  }
}

/** Runs in the page: when a file is chosen, notes when its first report and picture are there. The
 *  picture is asked for as soon as there is one to ask for. */
function notes() {
  globalThis.times = {};
  document.addEventListener(
    "change",
    ({ target }) => {
      if (target.id !== "choose") return;
      const begin = performance.now();
      const note = (name) => (times[name] ??= performance.now() - begin);
      const look = () => {
        const { dataset } = document.getElementById("report") ?? {};
        if (dataset?.entry === "0") note("report");
        const tab = document.getElementById("tab-frames");
        if (tab && !tab.disabled && !tab.hidden && times.asked === undefined) {
          note("asked");
          tab.click();
        }
        // It is on the screen behind the next frame.
        if (document.getElementById("frames")?.dataset.frame === "0")
          requestAnimationFrame(() => setTimeout(() => note("picture")));
        if (document.getElementById("state")?.dataset.read) note("all");
        if (["report", "picture", "all"].some((name) => times[name] === undefined))
          setTimeout(look, 1);
      };
      look();
    },
    true,
  );
}

/** The page's policy forbids what playwright's own waitForFunction() does. */
async function waited(page, isThere) {
  const end = performance.now() + 300_000;
  for (;;) {
    const found = await page.evaluate(isThere);
    if (found) return found;
    if (performance.now() > end) throw new Error(`waited in vain for ${isThere}`);
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
}

async function firstTimes(path, wait) {
  return withPage(async (page) => {
    await page.goto(pathToFileURL(pagePath).href);
    await new Promise((resolve) => setTimeout(resolve, wait));
    await page.setInputFiles("#choose", path);
    return waited(page, () => times.report && times.picture && times.all && times);
  });
}

/** The memory of the browser's processes, and the part of it that maps files, in MB. */
function memory() {
  const { all, files } = browserMemory();
  return { all: all / 1000, files: files / 1000 };
}

/** Goes to a frame by the slider below the pictures. When its report and its picture were there. */
async function jump(page, frame) {
  await page.evaluate((frame) => {
    globalThis.jumped = {};
    const begin = performance.now();
    const note = (name) => (jumped[name] ??= performance.now() - begin);
    const look = () => {
      if (document.getElementById("report").dataset.entry === String(frame)) note("report");
      if (document.getElementById("frames").dataset.frame === String(frame))
        requestAnimationFrame(() => setTimeout(() => note("picture")));
      if (jumped.report === undefined || jumped.picture === undefined) setTimeout(look, 1);
    };
    const slider = document.getElementById("scrub");
    slider.value = String(frame);
    slider.dispatchEvent(new Event("input"));
    look();
  }, frame);
  const found = await waited(page, () => jumped.report && jumped.picture && jumped);
  const text = await page.textContent("#report");
  if (!text.startsWith(`[Frame # = ${frame}]`)) throw new Error(`frame ${frame} shows ${text}`);
  return found;
}

async function large(path, frames, jumps) {
  return withPage(async (page) => {
    await page.goto(pathToFileURL(pagePath).href);
    await new Promise((resolve) => setTimeout(resolve, 1000));
    const before = memory();
    let most = before;
    const look = () => {
      const now = memory();
      if (now.all > most.all) most = now;
    };
    const watch = setInterval(look, 250);
    const begin = performance.now();
    await page.setInputFiles("#choose", path);
    await waited(page, () => document.getElementById("state").dataset.read);
    const seconds = (performance.now() - begin) / 1000;
    clearInterval(watch);
    const middle = [];
    for (let i = 0; i < jumps; ++i)
      middle.push(await jump(page, Math.floor(frames / 2) + (i % 2 ? -1 : 1) * i * 10_007));
    const after = memory();
    look();
    return { seconds, before, most, after, jumps: middle };
  });
}

// ------------------------------------------------------------------------------------------- figures

function median(values) {
  const sorted = [...values].sort((a, b) => a - b);
  return sorted[sorted.length >> 1];
}

function shown(values, unit) {
  const digits = (value) => value.toFixed(0);
  const [least, most] = [Math.min(...values), Math.max(...values)];
  return `${digits(median(values))} ${unit} (${digits(least)} to ${digits(most)})`;
}

function say(name, text) {
  console.log(`${name.padEnd(58)} ${text}`);
}

const folder = mkdtempSync(join(tmpdir(), "vesk-bench-viewer-"));
process.on("exit", () => rmSync(folder, { recursive: true, force: true }));
for (const signal of ["SIGINT", "SIGTERM"]) process.on(signal, () => process.exit(1));

const { bavail, bsize } = statfsSync(folder);
const hasRoom = bavail * bsize > 1.5e6 * wholeSize;
const size = Number(options.size ?? (options.quick || !hasRoom ? smallSize : wholeSize));
const runs = options.quick ? 2 : 7;
const figures = {
  page: statSync(pagePath).size,
  processors: cpus().length,
  load: loadavg()[0],
  browser: spawnSync(executablePath, ["--version"], { encoding: "utf8" }).stdout.trim(),
  first: {},
};
say("processors; load before it began", `${figures.processors}; ${figures.load.toFixed(1)}`);
say("the page", `${(figures.page / 1000).toFixed(0)} kB`);

const small = join(folder, "frames.pcap");
writeCapture(small, 20_000);
for (const [wait, when] of [
  [0, "just loaded"],
  [1000, "a second old"],
]) {
  const all = [];
  for (let run = 0; run < runs; ++run) all.push(await firstTimes(small, wait));
  figures.first[when] = all;
  for (const name of ["report", "picture", "all"]) {
    const what = name === "all" ? "all are read" : `the first ${name}`;
    say(`20000 frames, page ${when}: ${what}`, shown(all.map((one) => one[name]), "ms"));
  }
}
rmSync(small);

const path = join(folder, "large.pcap");
const frames = Math.ceil((size * 1e6) / packetSize / chunkFrames) * chunkFrames;
writeCapture(path, frames);
const found = await large(path, frames, options.quick ? 3 : 9);
figures.large = { size, frames, ...found };
const megabytes = ({ all, files }) => `${all.toFixed(0)} MB, ${files.toFixed(0)} of them the program`;
say(`${size} MB, ${frames} frames: opened in`, `${found.seconds.toFixed(1)} s`);
say("memory of the browser's processes (PSS), the page alone", megabytes(found.before));
say("while it is read, at most", megabytes(found.most));
say("behind it", megabytes(found.after));
for (const name of ["report", "picture"])
  say(`a jump to a frame in its middle: its ${name}`, shown(found.jumps.map((one) => one[name]), "ms"));
say("load at the end", loadavg()[0].toFixed(1));
figures.loadAtEnd = loadavg()[0];

writeFileSync(output, `${JSON.stringify(figures, null, 2)}\n`);
