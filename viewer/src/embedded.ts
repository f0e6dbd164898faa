/** What the page carries: the module and the worker, in blocks of data that no browser runs. */

function textOf(id: string): string {
  const element = document.getElementById(id);
  if (element === null) throw new Error(`the page has no block ${id}`);
  return element.textContent ?? "";
}

/** The bytes of a block of base64 of gzip. */
export async function embeddedBytes(id: string): Promise<ArrayBuffer> {
  const packed = Uint8Array.from(atob(textOf(id)), (character) => character.charCodeAt(0));
  const unpacked = new Blob([packed]).stream().pipeThrough(new DecompressionStream("gzip"));
  return new Response(unpacked).arrayBuffer();
}

/** A URL of the worker's script. */
export async function workerUrl(): Promise<string> {
  const script = await embeddedBytes("worker");
  return URL.createObjectURL(new Blob([script], { type: "text/javascript" }));
}
