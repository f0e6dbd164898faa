/** What becomes of a device's reports when something goes wrong, with a device and a decoder of the
 *  test's own. */
import assert from "node:assert/strict";
import { test } from "node:test";
import type { KnownReport, LiveItem, LiveReport } from "../src/decoder/decoder.js";
import { LiveDevice, bestOf, type LiveOptions } from "../src/live/live.js";
import type { Appended } from "../src/decoder/protocol.js";
import { declaredReports, type Hid, type HidDevice } from "../src/live/webhid.js";

class FakeDevice extends EventTarget {
  opened = false;
  vendorId = 0x1209;
  productId = 1;
  productName = "Fake";
  collections: object[] = [];
  refusals = 0; // of open()

  async open(): Promise<void> {
    if (this.refusals-- > 0) throw new DOMException("Not yet.", "NotAllowedError");
    this.opened = true;
  }

  async close(): Promise<void> {
    this.opened = false;
  }

  answer: (id: number) => Promise<DataView> = async () => {
    throw new DOMException("Failed.", "NotAllowedError");
  };

  receiveFeatureReport(id: number): Promise<DataView> {
    return this.answer(id);
  }

  send(...bytes: number[]): void {
    const data = new DataView(Uint8Array.from(bytes.slice(1)).buffer);
    this.dispatchEvent(Object.assign(new Event("inputreport"), { reportId: bytes[0], data }));
  }

  get asHid(): HidDevice {
    return this as unknown as HidDevice;
  }
}

class FakeHid extends EventTarget {
  tell(type: "connect" | "disconnect", device: FakeDevice): void {
    this.dispatchEvent(Object.assign(new Event(type), { device }));
  }

  get asHid(): Hid {
    return this as unknown as Hid;
  }
}

function knownFeature(id: number): KnownReport {
  const rest = { decoder: "parse", name: "", smallest: 2, exact: false, counter: "" };
  return { id, type: "feature", ...rest };
}

/** All that was handed on, and what the decoder says to it. */
class FakeDecoder {
  readonly items: LiveItem[] = [];
  answer: (items: LiveItem[]) => Promise<Appended> = async (items) => ({
    appended: items.length,
    fault: "",
  });

  readonly append = (items: LiveItem[]): Promise<Appended> => {
    this.items.push(...items);
    return this.answer(items);
  };

  get got(): LiveReport[] {
    return this.items.flatMap((item) => ("told" in item ? [] : item));
  }

  /** The second byte of each report, and what is told in the place of others. */
  get course(): (number | string | undefined)[] {
    return this.items.map((item) => ("told" in item ? item.told : item.bytes[1]));
  }
}

function made(
  options: LiveOptions = {},
  known: KnownReport[] = [],
): [LiveDevice, FakeDevice, FakeHid, FakeDecoder] {
  const [device, hid, decoder] = [new FakeDevice(), new FakeHid(), new FakeDecoder()];
  const live = new LiveDevice(hid.asHid, device.asHid, known, decoder.append, options);
  return [live, device, hid, decoder];
}

test("reports come in their order, with IDs and times", async () => {
  const [live, device, , decoder] = made();
  await live.open();
  const before = Date.now() * 1000;
  device.send(0x76, 1, 2);
  device.send(0, 0x77, 3); // a device without IDs
  await live.flush();
  const after = Date.now() * 1000;
  assert.deepEqual(
    decoder.got.map(({ bytes, type }) => [type, ...bytes]),
    [
      ["input", 0x76, 1, 2],
      ["input", 0x77, 3],
    ],
  );
  // A clock that was set since this process began may be off by as much as is let pass.
  for (const { microseconds } of decoder.got)
    assert.ok(microseconds! > before - 101e3 && microseconds! < after + 101e3);
  await live.close();
  assert.equal(device.opened, false);
  device.send(0x76);
  assert.equal(live.came, 2);
});

test("times follow the computer's clock when that is set, or when it slept", async (context) => {
  const [live, device, , decoder] = made();
  await live.open();
  const begun = performance.now();
  device.send(0x76, 1);
  const { now } = Date;
  context.mock.method(Date, "now", () => now() + 3_600_000);
  device.send(0x76, 2);
  device.send(0x76, 3);
  const took = 1000 * (performance.now() - begun);
  await live.flush();
  const [first, second, third] = decoder.got.map(({ microseconds }) => microseconds!);
  assert.ok(Math.abs(second! - first! - 3_600e6) < 101e3 + took, `${second! - first!}`);
  assert.ok(third! >= second! && third! - second! < 101e3 + took);
  await live.close();
});

test("a decoder that is slow has them later, and one that is too slow loses some", async () => {
  const [live, device, , decoder] = made({ mostWaiting: 30 });
  let goOn: () => void = () => undefined;
  decoder.answer = (reports) =>
    new Promise((resolve) => {
      goOn = () => resolve({ appended: reports.length, fault: "" });
    });
  await live.open();
  for (let i = 0; i < 5; ++i) device.send(0x76, ...new Array<number>(9).fill(i));
  assert.deepEqual([live.came, live.lost, live.due], [5, 2, 3]);
  let isFlushed = false;
  const flushed = live.flush().then(() => (isFlushed = true));
  while (!isFlushed) {
    goOn();
    await new Promise((resolve) => setTimeout(resolve));
  }
  await flushed;
  assert.deepEqual(
    decoder.got.map(({ bytes }) => bytes[1]),
    [0, 1, 2],
  );
  // There is room again.
  decoder.answer = async (reports) => ({ appended: reports.length, fault: "" });
  device.send(0x76, 7);
  await live.flush();
  assert.deepEqual([live.came, live.lost, live.dueReports, live.kept], [6, 2, 4, 5]);
  const told = "2 reports lost here: the decoder was too far behind, and the queue is full";
  assert.deepEqual(decoder.course, [0, 1, 2, told, 7]);
  await live.close();
});

test("what is lost is told where it is missing, without a report behind it, too", async () => {
  const [live, device, , decoder] = made({ mostWaiting: 20 });
  let goOn: () => void = () => undefined;
  decoder.answer = (items) =>
    new Promise((resolve) => {
      goOn = () => resolve({ appended: items.length, fault: "" });
    });
  await live.open();
  for (let value = 0; value < 3; ++value) device.send(0x76, ...new Array<number>(9).fill(value));
  assert.deepEqual([live.lost, live.due], [1, 2]);
  for (const count of [1, 2, 3]) {
    while (decoder.items.length < count) await new Promise((resolve) => setTimeout(resolve, 2));
    goOn();
  }
  const told = "1 report lost here: the decoder was too far behind, and the queue is full";
  assert.deepEqual(decoder.course, [0, 1, told]);
  const [, before, gap] = decoder.items;
  assert.ok(gap!.microseconds! >= before!.microseconds!);
  while (live.kept < 3) await new Promise((resolve) => setTimeout(resolve, 2));
  assert.deepEqual([live.due, live.dueReports], [3, 2]);
  await live.close();
});

test("when there is no room, reports are counted only", async () => {
  const [live, device, , decoder] = made();
  decoder.answer = async () => ({ appended: 1, fault: "no room" });
  await live.open();
  device.send(0x76, 1); // in a batch of its own
  device.send(0x76, 2);
  device.send(0x76, 3);
  await live.flush();
  decoder.answer = async () => assert.fail("it was full");
  device.send(0x76, 4);
  await live.flush();
  assert.deepEqual([live.came, live.kept, live.notKept, live.fault], [4, 3, 2, "no room"]);
  assert.equal(live.state, "connected");
  assert.equal(decoder.course.at(-1), "from here on no report is kept: no room");
  await live.close();
});

test("a file that was closed ends the reading", async () => {
  const [live, device, , decoder] = made();
  decoder.answer = async () => {
    throw new Error("the file was closed");
  };
  await live.open();
  device.send(0x76, 1);
  await live.flush();
  assert.deepEqual([live.state, live.fault, live.notKept], ["ended", "the file was closed", 1]);
  assert.equal(device.opened, false);
});

test("a device that doesn't answer doesn't hold up the other requests", async () => {
  const known = [1, 2, 3].map(knownFeature);
  const [live, device] = made({ answerTime: 20 }, [...known, knownFeature(3)]);
  device.answer = (id) =>
    id === 2
      ? new Promise(() => undefined)
      : Promise.resolve(new DataView(Uint8Array.of(9, id, 7).buffer, 1)); // not at its beginning
  await live.open();
  await live.ask();
  assert.deepEqual(live.answers, [
    { id: 1, complaint: "" },
    { id: 2, complaint: "the device did not answer in time" },
    { id: 3, complaint: "" },
  ]);
  await live.close();
});

test("an unplug while it is asked ends the asking, and its return begins it anew", async () => {
  const [live, device, hid, decoder] = made({}, [1, 2, 3].map(knownFeature));
  device.answer = async (id) => {
    if (id === 1) return new DataView(Uint8Array.of(1, 5).buffer);
    hid.tell("disconnect", device);
    throw new DOMException("Failed.", "NotAllowedError");
  };
  await live.open();
  await live.ask();
  assert.deepEqual([live.state, live.answers], ["unplugged", [{ id: 1, complaint: "" }]]);

  hid.tell("disconnect", new FakeDevice()); // somebody else's
  const other = Object.assign(new FakeDevice(), { productId: 2 });
  hid.tell("connect", other);
  assert.equal(other.opened, false);

  const again = Object.assign(new FakeDevice(), { refusals: 1 });
  again.answer = async (id) => new DataView(Uint8Array.of(id, 6).buffer);
  hid.tell("connect", again);
  while (live.answers.length < 3) await new Promise((resolve) => setTimeout(resolve, 10));
  await live.flush();
  assert.deepEqual([live.state, live.returns], ["connected", 1]);
  device.send(0x76, 1); // what is gone says nothing
  again.send(0x76, 2);
  await live.flush();
  assert.deepEqual(
    decoder.got.map(({ bytes }) => [...bytes]),
    [
      [1, 5],
      [1, 6],
      [2, 6],
      [3, 6],
      [0x76, 2],
    ],
  );
  await live.close();
});

test("a device that can't be opened says what to do, and nothing listens to it", async () => {
  const [live, device, , decoder] = made();
  device.refusals = 1;
  await assert.rejects(live.open(), /Fake can't be opened: Not yet\. Another program .* udev/);
  assert.equal(live.state, "ended");
  device.send(0x76, 1);
  await live.flush();
  assert.equal(decoder.got.length, 0);
});

test("of a device's parts, that with the most known reports is read", () => {
  const part = (...ids: number[]) => {
    const device = new FakeDevice();
    const reports = ids.map((reportId) => ({ reportId }));
    device.collections = [{ children: [{ featureReports: reports }] }];
    return device.asHid;
  };
  const [mouse, vendor, other] = [part(), part(1, 2, 9), part(1)];
  const best = (devices: HidDevice[]) =>
    bestOf(devices, [1, 2].map(knownFeature), ({ collections }) => declaredReports(collections));
  assert.equal(best([mouse, vendor, other]), vendor);
  assert.equal(best([mouse]), mouse);
  assert.equal(best([]), null);
});
