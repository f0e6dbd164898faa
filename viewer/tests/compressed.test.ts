/** Compressed files, unpacked as the page does it. */
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { test } from "node:test";
import { decompressed } from "../src/decoder/compressed.js";
import { samples } from "./support.js";

const plain = samples().find(({ name }) => name.endsWith("tour.hid"))!.bytes;
const never = () => false;

function compressedBy(program: string): Uint8Array<ArrayBuffer> {
  return Uint8Array.from(execFileSync(program, ["-c"], { input: plain }));
}

async function unpacked(packed: Uint8Array<ArrayBuffer>, limit?: number) {
  const { blob, note } = await decompressed(new Blob([packed]), never, limit);
  return { bytes: new Uint8Array(await blob.arrayBuffer()), note };
}

test("what isn't compressed stays as it is", async () => {
  const blob = new Blob([Uint8Array.from(plain)]);
  assert.equal((await decompressed(blob, never)).blob, blob);
  assert.equal((await unpacked(new Uint8Array())).bytes.length, 0);
});

for (const program of ["gzip", "xz", "zstd"]) {
  test(`what ${program} compressed is unpacked`, async () => {
    const { bytes, note } = await unpacked(compressedBy(program));
    assert.deepEqual(bytes, Uint8Array.from(plain));
    assert.equal(note.includes("checksum"), program === "zstd");
  });

  test(`what ${program} compressed and somebody cut says so`, async () => {
    const packed = compressedBy(program);
    const { bytes, note } = await unpacked(packed.subarray(0, packed.length / 2));
    assert.match(note, /can't be unpacked/);
    assert.deepEqual(bytes, Uint8Array.from(plain.subarray(0, bytes.length)));
  });

  test(`more than the limit of ${program} is told`, async () => {
    const { bytes, note } = await unpacked(compressedBy(program), 1);
    assert.match(note, /unpack it to see all/);
    assert.ok(bytes.length >= 1);
  });
}

for (const program of ["gzip", "xz"])
  test(`a damaged ${program} file says so`, async () => {
    const packed = compressedBy(program);
    packed[packed.length - 30]! ^= 1;
    assert.match((await unpacked(packed)).note, /can't be unpacked/);
  });

test("a cancelled one comes to an end", async () => {
  const { blob } = await decompressed(new Blob([compressedBy("gzip")]), () => true);
  assert.equal(blob.size, 0);
});
