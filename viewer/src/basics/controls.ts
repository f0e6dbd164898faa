/** Controls that views make by script. */
import { made } from "./dom.js";

export function text(content: string): Text {
  return document.createTextNode(content);
}

export function option(value: string, content: string): HTMLOptionElement {
  const one = made("option", "", content);
  one.value = value;
  return one;
}

/** Has the arrow keys open a selection that does something as soon as it is changed: closed, it
 *  would be changed by each of them. */
export function opensByArrows(one: HTMLSelectElement): void {
  one.onkeydown = (event) => {
    const isArrow = event.key === "ArrowDown" || event.key === "ArrowUp";
    if (!isArrow || event.altKey || !("showPicker" in one)) return;
    event.preventDefault();
    one.showPicker();
  };
}

export function numberInput(label: string, least: number): HTMLInputElement {
  const one = made("input");
  one.type = "number";
  one.min = one.value = String(least);
  one.setAttribute("aria-label", label);
  return one;
}

export function checkbox(): HTMLInputElement {
  const one = made("input");
  one.type = "checkbox";
  return one;
}

/** A control with its label, which stands in front of it, or behind it. */
export function labelled(label: string, control: HTMLElement, isBehind = false): HTMLElement {
  if (!control.hasAttribute("aria-label")) control.setAttribute("aria-label", label);
  const parts = [text(` ${label} `), control];
  return made("label", "", isBehind ? parts.reverse() : parts);
}

/** A button; `label` is what it does, in words. */
export function button(content: string, label: string, onClick: () => void): HTMLButtonElement {
  const one = made("button", "", content);
  one.type = "button";
  one.title = label;
  one.setAttribute("aria-label", label);
  one.onclick = onClick;
  return one;
}

/** Gives a select other choices, where they are others; what was chosen stays, as far as it is there. */
export function setOptions(
  select: HTMLSelectElement,
  choices: readonly (readonly [value: string, content: string])[],
): void {
  const there = [...select.options].map(({ value, text }) => [value, text]);
  if (JSON.stringify(there) === JSON.stringify(choices)) return;
  const { value } = select;
  select.replaceChildren(...choices.map(([value, content]) => option(value, content)));
  if (choices.some(([one]) => one === value)) select.value = value;
}
