// Drops files onto the converting viewer page in headless Chromium, as a
// user drops them from a file manager, and checks what the page shows:
// the document is converted in the page's worker, loads in X_ITE, every
// texture loads from the dropped files, and the texture's colour is on the
// canvas (--red: the least share of clearly red pixels, 0.01 by default for
// the red and white test images; 0 for a document with images of its own). bench/drop-check starts the page's server and runs this.
//
//   node bench/render/drop.mjs --base URL --out DIR [--browser PATH] [--size WxH] [--timeout S] [--red SHARE] CASE...
//
// A CASE is MODE:NAME:FILE[,FILE...]: MODE "faithful" or "classic" (the
// page's switch), NAME for messages and the PNG written to DIR/NAME.png, and
// the files dropped (their paths are their base names). Checks, per case:
// the page's result is an output; it loads; it has at least one
// ImageTexture and each one is complete; at least 1% of the canvas is
// clearly red, lit or not (the test images are red and white checkers); the
// page asks nothing of any machine but 127.0.0.1 (and the browser could
// not reach one: it resolves no other host name); when the conversion gave
// images, the page offers a zip file (kept as DIR/NAME.zip) that Python's
// zip reader reads whole, holding the .x3d download's bytes and each image
// under the name the output gives it. A dropped .kmz or .zae is converted
// faithfully whatever MODE says, and gives its images. Exit status 1 when a
// check fails.
import { createRequire } from "node:module";
import { isLocal, withTimeout as withDeadline } from "./common.mjs";
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { basename, join } from "node:path";

const require = createRequire(new URL("../../viewer/package.json", import.meta.url));
const puppeteer = require("puppeteer-core");

const options = { browser: "/usr/bin/chromium-headless-shell", size: "640x480", timeout: "120", red: "0.01" };
const cases = [];
const argv = process.argv.slice(2);
while (argv.length) {
    const arg = argv.shift();
    if (arg.startsWith("--") && argv.length) options[arg.slice(2)] = argv.shift();
    else {
        const [mode, name, list] = arg.split(":");
        cases.push({ mode, name, files: list.split(",") });
    }
}
if (!options.base || !options.out || cases.length === 0 || cases.some(c => !["faithful", "classic"].includes(c.mode))) {
    console.error("usage: drop.mjs --base URL --out DIR [--browser PATH] [--size WxH] [--timeout S] [--red SHARE] MODE:NAME:FILE[,FILE...]...");
    process.exit(2);
}
const [width, height] = options.size.split("x").map(Number);
const timeout = Number(options.timeout) * 1000;
const leastRed = Number(options.red);

const withTimeout = (promise, what) => withDeadline(promise, what, timeout);

// In the page: builds the dropped files and fires the drop on the page.
function drop(files, faithful) {
    document.getElementById("faithful").checked = faithful;
    const transfer = new DataTransfer();
    for (const { name, base64 } of files) {
        const bytes = Uint8Array.from(atob(base64), c => c.charCodeAt(0));
        transfer.items.add(new File([bytes], name));
    }
    document.dispatchEvent(new DragEvent("drop", { dataTransfer: transfer, bubbles: true, cancelable: true }));
}

// In the page, once the scene has loaded: frames it, renders, and says how
// its textures loaded and what share of the canvas is clearly red.
async function look() {
    const element = document.getElementById("view");
    const browser = X3D.getBrowser(element);
    const C = X3D.X3DConstants;
    const states = { [C.NOT_STARTED_STATE]: "not started", [C.IN_PROGRESS_STATE]: "in progress",
                     [C.COMPLETE_STATE]: "complete", [C.FAILED_STATE]: "failed" };
    const textures = () => window.viewer.nodes().filter(node => node.getNodeTypeName() === "ImageTexture")
        .map(node => ({ url: Array.from(node.url), state: states[node.getValue().checkLoadState()] ?? "unknown" }));
    // Images load after the scene: wait until none is in progress.
    for (let i = 0; i < 200 && textures().some(t => t.state === "in progress" || t.state === "not started"); i++)
        await new Promise(resolve => setTimeout(resolve, 50));
    browser.viewAll(0);
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
    const data = context.getImageData(0, 0, image.width, image.height).data;
    let red = 0;
    for (let i = 0; i < data.length; i += 4) if (data[i] > 120 && data[i] > data[i + 1] + 30 && data[i] > data[i + 2] + 30) red++;
    return { textures: textures(), redShare: red / (data.length / 4), result: window.viewer.lastResult,
             status: document.getElementById("status").textContent,
             diagnostics: Array.from(document.querySelectorAll("#diagnostics li"), li => li.textContent),
             downloads: Array.from(document.querySelectorAll("#downloads a"), a => a.download) };
}

// In the page: the bytes of the download named `name`, in base64.
async function download(name) {
    const link = Array.from(document.querySelectorAll("#downloads a")).find(a => a.download === name);
    const bytes = new Uint8Array(await (await fetch(link.href)).arrayBuffer());
    let text = "";
    for (let i = 0; i < bytes.length; i += 0x8000) text += String.fromCharCode(...bytes.subarray(i, i + 0x8000));
    return btoa(text);
}

// What Python's zipfile reads of a zip file: its first bad entry (null when
// every CRC holds) and each entry's name and bytes in base64.
function readZip(bytes) {
    const script = `
import base64, io, json, sys, zipfile
archive = zipfile.ZipFile(io.BytesIO(sys.stdin.buffer.read()))
print(json.dumps({"bad": archive.testzip(), "entries": [
    [i.filename, base64.b64encode(archive.read(i)).decode()] for i in archive.infolist()]}))
`;
    return JSON.parse(execFileSync("python3", ["-c", script], { input: bytes }).toString());
}

// The problems of the zip download against the .x3d download and the
// images the conversion gave.
async function checkZip(page, seen, name) {
    const x3dName = seen.downloads.find(download => download.endsWith(".x3d"));
    const zipName = seen.downloads.find(download => download.endsWith(".zip"));
    if (!zipName) return ["no .zip offered for the images"];
    const zip = Buffer.from(await page.evaluate(download, zipName), "base64");
    writeFileSync(join(options.out, `${name}.zip`), zip);
    const read = readZip(zip);
    const problems = [];
    if (read.bad !== null) problems.push(`${zipName}: ${read.bad} does not match its CRC`);
    const names = read.entries.map(([entry]) => entry);
    const expected = [x3dName, ...seen.result.images];
    if (names.join("\n") !== expected.join("\n"))
        problems.push(`${zipName} holds ${names.join(", ")}, not ${expected.join(", ")}`);
    const x3d = await page.evaluate(download, x3dName);
    if (read.entries[0]?.[1] !== x3d) problems.push(`${zipName}: its ${x3dName} is not the one offered alone`);
    return problems;
}

const profile = mkdtempSync(join(tmpdir(), "drop-check-chromium-"));
let browser;
let failures = 0;
try {
    browser = await puppeteer.launch({
        executablePath: options.browser,
        headless: "shell",
        args: ["--no-sandbox", "--no-first-run", "--disable-background-networking", "--disable-component-update",
               "--disable-sync", "--disable-quic", "--use-angle=swiftshader", "--enable-unsafe-swiftshader",
               "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1", `--user-data-dir=${profile}`],
    });
    for (const test of cases) {
        const problems = [];
        const outside = [];
        const errors = [];
        const page = await browser.newPage();
        try {
            await page.setViewport({ width, height });
            // Not intercepted: requests of the page's worker would wait for
            // ever. The browser resolves no host name but 127.0.0.1 instead.
            page.on("request", request => {
                if (!isLocal(request.url())) outside.push(request.url());
            });
            page.on("pageerror", error => errors.push(String(error.message ?? error)));
            page.on("console", message => { if (message.type() === "error") errors.push(`console: ${message.text()}`); });
            await withTimeout(page.goto(options.base), "page");
            await withTimeout(page.evaluate(() => window.viewer.done), "start");
            const files = test.files.map(file => ({ name: basename(file), base64: readFileSync(file).toString("base64") }));
            await page.evaluate(drop, files, test.mode === "faithful");
            // The drop handler replaces the promise once it has read the files.
            await page.waitForFunction(() => /^(Loaded|Could not|Nothing)|gave no output/.test(
                document.getElementById("status").textContent), { timeout });
            const outcome = await withTimeout(page.evaluate(() => window.viewer.done), "conversion and load");
            if (!outcome.loaded) problems.push(`did not load: ${outcome.error}`);
            const seen = await withTimeout(page.evaluate(look), "render");
            const shot = await page.screenshot({ type: "png" });
            writeFileSync(join(options.out, `${test.name}.png`), shot);
            if (!seen.result?.ok) problems.push("no output");
            if (seen.textures.length === 0) problems.push("no ImageTexture in the scene");
            for (const texture of seen.textures)
                if (texture.state !== "complete") problems.push(`texture ${texture.url.join(" ")}: ${texture.state}`);
            if (seen.redShare < leastRed) problems.push(`the image's red covers ${(seen.redShare * 100).toFixed(2)}% of the canvas`);
            if (!seen.downloads.some(name => name.endsWith(".x3d"))) problems.push("no .x3d offered for download");
            if (seen.result?.images?.length) problems.push(...await withTimeout(checkZip(page, seen, test.name), "zip"));
            if (test.files.some(file => /\.(kmz|zae)$/i.test(file))) {
                if (!seen.result?.archive || !seen.result?.faithful) problems.push("the archive was not converted faithfully");
                if (!seen.result?.images?.length) problems.push("the archive gave no images");
            }
            for (const url of outside) problems.push(`asked away from 127.0.0.1: ${url}`);
            for (const error of errors) problems.push(`page error: ${error}`);
            console.log(`${problems.length ? "FAILED" : "ok"} ${test.name} (${test.mode}): ${seen.status}; ` +
                        `textures ${seen.textures.map(t => t.state).join(", ") || "none"}; ` +
                        `red ${(seen.redShare * 100).toFixed(1)}%; downloads ${seen.downloads.join(", ")}` +
                        (seen.diagnostics.length ? `; diagnostics: ${seen.diagnostics.join(" | ")}` : ""));
        } catch (error) {
            problems.push(String(error.message ?? error));
            for (const error of errors) problems.push(`page error: ${error}`);
            for (const url of outside) problems.push(`asked away from 127.0.0.1: ${url}`);
            const status = await page.evaluate(() => document.getElementById("status").textContent).catch(() => "");
            problems.push(`the page says: ${status}`);
        } finally {
            await page.close().catch(() => {});
        }
        for (const problem of problems) console.log(`  ${test.name}: ${problem}`);
        if (problems.length) failures++;
    }
} finally {
    await browser?.close();
    rmSync(profile, { recursive: true, force: true });
}
console.log(`drop-check: ${cases.length - failures} of ${cases.length} drops shown with their images`);
process.exit(failures ? 1 : 0);
