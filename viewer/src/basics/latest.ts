/** Work of which only the last that was asked for counts: it is never done twice at once, and done once
 *  more if it was asked for meanwhile. */
export class Latest {
  private asked = 0;
  private isRunning = false;
  private running: Promise<void> = Promise.resolve();
  private latest: Promise<void> = Promise.resolve();

  /** `work` must not fail; it may ask whether something else is wanted by now. */
  constructor(private readonly work: (isWanted: () => boolean) => Promise<void>) {}

  /** Has it done at once, or behind what is being done. */
  ask(): void {
    ++this.asked;
    if (!this.isRunning) this.running = this.run();
  }

  /** When what is being done now is done; there may be more to do by then. */
  get round(): Promise<void> {
    return this.latest;
  }

  /** When nothing is to be done any more. */
  get done(): Promise<void> {
    return this.running;
  }

  private async run(): Promise<void> {
    this.isRunning = true;
    for (let done = 0; done !== this.asked; ) {
      const wanted = this.asked;
      this.latest = this.work(() => wanted === this.asked);
      await this.latest;
      done = wanted;
    }
    this.isRunning = false;
  }
}
