// Converts COLLADA documents (and .kmz and .zae archives) with the native
// program and with the WebAssembly package, classic and faithful, and
// compares the outputs byte for byte, with the images a faithful
// conversion gives (made PNGs, an archive's images in their folder).
//
//   node bench/wasm/same-bytes.mjs --morvane PATH --package DIR [--every N] [--options "-l ..."] FILE_OR_FOLDER...
//
// --every N takes one document in N (the first, then every Nth in path
// order), for a quick check. Prints a line per difference and a summary;
// exit status 1 when any document differs.
import { execFileSync, spawnSync } from "node:child_process";
import { createRequire } from "node:module";
import { mkdtempSync, mkdirSync, readFileSync, readdirSync, rmSync, statSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, relative, resolve } from "node:path";

const options = { every: "1", options: "" };
const inputs = [];
const argv = process.argv.slice(2);
while (argv.length) {
    const arg = argv.shift();
    if (arg.startsWith("--") && argv.length) options[arg.slice(2)] = argv.shift();
    else inputs.push(arg);
}
if (!options.morvane || !options.package || inputs.length === 0) {
    console.error("usage: same-bytes.mjs --morvane PATH --package DIR [--every N] [--options WORDS] FILE_OR_FOLDER...");
    process.exit(2);
}
const { convert } = createRequire(import.meta.url)(resolve(options.package, "index.js"));

function documents(path) {
    if (!statSync(path).isDirectory()) return [resolve(path)];
    return readdirSync(path, { recursive: true })
        .filter(name => name.endsWith(".dae") || /\.(kmz|zae)$/i.test(name))
        .map(name => resolve(path, name));
}

// Every file below `folder` but `skip`, by relative path.
function filesBelow(folder, skip) {
    const found = new Map();
    for (const name of readdirSync(folder, { recursive: true })) {
        const path = join(folder, name);
        if (path !== skip && statSync(path).isFile()) found.set(name, readFileSync(path));
    }
    return found;
}

const every = Math.max(1, Number(options.every));
const all = inputs.flatMap(documents).sort();
const chosen = all.filter((_, index) => index % every === 0);
const extra = options.options.split(" ").filter(Boolean);
const work = mkdtempSync(join(tmpdir(), "morvane-same-bytes-"));
let same = 0, different = 0, index = 0;
try {
    for (const document of chosen) {
        for (const mode of [[], ["--faithful"]]) {
            const args = [...extra, ...mode];
            const folder = join(work, String(++index));
            mkdirSync(folder);
            const output = join(folder, document.split("/").pop().replace(/\.[^.]*$/, "") + ".x3d");
            const native = spawnSync(options.morvane, [...args, document, output], { stdio: ["ignore", "ignore", "pipe"] });
            const nativeOutput = statSync(output, { throwIfNoEntry: false }) ? readFileSync(output) : null;
            const nativeImages = filesBelow(folder, output);

            const result = convert(readFileSync(document), { args, location: document, outputName: output });
            const problems = [];
            if (!nativeOutput !== !result.ok) {
                problems.push(`native ${nativeOutput ? "wrote an output" : "gave none"}, wasm ${result.ok ? "wrote one" : "gave none"}`);
            } else if (nativeOutput && Buffer.compare(nativeOutput, Buffer.from(result.bytes)) !== 0) {
                problems.push(`outputs differ (${nativeOutput.length} and ${result.bytes.length} bytes)`);
            }
            const wasmImages = new Map(result.images.map(image => [image.name, image.data]));
            for (const [name, bytes] of nativeImages) {
                if (!wasmImages.has(name)) problems.push(`image ${name} only from native`);
                else if (Buffer.compare(bytes, Buffer.from(wasmImages.get(name))) !== 0) problems.push(`image ${name} differs`);
            }
            for (const name of wasmImages.keys()) if (!nativeImages.has(name)) problems.push(`image ${name} only from wasm`);
            if (problems.length) {
                different++;
                console.log(`DIFFERENT ${relative(process.cwd(), document)} ${args.join(" ")}: ${problems.join("; ")}`);
            } else {
                same++;
            }
            rmSync(folder, { recursive: true, force: true });
        }
    }
} finally {
    rmSync(work, { recursive: true, force: true });
}
console.log(`same bytes: ${chosen.length} of ${all.length} documents, classic and faithful` +
            `${extra.length ? ` (${extra.join(" ")})` : ""}: ${same} identical, ${different} different`);
process.exit(different ? 1 : 0);
