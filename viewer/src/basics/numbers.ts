/** Numbers that come one part after the other. A view of them stays as it is when more come. */
export class Numbers {
  private room = new Uint32Array(1024);
  private count = 0;

  add(part: Uint32Array): void {
    const needed = this.count + part.length;
    if (needed > this.room.length) {
      const larger = new Uint32Array(Math.max(needed, 2 * this.room.length));
      larger.set(this.view());
      this.room = larger;
    }
    this.room.set(part, this.count);
    this.count = needed;
  }

  view(): Uint32Array {
    return this.room.subarray(0, this.count);
  }
}
