/** Reports of our own making, byte by byte. */

/** The bytes of a report, of which only the ID is set. */
function reportOf(id: number, size: number): [bytes: Uint8Array, view: DataView] {
  const bytes = new Uint8Array(size);
  bytes[0] = id;
  return [bytes, new DataView(bytes.buffer)];
}

/** Input reports come by themselves, feature reports are asked for. */
export function isInput(bytes: Uint8Array): boolean {
  return bytes[0] === 0x76 || bytes[0] === 0x77;
}

/** Where an image frame's number stands. */
export const imageCounter = 4;

/** An image frame with a number of its own in it; other bytes follow from it. */
export function imageReport(frame: number): Uint8Array {
  const [bytes, view] = reportOf(0x76, 792);
  for (let at = 1; at < bytes.length; ++at) bytes[at] = (frame * 31 + at * 7) & 0x3f;
  view.setUint32(imageCounter, frame, true);
  return bytes;
}

/** An image frame: numbers of the four scans' parts, in the order in which they stand. */
export function frameReport(
  number: number,
  scans: readonly ArrayLike<number>[],
  celsius: number,
): Uint8Array {
  const [bytes, view] = reportOf(0x76, 792);
  view.setUint32(imageCounter, number, true);
  scans.forEach((scan, at) => {
    for (let i = 0; i < 48; ++i) view.setInt32(16 + 192 * at + 4 * i, scan[i]!, true);
  });
  view.setFloat32(788, celsius, true);
  return bytes;
}

/** An ADC packet of 512 words. */
export function adcPacket(
  number: number,
  words: ArrayLike<number>,
  total: number,
  size = 2048,
): Uint8Array {
  const [bytes, view] = reportOf(0x77, 2064);
  bytes.set([1, 2, 3], 1);
  view.setUint32(4, number, true);
  view.setUint32(8, size, true);
  view.setUint32(12, total, true);
  for (let i = 0; i < 512; ++i) view.setUint32(16 + 4 * i, words[i]! >>> 0, true);
  return bytes;
}

/** The raw data of an open/short test: 0xE4 of the D-SCAN, 0xE5 of the P-SCAN. */
export function scanReport(
  id: number,
  saturated: bigint,
  inPhase: ArrayLike<number>,
  quadrature: ArrayLike<number>,
  status: number,
): Uint8Array {
  const [bytes, view] = reportOf(id, 401);
  view.setBigUint64(1, saturated, true);
  for (let i = 0; i < 48; ++i) {
    view.setUint32(9 + 4 * i, inPhase[i]! >>> 0, true);
    view.setUint32(201 + 4 * i, quadrature[i]! >>> 0, true);
  }
  bytes[393] = status;
  return bytes;
}

export function baselineReport(values: ArrayLike<number>): Uint8Array {
  const [bytes, view] = reportOf(0xa2, 193);
  for (let i = 0; i < 48; ++i) view.setFloat32(1 + 4 * i, values[i]!, true);
  return bytes;
}

/** Power modes: milliseconds and times entered of each. */
export function powerReport(modes: readonly [time: number, entered: number][]): Uint8Array {
  const [bytes, view] = reportOf(0xa9, 1 + 8 * modes.length);
  modes.forEach(([time, entered], at) => {
    view.setUint32(1 + 8 * at, time, true);
    view.setUint32(5 + 8 * at, entered, true);
  });
  return bytes;
}

export function watchdogReport(
  count: number,
  microseconds: bigint,
  register: number,
  wake: number,
  sleep: number,
): Uint8Array {
  const [bytes, view] = reportOf(0xdf, 25);
  view.setUint32(1, count, true);
  view.setBigUint64(5, microseconds, true);
  view.setUint32(13, register, true);
  view.setUint32(17, wake, true);
  view.setUint32(21, sleep, true);
  return bytes;
}

/** Masks in the report's order: shorts on TX+, TX-, both, opens on the same, weak ones. */
export function openShortReport(masks: readonly bigint[]): Uint8Array {
  const [bytes, view] = reportOf(0xe3, 57);
  masks.forEach((mask, at) => view.setBigUint64(1 + 8 * at, mask, true));
  return bytes;
}

/** A black box full report: another one with some numbers of 32 bits at offsets changed. */
export function withNumbers(bytes: Uint8Array, numbers: Record<number, number>): Uint8Array {
  const changed = bytes.slice();
  const view = new DataView(changed.buffer);
  for (const [offset, number] of Object.entries(numbers))
    view.setUint32(Number(offset), number, true);
  return changed;
}
