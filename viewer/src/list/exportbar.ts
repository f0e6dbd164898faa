/** Below the list: copies or saves the reports that it shows, in a form of the program's. */
import type { RemoteCapture } from "../decoder/client.js";
import type { About } from "../decoder/decoder.js";
import { made } from "../basics/dom.js";
import { inPageWords } from "../basics/pagewords.js";
import type { Rows } from "./rows.js";
import { copyOrSave, endingOf, save, stemOf } from "../basics/saving.js";

/** More text than anybody pastes. */
const mostCopied = 64 << 20;

export interface Shown {
  capture: RemoteCapture | null;
  rows: Rows;
  isFiltered: boolean;
}

export class ExportBar {
  private readonly form = made("select");
  private readonly buttons: HTMLButtonElement[];

  constructor(
    bar: HTMLElement,
    private readonly shown: () => Shown,
    private readonly tell: (what: unknown) => void,
  ) {
    this.form.id = "export-form";
    const label = made("label", "", [new Text("The listed ones as "), this.form]);
    this.buttons = (["Save", "Copy"] as const).map((title) => {
      const button = made("button", "", title);
      button.type = "button";
      button.id = `export-${title.toLowerCase()}`;
      button.onclick = () => void this.give(title === "Copy").catch(tell);
      return button;
    });
    bar.append(label, ...this.buttons);
  }

  /** The forms that there are. */
  setForms({ outputForms }: About): void {
    this.form.replaceChildren(
      ...outputForms.map(({ name, description }) => {
        const option = made("option", "", name);
        option.value = name;
        option.title = description;
        return option;
      }),
    );
    this.form.value = "csv";
  }

  private async give(isCopied: boolean): Promise<void> {
    const { capture, rows, isFiltered } = this.shown();
    if (capture === null || rows.count === 0) return this.tell("Nothing is listed.");
    const form = this.form.value;
    for (const one of this.buttons) one.disabled = true;
    try {
      const { blob, leftOut } = await capture.render(form, rows.all());
      const file = `${stemOf(capture.name)}${isFiltered ? "-filtered" : ""}.${endingOf(form)}`;
      const title = `The list (${rows.count.toLocaleString("en")}) as ${form}`;
      const told = leftOut === "" ? "" : ` ⚠ Not all of it: ${inPageWords(leftOut)}.`;
      if (isCopied && blob.size <= mostCopied)
        return this.tell((await copyOrSave({ title, blob, file })) + told);
      save(blob, file);
      this.tell(`${title} is saved as ${file}.${told}`);
    } finally {
      for (const one of this.buttons) one.disabled = false;
    }
  }
}
