/** Elements of the page. Texts from files go in as text only. */

export function element<T extends HTMLElement>(id: string): T {
  return document.getElementById(id) as T;
}

/** A new element with a class and a text, or with children. */
export function made<K extends keyof HTMLElementTagNameMap>(
  tag: K,
  className = "",
  content: string | Node[] = [],
): HTMLElementTagNameMap[K] {
  const one = document.createElement(tag);
  if (className !== "") one.className = className;
  if (typeof content === "string") one.textContent = content;
  else one.append(...content);
  return one;
}

/** Where a report's ID stands in front of others: "0x76". */
export function hexId(id: number): string {
  return `0x${hexByte(id)}`;
}

export function hexByte(byte: number): string {
  return byte.toString(16).toUpperCase().padStart(2, "0");
}

/** A number with no more digits than tell it apart from its neighbours. */
export function numberText(value: number | bigint | boolean, kind: string): string {
  if (kind === "bool") return value ? "true" : "false";
  if (kind !== "float") return String(value);
  for (let digits = 6; digits < 9; ++digits) {
    const text = Number(value).toPrecision(digits);
    if (Math.fround(Number(text)) === value) return String(Number(text));
  }
  return String(Number(Number(value).toPrecision(9)));
}
