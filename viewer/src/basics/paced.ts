/** Work that is to be done again whenever something has changed: never twice at once, and with rests
 *  between that are some times as long as it took, so that a file's reading goes on beside it. */
export class Paced {
  private timer: ReturnType<typeof setTimeout> | undefined;
  private running: Promise<void> | null = null;
  private earliest = 0;
  private isStale = false; // something changed while it was being done

  /** `least` is the shortest rest, in milliseconds; others are `times` as long as the work took. */
  constructor(
    private readonly work: () => Promise<void>,
    private readonly least: number,
    private readonly tell: (fault: unknown) => void,
    private readonly times = 10,
  ) {}

  /** Has it done soon. */
  ask(): void {
    this.isStale = true;
    if (this.timer !== undefined || this.running !== null) return;
    const rest = Math.max(0, this.earliest - performance.now());
    this.timer = setTimeout(() => {
      this.timer = undefined;
      void this.run().catch(this.tell);
    }, rest);
  }

  /** Does it now, behind what is being done. */
  async now(): Promise<void> {
    clearTimeout(this.timer);
    this.timer = undefined;
    while (this.running !== null) await this.running.catch(() => undefined);
    await this.run();
  }

  private async run(): Promise<void> {
    const begin = performance.now();
    this.isStale = false;
    this.running = this.work();
    try {
      await this.running;
    } finally {
      this.running = null;
      const end = performance.now();
      this.earliest = end + Math.max(this.least, this.times * (end - begin));
      if (this.isStale) this.ask();
    }
  }
}
