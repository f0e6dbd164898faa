/** ADC dumps: which packets make one, in which order, and which of them are lost. It knows packets by
 *  their numbers only, and no samples.
 *
 *      const sorter = new DumpSorter(isSame);
 *      await sorter.add(packets); // as they came, of one device
 *      await sorter.flush();
 *      sorter.dumps[0].entryAt(7); */

import { countBelow, indexOf } from "../basics/numbers.js";

export interface Packet {
  entry: number;
  number: number; // PACKET_ID
  size: number; // PAYLOAD_SIZE
  total: number; // TOTAL_DUMP_SIZE
}

/** As far in front of the newest packet one may stand that came late. */
const latest = 64;

/** As many packets may be lost in a row; behind more another dump begins. */
const mostLost = 8192;

/** Packets of a dump by their numbers. Those that are lost take no room, whatever the numbers say. */
export class Dump {
  late = 0;
  doubled = 0;
  packets = 0; // that are there
  private numbers = new Uint32Array(8); // in order
  private entries = new Uint32Array(8);
  private sizes = new Uint32Array(8);
  readonly total: number;

  constructor(
    first: Packet,
    readonly jumpedFrom: number | null = null, // the number that too much would be lost behind
  ) {
    this.total = first.total;
    this.put(first);
  }

  get least(): number {
    return this.numbers[0]!;
  }

  get newest(): number {
    return this.numbers[this.packets - 1]!;
  }

  /** The entry of a packet; null if it is lost. */
  entryAt(number: number): number | null {
    const place = this.placeOf(number);
    return place < 0 ? null : this.entries[place]!;
  }

  /** PAYLOAD_SIZE of a packet that is there. */
  sizeAt(number: number): number {
    return this.sizes[this.placeOf(number)]!;
  }

  /** The number of the packet that an entry is; null if it isn't of the dump. */
  numberOf(entry: number): number | null {
    const place = this.entries.subarray(0, this.packets).indexOf(entry);
    return place < 0 ? null : this.numbers[place]!;
  }

  /** What numbers the whole dump has, with packets of so many bytes: from `first`, `count` of them. A
   *  total that is much more than came is not believed. */
  range(packetBytes: number): { first: number; count: number } {
    const whole = Math.ceil(this.total / packetBytes);
    if (whole === 0 || whole > this.newest + 1 + mostLost)
      return { first: this.least, count: this.newest + 1 - this.least };
    const first = Math.min(Math.max(0, this.newest + 1 - whole), this.least);
    return { first, count: Math.max(whole, this.newest + 1 - first) };
  }

  put(packet: Packet): void {
    const { packets } = this;
    if (packets === this.numbers.length)
      for (const name of ["numbers", "entries", "sizes"] as const) {
        const old = this[name];
        this[name] = new Uint32Array(2 * packets);
        this[name].set(old);
      }
    const place = countBelow(this.numbers.subarray(0, packets), packet.number);
    for (const [all, value] of [
      [this.numbers, packet.number],
      [this.entries, packet.entry],
      [this.sizes, packet.size],
    ] as const) {
      all.copyWithin(place + 1, place, packets);
      all[place] = value;
    }
    ++this.packets;
  }

  /** Whether a number is one that may still come late. */
  canBeLate(number: number): boolean {
    return this.newest - number <= latest;
  }

  private placeOf(number: number): number {
    return indexOf(this.numbers.subarray(0, this.packets), number);
  }
}

/** Puts the packets of one device into dumps. */
export class DumpSorter {
  readonly dumps: Dump[] = [];
  private pending: Packet | null = null;

  /** `isSame` tells whether two entries carry the same payload; `packetBytes` is its size. */
  constructor(
    private readonly packetBytes: number,
    private readonly isSame: (entry: number, other: number) => Promise<boolean>,
  ) {}

  /** Takes in packets in the order in which they came; of the last one, only its successor or flush()
   *  tells where it belongs. */
  async add(packets: Iterable<Packet>): Promise<void> {
    for (const packet of packets) {
      if (this.pending !== null) await this.place(this.pending, packet.number);
      this.pending = packet;
    }
  }

  async flush(): Promise<void> {
    if (this.pending !== null) await this.place(this.pending, null);
    this.pending = null;
  }

  private async place(packet: Packet, next: number | null): Promise<void> {
    const dump = this.dumps.at(-1);
    if (dump === undefined || dump.total !== packet.total) {
      this.dumps.push(new Dump(packet));
      return;
    }
    const { number } = packet;
    if (number > dump.newest) {
      const isFar = number - dump.newest > mostLost;
      if (isFar) this.dumps.push(new Dump(packet, dump.newest));
      else dump.put(packet);
      return;
    }
    const entry = dump.entryAt(number);
    if (entry === null) {
      // Numbers start again, unless the old ones go on behind one from before the first, or behind
      // one of a gap others follow that didn't come yet.
      const startsAgain =
        number < dump.least
          ? next !== dump.newest + 1
          : next !== null && next > number && dump.entryAt(next) !== null;
      if (startsAgain || !dump.canBeLate(number) || this.isWhole(dump)) {
        this.dumps.push(new Dump(packet));
        return;
      }
      dump.put(packet);
      ++dump.late;
      return;
    }
    // The same once more is a double, unless the dump was at its end and another one begins.
    const canBeDouble = this.isWhole(dump) ? number === dump.newest : dump.canBeLate(number);
    if (canBeDouble && (await this.isSame(entry, packet.entry))) ++dump.doubled;
    else this.dumps.push(new Dump(packet));
  }

  /** All of its last packets came, as far as its total size tells. */
  private isWhole(dump: Dump): boolean {
    const whole = Math.ceil(dump.total / this.packetBytes);
    return whole > 0 && dump.packets >= whole;
  }
}
