/** Gives people what they ask for: into the clipboard, or as a file where that isn't allowed. */
import { made } from "./dom.js";

/** A text or a picture, as it is told: "CSV". */
export interface Piece {
  title: string;
  blob: Blob;
  file: string; // its name, if it becomes one
}

/** Copies it, or else saves it; says which of the two was done. */
export async function copyOrSave({ title, blob, file }: Piece): Promise<string> {
  try {
    if (blob.type.startsWith("image/"))
      await navigator.clipboard.write([new ClipboardItem({ [blob.type]: blob })]);
    else await navigator.clipboard.writeText(await blob.text());
    return `${title} is copied.`;
  } catch {
    save(blob, file);
    return `The browser doesn't let the page copy: ${title} is saved as ${file}.`;
  }
}

export function save(blob: Blob, file: string): void {
  const link = made("a");
  link.href = URL.createObjectURL(blob);
  link.download = file;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60_000);
}

/** What a file's name begins with when something of it is saved: no folder, no end, and nothing that
 *  a system wouldn't take. */
export function stemOf(name: string): string {
  const last = name.split(/[/\\]/).at(-1)!;
  const stem = last.replace(/(?<=.)\.[^.]*$/, "").replace(/[^\p{L}\p{N}._ -]/gu, "_");
  return stem.slice(0, 100) || "reports";
}

const endings: Record<string, string> = { text: "txt", recording: "hid" };

/** The end of a file's name in a form of the program's. */
export function endingOf(form: string): string {
  return endings[form] ?? form;
}
