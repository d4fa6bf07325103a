// Times the viewer page's converter in headless Chromium: the page's own
// worker (viewer/convert-worker.js) converts each document it is sent, and
// says how long convert() took. The documents are fetched from the page's
// server first (not timed). bench/wasm-speed starts the server and runs it.
//
//   node bench/wasm/speed-page.mjs --base URL --list FILE [--rounds N] [--browser PATH]
//
// --list: a JSON object { corpus: [URL...], field: URL, fieldArgs: [...] },
// URLs relative to the page. Prints the corpus sum and the height field's
// rounds as JSON.
import { createRequire } from "node:module";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";

const require = createRequire(new URL("../../viewer/package.json", import.meta.url));
const puppeteer = require("puppeteer-core");
const options = { browser: "/usr/bin/chromium-headless-shell", rounds: "3" };
const argv = process.argv.slice(2);
while (argv.length) options[argv.shift().replace(/^--/, "")] = argv.shift();
const list = JSON.parse(readFileSync(options.list, "utf8"));

// In the page: converts each URL's document in the page's own worker, one
// after the other, and gives convert()'s times in milliseconds. One worker
// serves every call, as the page keeps one for every drop.
async function time(urls, args) {
    const worker = (self.convertWorker ??= new Worker("convert-worker.js"));
    const times = [];
    for (const url of urls) {
        const bytes = await (await fetch(url)).arrayBuffer();
        const name = decodeURIComponent(url.split("/").pop());
        const outcome = await new Promise(resolve => {
            worker.onmessage = ({ data }) => { if (data.type === "done" || data.type === "failed") resolve(data); };
            worker.postMessage({ document: bytes, location: name, files: {}, faithful: false, args }, [bytes]);
        });
        if (outcome.type === "failed") throw new Error(`${url}: ${outcome.message}`);
        times.push(outcome.milliseconds);
    }
    return times;
}

const profile = mkdtempSync(join(tmpdir(), "wasm-speed-chromium-"));
let browser;
try {
    browser = await puppeteer.launch({
        executablePath: options.browser,
        headless: "shell",
        args: ["--no-sandbox", "--no-first-run", "--disable-background-networking", "--disable-component-update",
               "--disable-sync", `--user-data-dir=${profile}`],
        protocolTimeout: 0,
    });
    const page = await browser.newPage();
    await page.goto(options.base);
    // One conversion first, so that the module's compilation is not timed.
    await page.evaluate(time, list.corpus.slice(0, 1), []);
    const corpus = await page.evaluate(time, list.corpus, []);
    const field = [];
    for (let round = 0; round < Number(options.rounds); round++)
        field.push(...await page.evaluate(time, [list.field], list.fieldArgs));
    console.log(JSON.stringify({
        browser: await browser.version(),
        corpusSeconds: corpus.reduce((a, b) => a + b, 0) / 1000,
        fieldSeconds: field.map(ms => ms / 1000),
    }));
} finally {
    await browser?.close();
    rmSync(profile, { recursive: true, force: true });
}
