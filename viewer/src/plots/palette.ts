/** Colours of heat maps, that people with any colour vision, and a grey printout, can tell apart. */

export type Rgb = readonly [red: number, green: number, blue: number];

/** Night blue to pale yellow, as the program's `-o screen`: each is lighter than the one before. */
const rising: readonly Rgb[] = [
  [10, 16, 70],
  [40, 60, 135],
  [38, 120, 142],
  [70, 170, 120],
  [160, 210, 70],
  [253, 236, 110],
];

/** A circle, for angles: dark at both ends, light in the middle, blue before it and brown behind. */
const around: readonly Rgb[] = [
  [30, 25, 40],
  [40, 90, 170],
  [235, 235, 230],
  [190, 110, 30],
  [30, 25, 40],
];

/** The colour of a place between 0 and 1. */
export type Palette = (place: number) => Rgb;

export const risingColours: Palette = (place) => between(rising, place);
export const aroundColours: Palette = (place) => between(around, place);

function between(anchors: readonly Rgb[], place: number): Rgb {
  const at = Math.min(Math.max(place, 0), 1) * (anchors.length - 1);
  const below = Math.min(Math.floor(at), anchors.length - 2);
  const part = at - below;
  const a = anchors[below]!;
  const b = anchors[below + 1]!;
  const mixed = (i: 0 | 1 | 2) => Math.round(a[i] + (b[i] - a[i]) * part);
  return [mixed(0), mixed(1), mixed(2)];
}
