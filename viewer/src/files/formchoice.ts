/** The form that a file is read as: the one that its first bytes told, or another. */
import type { About } from "../decoder/decoder.js";
import { opensByArrows } from "../basics/controls.js";
import { made } from "../basics/dom.js";
import type { Files, OpenFile } from "./files.js";

export class FormChoice {
  private file: OpenFile | null = null;

  constructor(
    private readonly label: HTMLElement,
    private readonly select: HTMLSelectElement,
    files: Files,
    tell: (fault: unknown) => void,
  ) {
    opensByArrows(select);
    select.onchange = () => {
      if (this.file !== null) void files.readAs(this.file, select.value).catch(tell);
    };
  }

  /** The forms that there are. */
  setForms({ inputForms }: About): void {
    const options = inputForms.map(({ name, description }) =>
      optionOf(name, `${name}: ${description}`),
    );
    this.select.replaceChildren(optionOf("", "what its first bytes tell"), ...options);
  }

  /** Shows what a file is read as. */
  draw(file: OpenFile | null): void {
    this.file = file;
    this.label.hidden = file === null || file.blob === null;
    const form = file?.form ?? "";
    if (this.select.value !== form) this.select.value = form; // it may be open
  }
}

function optionOf(value: string, text: string): HTMLOptionElement {
  const option = made("option", "", text);
  option.value = value;
  return option;
}
