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

/** A report of a device. */
export interface Sent {
  bytes: Uint8Array;
  device: number;
}

/** A pcap of usbmon, little-endian, a millisecond from report to report. Input reports (0x76, 0x77)
 *  arrive on an interrupt endpoint, feature reports answer a request. */
export function usbCapture(sent: readonly Sent[]): Uint8Array {
  const events: { head: Uint8Array; bytes: Uint8Array; at: number }[] = [];
  sent.forEach(({ bytes, device }, number) => {
    const isInput = bytes[0] === 0x76 || bytes[0] === 0x77;
    const event = (type: "S" | "C", length: number, captured: number) => {
      const head = new Uint8Array(64);
      const view = new DataView(head.buffer);
      view.setUint32(0, number + 1, true);
      head[8] = type.charCodeAt(0);
      head[9] = isInput ? 1 : 2; // interrupt, control
      head[10] = isInput ? 0x81 : 0x80;
      head[11] = device;
      view.setUint16(12, 1, true);
      head[14] = type === "S" ? 0 : 1; // no setup
      head[15] = captured > 0 ? 0 : 1; // no data
      view.setUint32(32, length, true);
      view.setUint32(36, captured, true);
      return head;
    };
    if (!isInput) {
      const request = event("S", bytes.length, 0);
      const view = new DataView(request.buffer);
      request.set([0xa1, 0x01, bytes[0]!, 3], 40); // GET_REPORT of a feature report
      view.setUint16(46, bytes.length, true);
      events.push({ head: request, bytes: new Uint8Array(), at: number });
    }
    events.push({ head: event("C", bytes.length, bytes.length), bytes, at: number });
  });
  const file = new Uint8Array(
    24 + events.reduce((sum, { bytes }) => sum + 16 + 64 + bytes.length, 0),
  );
  const view = new DataView(file.buffer);
  view.setUint32(0, 0xa1b2c3d4, true);
  view.setUint16(4, 2, true);
  view.setUint16(6, 4, true);
  view.setUint32(16, 262144, true);
  view.setUint32(20, 220, true);
  let place = 24;
  for (const { head, bytes, at } of events) {
    view.setUint32(place, 1_700_000_000 + Math.floor(at / 1000), true);
    view.setUint32(place + 4, (at % 1000) * 1000, true);
    view.setUint32(place + 8, 64 + bytes.length, true);
    view.setUint32(place + 12, 64 + bytes.length, true);
    file.set(head, place + 16);
    file.set(bytes, place + 80);
    place += 80 + bytes.length;
  }
  return file;
}
