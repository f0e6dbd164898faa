/** Hatching: what is lost or wrong is told by it as well as by its colour. */
import { faultColour } from "./plots.js";

/** Marks a region with slanted lines. `ratio` is how many of its units are a pixel of the page. */
export function hatch(
  pen: CanvasRenderingContext2D,
  left: number,
  top: number,
  width: number,
  height: number,
  ratio: number,
  colour: string = faultColour,
): void {
  pen.save();
  pen.beginPath();
  pen.rect(left, top, width, height);
  pen.clip();
  pen.fillStyle = `${colour}22`;
  pen.fillRect(left, top, width, height);
  pen.strokeStyle = colour;
  pen.lineWidth = ratio;
  pen.beginPath();
  const step = Math.min(8 * ratio, Math.max(4 * ratio, width / 2));
  for (let x = left - height; x < left + width; x += step) {
    pen.moveTo(x, top + height);
    pen.lineTo(x + height, top);
  }
  pen.stroke();
  pen.restore();
}
