/** The dialogs: what keys there are, and what the page is made of. */
import { element, hexId, made } from "./basics/dom.js";
import type { About } from "./decoder/decoder.js";
import { embeddedBytes } from "./files/embedded.js";
import { hidOf } from "./live/webhid.js";

const keys: [title: string, keys: [key: string, what: string][]][] = [
  [
    "Anywhere",
    [
      ["/", "search the reports' lines"],
      ["n, N", "the next report of the list, the one before it: of a search, the next hit"],
      ["?", "this help"],
      ["Tab", "from part to part"],
    ],
  ],
  [
    "In the search field",
    [
      ["Enter, Shift+Enter", "the next hit, the one before it"],
      ["Escape", "clear the search"],
    ],
  ],
  [
    "In the list",
    [
      ["↑ ↓", "the report before, the next one"],
      ["Page Up, Page Down", "a page of them"],
      ["Home, End", "the first, the last"],
      ["Enter", "into what is shown of it"],
    ],
  ],
  ["At the tabs", [["← →", "the tab before, the next one"]]],
  [
    "In a report's bytes",
    [
      ["← → ↑ ↓", "from byte to byte; what they say lights up"],
      ["Home, End", "the first byte, the last"],
    ],
  ],
  [
    "In image frames",
    [
      ["Space", "play, stop"],
      ["← →", "a frame back, a frame on; with Shift 10"],
      ["Page Up, Page Down", "100 frames back, 100 on"],
      ["Home, End", "the first frame, the last"],
      ["+ −", "faster, slower"],
      ["↑ ↓", "the next channel, the one before it"],
    ],
  ],
];

const hints = [
  "Drop captures anywhere on the page, or open files: several at once, compressed ones, too. " +
    "They are read here and go nowhere.",
  "The address follows what you look at: file, report, tab and filter. A link shows the same to " +
    "somebody who opens the same file; it can't open the file by itself.",
  "Point at a byte, a value or a line of a report: what belongs together lights up.",
];

const liveHint =
  "Connect reads a device: pick the touch controller in the browser's list, which shows all HID " +
  "devices. Its feature reports are asked for once, its input reports are shown as they come, and " +
  "nothing else is ever sent to it. Record and Save all make files that the program reads.";

/** "Home, End" and "↑ ↓" are two keys each, "Page Up" is one. */
function keysIn(text: string): Node[] {
  const parts = text.split(/(, | (?=[←→↑↓−]))/);
  return parts.map((part, at) => (at % 2 === 0 ? made("kbd", "", part) : new Text(part)));
}

export function fillHelp(dialog: HTMLDialogElement): void {
  const told = hidOf(navigator) === null ? hints : [...hints, liveHint];
  const parts = keys.flatMap(([title, rows]) => [
    made("h3", "", title),
    made(
      "dl",
      "",
      rows.flatMap(([key, what]) => [
        made("dt", "", keysIn(key)),
        made("dd", "", what),
      ]),
    ),
  ]);
  fill(dialog, "Help", [...told.map((hint) => made("p", "", hint)), ...parts]);
}

/** Adds which reports the decoder knows. */
export function fillKnown(dialog: HTMLDialogElement, { reports }: About): void {
  const rows = reports.map(({ id, type, decoder, name, smallest, exact }) => {
    const cells = [hexId(id), type, name || decoder, `${exact ? "" : "≥ "}${smallest}`];
    return made("tr", "", cells.map((text) => made("td", "", text)));
  });
  const heads = ["ID", "Type", "Name", "Bytes"].map((title) => {
    const head = made("th", "", title);
    head.scope = "col";
    return head;
  });
  const table = made("table", "known", [
    made("thead", "", [made("tr", "", heads)]),
    made("tbody", "", rows),
  ]);
  dialog.lastElementChild!.append(made("h3", "", "Reports that are known"), table);
}

export function fillAbout(dialog: HTMLDialogElement, version: () => Promise<string>): void {
  const what = made("p");
  const notices = made("pre");
  notices.tabIndex = 0;
  notices.setAttribute("aria-label", "Licences");
  fill(dialog, "About", [what, made("p", "", "It holds these, under these terms:"), notices]);
  const show = async () => {
    what.textContent = `The Vesk report decoder, plug-in ${await version()}, in a page.`;
    if (notices.textContent === "")
      notices.textContent = new TextDecoder().decode(await embeddedBytes("notices"));
  };
  element("about-open").addEventListener("click", () => {
    dialog.showModal();
    void show().catch((fault: unknown) => (what.textContent = String(fault)));
  });
}

function fill(dialog: HTMLDialogElement, title: string, content: HTMLElement[]): void {
  const head = made("h2", "", title);
  head.id = `${dialog.id}-title`;
  const close = made("button", "", "Close");
  close.type = "button";
  close.onclick = () => dialog.close();
  dialog.append(made("div", "bar", [head, close]), made("div", "content", content));
  (dialog.lastElementChild as HTMLElement).tabIndex = 0;
  // A click beside it closes it, too.
  dialog.onclick = ({ target }) => {
    if (target === dialog) dialog.close();
  };
}
