// The page's converter, away from the page's thread: loads the WebAssembly
// module once (the converter/ files that viewer/server.mjs serves), then
// converts each document it is sent.
//
// In:  { document: ArrayBuffer, location: "folder/model.dae",
//        files: { "folder/wood.tga": ArrayBuffer, ... }, faithful: bool,
//        args: [option words] (optional) }
// Out: { type: "progress", marks } now and then, then
//      { type: "done", result, milliseconds } (convert()'s result and how long
//      it took) or { type: "failed", message }.
"use strict";

importScripts("converter/morvane.js", "converter/index.js");

let converter = null;

async function load() {
    if (converter) return converter;
    postMessage({ type: "stage", text: "Loading the converter…" });
    const response = await fetch("converter/morvane.wasm");
    if (!response.ok) throw new Error(`the converter's module is missing (HTTP ${response.status}): run scripts/wasm`);
    const bytes = new Uint8Array(await response.arrayBuffer());
    converter = self.morvane.createConverter(self.createMorvaneModule, bytes);
    return converter;
}

onmessage = async ({ data }) => {
    try {
        const morvane = await load();
        postMessage({ type: "stage", text: `Converting ${data.location}…` });
        let marks = 0, last = 0;
        const files = {};
        for (const [name, bytes] of Object.entries(data.files)) files[name] = new Uint8Array(bytes);
        const began = performance.now();
        const result = morvane.convert(new Uint8Array(data.document), {
            faithful: data.faithful,
            args: data.args ?? [],
            files,
            location: data.location,
            onProgress: () => {
                marks++;
                const now = Date.now();
                if (now - last > 100) {
                    last = now;
                    postMessage({ type: "progress", marks });
                }
            },
        });
        const milliseconds = performance.now() - began;
        const transfer = [result.bytes?.buffer, ...result.images.map(image => image.data.buffer)].filter(Boolean);
        // The bytes only: the page decodes the text itself, and result.x3d
        // is not read here, so it is never decoded in the worker.
        const { ok, status, bytes, diagnostics, images } = result;
        postMessage({ type: "done", result: { ok, status, bytes, diagnostics, images, x3d: null }, marks, milliseconds },
                    transfer);
    } catch (error) {
        postMessage({ type: "failed", message: String(error?.message ?? error) });
    }
};
