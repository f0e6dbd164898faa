/** Compressed files. They can't be read from the middle, so they are unpacked once, into a Blob, which
 *  the browser holds outside of the page's memory, on disk if it is large. */

/** The most bytes that are unpacked. */
export const mostUnpacked = 1 << 30;

const magics: { name: string; magic: number[] }[] = [
  { name: "gzip", magic: [0x1f, 0x8b] },
  { name: "xz", magic: [0xfd, 0x37, 0x7a, 0x58, 0x5a, 0x00] },
  { name: "zstd", magic: [0x28, 0xb5, 0x2f, 0xfd] },
];

export interface Unpacked {
  blob: Blob;
  note: string; // what is to be told of it; empty if nothing is
}

/** What a file holds, or the file itself if it isn't compressed. Throws if it can't be unpacked. */
export async function decompressed(blob: Blob, isCancelled: () => boolean): Promise<Unpacked> {
  const head = new Uint8Array(await blob.slice(0, 6).arrayBuffer());
  const found = magics.find(({ magic }) => magic.every((byte, at) => head[at] === byte));
  if (found === undefined) return { blob, note: "" };
  if (found.name !== "gzip")
    throw new Error(`compressed by ${found.name}, which is not read yet: unpack it, and choose that`);

  const parts: Blob[] = [];
  let pieces: Uint8Array<ArrayBuffer>[] = [];
  let held = 0;
  let size = 0;
  let note = "";
  const reader = blob.stream().pipeThrough(new DecompressionStream("gzip")).getReader();
  try {
    while (!isCancelled()) {
      const { done, value } = await reader.read();
      if (done) break;
      pieces.push(value);
      held += value.length;
      size += value.length;
      if (held >= 16 << 20) {
        parts.push(new Blob(pieces));
        pieces = [];
        held = 0;
      }
      if (size < mostUnpacked) continue;
      note =
        `Of this compressed file the first ${mostUnpacked >> 20} MiB are shown; ` +
        "unpack it to see all of it.";
      break;
    }
  } catch (fault) {
    const reason = fault instanceof Error ? fault.message : String(fault);
    note = `The compressed file is damaged after ${size} bytes (${reason}); what is before is shown.`;
  }
  await reader.cancel().catch(() => undefined);
  return { blob: new Blob([...parts, ...pieces]), note };
}
