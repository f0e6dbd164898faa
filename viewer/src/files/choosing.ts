/** How files come to the page: chosen, or dropped. */
import type { Files } from "./files.js";

export class Choosing {
  constructor(
    input: HTMLInputElement,
    private readonly files: Files,
    private readonly tell: (fault: unknown) => void,
  ) {
    input.onchange = () => {
      const chosen = [...(input.files ?? [])];
      input.value = ""; // the same again is another choice
      this.open(chosen);
    };
    document.ondragover = (event) => {
      event.preventDefault();
      document.body.classList.add("dropping");
    };
    document.ondragleave = (event) => {
      if (event.relatedTarget === null) document.body.classList.remove("dropping");
    };
    document.ondrop = (event) => {
      event.preventDefault();
      document.body.classList.remove("dropping");
      if (event.dataTransfer !== null) this.drop(event.dataTransfer);
    };
  }

  private drop({ items }: DataTransfer): void {
    const dropped: File[] = [];
    for (const item of items) {
      if (item.kind !== "file") continue;
      const entry = item.webkitGetAsEntry();
      const file = item.getAsFile();
      if (entry?.isDirectory)
        this.files.addFault(entry.name, `${entry.name} is a folder: drop the files that are in it.`);
      else if (file !== null) dropped.push(file);
    }
    this.open(dropped);
  }

  private open(files: readonly File[]): void {
    if (files.length > 0) void this.files.open(files).catch(this.tell);
  }
}
