/** An element of the page as a PNG, as it looks: boxes with their colours and borders, and
 *  texts. For maps and bars that are made of elements, so that people can point at them and copy
 *  them. */
import { groundColour, pngOfCanvas } from "./png.js";

const scale = 2; // of the picture's pixels to the page's
const margin = 8;

export function snapshotOf(root: HTMLElement): Promise<Blob> {
  const frame = root.getBoundingClientRect();
  const canvas = document.createElement("canvas");
  canvas.width = Math.ceil((frame.width + 2 * margin) * scale);
  canvas.height = Math.ceil((frame.height + 2 * margin) * scale);
  const pen = canvas.getContext("2d")!;
  pen.scale(scale, scale);
  pen.fillStyle = groundColour();
  pen.fillRect(0, 0, canvas.width, canvas.height);
  pen.translate(margin - frame.left, margin - frame.top);
  paint(pen, root);
  return pngOfCanvas(canvas);
}

function paint(pen: CanvasRenderingContext2D, element: Element): void {
  const style = getComputedStyle(element);
  if (style.display === "none" || style.visibility === "hidden") return;
  const box = element.getBoundingClientRect();
  pen.fillStyle = style.backgroundColor;
  pen.fillRect(box.left, box.top, box.width, box.height);
  paintBorders(pen, style, box);
  for (const child of element.childNodes)
    if (child instanceof Element) paint(pen, child);
    else if (child instanceof Text) paintText(pen, child, style);
}

function paintBorders(
  pen: CanvasRenderingContext2D,
  style: CSSStyleDeclaration,
  { left, top, right, bottom }: DOMRect,
): void {
  const sides = [
    ["Left", left, top, left, bottom],
    ["Right", right, top, right, bottom],
    ["Top", left, top, right, top],
    ["Bottom", left, bottom, right, bottom],
  ] as const;
  for (const [side, x, y, toX, toY] of sides) {
    const width = parseFloat(style[`border${side}Width`]);
    if (width === 0 || style[`border${side}Style`] === "none") continue;
    const inwards = width / 2;
    const dx = side === "Left" ? inwards : side === "Right" ? -inwards : 0;
    const dy = side === "Top" ? inwards : side === "Bottom" ? -inwards : 0;
    pen.strokeStyle = style[`border${side}Color`];
    pen.lineWidth = width;
    pen.setLineDash(style[`border${side}Style`] === "dashed" ? [2, 2] : []);
    pen.beginPath();
    pen.moveTo(x + dx, y + dy);
    pen.lineTo(toX + dx, toY + dy);
    pen.stroke();
  }
}

function paintText(pen: CanvasRenderingContext2D, text: Text, style: CSSStyleDeclaration): void {
  const lines = linesOf(text);
  if (lines.length === 0) return;
  pen.save();
  pen.fillStyle = style.color;
  pen.font = `${style.fontWeight} ${style.fontSize} ${style.fontFamily}`;
  pen.textBaseline = "middle";
  if (style.overflow !== "visible") {
    const { left, top, width, height } = text.parentElement!.getBoundingClientRect();
    pen.beginPath();
    pen.rect(left, top, width, height);
    pen.clip();
  }
  for (const { said, left, middle } of lines) pen.fillText(said, left, middle);
  pen.restore();
}

/** A line of a text, and where it stands. */
interface Line {
  said: string;
  left: number;
  middle: number;
}

/** The lines that the window's width breaks a text into. */
function linesOf(text: Text): Line[] {
  const lines: Line[] = [];
  const range = document.createRange();
  for (const { index, 0: word } of text.data.matchAll(/\S+/g)) {
    range.setStart(text, index);
    range.setEnd(text, index + word.length);
    const [box] = range.getClientRects();
    if (box === undefined) continue;
    const middle = box.top + box.height / 2;
    const last = lines.at(-1);
    if (last !== undefined && Math.abs(last.middle - middle) < 1) last.said += ` ${word}`;
    else lines.push({ said: word, left: box.left, middle });
  }
  return lines;
}
