/** A live device's controls: connect and disconnect, what comes, and saving it. */
import type { RemoteCapture } from "../decoder/client.js";
import type { About } from "../decoder/decoder.js";
import { hexId, made } from "../basics/dom.js";
import { LiveDevice, bestOf } from "./live.js";
import { inPageWords } from "../basics/pagewords.js";
import { save, stemOf } from "../basics/saving.js";
import { countText } from "../basics/words.js";
import { declaredReports, hidOf, type Hid, type HidDevice } from "./webhid.js";

/** What the panel asks of the page around it. */
export interface LiveHost {
  about(): Promise<About>;

  /** Shows a file whose reports come by its capture's append(). */
  openLive(name: string): Promise<{ readonly capture: RemoteCapture | null }>;

  /** Nothing comes to it any more. */
  endLive(capture: RemoteCapture): void;

  /** Goes to the last of the reports of a file, if it is still the one that is shown. */
  goToLast(capture: RemoteCapture): Promise<void>;

  /** Shows what went wrong, or what happened. */
  tell(fault: unknown): void;
}

const countsEvery = 200; // milliseconds
const statisticsEvery = 1000;
const rateOver = 2000;

/** What the program's statistics have, of that which is shown here. */
interface Statistics {
  errors: Record<string, number>;
  lost: { counter: string; reports: number }[];
}

export class LivePanel {
  private readonly hid: Hid | null;
  private readonly state = made("span", "state");
  private readonly hint = made("span");
  private readonly counts = made("span", "counts");
  private readonly numbers = made("span", "numbers");
  private readonly fault = made("p", "fault");
  private readonly refused = made("details");
  private readonly refusedHead = made("summary");
  private readonly refusedList = made("ul");
  private readonly following = made("input");
  private readonly ask = button("Ask again", "Asks for the device's feature reports once more");
  private readonly record = button("Record", "");
  private readonly saveAll = button("Save all", "Saves all that came since it was connected");
  private readonly hide = button("Hide", "Hides this; the reports stay");
  private live: LiveDevice | null = null;
  private capture: RemoteCapture | null = null;
  private isPicking = false;
  private isSaving = false;
  private recordFrom: { entry: number; reports: number } | null = null; // that came before
  private shownLast = -1; // the entry after the last that was gone to
  private going: Promise<void> | null = null;
  private restUntil = 0;
  private countsAt = 0;
  private statisticsAt = 0;
  private lastCame = -1; // when statistics were asked for
  private samples: { at: number; came: number }[] = [];
  private unpluggedAt: Date | null = null;

  /** `connect` stays hidden in a browser that can't do that. */
  constructor(
    private readonly connect: HTMLButtonElement,
    private readonly panel: HTMLElement,
    private readonly host: LiveHost,
  ) {
    this.hid = hidOf(navigator);
    if (this.hid === null) return;
    this.following.type = "checkbox";
    this.following.checked = true;
    this.state.setAttribute("role", "status");
    this.fault.setAttribute("role", "alert");
    this.refused.append(this.refusedHead, this.refusedList);
    const follow = made("label", "", [this.following, new Text("Follow the latest")]);
    const tools = made("div", "tools", [follow, this.record, this.saveAll, this.ask, this.hide]);
    const line = made("p", "", [this.state, this.counts, this.numbers, this.hint]);
    panel.replaceChildren(line, tools, this.fault, this.refused);
    connect.hidden = false;
    connect.title = "Pick the touch controller in the browser's list: it shows all devices";
    connect.onclick = () => this.run(this.connectOrLetGo());
    this.ask.onclick = () => this.run(this.live?.ask());
    this.record.onclick = () => this.run(this.recordOrSave());
    this.saveAll.onclick = () => this.run(this.save(0));
    this.hide.onclick = () => {
      panel.hidden = true;
      connect.focus();
    };
    this.following.onchange = () => (this.shownLast = -1);
  }

  /** More rows are in the list than before. */
  moreIsListed(): void {
    this.shownLast = -1;
  }

  get isFollowing(): boolean {
    return this.following.checked;
  }

  /** Somebody goes to another report: the latest isn't followed any more. */
  stopFollowing(): void {
    this.following.checked = false;
  }

  private run(work: Promise<void> | undefined): void {
    void work?.catch((fault: unknown) => this.host.tell(fault));
  }

  private async connectOrLetGo(): Promise<void> {
    if (this.isPicking || this.hid === null) return;
    if (this.live?.state === "connected") return this.live.close();
    this.isPicking = true;
    try {
      const picked = await this.hid.requestDevice({ filters: [] });
      const { reports } = await this.host.about();
      const device = bestOf(picked, reports, ({ collections }) => declaredReports(collections));
      if (device === null) this.host.tell("No device was chosen.");
      else await this.begin(this.hid, device);
    } finally {
      this.isPicking = false;
    }
  }

  private async begin(hid: Hid, device: HidDevice): Promise<void> {
    if (this.live?.state === "unplugged" && this.live.isSame(device))
      return this.live.resume(device);
    await this.live?.close();
    this.endFile();
    const { reports } = await this.host.about();
    let opened: Promise<RemoteCapture> | null = null;
    const capture = () => (opened ??= this.newFile(live.name));
    const live: LiveDevice = new LiveDevice(hid, device, reports, async (batch) =>
      (await capture()).append(batch),
    );
    live.onChange = () => this.changed(live);
    await live.open();
    try {
      const file = await capture();
      Object.assign(this, { live, capture: file, recordFrom: null, shownLast: -1, lastCame: -1 });
    } catch (fault) {
      void live.close();
      throw fault;
    }
    this.samples = [];
    this.numbers.textContent = "";
    this.following.checked = true;
    this.panel.hidden = false;
    this.changed(live);
    requestAnimationFrame(() => this.tick(live));
    await live.ask();
  }

  private async newFile(name: string): Promise<RemoteCapture> {
    const time = new Date().toTimeString().slice(0, 8);
    const { capture } = await this.host.openLive(`${name}, live since ${time}`);
    if (capture === null) throw new Error("the decoder can't take reports; connect again");
    return capture;
  }

  // ------------------------------------------------------------------------------- what is shown

  /** Once a screen's frame, as long as something may come. */
  private tick(live: LiveDevice): void {
    if (this.live !== live) return;
    const now = performance.now();
    if (now - this.countsAt >= countsEvery) this.showCounts(live, now);
    if (now - this.statisticsAt >= statisticsEvery && live.kept !== this.lastCame) {
      this.statisticsAt = now;
      this.lastCame = live.kept;
      void this.showStatistics().catch(() => undefined); // the state tells
    }
    if (this.following.checked && live.kept !== this.shownLast) this.goToLast(live, now);
    const isOver = live.state === "ended" && live.kept === live.due && live.kept === this.lastCame;
    if (!isOver) return void requestAnimationFrame(() => this.tick(live));
    this.showCounts(live, now);
    this.endFile();
  }

  private endFile(): void {
    if (this.capture !== null) this.host.endLive(this.capture);
  }

  /** The decoder has as much time for other things as this takes. */
  private goToLast(live: LiveDevice, now: number): void {
    const { capture } = this;
    if (this.going !== null || now < this.restUntil || capture === null) return;
    this.shownLast = live.kept;
    this.going = this.host
      .goToLast(capture)
      .catch((fault: unknown) => this.host.tell(fault))
      .finally(() => {
        this.going = null;
        const end = performance.now();
        this.restUntil = end + (end - now);
      });
  }

  private changed(live: LiveDevice): void {
    if (this.live !== live) return;
    const { state, name } = live;
    if (state !== "unplugged") this.unpluggedAt = null;
    else this.unpluggedAt ??= new Date();
    const isConnected = state === "connected";
    this.panel.dataset["state"] = state;
    this.connect.textContent = isConnected ? "Disconnect" : "Connect";
    const since = this.unpluggedAt?.toTimeString().slice(0, 8);
    const texts = {
      connecting: `${name}: connecting.`,
      connected: `${name}: ${live.returns > 0 ? "connected again." : "connected."}`,
      unplugged: `${name}: unplugged at ${since}.`,
      ended: `${name}: disconnected.`,
    };
    setText(this.state, texts[state]);
    const isUnplugged = state === "unplugged";
    setText(
      this.hint,
      isUnplugged
        ? "What came stays. Plug it in again; if it doesn't go on by itself then, press Connect."
        : "",
    );
    this.ask.disabled = !isConnected || live.isAsking;
    this.hide.hidden = state !== "ended";
    this.showRecording(live);
    const { notKept, fault } = live;
    let told = fault;
    if (notKept > 0 && state !== "ended")
      told +=
        ". What comes now is counted, and not kept: save all, disconnect, and connect again to " +
        "go on.";
    setText(this.fault, told);
    this.fault.hidden = told === "";
    this.showAnswers(live);
    this.showCounts(live, performance.now());
  }

  private showAnswers({ answers, undeclared, isAsking, state }: LiveDevice): void {
    const complaints = answers.filter(({ complaint }) => complaint !== "");
    this.refused.hidden = complaints.length + undeclared.length === 0 || state === "unplugged";
    const parts: string[] = [];
    if (complaints.length > 0)
      parts.push(`⚠ ${complaints.length} of ${answers.length} feature reports did not come`);
    if (undeclared.length > 0) parts.push(`${undeclared.length} aren't declared by the device`);
    if (isAsking) parts.push("asking goes on");
    setText(this.refusedHead, parts.join("; "));
    const lines = complaints.map(({ id, complaint }) => `${hexId(id)}: ${complaint}`);
    for (const id of undeclared)
      lines.push(`${hexId(id)}: the device doesn't declare it, so it isn't asked for`);
    if (lines.length !== this.refusedList.childElementCount)
      this.refusedList.replaceChildren(...lines.map((line) => made("li", "", line)));
  }

  private showCounts(live: LiveDevice, now: number): void {
    this.countsAt = now;
    this.samples.push({ at: now, came: live.came });
    while (this.samples.length > 2 && now - this.samples[1]!.at > rateOver) this.samples.shift();
    const [oldest] = this.samples;
    const seconds = (now - oldest!.at) / 1000;
    const rate = seconds > 0 ? (live.came - oldest!.came) / seconds : 0;
    const parts = [countText(live.came, "report")];
    if (live.state === "connected") parts.push(`${rateText(rate)} a second`);
    parts.push(sizeText(live.bytes));
    if (live.lost > 0) parts.push(`⚠ ${live.lost} lost: the decoder was too far behind`);
    if (live.notKept > 0) parts.push(`⚠ ${live.notKept} not kept`);
    if (live.empty > 0) parts.push(`${live.empty} more were empty`);
    setText(this.counts, parts.join(" · "));
    Object.assign(this.panel.dataset, { came: live.came, kept: live.kept });
    this.showRecording(live);
  }

  private async showStatistics(): Promise<void> {
    const { capture } = this;
    const statistics = (await capture?.statistics()) as Statistics | undefined;
    if (statistics === undefined || capture !== this.capture) return;
    const parts = statistics.lost.map(({ counter, reports }) =>
      reports === 0 ? `${counter}: none lost` : `⚠ ${counter}: ${reports} lost`,
    );
    const { lost_reports: _, ...errors } = statistics.errors; // they stand beside it
    const faulty = Object.values(errors).reduce((sum, count) => sum + count, 0);
    if (faulty > 0) parts.push(`⚠ ${faulty} can't be decoded`);
    setText(this.numbers, parts.join(" · "));
  }

  // ------------------------------------------------------------------------------------ recording

  private async recordOrSave(): Promise<void> {
    const { live } = this;
    if (live === null) return;
    if (this.recordFrom === null) {
      this.recordFrom = { entry: live.due, reports: live.dueReports };
      this.showRecording(live);
      return;
    }
    const { entry } = this.recordFrom;
    this.recordFrom = null;
    await this.save(entry);
  }

  private showRecording(live: LiveDevice): void {
    const from = this.recordFrom;
    const isRecording = from !== null;
    const count = isRecording ? live.dueReports - from.reports : 0;
    setText(this.record, isRecording ? `■ Stop and save ${count}` : "● Record");
    this.record.title = isRecording
      ? "Saves what came since Record was pressed"
      : "Saves what comes from now on, until it is pressed again";
    this.record.setAttribute("aria-pressed", String(isRecording));
    this.record.disabled = this.isSaving || (!isRecording && live.state !== "connected");
    // The browser asks before it throws away what is being recorded.
    window.onbeforeunload = isRecording ? (event) => event.preventDefault() : null;
    this.saveAll.disabled = this.isSaving || live.due === 0;
  }

  /** Saves what came from an entry on, as the program's recording. */
  private async save(from: number): Promise<void> {
    const { live, capture } = this;
    if (live === null || capture === null || this.isSaving) return;
    this.isSaving = true;
    this.showRecording(live);
    try {
      const { due } = live;
      await live.flush();
      const end = Math.min(due, live.kept);
      const kinds = await capture.kinds();
      const reports = kinds.filter(({ hasBytes }) => hasBytes).map(({ number }) => number);
      const entries = await capture.selectKinds(reports, from, end);
      if (entries.length === 0) {
        this.host.tell("Nothing came that could be saved.");
        return;
      }
      const { blob, leftOut } = await capture.render("recording", entries);
      const name = `${stemOf(live.name)}-${stamp(new Date())}.hid`;
      save(blob, name);
      const gaps = end - from - entries.length;
      const lost = gaps === 0 ? "" : ` Reports are missing in ${countText(gaps, "place")}.`;
      const saved = entries.length === 1 ? "1 report is" : `${entries.length} reports are`;
      this.host.tell(`${saved} saved as ${name}.${lost} ${inPageWords(leftOut)}`);
    } finally {
      this.isSaving = false;
      this.showRecording(live);
    }
  }
}

function button(text: string, title: string): HTMLButtonElement {
  const one = made("button", "", text);
  one.type = "button";
  one.title = title;
  return one;
}

/** A text that stays the same isn't told again by a screen reader. */
function setText(element: HTMLElement, text: string): void {
  if (element.textContent !== text) element.textContent = text;
}

function rateText(rate: number): string {
  return rate > 0 && rate < 10 ? rate.toFixed(1) : rate.toFixed(0);
}

function sizeText(bytes: number): string {
  if (bytes < 1e4) return `${bytes} B`;
  return bytes < 1e7 ? `${(bytes / 1e3).toFixed(0)} kB` : `${(bytes / 1e6).toFixed(1)} MB`;
}

/** "20261121-221503", of the computer's own clock. */
function stamp(date: Date): string {
  const two = (number: number) => String(number).padStart(2, "0");
  const day = [date.getFullYear(), two(date.getMonth() + 1), two(date.getDate())].join("");
  return `${day}-${date.toTimeString().slice(0, 8).replaceAll(":", "")}`;
}
