// Times conversions with the native program and with the WebAssembly
// package in Node, and, through bench/wasm/speed-page.mjs, in the viewer
// page's worker in headless Chromium. bench/wasm-speed prepares the inputs.
//
//   node bench/wasm/speed.mjs --morvane PATH --package DIR --corpus DIR --field FILE [--rounds N] [--page BASE_URL]
//
// The corpus: each document once, classic, no option; the sum of the wall
// times. Native runs one process per document, as a user runs it; the
// package converts in one Node process (the module compiled once, before
// the timing, and its compile time reported apart) and writes the output
// file as the program does. The height field: -fs -l, N rounds each, the
// best and the median. Prints a Markdown table.
import { spawnSync } from "node:child_process";
import { createRequire } from "node:module";
import { mkdtempSync, readFileSync, readdirSync, rmSync, statSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, relative, resolve } from "node:path";

const options = { rounds: "3" };
const argv = process.argv.slice(2);
while (argv.length) options[argv.shift().replace(/^--/, "")] = argv.shift();
for (const name of ["morvane", "package", "corpus", "field"]) {
    if (!options[name]) {
        console.error("usage: speed.mjs --morvane PATH --package DIR --corpus DIR --field FILE [--rounds N] [--page BASE_URL]");
        process.exit(2);
    }
}
const rounds = Math.max(1, Number(options.rounds));
const work = mkdtempSync(join(tmpdir(), "morvane-wasm-speed-"));
const output = join(work, "out.x3d");

const compileStart = performance.now();
const morvane = createRequire(import.meta.url)(resolve(options.package, "index.js"));
const version = morvane.version;  // compiles and starts the module
const compileSeconds = (performance.now() - compileStart) / 1000;

function native(document, args) {
    const start = performance.now();
    spawnSync(options.morvane, [...args, document, output], { stdio: "ignore" });
    return (performance.now() - start) / 1000;
}

function wasm(document, args) {
    const start = performance.now();
    const bytes = readFileSync(document);
    const result = morvane.convert(bytes, { args, location: document, outputName: output });
    if (result.ok) writeFileSync(output, result.bytes);
    return (performance.now() - start) / 1000;
}

const documents = readdirSync(options.corpus, { recursive: true }).filter(name => name.endsWith(".dae"))
    .map(name => resolve(options.corpus, name)).sort();
const megabytes = documents.reduce((sum, file) => sum + statSync(file).size, 0) / 1048576;
let nativeCorpus = 0, wasmCorpus = 0;
for (const document of documents) {
    nativeCorpus += native(document, []);
    wasmCorpus += wasm(document, []);
}

const fieldArgs = ["-fs", "-l"];
const nativeField = [], wasmField = [];
for (let round = 0; round < rounds; round++) {
    nativeField.push(native(options.field, fieldArgs));
    wasmField.push(wasm(options.field, fieldArgs));
}
rmSync(work, { recursive: true, force: true });

const best = list => Math.min(...list);
const median = list => [...list].sort((a, b) => a - b)[Math.floor(list.length / 2)];
const fixed = value => value.toFixed(2);
const ratio = (a, b) => (a / b).toFixed(2);
const wasmBytes = statSync(resolve(options.package, "morvane.wasm")).size;
const glueBytes = statSync(resolve(options.package, "morvane.js")).size;
const field = statSync(options.field).size / 1048576;

console.log(`module: morvane.wasm ${wasmBytes} bytes (${(wasmBytes / 1048576).toFixed(2)} MiB), ` +
            `glue morvane.js ${glueBytes} bytes; compiled and started in Node in ${fixed(compileSeconds)} s; version ${version}`);
console.log();
console.log("| input | native s | wasm in Node s | Node / native |");
console.log("|---|---:|---:|---:|");
console.log(`| corpus, ${documents.length} documents, ${megabytes.toFixed(1)} MB, classic (sum) | ${fixed(nativeCorpus)} | ${fixed(wasmCorpus)} | ${ratio(wasmCorpus, nativeCorpus)} |`);
console.log(`| height field, 2,000,000 triangles, ${field.toFixed(1)} MB, \`-fs -l\`: best | ${fixed(best(nativeField))} | ${fixed(best(wasmField))} | ${ratio(best(wasmField), best(nativeField))} |`);
console.log(`| the same: median of ${rounds} | ${fixed(median(nativeField))} | ${fixed(median(wasmField))} | ${ratio(median(wasmField), median(nativeField))} |`);
console.log();
console.log(`native rounds: ${nativeField.map(fixed).join(" ")}; wasm rounds: ${wasmField.map(fixed).join(" ")}`);
