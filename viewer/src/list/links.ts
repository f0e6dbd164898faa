/** Links into a file: `#file=tour.hid&report=12&view=frames&id=0x76`. Whatever somebody puts there,
 *  it is a name, a number or a word of a filter, or nothing. */
import { facets, noFilter, type Filter } from "./filter.js";

export interface Link {
  file: string; // its name; empty if none is meant
  report: number | null;
  view: string; // of a tab; empty for the report's
  filter: Filter;
}

const longest = 4096; // characters that anybody's link has

export function linkOf(hash: string): Link {
  const given = new URLSearchParams(hash.replace(/^#/, "").slice(0, longest));
  const text = (key: string) => given.get(key) ?? "";
  const number = /^\d{1,9}$/.test(text("report")) ? Number(text("report")) : null;
  const filter: { -readonly [key in keyof Filter]: Filter[key] } = { ...noFilter };
  for (const facet of facets) filter[facet] = [...new Set(given.getAll(facet))];
  filter.text = text("text");
  const view = /^\w+$/.test(text("view")) ? text("view") : "";
  return { file: text("file"), report: number, view, filter };
}

export function hashOf({ file, report, view, filter }: Link): string {
  const all = new URLSearchParams();
  if (file !== "") all.set("file", file);
  if (report !== null) all.set("report", String(report));
  if (view !== "") all.set("view", view);
  for (const facet of facets) for (const value of filter[facet]) all.append(facet, value);
  if (filter.text !== "") all.set("text", filter.text);
  return all.size === 0 ? "" : `#${all}`;
}

/** The link that the page was opened by, until it is followed; and the page's own address. */
export class LinkKeeper {
  private timer: ReturnType<typeof setTimeout> | undefined;
  wanted: Link | null = null;

  /** `now` says what is shown. */
  constructor(private readonly now: () => Link) {
    this.take();
    addEventListener("hashchange", () => {
      clearTimeout(this.timer);
      this.take();
      if (this.wanted !== null) this.onLink(this.wanted);
    });
  }

  /** Somebody has put another link into the address. */
  onLink: (link: Link) => void = () => undefined;

  /** It is followed, or somebody went elsewhere. */
  done(): void {
    this.wanted = null;
    this.changed();
  }

  /** Something else is shown: the address says so soon. Browsers refuse to have it written often. */
  changed(): void {
    if (this.wanted !== null) return;
    clearTimeout(this.timer);
    this.timer = setTimeout(() => {
      const hash = hashOf(this.now());
      if (hash !== location.hash && hash !== "") history.replaceState(null, "", hash);
    }, 400);
  }

  private take(): void {
    this.wanted = location.hash.length > 1 ? linkOf(location.hash) : null;
  }
}
