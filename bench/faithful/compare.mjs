// Compares what a browser draws of each output with what an independent
// COLLADA reader makes of its document; bench/faithful-check runs it after
// the reference (reference.py), the browser pass (bench/render-check) and
// Castle's reader.
//
//   node bench/faithful/compare.mjs --reference FILE --render DIR --out FILE
//       [--castle FILE] [--strict]
//
// --reference  the JSON of reference.py
// --render     the folder of bench/render-check (render-report.json, files.tsv,
//              x3d/N/morvane.err)
// --castle     a JSON object { SOURCE: { code, messages } } of tovrmlx3d runs
// --out        the JSON report to write
//
// A document matches when the triangle counts are equal and every
// coordinate of the two boxes differs by at most TOLERANCE times the
// diagonal of the reference's box (both boxes absent matches too). The
// browser's count is that of the triangles X_ITE draws or, when that one
// differs, that of the triangles its faces stand for (n - 2 a face of n
// corners): X_ITE's tessellator leaves out triangles of no area, which
// pycollada's fans keep; such a match is counted "by their faces". Prints a
// line per document that does not match, per output with X_ITE messages
// beyond missing images, per output with triangles that drew nothing and
// per output Castle's reader warned about, then a summary. Exit status 1
// when a document whose reference has triangles does not match, gave no
// output or failed to load; with --strict also for the other findings.

import { existsSync, readFileSync, writeFileSync } from "node:fs";
import { pathToFileURL } from "node:url";

// Share of the reference box's diagonal that a coordinate may differ by.
export const TOLERANCE = 0.001;

// Boxes and counts of one document: "matched", or the reason they do not.
// The triangles drawn count, or else those that the faces stand for: X_ITE
// does not draw the triangles of no area that its tessellator leaves out.
export function compare(reference, drawn) {
    if (reference.triangles !== drawn.triangles && reference.triangles !== drawn.faceTriangles)
        return "triangle counts differ";
    const [a, b] = [reference.box, drawn.box];
    if (!a && !b) return "matched";
    if (!a || !b) return a ? "the browser draws no point" : "the reference has no point";
    const diagonal = Math.hypot(...a.max.map((v, i) => v - a.min[i]));
    // A box of one point has no diagonal: then its size decides.
    const allowed = TOLERANCE * (diagonal || Math.max(1, ...a.max.map(Math.abs)));
    for (const side of ["min", "max"])
        for (let i = 0; i < 3; i++)
            if (!(Math.abs(a[side][i] - b[side][i]) <= allowed)) return "boxes differ";
    return "matched";
}

// Chromium's note on the check's own read-back of the canvas, not X_ITE's.
const readBack = /^\[\.WebGL-[^\]]*\]GL Driver Message .*GPU stall due to ReadPixels/;
const imageError = /^Error loading image '(.*?):?' error$/;

// The file a URL of the page's server stands for, when it is an absolute
// path under /files/N/ (render-check serves outputs so).
function pathOf(url) {
    const parts = new URL(url).pathname.split("/").slice(3).map(decodeURIComponent);
    return parts.length > 1 ? "/" + parts.join("/") : null;
}

// Splits a file's console messages: those that stand for an image that the
// server did not have, and the rest.
function sortMessages(file) {
    const notFound = new Set(file.notFound ?? []);
    const missing = [], other = [];
    let unmatched404 = notFound.size;
    for (const message of file.messages ?? []) {
        if (readBack.test(message.text)) continue;
        const image = imageError.exec(message.text);
        if (message.from === "x_ite" && image && notFound.has(image[1])) {
            missing.push(message);
        } else if (message.from === "network" && message.text.includes("status of 404") && unmatched404 > 0) {
            unmatched404--;
            missing.push(message);
        } else {
            other.push(message);
        }
    }
    return { missing, other };
}

function box(b) {
    if (!b) return "none";
    const f = v => Number(v.toPrecision(6));
    return `[${b.min.map(f).join(" ")}]..[${b.max.map(f).join(" ")}]`;
}

function main(argv) {
    const options = { strict: false };
    while (argv.length) {
        const name = argv.shift().replace(/^--/, "");
        if (name === "strict") { options.strict = true; continue; }
        if (!["reference", "render", "castle", "out"].includes(name) || !argv.length) {
            console.error("usage: compare.mjs --reference FILE --render DIR --out FILE [--castle FILE] [--strict]");
            process.exit(2);
        }
        options[name] = argv.shift();
    }
    const reference = JSON.parse(readFileSync(options.reference, "utf8"));
    const render = JSON.parse(readFileSync(`${options.render}/render-report.json`, "utf8"));
    const castle = options.castle ? JSON.parse(readFileSync(options.castle, "utf8")) : null;
    const byIndex = readFileSync(`${options.render}/files.tsv`, "utf8").split("\n").filter(Boolean)
        .map(line => line.split("\t"));
    const expected = new Map(reference.documents.map(d => [d.source, d]));

    const documents = [];
    const lines = [];
    let failed = 0, strictFailed = 0;
    render.files.forEach((file, position) => {
        const [index, source, output] = byIndex[position];
        const ref = expected.get(source) ?? { status: "unavailable", note: "not given to the reader" };
        const errFile = `${options.render}/x3d/${index}/morvane.err`;
        const converter = existsSync(errFile) ? readFileSync(errFile, "utf8").split("\n").filter(Boolean) : [];
        const entry = { name: file.name, source, output: output || null, converter,
                        reference: ref.status === "ok"
                            ? { triangles: ref.triangles, lines: ref.lines, box: ref.box, upAxis: ref.upAxis,
                                unitMeter: ref.unitMeter, controllers: ref.controllers }
                            : { note: ref.note } };
        const triangles = ref.status === "ok" && ref.triangles > 0;
        if (file.url === null) {
            entry.result = "no output";
            if (triangles) {
                failed++;
                lines.push(`no output: ${file.name}: the reference has ${ref.triangles} triangles` +
                           (converter.length ? ` (${converter.at(-1)})` : ""));
            }
        } else if (!file.loaded) {
            entry.result = "failed to load";
            entry.error = file.error;
            if (triangles) failed++;
            lines.push(`failed to load: ${file.name}: ${file.error}`);
        } else {
            const drawn = file.geometry;
            entry.browser = drawn;
            if (ref.status !== "ok") {
                entry.result = "reference unavailable";
            } else {
                entry.result = compare(ref, drawn);
                if (entry.result === "matched" && drawn.triangles !== ref.triangles)
                    entry.leftOutByTessellation = ref.triangles - drawn.triangles;
                if (entry.result !== "matched") {
                    if (triangles) failed++;
                    lines.push(`${entry.result}: ${file.name}: reference ${ref.triangles} triangles ${box(ref.box)}, ` +
                               `browser ${drawn.triangles} triangles (faces: ${drawn.faceTriangles}) ${box(drawn.box)}`);
                }
            }
            const { missing, other } = sortMessages(file);
            entry.missingImages = (file.notFound ?? []).map(url => ({ url, path: pathOf(url) }))
                .map(image => ({ ...image, existsOnDisk: image.path !== null && existsSync(image.path) }));
            entry.messages = other;
            entry.drewSomething = file.drewSomething;
            if (other.length) {
                strictFailed++;
                lines.push(`X_ITE messages: ${file.name}: ${other.length}: ${other[0].text.split("\n")[0].slice(0, 160)}`);
            }
            for (const image of entry.missingImages.filter(image => image.existsOnDisk)) {
                strictFailed++;
                lines.push(`image outside the served folders: ${file.name}: ${image.path} (add --root)`);
            }
            if (drawn.triangles > 0 && !file.drewSomething) {
                strictFailed++;
                lines.push(`drew nothing: ${file.name}: ${drawn.triangles} triangles`);
            }
        }
        if (castle && output) {
            entry.castle = castle[source] ?? null;
            if (entry.castle && (entry.castle.code !== 0 || entry.castle.messages.length)) {
                strictFailed++;
                lines.push(`tovrmlx3d: ${file.name}: ` + (entry.castle.code !== 0 ? `exit ${entry.castle.code}; ` : "") +
                           `${entry.castle.messages.length} messages: ${entry.castle.messages[0] ?? ""}`.slice(0, 220));
            }
        }
        documents.push(entry);
    });

    const count = test => documents.filter(test).length;
    const summary = {
        documents: documents.length,
        matched: count(d => d.result === "matched"),
        matchedByFaces: count(d => d.leftOutByTessellation !== undefined),
        mismatched: count(d => ["triangle counts differ", "boxes differ", "the browser draws no point",
                                "the reference has no point"].includes(d.result)),
        noOutput: count(d => d.result === "no output"),
        failedToLoad: count(d => d.result === "failed to load"),
        referenceUnavailable: count(d => d.result === "reference unavailable"),
        withXiteMessages: count(d => d.messages?.length > 0),
        withTrianglesDrewNothing: count(d => d.browser?.triangles > 0 && !d.drewSomething),
        missingImages: documents.reduce((n, d) => n + (d.missingImages?.filter(i => !i.existsOnDisk).length ?? 0), 0),
        castleRead: castle ? count(d => d.castle) : null,
        castleClean: castle ? count(d => d.castle && d.castle.code === 0 && d.castle.messages.length === 0) : null,
    };
    writeFileSync(options.out, JSON.stringify({ tolerance: TOLERANCE, reader: reference.reader,
                                                browser: render.browser, summary, documents }, null, 1) + "\n");
    for (const line of lines) console.log(line);
    for (const d of documents.filter(d => d.result === "reference unavailable"))
        console.log(`reference unavailable: ${d.name}: ${d.reference.note.slice(0, 160)}`);
    console.log(`faithful-check: ${summary.documents} documents: ${summary.matched} matched ` +
                `(${summary.matchedByFaces} by their faces), ${summary.mismatched} mismatched, ` +
                `${summary.noOutput} no output, ${summary.failedToLoad} failed to load, ` +
                `${summary.referenceUnavailable} reference unavailable; ` +
                `${summary.withXiteMessages} outputs with X_ITE messages beyond missing images, ` +
                `${summary.withTrianglesDrewNothing} with triangles that drew nothing` +
                (castle ? `; tovrmlx3d read ${summary.castleClean} of ${summary.castleRead} outputs without a warning` : ""));
    return failed || (options.strict && strictFailed) ? 1 : 0;
}

if (import.meta.url === pathToFileURL(process.argv[1]).href) process.exit(main(process.argv.slice(2)));
