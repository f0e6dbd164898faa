/** What the program says of a fault, or of what it left out, may name options of its own. On the
 *  page the same is done by other means. */
const pageWords: readonly [program: string, page: string][] = [
  ["--list-reports shows the known ones", "Help shows the known ones"],
  ["--device BUS:DEV chooses one", "the filter Device chooses one"],
  ["--report ID chooses", "the filter ID chooses"],
  ["-i hex or -i binary", "choose hex or binary at Read as"],
  ["use: unzip -p FILE | vesk-decode", "unpack it, and open what is inside"],
  ["use: iconv -f UTF-16 -t UTF-8 FILE | vesk-decode", "save it as UTF-8, and open that"],
];

export function inPageWords(text: string): string {
  return pageWords.reduce((all, [program, page]) => all.replaceAll(program, page), text);
}
