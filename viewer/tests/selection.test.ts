/** What a filter lets through while a file grows, with a capture that answers when the test says
 *  so. */
import assert from "node:assert/strict";
import { test } from "node:test";
import type { RemoteCapture } from "../src/decoder/client.js";
import type { EntryKind } from "../src/decoder/decoder.js";
import { noFilter } from "../src/list/filter.js";
import { Selection } from "../src/list/selection.js";

/** Its entries are of two kinds in turns, 0x10 and 0x20, and all of them have any text. Answers
 *  come in the order of the questions, as a worker gives them. */
class FakeCapture {
  size = 0;
  fault: Error | null = null; // of a search
  private readonly questions: (() => void)[] = [];

  private asked<T>(answer: () => T): Promise<T> {
    return new Promise((resolve, reject) =>
      this.questions.push(() => {
        try {
          resolve(answer());
        } catch (fault) {
          reject(fault as Error);
        }
      }),
    );
  }

  kinds(): Promise<EntryKind[]> {
    return this.asked(() =>
      [0x10, 0x20].map((id, number) => ({ ...anyKind, id, number, count: this.size / 2 })),
    );
  }

  async select(isWanted: (kind: EntryKind) => boolean): Promise<Uint32Array> {
    const wanted = (await this.kinds()).filter(isWanted).map(({ number }) => number);
    return this.asked(() => this.all(0, this.size).filter((entry) => wanted.includes(entry % 2)));
  }

  search(_text: string, first: number, end: number): Promise<Uint32Array> {
    return this.asked(() => {
      if (this.fault !== null) throw this.fault;
      return this.all(first, end);
    });
  }

  /** Answers a question, and what is asked because of that is asked then. */
  async answer(): Promise<boolean> {
    const next = this.questions.shift();
    next?.();
    await new Promise((resolve) => setTimeout(resolve));
    return next !== undefined;
  }

  get asRemote(): RemoteCapture {
    return this as unknown as RemoteCapture;
  }

  private all(first: number, end: number): Uint32Array {
    return Uint32Array.from({ length: end - first }, (_, at) => first + at);
  }
}

const anyKind: EntryKind = {
  number: 0,
  id: 0,
  type: "input",
  report: null,
  decoder: "",
  problem: "",
  unit: "line",
  sender: null,
  hasBytes: true,
  hasTime: false,
  toDevice: false,
  count: 0,
};

const filter = { ...noFilter, id: ["0x10"], text: "any" };

test("a search misses nothing of what comes while it goes on", async () => {
  // The file grows before any of the answers.
  for (let before = 0; before < 12; ++before) {
    const told: unknown[] = [];
    const selection = new Selection((what) => told.push(what));
    const capture = new FakeCapture();
    selection.open(capture.asRemote);
    capture.size = 1000;
    void selection.grow(1000);
    void selection.setFilter(filter);
    for (let answer = 0; answer < before; ++answer) await capture.answer();
    capture.size = 3000;
    void selection.grow(3000);
    while (await capture.answer());
    const expected = Array.from({ length: 1500 }, (_, at) => 2 * at);
    assert.deepEqual([...selection.rows.all()], expected, `grown before answer ${before}`);
    assert.equal(selection.searchedPart, 1);
    assert.deepEqual(told, []);
  }
});

test("a search that can't go on says so, and another one begins anew", async () => {
  const told: unknown[] = [];
  const selection = new Selection((what) => told.push(what));
  const capture = new FakeCapture();
  capture.fault = new Error("the file is gone");
  selection.open(capture.asRemote);
  capture.size = 1000;
  void selection.grow(1000);
  void selection.setFilter(filter);
  while (await capture.answer());
  assert.deepEqual(told, [capture.fault]);
  assert.equal(selection.endedEarly, "the search broke off");
  assert.equal(selection.searchedPart, 1);

  capture.fault = null;
  void selection.setFilter({ ...filter, text: "other" });
  while (await capture.answer());
  assert.equal(selection.endedEarly, "");
  assert.equal(selection.rows.count, 500);
});
