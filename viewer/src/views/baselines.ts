/** What views know of baselines. */
import type { EntryKind } from "../decoder/decoder.js";

export const baselineDecoder = "parserVeskAlgBaselineRequest";
export const baselineKey = "BASELINE";

/** The device that reports of a kind are of: its endpoints are one. */
export function deviceOf({ sender }: EntryKind): string {
  return sender === null ? "none" : `${sender.bus}:${sender.device}`;
}
