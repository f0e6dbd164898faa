/** Reports of our own making, byte by byte, and recordings of them. */

/** An ADC packet of 512 words. */
export function adcPacket(
  number: number,
  words: ArrayLike<number>,
  total: number,
  size = 2048,
): Uint8Array {
  const bytes = new Uint8Array(2064);
  const view = new DataView(bytes.buffer);
  bytes.set([0x77, 1, 2, 3]);
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
  const bytes = new Uint8Array(401);
  const view = new DataView(bytes.buffer);
  bytes[0] = id;
  view.setBigUint64(1, saturated, true);
  for (let i = 0; i < 48; ++i) {
    view.setUint32(9 + 4 * i, inPhase[i]! >>> 0, true);
    view.setUint32(201 + 4 * i, quadrature[i]! >>> 0, true);
  }
  bytes[393] = status;
  return bytes;
}

export function baselineReport(values: ArrayLike<number>): Uint8Array {
  const bytes = new Uint8Array(193);
  const view = new DataView(bytes.buffer);
  bytes[0] = 0xa2;
  for (let i = 0; i < 48; ++i) view.setFloat32(1 + 4 * i, values[i]!, true);
  return bytes;
}

/** An image frame: numbers of the four scans' parts, in the order in which they stand. */
export function frameReport(
  number: number,
  scans: readonly ArrayLike<number>[],
  celsius: number,
): Uint8Array {
  const bytes = new Uint8Array(792);
  const view = new DataView(bytes.buffer);
  bytes[0] = 0x76;
  view.setUint32(4, number, true);
  scans.forEach((scan, at) => {
    for (let i = 0; i < 48; ++i) view.setInt32(16 + 192 * at + 4 * i, scan[i]!, true);
  });
  view.setFloat32(788, celsius, true);
  return bytes;
}

/** A recording of reports, a millisecond apart; those of the IDs 0x76 and 0x77 are input reports. */
export function recording(reports: readonly Uint8Array[]): string {
  const head = ["D: 0", "R: 1 00", "N: A controller", "P: test", "I: 3 0000 0001"];
  const lines = reports.map((bytes, number) => {
    const type = bytes[0] === 0x76 || bytes[0] === 0x77 ? "E" : "F";
    const seconds = (1_700_000_000 + number / 1000).toFixed(6);
    const digits = [...bytes].map((byte) => byte.toString(16).padStart(2, "0")).join(" ");
    return `${type}: ${seconds} ${bytes.length} ${digits}`;
  });
  return `${[...head, ...lines].join("\n")}\n`;
}
