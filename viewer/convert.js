// What the page does with dropped files, apart from the page itself: which
// document to convert, how the converted scene finds the dropped images
// and the images the conversion gave, and what the download holds. Loaded
// by the page (window.dropped) and by Node's tests (module.exports).
//
// Dropped files have paths relative to what was dropped ("model.dae",
// "textures/wood.png", or "folder/model.dae" for a folder). The output is
// thought of as lying beside its document, so the scene's relative URLs
// are resolved against the document's folder; each one that names a
// dropped file or a converted image is replaced by an object URL of it.
// A URL that names a place away from this page (http:, https:, ftp:, ...)
// is left out, so that showing a dropped document asks nothing of any other
// machine.
"use strict";

(function (root) {
    // "a/./b/../c" -> "a/c"; null when it climbs above the top.
    function normalizePath(path) {
        const parts = [];
        for (const part of path.split("/")) {
            if (part === "" || part === ".") continue;
            if (part === "..") {
                if (parts.length === 0) return null;
                parts.pop();
            } else {
                parts.push(part);
            }
        }
        return parts.join("/");
    }

    function folderOf(path) {
        const slash = path.lastIndexOf("/");
        return slash < 0 ? "" : path.slice(0, slash);
    }

    function baseName(path) {
        return path.slice(Math.max(path.lastIndexOf("/"), path.lastIndexOf("\\")) + 1);
    }

    // The documents among the dropped paths, in path order: COLLADA
    // documents and the zip archives that hold one (.kmz, .zae).
    function documentsAmong(paths) {
        return paths.filter(path => /\.(dae|kmz|zae)$/i.test(path)).sort();
    }

    // Whether bytes are a zip archive, as the converter tells one: by its
    // first four bytes, a local file header or the end of an empty archive.
    function isArchive(bytes) {
        return bytes.length >= 4 && bytes[0] === 0x50 && bytes[1] === 0x4b &&
            ((bytes[2] === 3 && bytes[3] === 4) || (bytes[2] === 5 && bytes[3] === 6));
    }

    // The media type of an image the conversion gave, by its first bytes
    // (an archive's images are handed over as they are: JPEG, PNG, ...).
    function imageType(bytes) {
        const starts = (...values) => values.every((value, i) => bytes[i] === value);
        if (starts(0x89, 0x50, 0x4e, 0x47)) return "image/png";
        if (starts(0xff, 0xd8, 0xff)) return "image/jpeg";
        if (starts(0x47, 0x49, 0x46, 0x38)) return "image/gif";
        if (starts(0x52, 0x49, 0x46, 0x46) && bytes[8] === 0x57 && bytes[9] === 0x45 && bytes[10] === 0x42 &&
            bytes[11] === 0x50) return "image/webp";
        if (starts(0x42, 0x4d)) return "image/bmp";
        return "application/octet-stream";
    }

    // The entries of the download that holds an output and its images: the
    // output under its own name, each image under its name relative to the
    // output, as the output names it. An image whose name would leave the
    // output's folder is not among them, nor a second image of a name.
    function downloadEntries(outputName, bytes, images) {
        const entries = [{ name: outputName, bytes }];
        const taken = new Set([outputName]);
        for (const image of images) {
            const name = image.name.startsWith("/") ? null : normalizePath(image.name);
            if (!name || taken.has(name)) continue;
            taken.add(name);
            entries.push({ name, bytes: image.data });
        }
        return entries;
    }

    // "model.dae" (or "model.kmz") -> "model.x3d", in the same folder.
    function outputPathFor(documentPath) {
        return documentPath.replace(/(\.[^./]*)?$/, ".x3d");
    }

    function xmlUnescape(text) {
        return text.replace(/&(lt|gt|amp|apos|quot|#x[0-9a-fA-F]+|#[0-9]+);/g, (whole, name) => {
            switch (name) {
                case "lt": return "<";
                case "gt": return ">";
                case "amp": return "&";
                case "apos": return "'";
                case "quot": return "\"";
                default:
                    return String.fromCodePoint(name[1] === "x" ? parseInt(name.slice(2), 16) : parseInt(name.slice(1), 10));
            }
        });
    }

    // The URLs of an X3D url field's value as the attribute gives it: the
    // quoted strings of an MFString, or the whole value when it has none.
    function urlsOf(value) {
        const text = xmlUnescape(value);
        if (!text.includes("\"")) return text.trim() === "" ? [] : [text.trim()];
        const urls = [];
        const quoted = /"((?:[^"\\]|\\.)*)"/g;
        for (let match; (match = quoted.exec(text));) urls.push(match[1].replace(/\\(.)/g, "$1"));
        return urls;
    }

    function decodeOrKeep(text) {
        try {
            return decodeURIComponent(text);
        } catch {
            return text;
        }
    }

    // What one URL of the scene becomes: { url } to keep or replace it, or
    // { blocked } to leave it out. `files` maps dropped paths (and the
    // converted images' paths) to object URLs; `folder` is the output's.
    function resolveUrl(url, folder, files, byName) {
        if (/^(blob|data):/i.test(url)) return { url };
        const scheme = /^([a-z][a-z0-9+.-]*):/i.exec(url);
        // A drive letter ("C:\maps\a.png") is a path, not a scheme.
        const isPath = !scheme || scheme[1].length === 1;
        if (!isPath && scheme[1].toLowerCase() !== "file") return { blocked: url };
        if (isPath && !url.startsWith("/") && !(scheme && scheme[1].length === 1)) {
            for (const candidate of [url, decodeOrKeep(url)]) {
                const path = normalizePath(folder ? `${folder}/${candidate}` : candidate);
                if (path !== null && files.has(path)) return { url: files.get(path), found: path };
            }
        }
        // An absolute path or a file URL names a place on the author's
        // machine: the dropped file of that name stands in for it, when
        // there is exactly one.
        const name = decodeOrKeep(baseName(url.replace(/[?#].*$/, "")));
        const matches = byName.get(name.toLowerCase()) ?? [];
        if (matches.length === 1) return { url: files.get(matches[0]), found: matches[0] };
        return isPath && !url.startsWith("/") && !scheme ? { url, missing: url } : { blocked: url };
    }

    // The scene's text with every url attribute's URLs resolved against
    // the dropped files. Returns { text, found, missing, blocked }: the
    // paths used, and the URLs not found and left out.
    function rewriteUrls(x3d, outputPath, files) {
        const folder = folderOf(outputPath);
        const byName = new Map();
        for (const path of files.keys()) {
            const key = baseName(path).toLowerCase();
            byName.set(key, [...(byName.get(key) ?? []), path]);
        }
        const found = [], missing = [], blocked = [];
        const text = x3d.replace(/(\surl=)(?:'([^']*)'|"([^"]*)")/g, (whole, name, single, double) => {
            const quote = single !== undefined ? "'" : "\"";
            const value = single ?? double;
            const urls = [];
            for (const url of urlsOf(value)) {
                const resolved = resolveUrl(url, folder, files, byName);
                if (resolved.blocked !== undefined) { blocked.push(resolved.blocked); continue; }
                if (resolved.found !== undefined) found.push(resolved.found);
                if (resolved.missing !== undefined) missing.push(resolved.missing);
                urls.push(resolved.url);
            }
            const mf = urls.map(url => `"${url.replace(/[\\"]/g, "\\$&")}"`).join(" ");
            const escaped = mf.replace(/&/g, "&amp;").replace(/</g, "&lt;")
                .replace(quote === "'" ? /'/g : /"/g, quote === "'" ? "&apos;" : "&quot;");
            return `${name}${quote}${escaped}${quote}`;
        });
        return { text, found, missing, blocked };
    }

    const api = { normalizePath, folderOf, documentsAmong, isArchive, imageType, downloadEntries, outputPathFor, urlsOf,
                  rewriteUrls };
    if (typeof module === "object" && module !== null && typeof module.exports === "object") module.exports = api;
    else root.dropped = api;
})(typeof self !== "undefined" ? self : globalThis);
