/** Where the module reads files, and where it keeps the bytes of reports that stand in no file as
 *  they are. Both answer at once; so a file of the page's is read in a worker only. */

/** Something that can be read from any place. */
export interface Source {
  readonly size: number;

  /** Up to `room` bytes from `offset` on; none at the end. Throws if they can't be read. */
  read(offset: number, room: number): Uint8Array;
}

/** Something that grows at its end. */
export interface Store extends Source {
  /** Throws RangeError if there is no room. */
  append(bytes: Uint8Array): void;
}

/** Bytes in memory. */
export class MemorySource implements Source {
  constructor(private readonly bytes: Uint8Array) {}

  get size(): number {
    return this.bytes.length;
  }

  read(offset: number, room: number): Uint8Array {
    return this.bytes.subarray(offset, offset + room);
  }
}

/** Nobody listens at its other end. */
let nowhere: MessagePort | undefined;

/** Gives memory back at once: collecting it takes until a hundred megabytes of it lie about. */
function release(buffer: ArrayBuffer): void {
  if (nowhere === undefined) {
    const { port1, port2 } = new MessageChannel();
    port2.close();
    nowhere = port1;
  }
  nowhere.postMessage(null, [buffer]);
}

/** A File or another Blob, read in pieces. Whoever reads on gets large ones, whoever jumps small. */
export class BlobSource implements Source {
  private static readonly ahead = 4 << 20;
  private readonly reader = new FileReaderSync();
  private begin = 0;
  private piece: Uint8Array<ArrayBuffer> = new Uint8Array();

  constructor(private readonly blob: Blob) {}

  get size(): number {
    return this.blob.size;
  }

  read(offset: number, room: number): Uint8Array {
    const end = this.begin + this.piece.length;
    if (offset < this.begin || offset >= end) {
      const goesOn = offset === end;
      const size = Math.max(room, goesOn ? BlobSource.ahead : 0);
      const slice = this.blob.slice(offset, offset + size);
      release(this.piece.buffer);
      this.piece = new Uint8Array(this.reader.readAsArrayBuffer(slice));
      this.begin = offset;
    }
    const from = offset - this.begin;
    return this.piece.subarray(from, from + room);
  }

  /** Gives back the piece that was read last. */
  letGo(): void {
    release(this.piece.buffer);
    this.piece = new Uint8Array();
    this.begin = 0;
  }
}

const chunk = 4 << 20;

/** Bytes in chunks, in memory or, by `put`, elsewhere. */
export class ChunkStore implements Store {
  private readonly chunks: Source[] = [];
  private open = new Uint8Array(chunk);
  private used = 0;

  /** `limit` is the most bytes that are kept; `put` gives a full chunk away. */
  constructor(
    private readonly limit: number,
    private readonly put: (bytes: Uint8Array<ArrayBuffer>) => Source = (bytes) =>
      new MemorySource(bytes),
  ) {}

  get size(): number {
    return this.chunks.length * chunk + this.used;
  }

  append(bytes: Uint8Array): void {
    if (this.size + bytes.length > this.limit) throw new RangeError("no room");
    while (bytes.length > 0) {
      const taken = bytes.subarray(0, chunk - this.used);
      this.open.set(taken, this.used);
      this.used += taken.length;
      bytes = bytes.subarray(taken.length);
      if (this.used < chunk) continue;
      this.chunks.push(this.put(this.open));
      this.open = new Uint8Array(chunk);
      this.used = 0;
    }
  }

  read(offset: number, room: number): Uint8Array {
    const number = Math.floor(offset / chunk);
    const from = offset % chunk;
    if (number < this.chunks.length)
      return this.chunks[number]!.read(from, Math.min(room, chunk - from));
    return this.open.subarray(from, Math.min(from + room, this.used));
  }
}

/** A store that a browser holds outside of the page's memory, on disk if it is large. */
export function blobStore(limit: number): Store {
  let last: BlobSource | null = null; // only of that chunk a piece is in memory
  return new ChunkStore(limit, (bytes) => {
    const chunk = new BlobSource(new Blob([bytes]));
    const read = (offset: number, room: number) => {
      if (last !== chunk) last?.letGo();
      last = chunk;
      return chunk.read(offset, room);
    };
    return { size: chunk.size, read };
  });
}
