/** Pictures of a view put together to one, to be copied. */
import { ink } from "./plots.js";
import { groundColour, pngOfCanvas } from "./png.js";

/** A picture with words above it. */
export interface Part {
  caption: string; // empty if it belongs to the picture above it
  canvas: HTMLCanvasElement;

  /** As large as it is drawn, in pixels of the screen, where that isn't the canvas's own size. */
  width?: number;
  height?: number;
}

const margin = 12;
const lineHeight = 20;

/** Pictures below each other, with a title and a line of words for each, as PNG. */
export function pngOf(title: string, parts: readonly Part[]): Promise<Blob> {
  const ratio = devicePixelRatio;
  const sized = parts.map(({ caption, canvas, width, height }) => ({
    caption,
    canvas,
    width: width ?? canvas.width / ratio,
    height: height ?? canvas.height / ratio,
  }));
  const whole = document.createElement("canvas");
  const pen = whole.getContext("2d")!;
  pen.font = "600 14px system-ui, sans-serif";
  const captions = sized.map(({ caption }) => pen.measureText(caption).width);
  const widths = sized.map(({ width }) => width);
  const widest = Math.max(pen.measureText(title).width, ...captions, ...widths);
  const above = (caption: string) => (caption === "" ? -margin + 3 : lineHeight);
  const tall = sized.reduce(
    (sum, { caption, height }) => sum + height + above(caption) + margin,
    0,
  );
  whole.width = Math.ceil((widest + 2 * margin) * ratio);
  whole.height = Math.ceil((tall + lineHeight + 2 * margin) * ratio);
  pen.scale(ratio, ratio);
  pen.fillStyle = groundColour();
  pen.fillRect(0, 0, whole.width, whole.height);
  pen.imageSmoothingEnabled = false;
  pen.fillStyle = ink();
  let top = margin + 14;
  pen.font = "600 14px system-ui, sans-serif";
  pen.fillText(title, margin, top);
  pen.font = "12px system-ui, sans-serif";
  for (const { caption, canvas, width, height } of sized) {
    top += above(caption);
    if (caption !== "") pen.fillText(caption, margin, top);
    top += 6;
    pen.drawImage(canvas, margin, top, width, height);
    top += height + margin - 6;
  }
  return pngOfCanvas(whole);
}
