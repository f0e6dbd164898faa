/** Plays frames one after the other, as fast as they came or at another speed. */

export interface Played {
  /** Frames a second. */
  rate(): number;

  /** Goes on by some frames. */
  goOn(frames: number): void;

  /** It began or ended. */
  changed(isPlaying: boolean): void;
}

export class Player {
  private timer = 0;

  constructor(private readonly played: Played) {}

  get isPlaying(): boolean {
    return this.timer !== 0;
  }

  start(): void {
    let last = performance.now();
    let due = 0; // frames, with their part
    const tick = (now: number) => {
      due += ((now - last) / 1000) * this.played.rate();
      last = now;
      const whole = Math.floor(due);
      due -= whole;
      this.timer = requestAnimationFrame(tick);
      if (whole > 0) this.played.goOn(whole);
    };
    this.timer = requestAnimationFrame(tick);
    this.played.changed(true);
  }

  stop(): void {
    if (!this.isPlaying) return;
    cancelAnimationFrame(this.timer);
    this.timer = 0;
    this.played.changed(false);
  }
}
