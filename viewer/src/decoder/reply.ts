/** Values that the module and JavaScript hand each other, one behind the other, unaligned and
 *  little-endian: the other side of native/Reply.h and native/Arguments.h. */

/** The C types of numbers, by their number in the plug-in's interface. */
export const kinds = [
  "bool",
  "unsigned char",
  "unsigned short",
  "unsigned int",
  "int",
  "long long",
  "unsigned long long",
  "float",
  "double",
] as const;

export type Kind = (typeof kinds)[number];

/** Numbers of one kind. A bool is 0 or 1; those of 64 bits are BigInts. */
export type Numbers =
  | Uint8Array
  | Uint16Array
  | Uint32Array
  | Int32Array
  | BigInt64Array
  | BigUint64Array
  | Float32Array
  | Float64Array;

const arrays = [
  Uint8Array,
  Uint8Array,
  Uint16Array,
  Uint32Array,
  Int32Array,
  BigInt64Array,
  BigUint64Array,
  Float32Array,
  Float64Array,
] as const;

function arrayOf(kind: Kind) {
  return arrays[kinds.indexOf(kind)]!;
}

export function bytesOf(kind: Kind): number {
  return arrayOf(kind).BYTES_PER_ELEMENT;
}

/** `count` numbers at `offset`, which is aligned for them: a view, no copy. */
export function numbersAt(
  buffer: ArrayBuffer,
  offset: number,
  kind: Kind,
  count: number,
): Numbers {
  return new (arrayOf(kind))(buffer, offset, count);
}

/** A text may begin with what others take for a byte order mark. */
const decoder = new TextDecoder("utf-8", { ignoreBOM: true });
const encoder = new TextEncoder();

export class Reader {
  private readonly view: DataView;
  private at = 0;

  constructor(private readonly bytes: Uint8Array) {
    this.view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  }

  u8(): number {
    return this.view.getUint8(this.skip(1));
  }

  u16(): number {
    return this.view.getUint16(this.skip(2), true);
  }

  u32(): number {
    return this.view.getUint32(this.skip(4), true);
  }

  number(): number {
    return this.view.getFloat64(this.skip(8), true);
  }

  text(): string {
    const size = this.u32();
    return decoder.decode(this.bytes.subarray(this.skip(size), this.at));
  }

  kind(): Kind {
    return kinds[this.u8()]!;
  }

  /** A copy of `count` numbers. */
  numbers(kind: Kind, count: number): Numbers {
    const size = count * bytesOf(kind);
    const begin = this.skip(size);
    return numbersAt(this.bytes.slice(begin, begin + size).buffer, 0, kind, count);
  }

  private skip(size: number): number {
    const begin = this.at;
    this.at += size;
    return begin;
  }
}

export class Writer {
  private parts: Uint8Array[] = [];

  u32(value: number): this {
    return this.bytes(new Uint8Array(new Uint32Array([value]).buffer));
  }

  text(text: string): this {
    const bytes = encoder.encode(text);
    return this.u32(bytes.length).bytes(bytes);
  }

  /** A count, and so many numbers. */
  u32s(values: ArrayLike<number>): this {
    return this.u32(values.length).bytes(new Uint8Array(Uint32Array.from(values).buffer));
  }

  bytes(bytes: Uint8Array): this {
    this.parts.push(bytes);
    return this;
  }

  get size(): number {
    return this.parts.reduce((sum, part) => sum + part.length, 0);
  }

  copyTo(target: Uint8Array): void {
    let at = 0;
    for (const part of this.parts) {
      target.set(part, at);
      at += part.length;
    }
  }
}
