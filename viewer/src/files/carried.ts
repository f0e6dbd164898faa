/** Captures that `vesk-decode -o html` has put into the page.
 *
 *      void openCarried((files) => openAll(files)).catch(tell);
 *
 *  Whatever a capture, or its name, says is in base64 in blocks of data, and goes from there to the
 *  page as text only. host/outputs/Html.h says what stands in the blocks. */
import { made } from "../basics/dom.js";
import { blockBlob } from "./embedded.js";
import { countText } from "../basics/words.js";

interface Capture {
  block?: string; // the element that holds it; none where there are no reports
  name: string;
  device?: string;
  reports: number;
  known?: number; // of those, how many have a decoder
  untimed?: number; // have no time
}

interface Told {
  where: string;
  what: string;
}

/** What limits say of a file, in the program's words. */
interface Verdict {
  name: string;
  limits?: string; // their title
  passed: boolean;
  summary: string;
  failures: Told[];
  moreFailures: number;
}

interface Contents {
  program: string;
  selection?: string;
  interrupted?: boolean;
  captures: Capture[];
  problems: Told[];
  moreProblems: number;
  verdicts?: Verdict[];
}

/** A capture that can be opened. */
interface Carried {
  capture: Capture;
  file: File;
}

/** Tells what the page carries, and opens it: `open` gets all captures, first the one that most
 *  likely is wanted. Where the page carries none, nothing happens. */
export async function openCarried(open: (files: File[]) => void): Promise<void> {
  const block = document.getElementById("carried");
  if (block === null || block.textContent === "") return;
  const contents = JSON.parse(await blockBlob("carried").text()) as Contents;
  const carried = contents.captures.flatMap((capture) =>
    capture.block === undefined ? [] : [{ capture, file: fileOf(contents, capture) }],
  );
  const header = document.querySelector("header") ?? document.body;
  header.append(noteOf(contents, carried.length > 0));
  // A capture of a bus may begin with what a mouse sent.
  const isKnown = ({ capture }: Carried) => (capture.known ?? 0) > 0;
  const sorted = [...carried.filter(isKnown), ...carried.filter((one) => !isKnown(one))];
  const [first] = sorted;
  if (first === undefined) return;
  document.title = `${first.file.name} – Vesk viewer`;
  open(sorted.map(({ file }) => file));
}

function fileOf({ captures }: Contents, { block, name, device }: Capture): File {
  const isAlone = captures.filter((other) => other.name === name).length === 1;
  const title = device === undefined || isAlone ? name : `${name}, ${device}`;
  return new File([blockBlob(block!)], title);
}

/** What is to be known of a capture beside its reports. */
function tellingOf({ device, reports, known, untimed }: Capture): string {
  if (reports === 0) return "no reports";
  const parts = [countText(reports, "report")];
  if (device !== undefined) parts.unshift(device);
  if (known === 0) parts.push("none of them known");
  if (untimed === reports) parts.push("without times: they stand at 0");
  else if (untimed) parts.push(`${untimed} of them without a time: they stand at 0`);
  return parts.join("; ");
}

/** Whether limits were kept, in a word or two. */
function outcomeOf(verdicts: Verdict[]): string {
  const failed = verdicts.filter(({ passed }) => !passed).length;
  if (verdicts.length < 2) return verdicts.map(({ summary }) => `; ${summary}`).join("");
  return failed === 0 ? "; limits: PASS" : `; limits: FAIL, ${failed} of ${verdicts.length}`;
}

function listOf(told: Told[], more: number): HTMLElement {
  const texts = told.map(({ where, what }) => `${where}: ${what}`);
  if (more > 0) texts.push(`and ${more} more like these`);
  return made("ul", "problems", texts.map((text) => made("li", "", text)));
}

function noteOf(contents: Contents, hasReports: boolean): HTMLElement {
  const note = made("details", "carried");
  note.open = true;
  const { captures, selection, interrupted, problems, moreProblems, verdicts = [] } = contents;
  const all = captures.reduce((sum, { reports }) => sum + reports, 0);
  const what = captures.length === 1 ? captures[0]!.name : countText(captures.length, "capture");
  const errors = problems.length + moreProblems;
  const wrong = errors > 0 ? `; ${countText(errors, "error")} came up` : "";
  const title = `Inside this page: ${what}, ${countText(all, "report")}`;
  note.append(made("summary", "", title + outcomeOf(verdicts) + wrong));
  const line = (text: string) => note.append(made("p", "", text));
  line(
    "Whoever has this page can read all of it: serial numbers and version texts, too. " +
      "Other captures can be opened as ever.",
  );
  if (selection !== undefined) line(`Chosen from the captures by ${selection}.`);
  if (interrupted) line("The program was interrupted: what came later is not inside.");
  if (captures.length > 1 || tellingOf(captures[0]!) !== countText(all, "report")) {
    const list = made("ul", "captures");
    for (const capture of captures)
      list.append(made("li", "", `${capture.name}: ${tellingOf(capture)}`));
    note.append(list);
  }
  if (hasReports)
    line("Places in the list are lines of the recordings inside, and not of the files.");
  if (errors > 0) {
    line(`When this page was made, ${countText(errors, "error")} came up:`);
    note.append(listOf(problems, moreProblems));
  }
  for (const { name, limits, summary, failures, moreFailures } of verdicts) {
    line(`${limits ?? "Limits"}, ${name}: ${summary}`);
    if (failures.length > 0) note.append(listOf(failures, moreFailures));
  }
  return note;
}
