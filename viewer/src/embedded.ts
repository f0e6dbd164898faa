/** What the page carries: the module and the worker, in blocks of data that no browser runs. */

function textOf(id: string): string {
  const element = document.getElementById(id);
  if (element === null) throw new Error(`the page has no block ${id}`);
  return element.textContent ?? "";
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
