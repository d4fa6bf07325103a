// The page's handling of dropped files (viewer/convert.js): which document
// is converted, and how the scene's URLs find the dropped images.
import { test } from "node:test";
import assert from "node:assert/strict";
import { createRequire } from "node:module";

const require = createRequire(import.meta.url);
const dropped = require("../../viewer/convert.js");

test("paths are normalised within what was dropped", () => {
    assert.equal(dropped.normalizePath("a/./b/../c"), "a/c");
    assert.equal(dropped.normalizePath("a//b/"), "a/b");
    assert.equal(dropped.normalizePath("a/../../x"), null);
    assert.equal(dropped.folderOf("f/g/m.x3d"), "f/g");
    assert.equal(dropped.folderOf("m.x3d"), "");
});

test("the documents are the .dae files, in path order, and each output lies beside its document", () => {
    assert.deepEqual(dropped.documentsAmong(["b/z.dae", "img.png", "a.DAE", "c.x3d", "dae"]), ["a.DAE", "b/z.dae"]);
    assert.equal(dropped.outputPathFor("f/model.dae"), "f/model.x3d");
    assert.equal(dropped.outputPathFor("f.d/model"), "f.d/model.x3d");
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
