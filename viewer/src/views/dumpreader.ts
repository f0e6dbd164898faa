/** Reads a file's ADC packets: which dumps there are, and the words of one. */
import type { RemoteCapture } from "../decoder/client.js";
import { deviceText } from "../basics/devices.js";
import type { EntryKind } from "../decoder/decoder.js";
import { DumpSorter, type Dump, type Packet } from "./dumps.js";
import { isReportOf } from "./view.js";

export const adcDecoder = "parseAdcDumpPacket";
const header = ["PACKET_ID", "PAYLOAD_SIZE", "TOTAL_DUMP_SIZE"] as const;
const data = "PAYLOAD_DATA";

/** Packets to ask for at a time. */
const atOnce = 1024;

/** As many packets are shown at once at most: 16 MiB. A dump of more has several parts. */
const mostPackets = 8192;

/** A dump, or a part of one that is too long. */
export interface DumpPart {
  dump: Dump;
  sender: string; // empty where there is only one
  number: number; // of the dump, from 1
  first: number; // the number of its first packet
  count: number; // packets
  part: string; // "part 1 of 3", or empty
}

/** The words of a part, in the order of the packets' numbers. */
export interface DumpWords {
  words: Uint32Array; // 0 where a packet is lost
  sizes: Uint32Array; // PAYLOAD_SIZE of each packet
  present: Uint8Array; // 1 for each packet that is there
  came: number; // of them
}

export class DumpReader {
  packetWords = 0; // of each packet; 0 until one was read
  private readonly sorters = new Map<string, DumpSorter>(); // by the sender's name
  private readonly scanned = new Map<string, number>(); // entries of each

  constructor(private readonly file: RemoteCapture) {}

  /** Puts the packets into dumps that came since it was called last. `entries` are all packets.
   *  `progress` says whether the rest is wanted, too; without it, no more can be asked of this. */
  async scan(entries: Uint32Array, progress: (told: string) => boolean): Promise<void> {
    for (const [sender, own] of await this.bySender(entries)) {
      for (let done = this.scanned.get(sender) ?? 0; done < own.length; ) {
        const some = own.subarray(done, done + atOnce);
        const table = (await this.file.columns({ [adcDecoder]: header }, some)).get(adcDecoder);
        done += some.length;
        this.scanned.set(sender, done);
        if (table === undefined) continue;
        const columns = header.map((key) => table.column(key));
        const packets = Array.from(table.entries, (entry, row): Packet => {
          const [number, size, total] = columns.map((one) => one.numberAt(row));
          return { entry, number: number!, size: size!, total: total! };
        });
        this.packetWords ||= (await this.payload(packets[0]!.entry)).length;
        await this.sorterOf(sender).add(packets);
        if (!progress(`${done} of ${own.length} packets are looked at …`)) return;
      }
      await this.sorters.get(sender)?.flush();
    }
  }

  parts(): DumpPart[] {
    const parts: DumpPart[] = [];
    for (const [sender, { dumps }] of this.sorters)
      dumps.forEach((dump, at) => {
        const { first, count } = dump.range(this.packetWords * 4);
        const pieces = Math.ceil(count / mostPackets);
        for (let piece = 0; piece < pieces; ++piece)
          parts.push({
            dump,
            sender: this.sorters.size > 1 ? sender : "",
            number: at + 1,
            first: first + piece * mostPackets,
            count: Math.min(mostPackets, count - piece * mostPackets),
            part: pieces > 1 ? `part ${piece + 1} of ${pieces}` : "",
          });
      });
    return parts;
  }

  async load({ dump, first, count }: DumpPart): Promise<DumpWords> {
    const { packetWords } = this;
    const words = new Uint32Array(count * packetWords);
    const sizes = new Uint32Array(count);
    const present = new Uint8Array(count);
    const places = new Map<number, number>(); // by entry
    for (let place = 0; place < count; ++place) {
      const entry = dump.entryAt(first + place);
      if (entry !== null) places.set(entry, place);
    }
    // A table's rows come in the order of the file, and that of the numbers is another one.
    const entries = [...places.keys()].sort((one, other) => one - other);
    for (let done = 0; done < entries.length; done += atOnce) {
      const some = entries.slice(done, done + atOnce);
      const table = (await this.file.columns({ [adcDecoder]: [data] }, some)).get(adcDecoder);
      const column = table?.column(data);
      table?.entries.forEach((entry, row) => {
        const place = places.get(entry)!;
        words.set(column!.at(row) as Uint32Array, place * packetWords);
        sizes[place] = dump.sizeAt(first + place);
        present[place] = 1;
      });
    }
    return { words, sizes, present, came: present.reduce((sum, one) => sum + one, 0) };
  }

  /** The entries of each sender. */
  private async bySender(entries: Uint32Array): Promise<Map<string, Uint32Array>> {
    const names = new Map<string, number[]>();
    for (const kind of (await this.file.kinds()).filter((one) => isReportOf([adcDecoder], one))) {
      const name = nameOf(kind);
      names.set(name, [...(names.get(name) ?? []), kind.number]);
    }
    const found = new Map<string, Uint32Array>();
    for (const [name, numbers] of names)
      found.set(
        name,
        names.size === 1
          ? entries
          : await this.file.select(({ number }) => numbers.includes(number)),
      );
    return found;
  }

  private sorterOf(sender: string): DumpSorter {
    let sorter = this.sorters.get(sender);
    if (sorter === undefined) {
      sorter = new DumpSorter(this.packetWords * 4, async (one, other) => {
        const [left, right] = [await this.payload(one), await this.payload(other)];
        return left.every((word, i) => word === right[i]);
      });
      this.sorters.set(sender, sorter);
    }
    return sorter;
  }

  private async payload(entry: number): Promise<Uint32Array> {
    const table = (await this.file.columns({ [adcDecoder]: [data] }, [entry])).get(adcDecoder);
    if (table?.rows !== 1) throw new Error(`packet ${entry} has no columns`);
    return table.column(data).at(0) as Uint32Array;
  }
}

function nameOf(kind: EntryKind): string {
  const { sender } = kind;
  return sender === null ? deviceText(kind) : `${deviceText(kind)}, endpoint ${sender.endpoint}`;
}
