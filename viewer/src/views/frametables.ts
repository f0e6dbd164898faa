/** The columns of frames, read in pieces; the last ones that were used are kept. */
import type { RemoteCapture } from "../decoder/client.js";
import type { Table } from "../decoder/decoder.js";
import { indexOf } from "../basics/numbers.js";

/** A frame's numbers. */
export interface Row {
  table: Table;
  row: number;
}

export const chunkFrames = 256;
const tailFrames = 16; // of the last chunk, which may grow, in pieces
const keptChunks = 6;

export class FrameTables {
  entries: Uint32Array = new Uint32Array(); // of all frames
  private readonly chunks = new Map<string, Promise<Table | undefined>>();

  constructor(
    private readonly file: RemoteCapture,
    private readonly decoder: string,
  ) {}

  /** Undefined if there is none, or it can't be had as columns. */
  async rowOf(frame: number): Promise<Row | undefined> {
    const [row] = await this.rowsBack(frame, 1);
    return row;
  }

  /** A frame's row, and those of the frames before it, each in front of the one that it follows. */
  async rowsBack(frame: number, count: number): Promise<(Row | undefined)[]> {
    const { entries } = this;
    const tables: Promise<Table | undefined>[] = [];
    for (let at = Math.max(0, frame - count + 1); at <= frame && at < entries.length; ) {
      const piece = this.pieceOf(at);
      tables.push(this.tableOf(piece));
      at = piece.first + piece.size;
    }
    const there = await Promise.all(tables);
    return Array.from({ length: count }, (_, age) => rowIn(there, entries[frame - age]));
  }

  /** The frames that one is read together with: few at the end, where more come. */
  private pieceOf(frame: number): { first: number; size: number } {
    const isInTail = frame >= this.entries.length - (this.entries.length % chunkFrames);
    const size = isInTail ? tailFrames : chunkFrames;
    return { first: Math.floor(frame / size) * size, size };
  }

  private tableOf({ first, size }: { first: number; size: number }): Promise<Table | undefined> {
    const entries = this.entries.subarray(first, first + size);
    const key = `${first} ${entries.length}`;
    let table = this.chunks.get(key);
    if (table === undefined) {
      table = this.read(entries);
      table.catch(() => this.chunks.delete(key));
    } else this.chunks.delete(key); // what was used last stands last
    this.chunks.set(key, table);
    for (const old of this.chunks.keys()) {
      if (this.chunks.size <= keptChunks) break;
      this.chunks.delete(old);
    }
    return table;
  }

  private async read(entries: Uint32Array): Promise<Table | undefined> {
    const tables = await this.file.columns({ [this.decoder]: "all" }, entries);
    return tables.get(this.decoder);
  }
}

/** The row of an entry, in one of some tables. */
function rowIn(
  tables: readonly (Table | undefined)[],
  entry: number | undefined,
): Row | undefined {
  if (entry === undefined) return undefined;
  for (const table of tables) {
    const row = table === undefined ? -1 : indexOf(table.entries, entry);
    if (row >= 0) return { table: table!, row };
  }
  return undefined;
}
