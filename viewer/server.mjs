#!/usr/bin/env node
// A tiny static server for the viewer page, on 127.0.0.1 only.
//
//   node viewer/server.mjs [--port N] [DIR]
//   node viewer/server.mjs [--port N] --mounts FILE [--root DIR]...
//
// It serves the page at /, X_ITE from viewer/node_modules/x_ite/dist at
// /x_ite/, the WebAssembly converter from build/wasm/package (scripts/wasm)
// at /converter/, and the files to look at under /files/:
//
// - with DIR (default: the working directory), /files/NAME is DIR/NAME;
// - with --mounts FILE, a JSON object whose keys are folder names under
//   /files/ and whose values are lists of directories, /files/KEY/NAME is
//   NAME taken from the first of KEY's directories that has it. bench/render-check
//   uses this to serve an output as if it lay beside its COLLADA document,
//   where the document's images are. /files/KEY/PATH, for a PATH of several
//   parts, stands for the absolute path /PATH: in the first of KEY's
//   directories it is looked up like a NAME, elsewhere it is served when it
//   lies below one of the --root folders. So an output served by its
//   absolute path finds what it names by a relative URL, as on disk.
//
// --port 0 takes a free port. The first line printed is
// "listening on http://127.0.0.1:PORT/"; then, with DIR, a link to the page
// for each .x3d file directly in DIR. It runs until it is stopped.

import { createServer } from "node:http";
import { createReadStream, readFileSync, readdirSync, realpathSync, statSync } from "node:fs";
import { dirname, extname, join, resolve, sep } from "node:path";
import { fileURLToPath } from "node:url";

const here = dirname(fileURLToPath(import.meta.url));

const types = {
    ".html": "text/html; charset=utf-8",
    ".js": "text/javascript; charset=utf-8",
    ".mjs": "text/javascript; charset=utf-8",
    ".css": "text/css; charset=utf-8",
    ".json": "application/json",
    ".wasm": "application/wasm",
    ".x3d": "model/x3d+xml",
    ".xml": "application/xml",
    ".png": "image/png",
    ".jpg": "image/jpeg",
    ".jpeg": "image/jpeg",
    ".gif": "image/gif",
    ".svg": "image/svg+xml",
    ".webp": "image/webp",
    ".woff2": "font/woff2",
    ".ttf": "font/ttf",
};

function usage() {
    console.error("usage: viewer/serve [--port N] [DIR | --mounts FILE [--root DIR]...]");
    process.exit(2);
}

let port = 8000;
let mounts = null;
let dir = null;
const roots = [];
const args = process.argv.slice(2);
while (args.length) {
    const arg = args.shift();
    if (arg === "--port" && args.length) port = Number(args.shift());
    else if (arg === "--mounts" && args.length) mounts = JSON.parse(readFileSync(args.shift(), "utf8"));
    else if (arg === "--root" && args.length) roots.push(realpathSync(resolve(args.shift())));
    else if (!arg.startsWith("-") && dir === null) dir = arg;
    else usage();
}
if (!Number.isInteger(port) || port < 0 || port > 65535 || (mounts && dir !== null) || (roots.length && !mounts)) usage();
const listed = !mounts;
if (!mounts) mounts = { "": [resolve(dir ?? ".")] };
if (listed && !statSync(mounts[""][0], { throwIfNoEntry: false })?.isDirectory()) {
    console.error(`viewer/serve: ${mounts[""][0]} is not a folder`);
    process.exit(2);
}

// Fixed places: the page's own files and X_ITE's distribution folder.
const pageFiles = new Set(["index.html", "viewer.js", "viewer.css", "convert.js", "convert-worker.js", "zip.js"]);
const xite = join(here, "node_modules", "x_ite", "dist");
// The WebAssembly converter that scripts/wasm builds.
const converter = join(here, "..", "build", "wasm", "package");

// The file a URL path names, or null. Every part must be a plain name, so
// no request reaches outside the served directories.
function locate(path) {
    const parts = path.split("/").slice(1).map(decodeURIComponent);
    if (parts.some(part => part === ".." || part === "." || part.includes("\0") || part.includes(sep))) return null;
    if (parts.length === 1 && parts[0] === "") return join(here, "index.html");
    if (parts.length === 1 && pageFiles.has(parts[0])) return join(here, parts[0]);
    if (parts[0] === "x_ite") return join(xite, ...parts.slice(1));
    if (parts[0] === "converter") return join(converter, ...parts.slice(1));
    if (parts[0] !== "files") return null;
    const rest = parts.slice(1);
    const key = rest.length > 1 && Object.hasOwn(mounts, rest[0]) && rest[0] !== "" ? rest.shift() : "";
    const folders = mounts[key] ?? [];
    if (rest.length > 1 && key !== "") {
        const file = join(sep, ...rest);
        if (folders.length && dirname(file) === resolve(folders[0])) return inFolders(folders, [rest.at(-1)]);
        return isFile(file) && below(realpathSync(file), roots) ? file : null;
    }
    return inFolders(folders, rest);
}

function below(file, folders) {
    return folders.some(folder => file.startsWith(folder.endsWith(sep) ? folder : folder + sep));
}

function inFolders(folders, rest) {
    for (const root of folders) {
        const file = join(root, ...rest);
        if (isFile(file)) return file;
    }
    return null;
}

function isFile(file) {
    try {
        return statSync(file).isFile();
    } catch {
        return false;
    }
}

const server = createServer((request, response) => {
    let file = null;
    try {
        file = locate(new URL(request.url, "http://127.0.0.1").pathname);
    } catch {
        // A malformed escape in the path: not found.
    }
    if (request.method !== "GET" && request.method !== "HEAD") {
        response.writeHead(405, { Allow: "GET, HEAD" }).end();
    } else if (!file || !isFile(file)) {
        response.writeHead(404, { "Content-Type": "text/plain" }).end("not found\n");
    } else {
        response.writeHead(200, {
            "Content-Type": types[extname(file).toLowerCase()] ?? "application/octet-stream",
            "Content-Length": statSync(file).size,
            "Cache-Control": "no-cache",
        });
        if (request.method === "HEAD") response.end();
        else createReadStream(file).pipe(response);
    }
});

server.listen(port, "127.0.0.1", () => {
    const base = `http://127.0.0.1:${server.address().port}/`;
    console.log(`listening on ${base}`);
    if (listed) {
        for (const name of readdirSync(mounts[""][0]).filter(name => name.endsWith(".x3d")).sort())
            console.log(`  ${base}?url=files/${encodeURIComponent(name)}`);
    }
});

for (const signal of ["SIGINT", "SIGTERM"]) {
    process.on(signal, () => {
        server.close(() => process.exit(0));
        server.closeAllConnections();
    });
}
