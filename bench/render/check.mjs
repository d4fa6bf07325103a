// Loads X3D files into the viewer page (viewer/index.html) in headless
// Chromium and records what happened to each; bench/render-check prepares
// the files, starts the page's server and runs this.
//
//   node bench/render/check.mjs --base URL --list FILE --out DIR
//       [--browser PATH] [--size WxH] [--timeout SECONDS]
//
// --list names a JSON array of { name, source, url, png }: a name for
// messages, the file the output came from, its URL relative to --base, and
// the PNG to write under DIR. Writes DIR/render-report.json and prints one
// summary line. Exit status 0 when every file that has a URL loaded and drew
// something, 1 when one did not or when the page asked for anything away
// from 127.0.0.1 (such requests are blocked). A null URL stands for a
// document that gave no output.
//
// Beside the load state, messages, textures and drawn share, each loaded
// file gets "geometry", what X_ITE draws of it (viewer/viewer.js,
// drawnGeometry: counts of triangles, lines, points and shape instances,
// the triangles the faces stand for, the world box of the drawn vertices
// and X_ITE's own scene box), and
// "notFound", the URLs the page asked for and the server did not have.

import { createRequire } from "node:module";
import { isLocal, withTimeout as withDeadline } from "./common.mjs";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";

const require = createRequire(new URL("../../viewer/package.json", import.meta.url));
const puppeteer = require("puppeteer-core");

// A pixel has changed when one of its channels differs by more than this
// (of 255) between the two renders ...
const CHANNEL_TOLERANCE = 2;
// ... and a file has drawn something when more than this share of the
// canvas changed: 0.0005 is 60 pixels of 400 x 300.
const DRAWN_SHARE = 0.0005;

const options = { browser: "/usr/bin/chromium-headless-shell", size: "400x300", timeout: "60" };
const argv = process.argv.slice(2);
while (argv.length) {
    const name = argv.shift().replace(/^--/, "");
    if (!["base", "list", "out", "browser", "size", "timeout"].includes(name) || !argv.length) {
        console.error("usage: check.mjs --base URL --list FILE --out DIR [--browser PATH] [--size WxH] [--timeout S]");
        process.exit(2);
    }
    options[name] = argv.shift();
}
const [width, height] = options.size.split("x").map(Number);
const timeout = Number(options.timeout) * 1000;
const files = JSON.parse(readFileSync(options.list, "utf8"));

// Runs in the page once the file has loaded: frames everything, renders
// once as it is and once with every Shape hidden, and compares the two.
// Returns the first render as a PNG data URL, the changed share, the
// state of every ImageTexture and what the scene draws (the page's
// window.viewer.geometry(): triangle, line and point counts and boxes).
async function measure(tolerance) {
    const element = document.getElementById("view");
    const browser = X3D.getBrowser(element);
    const nodes = window.viewer.nodes();
    const shapes = nodes.filter(node => node.getNodeTypeName() === "Shape");
    const C = X3D.X3DConstants;
    const states = { [C.NOT_STARTED_STATE]: "not started", [C.IN_PROGRESS_STATE]: "in progress",
                     [C.COMPLETE_STATE]: "complete", [C.FAILED_STATE]: "failed" };
    // The node behind the field's proxy has the load state.
    const textures = nodes.filter(node => node.getNodeTypeName() === "ImageTexture")
        .map(node => ({ name: node.getNodeName() || null, url: Array.from(node.url),
                        state: states[node.getValue().checkLoadState()] ?? "unknown" }));

    const pixels = async () => {
        await browser.nextFrame();
        await browser.nextFrame();
        const png = element.toDataURL("image/png");
        const image = new Image();
        image.src = png;
        await image.decode();
        const canvas = document.createElement("canvas");
        canvas.width = image.width;
        canvas.height = image.height;
        const context = canvas.getContext("2d");
        context.drawImage(image, 0, 0);
        return { png, data: context.getImageData(0, 0, image.width, image.height).data };
    };

    browser.viewAll(0);
    const shown = await pixels();
    const geometry = window.viewer.geometry();
    const visible = shapes.map(shape => shape.visible);
    for (const shape of shapes) shape.visible = false;
    const hidden = await pixels();
    shapes.forEach((shape, index) => { shape.visible = visible[index]; });

    let changed = 0;
    const count = shown.data.length / 4;
    for (let i = 0; i < shown.data.length; i += 4) {
        for (let channel = 0; channel < 4; channel++) {
            if (Math.abs(shown.data[i + channel] - hidden.data[i + channel]) > tolerance) {
                changed++;
                break;
            }
        }
    }
    return { png: shown.png, shapes: shapes.length, drawnShare: changed / count, textures, geometry };
}

const withTimeout = (promise, what) => withDeadline(promise, what, timeout);

async function check(browser, file) {
    const result = { name: file.name, source: file.source, url: file.url, loaded: false, error: null,
                     messages: [], textures: [], shapes: 0, drawnShare: 0, drewSomething: false,
                     geometry: null, notFound: [], png: null, outsideRequests: [] };
    const page = await browser.newPage();
    try {
        await page.setViewport({ width, height });
        await page.setRequestInterception(true);
        page.on("request", request => {
            if (isLocal(request.url())) return request.continue();
            result.outsideRequests.push(request.url());
            return request.abort("blockedbyclient");
        });
        page.on("response", response => {
            if (response.status() === 404) result.notFound.push(response.url());
        });
        page.on("console", message => {
            const type = message.type();
            if (type !== "error" && type !== "warn") return;
            const source = message.location()?.url ?? "";
            const from = source.includes("/x_ite/") ? "x_ite"
                       : message.text().startsWith("Failed to load resource") ? "network" : "page";
            result.messages.push({ type: type === "warn" ? "warning" : "error", from, text: message.text() });
        });
        page.on("pageerror", error => result.messages.push({ type: "error", from: "page", text: String(error.message ?? error) }));

        await withTimeout(page.goto(`${options.base}?url=${encodeURIComponent(file.url)}`), "page");
        // The page has a status line above the canvas: grow the window by its
        // height so that the canvas itself has the size asked for.
        const statusHeight = await page.evaluate(() => document.getElementById("status").offsetHeight);
        await page.setViewport({ width, height: height + statusHeight });
        const outcome = await withTimeout(page.evaluate(() => window.viewer.done), "load");
        result.loaded = outcome.loaded;
        result.error = outcome.error;
        if (result.loaded) {
            const measured = await withTimeout(page.evaluate(measure, CHANNEL_TOLERANCE), "render");
            result.shapes = measured.shapes;
            result.textures = measured.textures;
            result.drawnShare = Number(measured.drawnShare.toFixed(5));
            result.drewSomething = measured.drawnShare > DRAWN_SHARE;
            result.geometry = measured.geometry;
            result.png = file.png;
            writeFileSync(join(options.out, file.png), Buffer.from(measured.png.split(",")[1], "base64"));
        }
    } catch (error) {
        result.error ??= String(error.message ?? error);
    } finally {
        await page.close().catch(() => {});
    }
    return result;
}

// Folds a message into its kind: URLs, quoted texts (but field names) and
// numbers become placeholders, so that the same complaint about different
// nodes counts as one kind.
function kind(message) {
    return `${message.type}: ` + message.text.split("\n")[0]
        .replace(/https?:\/\/[^\s'"]+/g, "URL")
        .replace(/([Ff]ield )["']([A-Za-z_]+)["']/g, "$1<$2>")
        .replace(/"[^"]*"|'[^']*'/g, "\"…\"")
        .replace(/([Ff]ield )<([A-Za-z_]+)>/g, "$1\"$2\"")
        .replace(/\b\d+(\.\d+)?\b/g, "N")
        .slice(0, 200);
}

const profile = mkdtempSync(join(tmpdir(), "render-check-chromium-"));
let browser;
let version;
const results = [];
try {
    browser = await puppeteer.launch({
        executablePath: options.browser,
        headless: "shell",
        args: ["--no-sandbox", "--no-first-run", "--disable-background-networking", "--disable-component-update",
               "--disable-sync", "--disable-quic", "--use-angle=swiftshader", "--enable-unsafe-swiftshader",
               `--user-data-dir=${profile}`],
    });
    version = await browser.version();
    for (const file of files) {
        results.push(file.url ? await check(browser, file)
                              : { name: file.name, source: file.source, url: null, loaded: false, error: "no output" });
    }
} finally {
    await browser?.close();
    rmSync(profile, { recursive: true, force: true });
}

const kinds = {};
for (const result of results) {
    const seen = new Set();
    for (const message of result.messages ?? []) {
        const key = kind(message);
        kinds[key] ??= { messages: 0, files: 0 };
        kinds[key].messages++;
        if (!seen.has(key)) kinds[key].files++;
        seen.add(key);
    }
}
const count = test => results.filter(test).length;
const textures = results.flatMap(result => result.textures ?? []);
const summary = {
    files: results.length,
    noOutput: count(r => r.url === null),
    loaded: count(r => r.loaded),
    loadedWithWarnings: count(r => r.loaded && r.messages.length > 0),
    drewSomething: count(r => r.drewSomething),
    failed: count(r => r.url !== null && !r.loaded),
    texturesComplete: textures.filter(t => t.state === "complete").length,
    texturesFailed: textures.filter(t => t.state === "failed").length,
    outsideRequests: results.reduce((n, r) => n + (r.outsideRequests?.length ?? 0), 0),
};
const report = {
    browser: version,
    drawnThreshold: { channelTolerance: CHANNEL_TOLERANCE, share: DRAWN_SHARE, size: options.size },
    summary,
    kinds: Object.fromEntries(Object.entries(kinds).sort((a, b) => b[1].files - a[1].files || a[0].localeCompare(b[0]))),
    files: results,
};
writeFileSync(join(options.out, "render-report.json"), JSON.stringify(report, null, 1) + "\n");

for (const result of results) {
    if (result.url === null) console.log(`no output: ${result.name}`);
    else if (!result.loaded) console.log(`failed to load: ${result.name}: ${result.error}`);
    else if (!result.drewSomething) console.log(`drew nothing: ${result.name}`);
    for (const url of result.outsideRequests ?? []) console.log(`request away from 127.0.0.1: ${result.name}: ${url}`);
}
console.log(`render-check: ${summary.files} files (${summary.noOutput} without output), ${summary.loaded} loaded (${summary.loadedWithWarnings} with warnings), ` +
            `${summary.drewSomething} drew something, ${summary.failed} failed to load; textures: ` +
            `${summary.texturesComplete} loaded, ${summary.texturesFailed} failed; ` +
            `${summary.outsideRequests} requests away from 127.0.0.1`);
process.exit(summary.failed || summary.drewSomething < summary.loaded || summary.outsideRequests ? 1 : 0);
