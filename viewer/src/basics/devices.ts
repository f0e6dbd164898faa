/** The devices that reports are of. A device's endpoints are one. */
import type { EntryKind } from "../decoder/decoder.js";

type Sent = Pick<EntryKind, "sender">;

/** As the program's --device takes it; empty where no device is known. */
export function deviceOf({ sender }: Sent): string {
  return sender === null ? "" : `${sender.bus}:${sender.device}`;
}

/** "device 1:5". */
export function deviceText(kind: Sent): string {
  return kind.sender === null ? "no device" : `device ${deviceOf(kind)}`;
}
