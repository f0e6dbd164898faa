/** A live device, read by the browser's WebHID: its input reports as they come, and its feature
 *  reports once they are asked for. All go to whoever decodes, in batches and in their order.
 *
 *      const live = new LiveDevice(hid, device, about.reports, (items) => file.append(items));
 *      live.onChange = () => show(live.state, live.came, live.answers);
 *      await live.open();
 *      await live.ask();
 *
 *  Nothing is ever sent to a device but the request for a feature report. What gets lost is
 *  counted, and told in its place: the decoder may fall behind only so far. */
import type { KnownReport, LiveGap, LiveItem, ReportType } from "../decoder/decoder.js";
import { hexId } from "../basics/dom.js";
import { countText } from "../basics/words.js";
import type { Appended } from "../decoder/protocol.js";
import {
  declaredFeatures,
  type Hid,
  type HidConnectionEvent,
  type HidDevice,
  type HidInputEvent,
} from "./webhid.js";

/** Between batches: a screen's frame. */
const batchTime = 16;

/** That wait for the decoder, in bytes. The program has as much room. */
const mostWaiting = 64 << 20;

/** For one answer. Systems give up after some five seconds. */
const answerTime = 10_000;

/** That times may differ from the computer's clock, in milliseconds. */
const mostOff = 100;

/** A device that comes back may be refused for a moment. */
const untilAllowed = 3000;
const tryAgain = 250;

export type LiveState = "connecting" | "connected" | "unplugged" | "ended";

/** What became of asking for a feature report. */
export interface Answer {
  id: number;
  complaint: string; // empty if it came
}

export interface LiveOptions {
  mostWaiting?: number;
  answerTime?: number;
}

export class LiveDevice {
  state: LiveState = "connecting";
  came = 0; // reports, with those that were lost or not kept
  bytes = 0; // of them
  lost = 0; // the decoder was too far behind
  notKept = 0; // there was no room for them any more
  empty = 0; // without a byte: they aren't among those that came
  returns = 0; // after it was unplugged
  fault = ""; // why reports aren't kept any more, or why it ended by itself
  answers: Answer[] = []; // to the last round of requests, so far
  undeclared: number[] = []; // feature reports that aren't asked for, since the device has none
  isAsking = false;

  /** Something of the above has changed, other than the counts of reports. */
  onChange: () => void = () => undefined;

  private waiting: LiveItem[] = [];
  private waitingBytes = 0;
  private gap: { lost: number; milliseconds: number } | null = null; // behind what waits
  private gaps = 0; // that wait, or were taken
  private isFull = false; // no report is kept any more
  private taken = 0;
  private handing: Promise<void> | null = null;
  private lastHanded = -Infinity;
  private timer: ReturnType<typeof setTimeout> | undefined;
  private epoch: number = performance.timeOrigin; // when performance.now() was 0
  private readonly mostWaiting: number;
  private readonly answerTime: number;

  /** `append` takes what came, and says how much of it was taken; it isn't called again before
   *  that. */
  constructor(
    private readonly hid: Hid,
    private device: HidDevice,
    private readonly known: readonly KnownReport[],
    private readonly append: (items: LiveItem[]) => Promise<Appended>,
    options: LiveOptions = {},
  ) {
    this.mostWaiting = options.mostWaiting ?? mostWaiting;
    this.answerTime = options.answerTime ?? answerTime;
  }

  get name(): string {
    return this.device.productName || "a device without a name";
  }

  /** Entries that can be looked at: reports, and gaps. */
  get kept(): number {
    return this.taken;
  }

  /** The same when what waits is handed on, if there is room for it. */
  get due(): number {
    return this.dueReports + this.gaps;
  }

  get dueReports(): number {
    return this.came - this.lost - this.notKept;
  }

  /** Whether another one is the same, plugged in again: systems tell no more of it. */
  isSame({ vendorId, productId, productName }: HidDevice): boolean {
    const own = this.device;
    return (
      vendorId === own.vendorId && productId === own.productId && productName === own.productName
    );
  }

  /** Opens it, and reads from then on. Rejects with what is wrong and what to do about it. */
  async open(): Promise<void> {
    this.hid.addEventListener("disconnect", this.disconnected);
    this.hid.addEventListener("connect", this.connected);
    try {
      await this.begin(this.device);
    } catch (fault) {
      this.end();
      throw new Error(openingFault(this.name, fault), { cause: fault });
    }
  }

  /** Goes on with the device after it was unplugged. */
  async resume(device: HidDevice): Promise<void> {
    if (this.state !== "unplugged") return;
    this.device.removeEventListener("inputreport", this.receive);
    this.setState("connecting");
    for (const begun = performance.now(); ; ) {
      try {
        await this.begin(device);
        break;
      } catch (fault) {
        if (this.isEnded()) return;
        if (performance.now() - begun > untilAllowed) {
          this.setState("unplugged");
          throw new Error(openingFault(this.name, fault), { cause: fault });
        }
      }
      await new Promise((resolve) => setTimeout(resolve, tryAgain));
    }
    ++this.returns;
    await this.ask();
  }

  /** Asks once for each feature report that is known and that the device declares; for all that are
   *  known if it declares none at all. */
  async ask(): Promise<void> {
    if (this.isAsking || this.state !== "connected") return;
    const { device } = this;
    const declared = declaredFeatures(device.collections);
    declared.delete(0);
    const isDeclared = (id: number) => declared.size === 0 || declared.has(id);
    const features = this.known.filter(({ type }) => type === "feature").map(({ id }) => id);
    const ids = [...new Set(features)];
    this.undeclared = ids.filter((id) => !isDeclared(id));
    this.answers = [];
    this.isAsking = true;
    this.onChange();
    for (const id of ids.filter(isDeclared)) {
      const complaint = await this.askFor(device, id);
      if (this.device !== device || this.state !== "connected") break;
      this.answers.push({ id, complaint });
      this.onChange();
    }
    this.isAsking = false;
    this.onChange();
  }

  /** Everything that came so far is handed on, or counted as not kept. */
  async flush(): Promise<void> {
    this.putGap();
    const { due } = this;
    while (this.taken < due && (this.handing !== null || this.waiting.length > 0)) {
      this.lastHanded = -Infinity;
      this.hand();
      await this.handing;
    }
  }

  /** Lets go of the device. What came stays. */
  async close(): Promise<void> {
    this.end();
    await this.flush();
  }

  private readonly receive = (event: HidInputEvent): void => {
    const { reportId, data, timeStamp } = event;
    const own = new Uint8Array(data.buffer, data.byteOffset, data.byteLength);
    // Without IDs, a report is what came: its first byte says what it is, as in a capture.
    const bytes = new Uint8Array(reportId === 0 ? own.length : 1 + own.length);
    if (reportId !== 0) bytes[0] = reportId;
    bytes.set(own, bytes.length - own.length);
    this.take(bytes, "input", timeStamp);
  };

  private readonly disconnected = ({ device }: HidConnectionEvent): void => {
    if (device !== this.device || this.isEnded()) return;
    this.device.removeEventListener("inputreport", this.receive);
    this.setState("unplugged");
  };

  private readonly connected = ({ device }: HidConnectionEvent): void => {
    if (this.state === "unplugged" && this.isSame(device))
      void this.resume(device).catch((fault: Error) => {
        this.fault = fault.message;
        this.onChange();
      });
  };

  /** Listens first, so that nothing is missed. */
  private async begin(device: HidDevice): Promise<void> {
    this.device = device;
    device.addEventListener("inputreport", this.receive);
    try {
      if (!device.opened) await device.open();
    } catch (fault) {
      device.removeEventListener("inputreport", this.receive);
      throw fault;
    }
    if (this.isEnded()) {
      void device.close().catch(() => undefined);
      return;
    }
    this.fault = "";
    this.setState("connected");
  }

  private async askFor(device: HidDevice, id: number): Promise<string> {
    let timer: ReturnType<typeof setTimeout> | undefined;
    const tooLate = new Promise<null>((resolve) => {
      timer = setTimeout(() => resolve(null), this.answerTime);
    });
    try {
      const answer = await Promise.race([device.receiveFeatureReport(id), tooLate]);
      if (answer === null) return "the device did not answer in time";
      if (answer.byteLength === 0) return "the answer is empty: the device has nothing to tell";
      const first = answer.getUint8(0);
      if (first !== id) return `the answer is report ${hexId(first)}: the device mixed them up`;
      const bytes = new Uint8Array(answer.buffer, answer.byteOffset, answer.byteLength).slice();
      this.take(bytes, "feature", performance.now());
      return "";
    } catch (fault) {
      return refusal(id, fault);
    } finally {
      clearTimeout(timer);
    }
  }

  private take(bytes: Uint8Array, type: ReportType, milliseconds: number): void {
    if (bytes.length === 0) {
      ++this.empty;
      return;
    }
    ++this.came;
    this.bytes += bytes.length;
    if (this.isFull) ++this.notKept;
    else if (this.waitingBytes + bytes.length > this.mostWaiting) {
      ++this.lost;
      this.gap ??= { lost: 0, milliseconds };
      ++this.gap.lost;
    } else {
      this.putGap();
      this.waiting.push({ bytes, type, microseconds: this.timeOf(milliseconds) });
      this.waitingBytes += bytes.length;
      this.hand();
    }
  }

  /** What was lost is told in front of the next report, or when everything else is handed on. */
  private putGap(): void {
    if (this.gap === null) return;
    const { lost, milliseconds } = this.gap;
    this.gap = null;
    const count = countText(lost, "report");
    const told = `${count} lost here: the decoder was too far behind, and the queue is full`;
    this.addGap({ told, lost, microseconds: this.timeOf(milliseconds) });
  }

  private addGap(gap: LiveGap): void {
    this.waiting.push(gap);
    ++this.gaps;
  }

  /** In microseconds by the computer's clock, of a time of performance.now(). */
  private timeOf(milliseconds: number): number {
    this.setEpoch();
    return Math.round((this.epoch + milliseconds) * 1000);
  }

  /** While a computer sleeps, performance.now() may stand still; and its clock may be set. */
  private setEpoch(): void {
    const off = Date.now() - (this.epoch + performance.now());
    if (Math.abs(off) > mostOff) this.epoch += off;
  }

  /** Hands a batch on, if it is time to. A hidden page's timers hardly run: so each report that
   *  comes looks for itself. */
  private hand(): void {
    if (this.handing !== null) return;
    if (this.waiting.length === 0) this.putGap();
    if (this.waiting.length === 0) return;
    const wait = this.lastHanded + batchTime - performance.now();
    if (wait > 0) {
      this.timer ??= setTimeout(() => {
        this.timer = undefined;
        this.hand();
      }, wait);
      return;
    }
    this.lastHanded = performance.now();
    this.handing = this.handAll().finally(() => {
      this.handing = null;
      this.hand();
    });
  }

  private async handAll(): Promise<void> {
    const batch = this.waiting;
    const size = this.waitingBytes;
    this.waiting = [];
    try {
      const { appended, fault } = await this.append(batch);
      this.taken += appended;
      if (appended < batch.length) {
        const [first] = batch.slice(appended);
        this.keepNoMore(fault, batch.slice(appended));
        const told = `from here on no report is kept: ${fault}`;
        if (!("told" in first!)) this.addGap({ told, lost: 0, microseconds: first!.microseconds });
      }
    } catch (fault) {
      this.keepNoMore(fault instanceof Error ? fault.message : String(fault), batch);
      this.end();
    }
    this.waitingBytes = Math.max(0, this.waitingBytes - size);
  }

  private keepNoMore(fault: string, left: readonly LiveItem[]): void {
    const all = [...left, ...this.waiting];
    const gaps = all.filter((item) => "told" in item).length;
    this.isFull = true;
    this.fault = fault;
    this.gaps -= gaps;
    this.notKept += all.length - gaps;
    this.waiting = [];
    this.waitingBytes = 0;
    this.gap = null;
    this.onChange();
  }

  private end(): void {
    if (this.isEnded()) return;
    const { device } = this;
    this.hid.removeEventListener("disconnect", this.disconnected);
    this.hid.removeEventListener("connect", this.connected);
    device.removeEventListener("inputreport", this.receive);
    if (device.opened) void device.close().catch(() => undefined);
    this.setState("ended");
  }

  /** While something was waited for, the state may have become another. */
  private isEnded(): boolean {
    return this.state === "ended";
  }

  private setState(state: LiveState): void {
    this.state = state;
    this.onChange();
  }
}

/** A request that failed. Browsers tell a stall as something that isn't allowed. */
function refusal(id: number, fault: unknown): string {
  const { name, message } = fault as DOMException;
  if (name === "NotAllowedError")
    return `the device has no report ${hexId(id)}, or refuses it now (stall)`;
  return `the request failed: ${message || name}`;
}

function openingFault(name: string, fault: unknown): string {
  const { message, name: kind } = fault as DOMException;
  const said = message || kind;
  const help =
    "Another program may hold it: close that and connect again. On Linux, its node belongs to " +
    "root until a udev rule gives access: 60-vesk.rules is one to fill in, vesk-decode(1) says how.";
  return `${name} can't be opened: ${said.replace(/\.$/, "")}. ${help}`;
}

/** Of the parts of a device that the user chose, that which declares the most known reports. */
export function bestOf(
  devices: readonly HidDevice[],
  known: readonly KnownReport[],
  declared: (device: HidDevice) => Set<number>,
): HidDevice | null {
  let best: HidDevice | null = null;
  let most = -1;
  for (const device of devices) {
    const ids = declared(device);
    const count = known.filter(({ id }) => ids.has(id)).length;
    if (count > most) [best, most] = [device, count];
  }
  return best;
}
