/** What the page holds beside its script, in blocks of data that no browser runs: the module, the
 *  worker, and captures. */

function textOf(id: string): string {
  const element = document.getElementById(id);
  if (element === null) throw new Error(`the page has no block ${id}`);
  return element.textContent ?? "";
}

/** The bytes of a block of base64, as a Blob. The block is gone then: its text may be large. */
export function blockBlob(id: string): Blob {
  const text = textOf(id);
  document.getElementById(id)!.remove();
  const pieces: Uint8Array<ArrayBuffer>[] = [];
  const most = 4 << 20; // characters at a time, a multiple of four
  for (let begin = 0; begin < text.length; begin += most) {
    const bytes = atob(text.slice(begin, begin + most));
    const piece = new Uint8Array(bytes.length);
    for (let i = 0; i < bytes.length; ++i) piece[i] = bytes.charCodeAt(i);
    pieces.push(piece);
  }
  return new Blob(pieces);
}

/** The bytes of a block of base64 of gzip. */
export async function embeddedBytes(id: string): Promise<ArrayBuffer> {
  // Hundreds of thousands of characters: Uint8Array.from() would take some twenty milliseconds.
  const text = atob(textOf(id));
  const packed = new Uint8Array(text.length);
  for (let at = 0; at < text.length; ++at) packed[at] = text.charCodeAt(at);
  const unpacked = new Blob([packed]).stream().pipeThrough(new DecompressionStream("gzip"));
  return new Response(unpacked).arrayBuffer();
}

/** A URL of the worker's script. */
export async function workerUrl(): Promise<string> {
  const script = await embeddedBytes("worker");
  return URL.createObjectURL(new Blob([script], { type: "text/javascript" }));
}
