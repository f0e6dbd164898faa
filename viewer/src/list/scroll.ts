/** Where a list of any length is scrolled to. Browsers make no element taller than some ten
 *  million pixels, and less where the page is enlarged: a list of millions of rows is taller. So
 *  its element has a height of its own, and a place in the element stands for a row.
 *
 *  Long ways, those of the scroll bar, go by the share of the whole. Short ones, of wheel and
 *  finger, go by pixels, as in any list; so the row is what counts, and the element follows when
 *  it rests.
 *
 *      const extent = { count: 5_000_000, rowHeight: 24, viewport: section.clientHeight };
 *      list.style.height = `${heightOf(extent)}px`;
 *      section.onscroll = () => {
 *        place = scrolled(extent, place, section.scrollTop);
 *        if (isOff(extent, place)) rest(); // else when there was no scrolling for a while
 *        draw(Math.floor(place.row), offsetOf(extent, place, Math.floor(place.row)));
 *      };
 *      const rest = () => section.scrollTop = (place = rested(extent, place)).top;
 *      const goTo = (row) => section.scrollTop = (place = shown(extent, place, row)).top; */

/** More rows than fit into this have a place by their share. It leaves room for six pixels of the
 *  screen in one of the page. */
export const tallest = 5_000_000;

export interface Extent {
  count: number; // of rows
  rowHeight: number; // pixels, as the others
  viewport: number; // the height of what is seen of the list
}

/** The row at the upper edge, with its part that is out of sight, and where the element stands. */
export interface Place {
  row: number;
  top: number; // its scrollTop
}

export const beginning: Place = { row: 0, top: 0 };

/** The height that the list's element has to have. */
export function heightOf({ count, rowHeight }: Extent): number {
  return Math.min(count * rowHeight, tallest);
}

/** The first row when the list is scrolled to its end. */
export function lastRow({ count, rowHeight, viewport }: Extent): number {
  return Math.max(0, count - viewport / rowHeight);
}

/** The row that a place in the element stands for. */
export function rowAt(extent: Extent, top: number): number {
  const end = lastTop(extent);
  if (top >= end) return lastRow(extent);
  return (Math.max(0, top) / end) * lastRow(extent);
}

/** The place in the element that stands for a row. */
export function topOf(extent: Extent, row: number): number {
  const end = lastRow(extent);
  if (row >= end) return lastTop(extent);
  return (Math.max(0, row) / end) * lastTop(extent);
}

/** The element was scrolled from `from`. */
export function scrolled(extent: Extent, from: Place, top: number): Place {
  const by = top - from.top;
  if (isExact(extent) || Math.abs(by) > extent.viewport) return { row: rowAt(extent, top), top };
  // Browsers round scrollTop: what is less than a pixel from an end is there.
  const row = within(extent, from.row + by / extent.rowHeight);
  const [end, pixel] = [lastRow(extent), 1 / extent.rowHeight];
  return { row: row < pixel ? 0 : row > end - pixel ? end : row, top };
}

/** Whether list and element aren't at an end together: one of them could go no further. */
export function isOff(extent: Extent, { row, top }: Place): boolean {
  const differ = (one: boolean, other: boolean) => one !== other;
  return differ(row <= 0, top < 1) || differ(row >= lastRow(extent), top > lastTop(extent) - 1);
}

/** Where the element belongs: after scrolling, and when rows were added. */
export function rested(extent: Extent, { row }: Place): Place {
  const inside = within(extent, row);
  return { row: inside, top: topOf(extent, inside) };
}

/** The nearest place where all of a row is seen. */
export function shown(extent: Extent, from: Place, row: number): Place {
  const seen = extent.viewport / extent.rowHeight;
  const first = Math.min(Math.max(from.row, row + 1 - seen), row);
  return first === from.row ? from : rested(extent, { row: first, top: from.top });
}

/** Where a row's upper edge is in the element, in pixels from its top. */
export function offsetOf({ rowHeight }: Extent, { row, top }: Place, which: number): number {
  return top + (which - row) * rowHeight;
}

/** Whether the list has its true height. */
function isExact({ count, rowHeight }: Extent): boolean {
  return count * rowHeight <= tallest;
}

function lastTop(extent: Extent): number {
  return Math.max(0, heightOf(extent) - extent.viewport);
}

function within(extent: Extent, row: number): number {
  return Math.min(Math.max(row, 0), lastRow(extent));
}
