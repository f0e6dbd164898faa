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

/** Where a number stands among those in order; -1 if it isn't there. */
export function indexOf(numbers: Uint32Array, wanted: number): number {
  const at = countBelow(numbers, wanted);
  return numbers[at] === wanted ? at : -1;
}

/** How many numbers of those in order are below one. */
export function countBelow(numbers: Uint32Array, limit: number): number {
  let [low, high] = [0, numbers.length];
  while (low < high) {
    const middle = (low + high) >> 1;
    if (numbers[middle]! < limit) low = middle + 1;
    else high = middle;
  }
  return low;
}
