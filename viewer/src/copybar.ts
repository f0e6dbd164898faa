/** Beside the tabs: copies what the tab shows. */
import { made } from "./basics/dom.js";
import { copyOrSave } from "./basics/saving.js";
import type { Copies } from "./views/view.js";

/** What can be copied at the moment, and how its file would be named. */
export interface Copied {
  copies: Copies;
  stem: string;
}

const kinds = ["csv", "json", "png"] as const;
const types = { csv: "text/csv", json: "application/json", png: "image/png" };

export class CopyBar {
  private readonly buttons = new Map<(typeof kinds)[number], HTMLButtonElement>();

  constructor(
    bar: HTMLElement,
    private readonly current: () => Copied,
    private readonly tell: (what: unknown) => void,
  ) {
    for (const kind of kinds) {
      const button = made("button", "", `Copy ${kind.toUpperCase()}`);
      button.type = "button";
      button.id = `copy-${kind}`;
      button.onclick = () => void this.copy(kind).catch(tell);
      this.buttons.set(kind, button);
      bar.append(button);
    }
    this.draw();
  }

  /** Another thing can be copied. */
  draw(): void {
    const { copies } = this.current();
    for (const [kind, button] of this.buttons) button.disabled = copies[kind] === undefined;
  }

  private async copy(kind: (typeof kinds)[number]): Promise<void> {
    const { copies, stem } = this.current();
    const made = await copies[kind]!();
    const blob = typeof made === "string" ? new Blob([made], { type: types[kind] }) : made;
    const title = kind.toUpperCase();
    this.tell(await copyOrSave({ title, blob, file: `${stem}.${kind}` }));
  }
}
