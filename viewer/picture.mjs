/** Takes the picture of the page for the documents: node picture.mjs PAGE.html NODE_MODULES OUT.png
 *  It shows ten seconds of image frames in which a finger wanders over the panel and back, and is lifted
 *  once; some frames got lost. */
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";
import { pathToFileURL } from "node:url";

const [page, packages, out] = process.argv.slice(2);
if (out === undefined) throw new Error("usage: picture.mjs PAGE.html NODE_MODULES OUT.png");
const { chromium } = createRequire(resolve(packages, "package.json"))("playwright-core");

const frames = 600;
const rate = 60;
const channels = 48;

/** The same noise each time. */
let state = 1;
function noise(height) {
  state = (state * 1103515245 + 12345) % 2 ** 31;
  return (state / 2 ** 31 - 0.5) * 2 * height;
}

/** An image frame of the moment `seconds`. */
function frameAt(number, seconds) {
  const report = Buffer.alloc(792);
  report[0] = 0x76;
  report[1] = 0x2a;
  report.writeUInt16LE(3, 2);
  report.writeUInt32LE(number, 4);
  report.writeUInt32LE(0x10400, 8);
  report.writeUInt32LE(Math.round(seconds * 1000), 12);
  const finger = 24 + 17 * Math.sin((2 * Math.PI * seconds) / 6);
  const isDown = seconds < 5.5 || seconds > 6.5;
  const gains = [1, 0.12, 0.72, 0.1];
  gains.forEach((gain, scan) => {
    for (let channel = 0; channel < channels; ++channel) {
      const far = (channel - finger) / 1.6;
      const touch = isDown ? 320 * Math.exp(-far * far) : 0;
      const drift = 12 * Math.sin((channel + 9 * scan) / 5);
      const value = Math.round(gain * touch + drift + noise(channel === 31 ? 25 : 6));
      report.writeInt32LE(value, 16 + 4 * (scan * channels + channel));
    }
  });
  report.writeUInt32LE(0x1f10, 784);
  report.writeFloatLE(31 + 0.06 * seconds, 788);
  return report;
}

const isLost = (frame) => frame >= 410 && frame < 417;
const lines = [];
for (let frame = 0; frame < frames; ++frame) {
  if (isLost(frame)) continue;
  const report = frameAt(221_079 + frame, frame / rate);
  const bytes = [...report].map((byte) => byte.toString(16).padStart(2, "0")).join(" ");
  lines.push(`E: ${(frame / rate).toFixed(6).padStart(13, "0")} ${report.length} ${bytes}\n`);
}

const folder = mkdtempSync(join(tmpdir(), "vesk-picture-"));
const capture = join(folder, "finger.hid");
writeFileSync(capture, lines.join(""));
const executablePath = process.env["VESK_CHROMIUM"] ?? "/usr/bin/chromium";
const browser = await chromium.launch({ executablePath, args: ["--no-sandbox"] });
try {
  const view = { width: 1280, height: 800 };
  const shown = await browser.newPage({ viewport: view, colorScheme: "light" });
  await shown.goto(pathToFileURL(resolve(page)).href);
  await shown.setInputFiles("#choose", capture);
  await shown.waitForSelector("#state[data-read]");
  await shown.click("#tab-frames");
  await shown.selectOption("#over", "scan 0");
  await shown.fill("#channel", "31");
  await shown.press("#channel", "Enter");
  await shown.focus("#scrub");
  await shown.fill("#scrub", "300");
  await shown.waitForSelector('#frames[data-frame="300"]');
  await shown.waitForTimeout(500); // for the plots
  await shown.screenshot({ path: out });
} finally {
  await browser.close();
  rmSync(folder, { recursive: true });
}
