/** What views share that show one report at a time: going from one to the next, and drawing what is
 *  wanted last. */
import type { RemoteCapture } from "../decoder/client.js";
import { Latest } from "../basics/latest.js";
import { Stepper } from "./stepper.js";
import { panelOf } from "./tabs.js";
import { indexOf } from "../basics/numbers.js";
import type { Copies, View, ViewHost } from "./view.js";

/** Says whether what was asked for is still wanted. */
export type IsWanted = () => boolean;

/** `Shown` is a report with all that is drawn of it. */
export abstract class StepView<Shown> implements View {
  abstract readonly decoders: readonly string[];
  abstract readonly copies: Copies;
  readonly reduced: readonly string[] = [];
  protected readonly panel: HTMLElement;
  protected readonly stepper: Stepper;
  protected file: RemoteCapture | null = null;
  protected own: Uint32Array = new Uint32Array(); // of all its decoders
  protected entries: Uint32Array = new Uint32Array(); // those of them that are gone through
  protected devices = 0; // that its reports are of
  protected shown: Shown | null = null; // null as long as nothing is drawn
  protected current = -1; // an entry
  protected isShown = false;
  private isStale = true; // more came since takeIn()
  private readonly drawing = new Latest((isWanted) => this.drawWanted(isWanted));

  /** `what` is what it calls a report. */
  constructor(
    readonly name: string,
    readonly title: string,
    protected readonly host: ViewHost,
    what = "report",
  ) {
    this.panel = panelOf(name);
    this.stepper = new Stepper(what, (at) => this.goTo(this.entries[at]!));
    this.panel.onkeydown = (event) => this.key(event);
  }

  /** Looks at what came. */
  protected async takeIn(_file: RemoteCapture): Promise<void> {}

  /** Those that are gone through while one of them is shown. */
  protected groupOf(_entry: number): Uint32Array {
    return this.own;
  }

  /** Gets what is to be drawn of an entry; null if that isn't wanted any more. */
  protected abstract look(
    file: RemoteCapture,
    entry: number,
    isWanted: IsWanted,
  ): Promise<Shown | null>;

  protected abstract draw(shown: Shown): void;

  /** Removes what is drawn of a file. */
  protected clear(): void {}

  open(file: RemoteCapture | null): void {
    this.file = file;
    this.own = this.entries = new Uint32Array();
    this.shown = null;
    this.current = -1;
    this.isStale = true;
    this.stepper.setCount(0);
    for (const key of Object.keys(this.panel.dataset)) delete this.panel.dataset[key];
    this.clear();
  }

  async refresh(entries: Uint32Array, devices: number): Promise<void> {
    if (entries.length !== this.own.length) this.isStale = true;
    this.own = entries;
    this.devices = devices;
    // Once drawn, a report stays as it is; only how many there are has changed.
    if (this.isStale) this.redraw();
  }

  setShown(isShown: boolean): void {
    this.isShown = isShown;
    if (isShown) this.redraw();
  }

  goToEntry(entry: number): void {
    if (entry === this.current || indexOf(this.own, entry) < 0) return;
    this.setCurrent(entry);
    this.redraw();
  }

  /** Somebody goes to an entry. */
  protected goTo(entry: number): void {
    if (entry === this.current) return;
    this.setCurrent(entry);
    this.redraw();
    this.host.moved(entry);
  }

  protected key(event: KeyboardEvent): void {
    this.stepper.key(event);
  }

  /** Draws as soon as it can; of what is asked for meanwhile, the last. */
  protected redraw(): void {
    if (this.isShown) this.drawing.ask();
  }

  private setCurrent(entry: number): void {
    this.current = entry;
    const at = indexOf(this.entries, entry);
    if (at >= 0) this.stepper.set(at);
  }

  private async drawWanted(isWanted: IsWanted): Promise<void> {
    const { file } = this;
    if (file === null || this.own.length === 0) return;
    try {
      await this.drawOnce(file, () => isWanted() && this.isShown && file === this.file);
    } catch (fault) {
      if (file === this.file) this.host.tell(fault);
    }
  }

  private async drawOnce(file: RemoteCapture, isWanted: IsWanted): Promise<void> {
    if (this.isStale) {
      this.isStale = false;
      try {
        await this.takeIn(file);
      } catch (fault) {
        this.isStale = true;
        throw fault;
      }
      if (file !== this.file) return;
    }
    if (this.current < 0) this.current = this.own[0]!;
    const { current } = this;
    this.entries = this.groupOf(current);
    this.stepper.setCount(this.entries.length);
    this.setCurrent(current);
    const shown = await this.look(file, current, isWanted);
    if (shown === null || file !== this.file) return;
    this.shown = shown;
    const hadFocus = this.panel.contains(document.activeElement);
    this.draw(shown);
    // What had it may be gone, and keys go to what has it.
    if (hadFocus && !this.panel.contains(document.activeElement))
      this.panel.focus({ preventScroll: true });
    this.panel.dataset["entry"] = String(current);
  }
}
