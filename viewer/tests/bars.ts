/** Reads bars off the page, by where they must stand. */
import type { Page } from "playwright-core";
import { margins } from "../src/plots/bars.js";

export interface Pixels {
  below: number[]; // just inside of the end of the bar
  above: number[]; // just beyond it
  mark: number[]; // where a marked bar's triangle is
}

/** The colours at the end of a channel's bar, if the bar goes from zero to `value`. `from` and `to`
 *  are the ends of the scale. */
export async function pixelsAt(
  page: Page,
  chart: string,
  channel: number,
  value: number,
  [from, to]: [number, number],
): Promise<Pixels> {
  const given = { channel, value, from, to, margins };
  return page.locator(chart).evaluate((element, { channel, value, from, to, margins }) => {
    const canvas = element as HTMLCanvasElement;
    const { clientWidth: width, clientHeight: height } = canvas;
    const slot = (width - margins.left - margins.right) / 48;
    const x = margins.left + (channel + 0.5) * slot;
    const bottom = height - margins.bottom;
    const y = bottom - ((value - from) / (to - from)) * (bottom - margins.top);
    const inside = value < 0 ? -3 : 3;
    const copy = document.createElement("canvas");
    copy.width = canvas.width;
    copy.height = canvas.height;
    const pen = copy.getContext("2d", { willReadFrequently: true })!;
    pen.drawImage(canvas, 0, 0);
    const ratio = canvas.width / width;
    const at = (y: number) => [
      ...pen.getImageData(Math.floor(x * ratio), Math.floor(y * ratio), 1, 1).data,
    ];
    return { below: at(y + inside), above: at(y - inside), mark: at(margins.top - 10) };
  }, given);
}

/** Where the middle of a channel's bar stands in a chart of a width. */
export function placeOf(channel: number, width: number): number {
  return margins.left + ((channel + 0.5) / 48) * (width - margins.left - margins.right);
}

export const blue = [0x00, 0x72, 0xb2, 255];
export const orange = [0xd9, 0x82, 0x00, 255];
export const fault = [0xd5, 0x5e, 0x00, 255];
