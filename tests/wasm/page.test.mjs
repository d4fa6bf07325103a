// The page's handling of dropped files (viewer/convert.js): which document
// is converted, how the scene's URLs find the dropped images, and the zip
// file it offers for download (viewer/zip.js), read back by Python's own
// zip reader.
import { test } from "node:test";
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { createRequire } from "node:module";
import { deflateRawSync } from "node:zlib";

const require = createRequire(import.meta.url);
const dropped = require("../../viewer/convert.js");
const zipWriter = require("../../viewer/zip.js");

test("paths are normalised within what was dropped", () => {
    assert.equal(dropped.normalizePath("a/./b/../c"), "a/c");
    assert.equal(dropped.normalizePath("a//b/"), "a/b");
    assert.equal(dropped.normalizePath("a/../../x"), null);
    assert.equal(dropped.folderOf("f/g/m.x3d"), "f/g");
    assert.equal(dropped.folderOf("m.x3d"), "");
});

test("the documents are the .dae files and archives, in path order, and each output lies beside its document", () => {
    assert.deepEqual(dropped.documentsAmong(["b/z.dae", "img.png", "a.DAE", "c.x3d", "dae"]), ["a.DAE", "b/z.dae"]);
    assert.deepEqual(dropped.documentsAmong(["w/m.KMZ", "t.zae", "x.zip", "kmz", "a.dae"]), ["a.dae", "t.zae", "w/m.KMZ"]);
    assert.equal(dropped.outputPathFor("f/model.dae"), "f/model.x3d");
    assert.equal(dropped.outputPathFor("f.d/model"), "f.d/model.x3d");
    assert.equal(dropped.outputPathFor("f/model.kmz"), "f/model.x3d");
});

test("an archive is told by its first bytes, an image's type likewise", () => {
    const bytes = (...values) => Uint8Array.from(values);
    assert.equal(dropped.isArchive(bytes(0x50, 0x4b, 3, 4, 20)), true);
    assert.equal(dropped.isArchive(bytes(0x50, 0x4b, 5, 6)), true);
    assert.equal(dropped.isArchive(bytes(0x50, 0x4b, 7, 8)), false);
    assert.equal(dropped.isArchive(bytes(0x50, 0x4b, 3)), false);
    assert.equal(dropped.isArchive(new TextEncoder().encode("<?xml")), false);
    assert.equal(dropped.imageType(bytes(0x89, 0x50, 0x4e, 0x47, 13, 10, 26, 10)), "image/png");
    assert.equal(dropped.imageType(bytes(0xff, 0xd8, 0xff, 0xe0)), "image/jpeg");
    assert.equal(dropped.imageType(new TextEncoder().encode("GIF89a")), "image/gif");
    assert.equal(dropped.imageType(new TextEncoder().encode("RIFF\0\0\0\0WEBPVP8 ")), "image/webp");
    assert.equal(dropped.imageType(new TextEncoder().encode("RIFF\0\0\0\0WAVEfmt ")), "application/octet-stream");
    assert.equal(dropped.imageType(bytes(0, 0, 2, 0)), "application/octet-stream");
});

test("the download holds the output and each image under its relative name, once, none outside", () => {
    const x3d = Uint8Array.from([1]), a = Uint8Array.from([2]), b = Uint8Array.from([3]);
    const entries = dropped.downloadEntries("m.x3d", x3d, [
        { name: "m_files/tex/a.jpg", data: a },
        { name: "m_files/./tex/a.jpg", data: b },
        { name: "../up.png", data: b },
        { name: "/abs.png", data: b },
        { name: "m.x3d", data: b },
        { name: "b.png", data: b },
    ]);
    assert.deepEqual(entries.map(entry => entry.name), ["m.x3d", "m_files/tex/a.jpg", "b.png"]);
    assert.deepEqual(entries.map(entry => entry.bytes), [x3d, a, b]);
});

// What Python's zipfile reads of a zip file: each entry's name, method,
// time stamp and bytes (hex), after checking every entry's CRC.
function readZip(bytes) {
    const script = `
import io, json, sys, zipfile
archive = zipfile.ZipFile(io.BytesIO(sys.stdin.buffer.read()))
bad = archive.testzip()
print(json.dumps({"bad": bad, "entries": [
    {"name": i.filename, "method": i.compress_type, "date": list(i.date_time), "utf8": bool(i.flag_bits & 0x800),
     "hex": archive.read(i).hex()} for i in archive.infolist()]}))
`;
    return JSON.parse(execFileSync("python3", ["-c", script], { input: bytes }).toString());
}

test("the zip file is read back whole by another reader, text deflated and images stored", async () => {
    const text = new TextEncoder().encode("<X3D>" + "<Shape/>".repeat(200) + "</X3D>");
    const image = Uint8Array.from([0x89, 0x50, 0x4e, 0x47, 0, 255, 7]);
    const bytes = await zipWriter.zip([
        { name: "scène.x3d", bytes: text },
        { name: "scène_files/textures/wood.png", bytes: image },
        { name: "empty.txt", bytes: new Uint8Array(0) },
    ], { deflate: data => deflateRawSync(data), date: new Date(2026, 10, 24, 13, 45, 31) });
    const read = readZip(bytes);
    assert.equal(read.bad, null);
    assert.deepEqual(read.entries.map(e => [e.name, e.method, e.utf8]),
                     [["scène.x3d", 8, true], ["scène_files/textures/wood.png", 0, true], ["empty.txt", 0, true]]);
    // The time to the even second below.
    assert.deepEqual(read.entries[0].date, [2026, 11, 24, 13, 45, 30]);
    assert.equal(read.entries[0].hex, Buffer.from(text).toString("hex"));
    assert.equal(read.entries[1].hex, "89504e4700ff07");
    assert.equal(read.entries[2].hex, "");

    const stored = readZip(await zipWriter.zip([{ name: "a.x3d", bytes: text }]));
    assert.deepEqual(stored.entries.map(e => [e.method, e.hex.length / 2]), [[0, text.length]]);
});

test("the zip writer refuses names that would unpack elsewhere, and a name twice", async () => {
    const one = Uint8Array.from([1]);
    for (const name of ["../a.png", "/a.png", "a/../../b", "a\\b.png", "a//b", "./a", ""])
        await assert.rejects(zipWriter.zip([{ name, bytes: one }]), TypeError, JSON.stringify(name));
    await assert.rejects(zipWriter.zip([{ name: "a", bytes: one }, { name: "a", bytes: one }]), TypeError);
    // The CRC-32 of "123456789", the check value of the polynomial.
    assert.equal(zipWriter.crc32(new TextEncoder().encode("123456789")), 0xcbf43926);
});

test("a url value is an MFString's quoted strings, or one URL when it has no quotes", () => {
    assert.deepEqual(dropped.urlsOf("&quot;a b.png&quot; &quot;c.jpg&quot;"), ["a b.png", "c.jpg"]);
    assert.deepEqual(dropped.urlsOf(" tex.tga "), ["tex.tga"]);
    assert.deepEqual(dropped.urlsOf("R&amp;D.png"), ["R&D.png"]);
    assert.deepEqual(dropped.urlsOf(""), []);
});

const files = new Map([
    ["f/wood.tga", "blob:wood"],
    ["f/shared/a.png", "blob:a"],
    ["f/my tex.png", "blob:my"],
    ["g/my tex.png", "blob:my2"],
    ["other/Stone.TGA", "blob:stone"],
    ["x/dup.png", "blob:dup1"],
    ["y/dup.png", "blob:dup2"],
]);

test("a relative URL is resolved against the output's folder", () => {
    const plain = dropped.rewriteUrls("<ImageTexture url='wood.tga'/>", "f/m.x3d", files);
    assert.equal(plain.text, "<ImageTexture url='\"blob:wood\"'/>");
    assert.deepEqual(plain.found, ["f/wood.tga"]);
    const up = dropped.rewriteUrls("<ImageTexture url='\"../shared/a.png\"'/>", "f/g/m.x3d", files);
    assert.equal(up.text, "<ImageTexture url='\"blob:a\"'/>");
    const escaped = dropped.rewriteUrls("<ImageTexture url='my%20tex.png'/>", "f/m.x3d", files);
    assert.equal(escaped.text, "<ImageTexture url='\"blob:my\"'/>");
});

test("a path of the author's machine finds the one dropped file of its name", () => {
    const windows = dropped.rewriteUrls("<ImageTexture url='C:\\maps\\stone.tga'/>", "f/m.x3d", files);
    assert.equal(windows.text, "<ImageTexture url='\"blob:stone\"'/>");
    const fileUrl = dropped.rewriteUrls("<ImageTexture url='file:///home/me/wood.tga'/>", "m.x3d", files);
    assert.equal(fileUrl.text, "<ImageTexture url='\"blob:wood\"'/>");
    // Two dropped files of that name: neither is guessed, and nothing is asked of the server.
    const twice = dropped.rewriteUrls("<ImageTexture url='/home/me/dup.png'/>", "m.x3d", files);
    assert.equal(twice.text, "<ImageTexture url=''/>");
    assert.deepEqual(twice.blocked, ["/home/me/dup.png"]);
});

test("URLs of other machines are left out, missing relative ones kept and listed", () => {
    const result = dropped.rewriteUrls(
        "<ImageTexture url='\"http://example.org/a.png\" \"wood.tga\"'/><ImageTexture url='gone.png'/>",
        "f/m.x3d", files);
    assert.equal(result.text, "<ImageTexture url='\"blob:wood\"'/><ImageTexture url='\"gone.png\"'/>");
    assert.deepEqual(result.blocked, ["http://example.org/a.png"]);
    assert.deepEqual(result.missing, ["gone.png"]);
    const https = dropped.rewriteUrls("<Inline url=\"https://example.org/x.x3d\"/>", "m.x3d", files);
    assert.equal(https.text, "<Inline url=\"\"/>");
});

test("the rewritten value is escaped for the attribute's own quote", () => {
    const withQuote = new Map([["it's.png", "blob:q"]]);
    const single = dropped.rewriteUrls("<ImageTexture url='\"it&apos;s.png\"'/>", "m.x3d", withQuote);
    assert.equal(single.text, "<ImageTexture url='&quot;blob:q&quot;'/>".replace(/&quot;/g, "\""));
    const double = dropped.rewriteUrls("<ImageTexture url=\"it's.png\"/>", "m.x3d", withQuote);
    assert.equal(double.text, "<ImageTexture url=\"&quot;blob:q&quot;\"/>");
});
