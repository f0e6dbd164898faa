/** Goes through reports one by one: buttons, a number, and keys. */
import { button, numberInput, text } from "../basics/controls.js";
import { made } from "../basics/dom.js";

export class Stepper {
  at = 0;
  private count = 0;
  private readonly number: HTMLInputElement;
  private readonly total = made("span");
  readonly root: HTMLElement;

  /** `moved` is called when somebody goes to another report. */
  constructor(
    what: string,
    private readonly moved: (at: number) => void,
  ) {
    this.number = numberInput(`Number of the ${what}`, 1);
    this.number.onchange = () => this.goTo(Number(this.number.value) - 1);
    this.root = made("span", "stepper", [
      button("◀", `The ${what} before`, () => this.goTo(this.at - 1)),
      text(" "),
      this.number,
      text(" "),
      this.total,
      text(" "),
      button("▶", `The next ${what}`, () => this.goTo(this.at + 1)),
    ]);
  }

  /** How many there are; it stays where it is, if that is still there. */
  setCount(count: number): void {
    this.count = count;
    this.number.max = String(count);
    this.total.textContent = `of ${count}`;
    this.set(this.at);
  }

  /** Shows where one is, and tells nobody. */
  set(at: number): void {
    this.at = Math.min(Math.max(Math.round(at) || 0, 0), Math.max(0, this.count - 1));
    this.number.value = String(this.at + 1);
  }

  goTo(at: number): void {
    this.set(at);
    if (this.count > 0) this.moved(this.at);
  }

  /** What a key does; false if it is none of its own. */
  key(event: KeyboardEvent): boolean {
    const target = event.target as HTMLElement;
    if (event.ctrlKey || event.altKey || event.metaKey) return false;
    if (target.matches("select, input")) return false;
    const far = event.shiftKey ? 10 : 1;
    const places: Record<string, number> = {
      ArrowLeft: this.at - far,
      ArrowRight: this.at + far,
      PageUp: this.at - 100,
      PageDown: this.at + 100,
      Home: 0,
      End: this.count - 1,
    };
    const place = places[event.key];
    if (place === undefined) return false;
    event.preventDefault();
    this.goTo(place);
    return true;
  }
}
