// morvane in WebAssembly: COLLADA 1.4 documents, and the .kmz and .zae
// archives that hold one, converted to X3D scenes on the caller's machine.
// In Node, `require("morvane")` gives convert() and version; in a page or
// a worker, after morvane.js and this file are loaded (importScripts or
// <script>), self.morvane.createConverter(createMorvaneModule, wasmBytes)
// gives an object with the same two.
//
// The module is compiled synchronously from its bytes, once, on the first
// conversion; a conversion then runs to its end before convert() returns.
// The module keeps one conversion's results at a time, so a converter is
// used by one thread, one call after the other.
"use strict";

(function (root, isNode) {
    const statusNames = ["ok", "refused", "bad-option", "invalid-argument", "out-of-memory"];

    // The document's (or the archive's) bytes, from any of the forms a
    // caller may hold them in.
    function asBytes(value) {
        if (value instanceof Uint8Array) return value;
        if (value instanceof ArrayBuffer) return new Uint8Array(value);
        if (ArrayBuffer.isView(value)) return new Uint8Array(value.buffer, value.byteOffset, value.byteLength);
        if (typeof value === "string") return new TextEncoder().encode(value);
        throw new TypeError("convert: the document must be a Uint8Array, an ArrayBuffer or a string");
    }

    function baseName(path) {
        return path.slice(path.lastIndexOf("/") + 1);
    }

    // "model.dae" -> "model.x3d", as the program names an output by default.
    function outputNameFor(path) {
        const name = baseName(path);
        const dot = name.lastIndexOf(".");
        return path.slice(0, path.length - name.length) + (dot > 0 ? name.slice(0, dot) : name) + ".x3d";
    }

    // A relative path within a folder of given files: plain parts only.
    function safeRelative(name) {
        const parts = String(name).replace(/\\/g, "/").split("/").filter(part => part !== "" && part !== ".");
        if (parts.length === 0 || parts.some(part => part === ".." || part.includes("\0")))
            throw new TypeError(`convert: not a relative file name: ${JSON.stringify(name)}`);
        return parts.join("/");
    }

    function createConverter(createModule, wasmBinary, host) {
        let Module = null;
        let folders = 0;

        function start() {
            if (Module) return Module;
            const module = { wasmBinary, print: () => {}, printErr: () => {} };
            // Compiled synchronously: the object is ready when the call returns.
            createModule(module);
            if (typeof module._mw_convert !== "function") throw new Error("morvane: the WebAssembly module did not start");
            Module = module;
            if (host) {
                // This machine's files, under /host, for documents named by their path.
                Module.FS.mkdir("/host");
                Module.FS.mount(Module.FS.filesystems.NODEFS, { root: "/" }, "/host");
            }
            return Module;
        }

        function text(pointer) {
            return Module.UTF8ToString(pointer);
        }

        function copy(pointer, size) {
            return Module.HEAPU8.slice(pointer, pointer + size);
        }

        function writeString(value, pointers) {
            const size = Module.lengthBytesUTF8(value) + 1;
            const pointer = Module._malloc(size);
            pointers.push(pointer);
            Module.stringToUTF8(value, pointer, size);
            return pointer;
        }

        // Puts `files` ({ "relative/name": bytes }) into a new folder of the
        // module's memory file system; returns the folder.
        function placeFiles(files) {
            const folder = `/files-${++folders}`;
            Module.FS.mkdir(folder);
            for (const [name, bytes] of Object.entries(files)) {
                const path = `${folder}/${safeRelative(name)}`;
                let made = folder;
                for (const part of path.slice(folder.length + 1).split("/").slice(0, -1)) {
                    made += `/${part}`;
                    if (!Module.FS.analyzePath(made).exists) Module.FS.mkdir(made);
                }
                Module.FS.writeFile(path, asBytes(bytes));
            }
            return folder;
        }

        function removeTree(path) {
            for (const name of Module.FS.readdir(path)) {
                if (name === "." || name === "..") continue;
                const child = `${path}/${name}`;
                if (Module.FS.isDir(Module.FS.stat(child).mode)) removeTree(child);
                else Module.FS.unlink(child);
            }
            Module.FS.rmdir(path);
        }

        // Where the document is and the name of its output, in the module's
        // file system, and the folder of given files to remove afterwards.
        function places(options) {
            if (options.files) {
                const folder = placeFiles(options.files);
                const location = `${folder}/${safeRelative(options.location ?? "document.dae")}`;
                const output = options.outputName !== undefined ? `${folder}/${safeRelative(options.outputName)}`
                                                                : outputNameFor(location);
                return { location, output, folder };
            }
            if (options.location !== undefined) {
                if (!host) throw new TypeError("convert: a location needs `files` here (no file system of the machine)");
                const location = `/host${host.resolve(options.location)}`;
                const output = options.outputName !== undefined ? `/host${host.resolve(options.outputName)}`
                                                                : outputNameFor(location);
                return { location, output, folder: null };
            }
            return { location: "", output: options.outputName ?? "output.x3d", folder: null };
        }

        function diagnostics() {
            const list = [];
            const count = Module._mw_diagnostic_count();
            for (let i = 0; i < count; i++) {
                list.push({
                    severity: Module._mw_diagnostic_severity(i) === 1 ? "error" : "warning",
                    kind: text(Module._mw_diagnostic_kind(i)),
                    message: text(Module._mw_diagnostic_message(i)),
                    line: Module._mw_diagnostic_line(i) >>> 0,
                    column: Module._mw_diagnostic_column(i) >>> 0,
                });
            }
            return list;
        }

        function convert(document, options = {}) {
            if (Array.isArray(options)) options = { args: options };
            const bytes = asBytes(document);
            const args = (options.args ?? []).map(String);
            if (options.faithful && !args.includes("--faithful")) args.push("--faithful");
            start();

            const pointers = [];
            let folder = null;
            try {
                const where = places(options);
                folder = where.folder;
                const documentPointer = Module._malloc(Math.max(bytes.length, 1));
                pointers.push(documentPointer);
                Module.HEAPU8.set(bytes, documentPointer);
                const words = Module._malloc(Math.max(args.length, 1) * 4);
                pointers.push(words);
                args.forEach((word, i) => { Module.HEAPU32[(words >> 2) + i] = writeString(word, pointers); });

                Module.onProgress = options.onProgress ?? null;
                const status = Module._mw_convert(documentPointer, bytes.length, words, args.length,
                                                  writeString(where.output, pointers),
                                                  writeString(where.location, pointers));
                const found = diagnostics();
                if (status === 2 || status === 3) {
                    const detail = found.map(d => d.message).join("; ");
                    throw new TypeError(`convert: ${status === 2 ? "bad option" : "invalid argument"} ` +
                                        `(${args.join(" ")})${detail ? `: ${detail}` : ""}`);
                }
                const ok = status === 0;
                const output = ok ? copy(Module._mw_output_data(), Module._mw_output_size()) : null;
                const images = [];
                for (let i = 0, count = Module._mw_image_count(); i < count; i++) {
                    images.push({ name: text(Module._mw_image_name(i)),
                                  data: copy(Module._mw_image_data(i), Module._mw_image_size(i)) });
                }
                const result = { ok, status: statusNames[status] ?? String(status), bytes: output,
                                 diagnostics: found, images };
                // The text is decoded when first read: a caller that keeps
                // the bytes (a worker, a file writer) does not pay for it.
                let x3d;
                Object.defineProperty(result, "x3d", {
                    enumerable: true,
                    get: () => (x3d ??= output && new TextDecoder().decode(output)),
                });
                return result;
            } finally {
                Module.onProgress = null;
                for (const pointer of pointers) Module._free(pointer);
                if (folder) removeTree(folder);
            }
        }

        return {
            convert,
            get version() { return text(start()._mw_version()); },
        };
    }

    if (isNode) {
        const fs = require("fs");
        const path = require("path");
        let converter = null;
        const get = () => {
            converter ??= createConverter(require("./morvane.js"),
                                          fs.readFileSync(path.join(__dirname, "morvane.wasm")), path);
            return converter;
        };
        module.exports = {
            convert: (document, options) => get().convert(document, options),
            get version() { return get().version; },
        };
    } else {
        root.morvane = { createConverter };
    }
})(typeof self !== "undefined" ? self : globalThis,
   typeof module === "object" && module !== null && typeof module.exports === "object" && typeof require === "function");
