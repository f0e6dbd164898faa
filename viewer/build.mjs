/** Makes the page of its parts: node build.mjs MODULE.wasm NODE_MODULES OUT.html
 *  With --tests instead of a page's name, bundles the tests to that folder: ... --tests FOLDER */
import { createHash } from "node:crypto";
import { readdirSync, readFileSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { dirname, join, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { gzipSync } from "node:zlib";

const here = dirname(fileURLToPath(import.meta.url));
const [modulePath, packages, ...output] = process.argv.slice(2);
if (output.length === 0) throw new Error("usage: build.mjs MODULE.wasm NODE_MODULES OUT.html");
const esbuild = createRequire(resolve(packages, "package.json"))("esbuild");
const common = { bundle: true, nodePaths: [resolve(packages)], logLevel: "warning" };

async function bundled(file, format) {
  const result = await esbuild.build({
    ...common,
    entryPoints: [join(here, "src", file)],
    format,
    minify: true,
    target: ["es2022"],
    legalComments: "none",
    write: false,
  });
  return result.outputFiles[0].text;
}

function packed(bytes) {
  return gzipSync(bytes, { level: 9 }).toString("base64");
}

function hashOf(text) {
  return `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
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
    worker: packed(await bundled("worker.ts", "iife")),
  };
  const template = readFileSync(join(here, "src/page.html"), "utf8");
  const page = template.replace(/{{(\w+)}}/g, (_, name) => parts[name]);
  writeFileSync(out, page);
}

async function makeTests(folder) {
  const isTest = (name) => name.endsWith(".test.ts");
  await esbuild.build({
    ...common,
    entryPoints: readdirSync(join(here, "tests"))
      .filter(isTest)
      .map((name) => join(here, "tests", name)),
    outdir: folder,
    outExtension: { ".js": ".mjs" },
    format: "esm",
    platform: "node",
    target: ["node18"],
    external: ["playwright-core"],
    sourcemap: "inline",
    // Some packages ask for node's own modules in node's old way.
    banner: {
      js: 'import { createRequire as old } from "node:module"; const require = old(import.meta.url);',
    },
  });
}

if (output[0] === "--tests") await makeTests(output[1]);
else await makePage(output[0]);
