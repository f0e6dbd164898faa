/** Makes the page of its parts, and lays its notices beside it, OUT.notices:
 *  node build.mjs MODULE.wasm NODE_MODULES OUT.html
 *  With --tests instead of a page's name, bundles the tests to that folder: ... --tests FOLDER */
import { createHash } from "node:crypto";
import {
  existsSync,
  mkdirSync,
  readdirSync,
  readFileSync,
  renameSync,
  rmSync,
  writeFileSync,
} from "node:fs";
import { createRequire } from "node:module";
import { basename, dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { gzipSync } from "node:zlib";

const here = dirname(fileURLToPath(import.meta.url));
const [modulePath, packages, ...output] = process.argv.slice(2);
if (output.length === 0) throw new Error("usage: build.mjs MODULE.wasm NODE_MODULES OUT.html");
const esbuild = createRequire(resolve(packages, "package.json"))("esbuild");
const common = { bundle: true, nodePaths: [resolve(packages)], logLevel: "warning" };

/** The npm packages that were bundled. */
const used = new Set();

async function bundled(file, format) {
  const result = await esbuild.build({
    ...common,
    entryPoints: [join(here, "src", file)],
    format,
    minify: true,
    target: ["es2022"],
    legalComments: "none",
    metafile: true,
    write: false,
  });
  for (const input of Object.keys(result.metafile.inputs)) {
    const name = /.*node_modules\/((?:@[^/]+\/)?[^/]+)/.exec(input)?.[1];
    if (name !== undefined) used.add(name);
  }
  return result.outputFiles[0].text;
}

function packed(bytes) {
  return gzipSync(bytes, { level: 9 }).toString("base64");
}

function hashOf(text) {
  return `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
}

/** The words under which a package may be handed on. */
function noticeOf(name) {
  const folder = resolve(packages, name);
  const { version, license, author, main } = JSON.parse(read(folder, "package.json"));
  const title = `${name} ${version}`;
  const file = readdirSync(folder).find((one) => /^licen[cs]e/i.test(one));
  if (file !== undefined) return [title, read(folder, file)];
  const readme = readdirSync(folder).find((one) => /^readme/i.test(one));
  const ends = readme === undefined ? "" : read(folder, readme).split(/^#+ licen[cs]e *$/im)[1];
  if (ends !== undefined && /copyright/i.test(ends)) return [title, ends];
  // Its words stand at the head of its code, and its licence is that of ours.
  if (license !== "MIT") throw new Error(`${title} has no licence file, and is under ${license}`);
  const [head] = /\/\*!.*?\*\//s.exec(read(folder, main)) ?? [""];
  const terms = read(here, "../LICENSE").replace(/^.*?(?=Permission)/s, "");
  return [title, `${author?.name ?? author}\n${head}\n\n${terms}`];
}

/** The same of all that the page holds. */
function notices() {
  const debian = "/usr/share/doc";
  const texts = [
    ["Vesk viewer", read(here, "../LICENSE")],
    ["LLVM: libc++, libc++abi, compiler-rt, libunwind", read(debian, "libc++-19-dev-wasm32/copyright")],
    ["wasi-libc", read(debian, "wasi-libc/copyright")],
    ...[...used].sort().map(noticeOf),
  ];
  return texts.map(([title, text]) => `${title}\n\n${text.trim()}\n`).join(`\n${"=".repeat(72)}\n\n`);
}

function read(...path) {
  return readFileSync(join(...path), "utf8");
}

/** What is as it has to be stays: tests that run may read it. */
function write(path, contents) {
  const bytes = Buffer.from(contents);
  if (existsSync(path) && readFileSync(path).equals(bytes)) return;
  writeFileSync(`${path}.new`, bytes);
  renameSync(`${path}.new`, path);
}

async function makePage(out) {
  const script = (await bundled("page.ts", "iife")).replaceAll("</script", "<\\/script");
  const style = (await bundled("page.css", undefined)).replaceAll("</style", "<\\/style");
  const policy = [
    "default-src 'none'",
    `script-src ${hashOf(script)} 'wasm-unsafe-eval'`,
    "worker-src blob:",
    `style-src ${hashOf(style)}`,
    "img-src data: blob:",
    "connect-src 'none'",
    "base-uri 'none'",
    "form-action 'none'",
  ].join("; ");
  const parts = {
    policy,
    style,
    script,
    module: packed(readFileSync(modulePath)),
    worker: packed(await bundled("decoder/worker.ts", "iife")),
  };
  const [, version] = /project\(VeskReport VERSION (\S+)/.exec(read(here, "../CMakeLists.txt"));
  parts.version = version;
  parts.notices = packed(notices());
  writeFileSync(out.replace(/\.html$/, ".notices"), notices());
  const template = read(here, "src/page.html");
  const page = template.replace(/{{(\w+)}}/g, (_, name) => parts[name]);
  write(out, page);
}

async function makeTests(folder) {
  const isTest = (name) => name.endsWith(".test.ts");
  const { outputFiles } = await esbuild.build({
    ...common,
    entryPoints: readdirSync(join(here, "tests"))
      .filter(isTest)
      .map((name) => join(here, "tests", name)),
    outdir: folder,
    outExtension: { ".js": ".mjs" },
    format: "esm",
    platform: "node",
    target: ["node18"],
    external: ["playwright-core", "puppeteer-core"],
    sourcemap: "inline",
    // Some packages ask for node's own modules in node's old way.
    banner: {
      js: 'import { createRequire as old } from "node:module"; const require = old(import.meta.url);',
    },
    write: false,
  });
  mkdirSync(folder, { recursive: true });
  const names = outputFiles.map(({ path }) => basename(path));
  for (const old of readdirSync(folder)) if (!names.includes(old)) rmSync(join(folder, old));
  for (const { path, contents } of outputFiles) write(path, contents);
}

if (output[0] === "--tests") await makeTests(output[1]);
else await makePage(output[0]);
