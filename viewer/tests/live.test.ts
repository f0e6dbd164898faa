/** A live device, in the page: with a navigator.hid of the test's own. */
import assert from "node:assert/strict";
import { readFileSync, rmSync } from "node:fs";
import { join } from "node:path";
import { after, test } from "node:test";
import { gunzipSync } from "node:zlib";
import type { BrowserContextOptions, Page } from "playwright-core";
import { choose, folder, launched, opened, packages, pagePath, shownLines } from "./browser.js";
import { addFakeHid, type FakeOptions } from "./fakehid.js";
import { inPageWords } from "../src/basics/pagewords.js";
import { imageCounter, imageReport } from "./reports.js";
import { native, nativeRecords, root } from "./support.js";
import { waitUntil } from "./waiting.js";

const browser = await launched();
after(() => browser.close());
after(() => rmSync(folder, { recursive: true }));

interface SampleReport {
  type: string;
  bytes: number[];
}

/** Those of the tour, as the program's recording has them: "F: TIME LENGTH BYTES". */
const tour: SampleReport[] = readFileSync(join(root, "samples/forms/tour.hid"), "utf8")
  .split("\n")
  .flatMap((line) => {
    const [, letter, hex] = /^([EF]): \S+ \d+ (.*)$/.exec(line) ?? [];
    if (letter === undefined) return [];
    const bytes = hex!.split(" ").map((byte) => parseInt(byte, 16));
    return { type: letter === "F" ? "feature" : "input", bytes };
  });
const features = Object.fromEntries(
  tour.filter(({ type }) => type === "feature").map(({ bytes }) => [bytes[0]!, bytes]),
);
const inputs = tour.filter(({ type }) => type === "input").map(({ bytes }) => bytes);

async function withDevice(
  options: FakeOptions = { features },
  look: BrowserContextOptions = {},
): Promise<Page> {
  return opened(browser, { acceptDownloads: true, ...look }, {
    prepare: (page) => addFakeHid(page, options),
  });
}

async function connect(page: Page): Promise<void> {
  await page.click("#connect");
  await page.waitForSelector("#live[data-state=connected]");
}

async function cameAndKept(page: Page, count: number): Promise<void> {
  await page.waitForSelector(`#live[data-came="${count}"][data-kept="${count}"]`);
}

/** Waits until all feature reports are asked for. */
async function asked(page: Page): Promise<void> {
  await page.waitForSelector("#live button:text-is('Ask again'):enabled");
}

function send(page: Page, bytes: readonly number[]): Promise<void> {
  return page.evaluate((bytes) => window.fakeHid.send(bytes), [...bytes]);
}

async function saved(page: Page, button: string): Promise<string> {
  const [download] = await Promise.all([
    page.waitForEvent("download"),
    page.click(`#live button:has-text('${button}')`),
  ]);
  const path = join(folder, download.suggestedFilename());
  await download.saveAs(path);
  return path;
}

interface Record {
  time: string;
  report_id: number;
  report_type: string;
  lines?: string[];
}

function recordsOf(path: string): Record[] {
  return nativeRecords(path, "--lines");
}

test("a browser without WebHID has no button", async () => {
  const page = await opened(browser, {}, {
    prepare: (page) =>
      page.addInitScript(() =>
        Object.defineProperty(Navigator.prototype, "hid", { get: () => undefined }),
      ),
  });
  assert.equal(await page.isVisible("#connect"), false);
  await page.close();
});

test("the page can't send anything to a device", () => {
  const text = readFileSync(pagePath, "utf8");
  const [, worker] = /id="worker">([^<]*)</.exec(text)!;
  const all = text + gunzipSync(Buffer.from(worker!, "base64")).toString();
  assert.match(all, /receiveFeatureReport/);
  assert.doesNotMatch(all, /sendReport|sendFeatureReport/);
});

test("a device's reports have the program's lines, and its recording is the program's", async () => {
  const page = await withDevice();
  const before = Date.now();
  await connect(page);
  await asked(page);
  for (const bytes of inputs) await send(page, bytes);
  const count = Object.keys(features).length + inputs.length;
  await cameAndKept(page, count);
  const afterwards = Date.now();

  const path = await saved(page, "Save all");
  const records = recordsOf(path);
  assert.equal(records.length, count);
  // Each report is as it was sent, whatever came from its device first.
  const sent = tour.map(({ bytes, type }) => `${type} ${bytes.join(" ")}`).sort();
  const lines = readFileSync(path, "utf8").split("\n");
  const came = lines.flatMap((line) => {
    const [, letter, hex] = /^([EF]): \S+ \d+ (.*)$/.exec(line) ?? [];
    if (letter === undefined) return [];
    const bytes = hex!.split(" ").map((byte) => parseInt(byte, 16));
    return `${letter === "F" ? "feature" : "input"} ${bytes.join(" ")}`;
  });
  assert.deepEqual(came.sort(), sent);
  assert.equal(lines.filter((line) => line.startsWith("R: ")).length, 1);

  await page.focus("#list");
  for (const [entry, record] of records.entries()) {
    const time = 1000 * Number(record.time);
    // A clock that was set since the page began may be off by as much as is let pass.
    assert.ok(time >= before - 101 && time <= afterwards + 101, record.time);
    if (entry === 0) await page.click("#list > :first-child");
    else await page.keyboard.press("ArrowDown");
    assert.deepEqual((await shownLines(page, entry)).split("\n"), record.lines);
  }
  const calls = await page.evaluate(() => window.fakeHid.calls);
  assert.deepEqual(
    new Set(calls.map((call) => call.split(" ")[0])),
    new Set(["requestDevice", "open", "receiveFeatureReport"]),
  );
  await page.click("#connect");
  await page.waitForSelector("#live[data-state=ended]");
  assert.deepEqual((await page.evaluate(() => window.fakeHid.calls)).at(-1), "close");
  await page.close();
});

test("reports that the device refuses are told one by one, and the rest is asked for", async () => {
  const { [0xe1]: _, [0xdc]: __, ...some } = features;
  const page = await withDevice({ features: { ...some, 0xde: [], 0xe2: [0xd0, 1] } });
  await connect(page);
  await asked(page);
  assert.match(
    (await page.textContent("#live summary"))!,
    /^⚠ 4 of 14 feature reports did not come$/,
  );
  await page.click("#live summary");
  assert.deepEqual(await page.locator("#live li").allTextContents(), [
    "0xDC: the device has no report 0xDC, or refuses it now (stall)",
    "0xDE: the answer is empty: the device has nothing to tell",
    "0xE1: the device has no report 0xE1, or refuses it now (stall)",
    "0xE2: the answer is report 0xD0: the device mixed them up",
  ]);
  await cameAndKept(page, 10);

  await page.click("text=Ask again");
  await cameAndKept(page, 20);
  await page.close();
});

test("a report that is never answered is told, and the others came", async () => {
  const page = await withDevice({ features, silent: [0xe1] });
  await connect(page);
  await cameAndKept(page, Object.keys(features).length - 1);
  await asked(page); // which is given up after a while
  await page.click("#live summary");
  assert.deepEqual(await page.locator("#live li").allTextContents(), [
    "0xE1: the device did not answer in time",
  ]);
  await page.close();
});

test("what the device doesn't declare isn't asked for", async () => {
  const page = await withDevice({ features, declared: [0xd0, 0xe3, 0x55] });
  await connect(page);
  await asked(page);
  const calls = await page.evaluate(() => window.fakeHid.calls);
  const requests = calls.filter((call) => call.startsWith("receive"));
  assert.deepEqual(requests, ["receiveFeatureReport 208", "receiveFeatureReport 227"]);
  assert.match((await page.textContent("#live summary"))!, /^12 aren't declared by the device$/);
  await page.close();
});

test("a device that floods at 1 kHz loses nothing, and the page answers", async (context) => {
  const packet = new Array<number>(2064).fill(0);
  packet[0] = 0x77;
  for (const [rate, bytes] of [
    [1000, packet],
    [5000, [...imageReport(0)]],
  ] as const) {
    const count = 4 * rate;
    const page = await withDevice({});
    await connect(page);
    await asked(page);
    const begun = performance.now();
    // Frames of the screen while the reports come, and the longest time between two.
    const [frames, worst] = await page.evaluate(
      async ([bytes, at, rate, count]) => {
        let isOver = false;
        const flood = window.fakeHid.flood(bytes, at, rate, count).then(() => (isOver = true));
        let [frames, worst] = [0, 0];
        for (let last = performance.now(); !isOver; ++frames) {
          const now = await new Promise<number>(requestAnimationFrame);
          worst = Math.max(worst, now - last);
          last = now;
        }
        await flood;
        return [frames, worst] as const;
      },
      [[...bytes], imageCounter, rate, count] as [number[], number, number, number],
    );
    const sent = performance.now() - begun;
    await cameAndKept(page, count);
    const kept = performance.now() - begun;
    await page.waitForSelector("#live .numbers:has-text('none lost')");
    assert.doesNotMatch((await page.textContent("#live"))!, /⚠ \d+ (lost|not kept)/);
    context.diagnostic(
      `${count} reports of ${bytes.length} bytes at ${rate} Hz: sent in ${sent.toFixed(0)} ms, ` +
        `kept ${(kept - sent).toFixed(0)} ms later; ${frames} frames, none of which took more ` +
        `than ${worst.toFixed(0)} ms`,
    );
    assert.ok(frames > 3);

    const path = await saved(page, "Save all");
    const statistics = native(null, "-o", "ndjson", "--stats", path).toString().trimEnd();
    const record = JSON.parse(statistics.split("\n").at(-1)!) as {
      statistics: { reports: number; lost: { reports: number; late: number }[] };
    };
    assert.equal(record.statistics.reports, count);
    assert.deepEqual(
      record.statistics.lost.map(({ reports, late }) => reports + late),
      [0],
    );
    await page.close();
  }
});

test("lost numbers are told as they are lost", async () => {
  const page = await withDevice({});
  await connect(page);
  for (const number of [1, 2, 3, 7, 8]) await send(page, [...imageReport(number)]);
  await page.waitForSelector("#live .numbers:has-text('⚠ FRAME_NUMBER: 3 lost')");
  await page.close();
});

test("what can't be decoded is in the list, and told", async () => {
  const page = await withDevice({ features: {} });
  await connect(page);
  await asked(page);
  await send(page, [0x76, 1, 2, 3]); // too short
  await send(page, [0x99, 1]); // nobody knows it
  await send(page, [...imageReport(0), 0]); // too long
  await send(page, [0x77]); // no byte behind the ID
  await send(page, [0, 0x76, 5]); // of a device without IDs, which is told as 0
  await send(page, [0]); // the same, and empty
  await cameAndKept(page, 5);
  await page.waitForSelector("#live .numbers:has-text('⚠ 5 can\\'t be decoded')");
  assert.match((await page.textContent("#live .counts"))!, /1 more were empty/);
  const bytes = [[0x76, 1, 2, 3], [0x99, 1], [...imageReport(0), 0], [0x77], [0x76, 5]];
  for (const [entry, one] of bytes.entries()) {
    await page.click(`#list > :nth-child(${entry + 1})`);
    await shownLines(page, entry);
    // The native program says the same of the same bytes.
    const type = "input ";
    const hex = one.map((byte) => byte.toString(16).padStart(2, "0")).join(" ");
    const out = native(Buffer.from(`${type}${hex}\n`), "-o", "ndjson").toString();
    const record = JSON.parse(out) as { error: { message: string } };
    assert.equal(await page.textContent("#problem"), inPageWords(record.error.message));
  }
  await page.close();
});

test("reports that are lost are told in their place of the list", async () => {
  const page = await withDevice({});
  await connect(page);
  await asked(page);
  await page.evaluate(() => {
    const real = Worker.prototype.postMessage;
    const held: (() => void)[] = [];
    Object.assign(window, { release: () => held.splice(0).forEach((one) => one()), held });
    Worker.prototype.postMessage = function (message: { method: string }, ...rest: []) {
      const go = () => real.call(this, message, ...rest);
      if (message.method === "append" && window.fakeHid.isHeld) held.push(go);
      else go();
    };
    window.fakeHid.isHeld = true;
    const packet = new Array<number>(2064).fill(0);
    packet[0] = 0x77;
    for (let n = 0; n < 34_000; ++n) window.fakeHid.send(packet);
  });
  await waitUntil(page, () => "held" in window && (window.held as unknown[]).length > 0);
  await page.evaluate(() => {
    window.fakeHid.isHeld = false;
    (window as unknown as { release(): void }).release();
  });
  await page.waitForSelector("#list .wrong .name:has-text('lost_reports')", { timeout: 60_000 });
  await send(page, [...imageReport(7)]);
  const [, lost] = /⚠ (\d+) lost: the decoder/.exec((await page.textContent("#live .counts"))!)!;
  const kept = 34_001 - Number(lost);
  const counted = `${kept.toLocaleString("en")} reports and 1 gap`;
  await waitUntil(
    page,
    (counted) => document.getElementById("count")!.textContent === counted,
    counted,
  );
  await page.selectOption("#filter-problem", "lost_reports");
  await page.click("#list [role=option]");
  await shownLines(page, kept - 1); // behind it the last one came
  assert.equal(
    await page.textContent("#problem"),
    `${lost} reports lost here: the decoder was too far behind, and the queue is full`,
  );
  assert.match((await page.textContent("#files"))!, new RegExp(`${counted}, live`));
  await page.click("#connect");
  await page.waitForSelector("#live[data-state=ended]");
  await waitUntil(page, () => !/gap, live/.test(document.getElementById("files")!.textContent!));
  await page.close();
});

test("a device is unplugged: what came stays, and it goes on when it is back", async () => {
  const page = await withDevice({ features: { 0xd0: features[0xd0]! } });
  await connect(page);
  await asked(page);
  await send(page, [...imageReport(4)]);
  await cameAndKept(page, 2);
  await page.evaluate(() => window.fakeHid.unplug());
  await page.waitForSelector("#live[data-state=unplugged]");
  assert.match((await page.textContent("#live .state"))!, /unplugged at \d\d:\d\d:\d\d/);
  await page.click("#list > :nth-child(2)");
  assert.match(await shownLines(page, 1), /^\[Frame # = 4\]/);

  await page.evaluate(() => window.fakeHid.plug());
  await page.waitForSelector("#live[data-state=connected]");
  assert.match((await page.textContent("#live .state"))!, /connected again/);
  await asked(page);
  await send(page, [...imageReport(7)]);
  await cameAndKept(page, 4); // the feature report was asked for anew
  await page.waitForSelector("#live .numbers:has-text('⚠ FRAME_NUMBER: 2 lost')");

  // A browser that doesn't tell of its return: it is picked again.
  await page.evaluate(() => window.fakeHid.unplug());
  await page.waitForSelector("#live[data-state=unplugged]");
  await page.evaluate(() => {
    const { plug } = window.fakeHid;
    const quiet = EventTarget.prototype.dispatchEvent;
    EventTarget.prototype.dispatchEvent = () => true;
    plug();
    EventTarget.prototype.dispatchEvent = quiet;
  });
  await connect(page);
  await asked(page);
  await cameAndKept(page, 5);
  await page.close();
});

test("a user who picks nothing, and devices that can't be opened, are told", async () => {
  const page = await withDevice({ features, picks: false });
  await page.click("#connect");
  await page.waitForSelector("#state:has-text('No device was chosen.')");
  assert.equal(await page.isVisible("#live"), false);
  for (const [name, message] of [
    ["NotAllowedError", "Failed to open the device."],
    ["InvalidStateError", "An operation that changes the device state is in progress."],
  ] as const) {
    await page.evaluate(
      (openFault) => Object.assign(window.fakeHid, { picks: true, openFault }),
      [name, message],
    );
    await page.click("#connect");
    await page.waitForSelector(`#state:has-text('can\\'t be opened: ${message.slice(0, -1)}')`);
    const told = (await page.textContent("#state"))!;
    assert.match(told, /Another program may hold it/);
    assert.match(told, /udev rule .* 60-vesk\.rules/);
  }
  await page.evaluate(() => (window.fakeHid.openFault = null));
  await connect(page);
  await page.close();
});

test("Record saves what came since it was pressed", async () => {
  const page = await withDevice({});
  await connect(page);
  await asked(page);
  for (const number of [1, 2]) await send(page, [...imageReport(number)]);
  await page.click("#live button:has-text('Record')");
  for (const number of [3, 4, 5]) await send(page, [...imageReport(number)]);
  await page.waitForSelector("#live button:has-text('Stop and save 3')");
  const path = await saved(page, "Stop and save");
  const first = recordsOf(path).map(({ lines }) => lines![0]);
  assert.deepEqual(first, ["[Frame # = 3]", "[Frame # = 4]", "[Frame # = 5]"]);
  await page.close();
});

test("a second connection is a list of its own, and a file may be opened meanwhile", async () => {
  const page = await withDevice({});
  await connect(page);
  await asked(page);
  await send(page, [...imageReport(1)]);
  await cameAndKept(page, 1);
  await page.click("#connect");
  await page.waitForSelector("#live[data-state=ended]");
  await send(page, [...imageReport(2)]); // nobody listens
  await page.dblclick("#connect"); // the picker comes once
  await page.waitForSelector("#live[data-state=connected]");
  await asked(page);
  await send(page, [...imageReport(3)]);
  await cameAndKept(page, 1);
  assert.match(await shownLines(page, 0), /^\[Frame # = 3\]/);
  const calls = await page.evaluate(() => window.fakeHid.calls);
  assert.equal(calls.filter((call) => call.startsWith("requestDevice")).length, 2);
  await page.close();
});

test("frames are drawn as they come, and who looks elsewhere isn't disturbed", async () => {
  const page = await withDevice({});
  await connect(page);
  await asked(page);
  await send(page, [...imageReport(0)]);
  await page.click("#tab-frames");
  for (let number = 1; number <= 12; ++number) {
    await send(page, [...imageReport(number)]);
    await page.waitForSelector(`#frames[data-frame="${number}"]`);
  }
  await page.evaluate(
    ([bytes, at]) => window.fakeHid.flood(bytes, at, 200, 588),
    [[...imageReport(0)], imageCounter] as [number[], number],
  );
  await page.waitForSelector('#frames[data-frame="600"]');
  await page.waitForSelector('#list [data-number="600"][aria-selected="true"]');
  await page.click("#tab-one");
  assert.match(await shownLines(page, 600), /^\[Frame # = 587\]/);
  await page.click('#list [data-number="590"]');
  await send(page, [...imageReport(600)]);
  await cameAndKept(page, 602);
  await page.waitForTimeout(500);
  assert.equal(await page.getAttribute("#report", "data-entry"), "590");
  assert.equal(await page.isChecked("#live input[type=checkbox]"), false);
  await page.close();
});

test("rows that stay in sight say how many there are, as more come", async () => {
  const page = await withDevice({});
  await connect(page);
  await asked(page);
  for (let number = 0; number < 100; ++number) await send(page, [...imageReport(number)]);
  await cameAndKept(page, 100);
  await page.focus("#list");
  await page.keyboard.press("Home");
  await page.waitForSelector('#row-0[aria-selected="true"][aria-setsize="100"]');
  await send(page, [...imageReport(100)]);
  await page.waitForSelector('#row-0[aria-selected="true"][aria-setsize="101"]');
  await page.close();
});

test("a device goes on while a file is looked at, and closing its list lets go of it", async () => {
  const page = await withDevice({});
  await connect(page);
  await asked(page);
  await send(page, [...imageReport(0)]);
  await cameAndKept(page, 1);
  const flood = page.evaluate(
    ([bytes, at]) => window.fakeHid.flood(bytes, at, 500, 1000),
    [[...imageReport(0)], imageCounter] as [number[], number],
  );
  await choose(page, join(root, "samples/forms/tour-usbmon.pcap"));
  await page.waitForSelector("#state[data-read]");
  const [first] = recordsOf(join(root, "samples/forms/tour-usbmon.pcap"));
  assert.deepEqual((await shownLines(page, 0)).split("\n"), first!.lines);
  await flood;
  await cameAndKept(page, 1001);
  assert.deepEqual((await shownLines(page, 0)).split("\n"), first!.lines);

  await page.click("#files button:has-text('live since')");
  await page.waitForSelector('#list [data-number="1000"]');
  assert.match(await shownLines(page, 1000), /^\[Frame # = 999\]/);
  await page.click("#files li:has-text('live since') button.close");
  await send(page, [...imageReport(1)]);
  await page.waitForSelector("#live[data-state=ended]");
  assert.match((await page.textContent("#live .fault"))!, /the file was closed/);
  assert.equal((await page.evaluate(() => window.fakeHid.calls)).at(-1), "close");
  await page.close();
});

const axe = readFileSync(join(packages, "axe-core/axe.min.js"), "utf8");

for (const colorScheme of ["light", "dark"] as const)
  for (const width of [1280, 390])
    test(`axe finds nothing wrong with a device, ${colorScheme} and ${width} wide`, async () => {
      const { [0xe1]: _, ...some } = features;
      const look = { colorScheme, viewport: { width, height: 844 } };
      const page = await withDevice({ features: some }, look);
      const check = async (what: string) => {
        await page.evaluate(`{ ${axe} }`);
        const { violations } = (await page.evaluate("axe.run()")) as { violations: object[] };
        assert.deepEqual(violations, [], what);
        const wide = await page.evaluate(() => document.documentElement.scrollWidth);
        assert.ok(wide <= width, `${what}: ${wide}`);
      };
      await connect(page);
      await asked(page);
      await page.click("#live summary");
      await page.click("#live button:has-text('Record')");
      await send(page, [...imageReport(0)]);
      await cameAndKept(page, 14);
      await check("connected");
      await page.evaluate(() => window.fakeHid.unplug());
      await page.waitForSelector("#live[data-state=unplugged]");
      await check("unplugged");
      await page.close();
    });

test("a name of a device with markup in it is text", async () => {
  const name = "<img src=x onerror=document.title='bad'> \u202e/../x";
  const page = await withDevice({ names: [name], features: {} });
  await connect(page);
  await send(page, [...imageReport(1)]);
  await cameAndKept(page, 1);
  assert.ok((await page.textContent("#live .state"))!.startsWith(name));
  assert.equal(await page.locator("#live img, header img").count(), 0);
  const path = await saved(page, "Save all");
  assert.match(path.slice(folder.length + 1), /^[\w.-]+\.hid$/);
  assert.notEqual(await page.title(), "bad");
  await page.close();
});
