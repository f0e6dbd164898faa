/** The files that are open, each in the decoder, and the one of them that is shown. */
import type { Client, FileProgress, RemoteCapture } from "../decoder/client.js";
import type { About } from "../decoder/decoder.js";

/** A file as it stands at the moment. */
export interface OpenFile {
  readonly name: string;
  readonly blob: File | null; // null if its reports come from a device
  readonly capture: RemoteCapture | null; // null where there is nothing to look at
  readonly entries: number;
  readonly reports: number; // of them
  readonly position: number; // bytes read
  readonly size: number; // bytes, unpacked
  readonly form: string; // that it is read as; empty until that is known
  readonly note: string; // what is to be told of it
  readonly fault: string; // why it can't be read, or no further
  readonly reading: "waiting" | "going on" | "cancelled" | "over" | "live";
}

type Changeable = { -readonly [key in keyof OpenFile]: OpenFile[key] } & {
  wanted: string; // the form that it is to be read as; empty for what its first bytes tell
  toldAt: number; // when the page was last told of its progress
};

/** Milliseconds. Whatever the page shows of a file that is being read costs a layout, and memory that
 *  comes back late: a hundred times a second that came to tens of megabytes. */
const betweenTold = 100;

/** More would take the decoder's time from each other. */
const readAtOnce = 3;

export class Files {
  private client: Promise<Client> | null = null;
  private files: Changeable[] = [];
  private shown: Changeable | null = null;
  private waiting: (() => void)[] = [];
  private reading = 0;

  /** `reduced` are the decoders of which overviews are wanted. */
  constructor(
    private readonly newClient: () => Promise<Client>,
    private readonly reduced: () => string[],
  ) {
    this.begin().catch(() => undefined); // told when a file is opened
  }

  /** What stands in one of the files has changed, or which there are. How far reading has come is told
   *  now and then. */
  onChanged: (file: OpenFile | null) => void = () => undefined;

  /** Another one is shown. */
  onShown: (file: OpenFile | null, about: About) => void = () => undefined;

  /** A file is read to its end, or as far as it can be. */
  onRead: (file: OpenFile) => void = () => undefined;

  get all(): readonly OpenFile[] {
    return this.files;
  }

  get current(): OpenFile | null {
    return this.shown;
  }

  async about(): Promise<About> {
    return (await this.begin()).about;
  }

  /** Opens files, and shows the first of them. */
  async open(blobs: readonly File[]): Promise<void> {
    const added = blobs.map((blob) => this.add(blob.name, blob));
    const [first] = added;
    const shown = first === undefined ? [] : [this.show(first)];
    await Promise.all([...shown, ...added.map((file) => this.read(file))]);
  }

  /** Tells of something that is no file to be opened. */
  addFault(name: string, fault: string): void {
    Object.assign(this.add(name, null), { fault, reading: "over" });
    this.onChanged(null);
  }

  /** Shows a file whose reports come one by one, by its capture's append(). */
  async openLive(name: string): Promise<OpenFile> {
    const client = await this.begin();
    const file = newFile(name, null);
    const capture = client.openLive(name, {
      reduce: this.reduced(),
      onProgress: (progress) => this.progress(file, progress),
    });
    await capture.done;
    this.files.push(Object.assign(file, { capture, reading: "live" }));
    await this.show(file);
    return file;
  }

  /** No report comes any more to a file of openLive(). */
  endLive(capture: RemoteCapture): void {
    const file = this.files.find((one) => one.capture === capture);
    if (file?.reading !== "live") return;
    file.reading = "over";
    this.onChanged(file);
    this.onRead(file);
  }

  /** Reads a file again, as another form, or by its first bytes if `form` is empty. */
  async readAs(file: OpenFile, form = ""): Promise<void> {
    const one = this.find(file);
    if (one === undefined || one.blob === null) return;
    void one.capture?.close().catch(() => undefined);
    Object.assign(one, newFile(one.name, one.blob), { wanted: form });
    await Promise.all([this.show(one), this.read(one)]);
  }

  async show(file: OpenFile): Promise<void> {
    const one = this.find(file);
    if (one === undefined) return;
    this.shown = one;
    const { about } = await this.begin();
    if (this.shown === file) this.onShown(file, about);
    this.onChanged(null);
  }

  cancel(file: OpenFile): void {
    const one = this.find(file);
    if (one === undefined) return;
    if (one.reading === "waiting") one.reading = "cancelled";
    void one.capture?.cancel().catch(() => undefined);
    this.onChanged(one);
  }

  async close(file: OpenFile): Promise<void> {
    const at = this.files.findIndex((one) => one === file);
    if (at < 0) return;
    this.files.splice(at, 1);
    void file.capture?.close().catch(() => undefined);
    if (this.shown === file) {
      const next = this.files[Math.min(at, this.files.length - 1)] ?? null;
      this.shown = next;
      const { about } = await this.begin();
      if (this.shown === next) this.onShown(next, about);
    }
    this.onChanged(null);
  }

  private begin(): Promise<Client> {
    if (this.client !== null) return this.client;
    const made = this.newClient();
    this.client = made;
    made.then(
      (client) => (client.onBroken = (reason) => this.broke(reason)),
      () => (this.client = null),
    );
    return made;
  }

  /** Nothing of what is open can be looked at any more. */
  private broke(reason: string): void {
    this.client = null;
    for (const file of this.files)
      if (file.capture !== null)
        Object.assign(file, { capture: null, fault: `${reason}.`, reading: "over" });
    this.begin().then(
      ({ about }) => this.onShown(this.shown, about),
      () => undefined, // told when a file is opened
    );
    this.onChanged(null);
  }

  private add(name: string, blob: File | null): Changeable {
    const file = newFile(name, blob);
    this.files.push(file);
    return file;
  }

  private find(file: OpenFile): Changeable | undefined {
    return this.files.find((one) => one === file);
  }

  private async read(file: Changeable): Promise<void> {
    if (this.reading >= readAtOnce) await new Promise<void>((go) => this.waiting.push(go));
    ++this.reading;
    try {
      if (this.isWaiting(file)) await this.readNow(file);
    } finally {
      --this.reading;
      this.waiting.shift()?.();
    }
  }

  /** It may have been closed, cancelled, or be read by another call. */
  private isWaiting(file: Changeable): boolean {
    return this.files.includes(file) && file.reading === "waiting";
  }

  private async readNow(file: Changeable): Promise<void> {
    let client: Client | null = null;
    let capture: RemoteCapture | null = null;
    const isOurs = () => capture !== null && file.capture === capture;
    try {
      client = await this.begin();
      if (!this.isWaiting(file)) return;
      file.reading = "going on";
      capture = client.open(file.blob!, {
        form: file.wanted,
        reduce: this.reduced(),
        onProgress: (progress) => {
          if (isOurs()) this.progress(file, progress);
        },
      });
      file.capture = capture;
      if (file === this.shown) this.onShown(file, client.about);
      const { cancelled } = await capture.done;
      if (!isOurs()) return; // closed, or read as something else
      file.reading = cancelled ? "cancelled" : "over";
    } catch (fault) {
      if (capture === null ? !this.isWaiting(file) : !isOurs()) return;
      file.reading = "over";
      file.fault = fault instanceof Error ? fault.message : String(fault);
    }
    const isWhole = file.reading === "over" && file.fault === "";
    if (file.entries === 0 && !isWhole) {
      file.capture = null; // there is nothing to look at
      void capture?.close().catch(() => undefined);
      if (file === this.shown && client !== null) this.onShown(file, client.about);
    }
    this.onChanged(file);
    this.onRead(file);
  }

  private progress(file: Changeable, progress: FileProgress): void {
    const { entries, reports, position, size, note, form } = progress;
    Object.assign(file, { entries, reports, position, size, note, form });
    const now = performance.now();
    if (file.reading === "going on" && now - file.toldAt < betweenTold) return;
    file.toldAt = now;
    this.onChanged(file);
  }
}

function newFile(name: string, blob: File | null): Changeable {
  return {
    name,
    blob,
    capture: null,
    entries: 0,
    reports: 0,
    position: 0,
    size: blob?.size ?? 0,
    form: "",
    note: "",
    fault: "",
    reading: "waiting",
    wanted: "",
    toldAt: -Infinity,
  };
}
