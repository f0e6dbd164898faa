/** Compressed files. They can't be read from the middle, so they are unpacked once, into a Blob, which
 *  the browser holds outside of the page's memory, on disk if it is large. */
import { Decompress } from "fzstd";
import { XzReadableStream } from "xz-decompress";

/** The most bytes that are unpacked. */
export const mostUnpacked = 1 << 30;

type Bytes = Uint8Array<ArrayBuffer>;

interface Compression {
  name: string;
  magic: number[];
  unpack(packed: ReadableStream<Bytes>): ReadableStream<Bytes>;
  note: string; // what is to be told of all such files
}

const compressions: Compression[] = [
  {
    name: "gzip",
    magic: [0x1f, 0x8b],
    unpack: (packed) => packed.pipeThrough(new DecompressionStream("gzip")),
    note: "",
  },
  {
    name: "xz",
    magic: [0xfd, 0x37, 0x7a, 0x58, 0x5a, 0x00],
    unpack: (packed) => new XzReadableStream(packed) as ReadableStream<Bytes>,
    note: "",
  },
  {
    name: "zstd",
    magic: [0x28, 0xb5, 0x2f, 0xfd],
    unpack: (packed) => packed.pipeThrough(zstd()),
    note: "The checksum of a zstd file isn't checked here; zstd --test does it.",
  },
];

function zstd(): TransformStream<Bytes, Bytes> {
  const unpacker = new Decompress();
  return new TransformStream({
    start(out) {
      unpacker.ondata = (piece) => {
        if (piece.length > 0) out.enqueue(piece.slice());
      };
    },
    transform: (piece) => unpacker.push(piece),
    flush: () => unpacker.push(new Uint8Array(), true),
  });
}

export interface Unpacked {
  blob: Blob;
  note: string; // what is to be told of it; empty if nothing is
}

/** Pieces on their way into a Blob. */
class Collected {
  private static readonly part = 16 << 20;
  private parts: Blob[] = [];
  private pieces: Bytes[] = [];
  private held = 0;
  size = 0;

  add(piece: Bytes): void {
    this.pieces.push(piece);
    this.held += piece.length;
    this.size += piece.length;
    if (this.held >= Collected.part) this.give();
  }

  blob(): Blob {
    this.give();
    return new Blob(this.parts);
  }

  private give(): void {
    this.parts.push(new Blob(this.pieces));
    this.pieces = [];
    this.held = 0;
  }
}

/** What a file holds, or the file itself if it isn't compressed. What can't be unpacked to its end is
 *  told, and what came before it is there. */
export async function decompressed(
  blob: Blob,
  isCancelled: () => boolean,
  limit = mostUnpacked,
): Promise<Unpacked> {
  const head = new Uint8Array(await blob.slice(0, 6).arrayBuffer());
  const isIt = ({ magic }: Compression) => magic.every((byte, at) => head[at] === byte);
  const compression = compressions.find(isIt);
  if (compression === undefined) return { blob, note: "" };

  const collected = new Collected();
  const notes = compression.note === "" ? [] : [compression.note];
  const reader = compression.unpack(blob.stream() as ReadableStream<Bytes>).getReader();
  try {
    while (!isCancelled()) {
      const { done, value } = await reader.read();
      if (done) break;
      collected.add(value);
      if (collected.size < limit) continue;
      notes.push(
        `Of this ${compression.name} file the first ${limit >> 20} MiB are shown; ` +
          "unpack it to see all of it.",
      );
      break;
    }
  } catch (fault) {
    const reason = fault instanceof Error ? fault.message : String(fault);
    notes.push(
      `This ${compression.name} file can't be unpacked behind ${collected.size} bytes: ` +
        `${reason.replace(/\.$/, "")}. What is shown comes before it; where ${compression.name} ` +
        "itself unpacks more of it, open that.",
    );
  }
  await reader.cancel().catch(() => undefined);
  return { blob: collected.blob(), note: notes.join(" ") };
}
