// A small zip writer for the page's downloads: an output and the images it
// names, in one file that keeps their folders, so that unpacking it gives
// a scene whose relative URLs find their images. Loaded by the page
// (window.zipWriter) and by Node's tests (module.exports).
//
// Entries are stored, or deflated when the caller gives a raw-deflate
// function and that makes them smaller (the X3D text; images are
// compressed already). No zip64: at most 65535 entries and 4 GiB in all,
// which is far beyond what a page converts. Names are UTF-8 (flag bit 11).
"use strict";

(function (root) {
    const crcTable = new Uint32Array(256);
    for (let n = 0; n < 256; n++) {
        let c = n;
        for (let k = 0; k < 8; k++) c = c & 1 ? 0xedb88320 ^ (c >>> 1) : c >>> 1;
        crcTable[n] = c >>> 0;
    }

    function crc32(bytes) {
        let crc = 0xffffffff;
        for (let i = 0; i < bytes.length; i++) crc = crcTable[(crc ^ bytes[i]) & 0xff] ^ (crc >>> 8);
        return (crc ^ 0xffffffff) >>> 0;
    }

    // The MS-DOS time and date of a local time, to the even second; the
    // format starts in 1980.
    function dosTimeDate(date) {
        const year = Math.min(Math.max(date.getFullYear(), 1980), 2107);
        return {
            time: (date.getHours() << 11) | (date.getMinutes() << 5) | (date.getSeconds() >> 1),
            date: ((year - 1980) << 9) | ((date.getMonth() + 1) << 5) | date.getDate(),
        };
    }

    // "a/b.png": forward slashes, no empty, "." or ".." part, no leading
    // slash; an entry unpacks below the folder it is unpacked in.
    function checkName(name) {
        const parts = String(name).split("/");
        if (name.includes("\\") || name.includes("\0") ||
            parts.some(part => part === "" || part === "." || part === ".."))
            throw new TypeError(`zip: not a relative file name: ${JSON.stringify(name)}`);
        return name;
    }

    // A zip file of `entries` ([{ name, bytes }], bytes a Uint8Array), in
    // their order. `deflate(bytes)` (optional, may return a promise) gives
    // raw deflate data (no zlib header); `date` stamps every entry.
    async function zip(entries, { deflate = null, date = new Date() } = {}) {
        if (entries.length > 0xffff) throw new RangeError("zip: more than 65535 entries");
        const stamp = dosTimeDate(date);
        const encoder = new TextEncoder();
        const seen = new Set();
        const parts = [];
        const central = [];
        let offset = 0;
        for (const entry of entries) {
            const name = encoder.encode(checkName(entry.name));
            if (seen.has(entry.name)) throw new TypeError(`zip: the name ${JSON.stringify(entry.name)} is given twice`);
            seen.add(entry.name);
            const bytes = entry.bytes;
            let data = bytes, method = 0;
            if (deflate && bytes.length > 0) {
                const packed = await deflate(bytes);
                if (packed.length < bytes.length) {
                    data = packed;
                    method = 8;
                }
            }
            if (offset + data.length + 30 + name.length > 0xffffffff) throw new RangeError("zip: more than 4 GiB");
            const fields = { crc: crc32(bytes), method, compressed: data.length, size: bytes.length, name };
            const local = header(0x04034b50, fields, stamp, null);
            central.push(header(0x02014b50, fields, stamp, offset));
            parts.push(local, data);
            offset += local.length + data.length;
        }
        const directorySize = central.reduce((sum, part) => sum + part.length, 0);
        const end = new DataView(new ArrayBuffer(22));
        end.setUint32(0, 0x06054b50, true);
        end.setUint16(8, entries.length, true);
        end.setUint16(10, entries.length, true);
        end.setUint32(12, directorySize, true);
        end.setUint32(16, offset, true);
        const all = new Uint8Array(offset + directorySize + 22);
        let at = 0;
        for (const part of [...parts, ...central, new Uint8Array(end.buffer)]) {
            all.set(part, at);
            at += part.length;
        }
        return all;
    }

    // A local file header (offset null) or a central directory header.
    function header(signature, { crc, method, compressed, size, name }, stamp, offset) {
        const isCentral = offset !== null;
        const fixed = isCentral ? 46 : 30;
        const view = new DataView(new ArrayBuffer(fixed + name.length));
        let at = 0;
        const u16 = value => { view.setUint16(at, value, true); at += 2; };
        const u32 = value => { view.setUint32(at, value, true); at += 4; };
        u32(signature);
        if (isCentral) u16(20);        // made by: the format's version 2.0
        u16(20);                       // needed to extract: 2.0 (deflate)
        u16(0x0800);                   // the name is UTF-8
        u16(method);
        u16(stamp.time);
        u16(stamp.date);
        u32(crc);
        u32(compressed);
        u32(size);
        u16(name.length);
        u16(0);                        // no extra field
        if (isCentral) {
            u16(0);                    // no comment
            u16(0);                    // disk 0
            u16(0);                    // internal attributes
            u32(0);                    // external attributes
            u32(offset);
        }
        const bytes = new Uint8Array(view.buffer);
        bytes.set(name, fixed);
        return bytes;
    }

    const api = { zip, crc32 };
    if (typeof module === "object" && module !== null && typeof module.exports === "object") module.exports = api;
    else root.zipWriter = api;
})(typeof self !== "undefined" ? self : globalThis);
