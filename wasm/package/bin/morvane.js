#!/usr/bin/env node
// morvane [options] INPUT [OUTPUT | -]
//
// Converts one COLLADA document, or a .kmz or .zae archive under
// --faithful, with the WebAssembly build: writes INPUT's name with .x3d
// beside it, or OUTPUT, or to standard output for "-". The options are the
// program's ("-sy", "-l", "--faithful", ...). The images a --faithful
// conversion gives (PNGs it made, an archive's images) go beside the output
// (none with "-"), never over a file of other bytes (a warning says so).
// A document that gives no output gets one line on standard error,
// "morvane: INPUT: REASON", and the exit status 1; warnings go there too.
"use strict";

const fs = require("fs");
const path = require("path");
const { convert } = require("../index.js");

// The options are the program's words ("-sy", "-a30", "--faithful"); the
// other words are the names.
const args = [];
const names = [];
for (const word of process.argv.slice(2)) {
    if (word.startsWith("-") && word !== "-") args.push(word);
    else names.push(word);
}
if (names.length === 0 || names.length > 2 || names[0] === "-") {
    console.error("usage: morvane [options] INPUT [OUTPUT | -]");
    process.exit(2);
}
const [input, requested] = names;
const toStdout = requested === "-";
const output = toStdout ? undefined : requested ?? path.join(path.dirname(input), path.basename(input).replace(/\.[^.]*$/, "") + ".x3d");

let document;
try {
    document = fs.readFileSync(input);
} catch (error) {
    console.error(`morvane: ${input}: cannot open: ${error.code === "ENOENT" ? "No such file or directory" : error.message}`);
    process.exit(1);
}

let result;
try {
    result = convert(document, { args, location: input, outputName: output ?? input.replace(/\.[^./]*$/, "") + ".x3d" });
} catch (error) {
    console.error(`morvane: ${error.message}`);
    process.exit(2);
}
for (const diagnostic of result.diagnostics) {
    const place = diagnostic.line ? ` (line ${diagnostic.line}, column ${diagnostic.column})` : "";
    const label = diagnostic.severity === "error" ? "" : "warning: ";
    console.error(`morvane: ${input}: ${label}${diagnostic.message}${place}`);
}
if (!result.ok) {
    if (!result.diagnostics.some(d => d.severity === "error")) console.error(`morvane: ${input}: no output`);
    process.exit(1);
}
if (toStdout) {
    fs.writeSync(1, result.bytes);
} else {
    fs.writeFileSync(output, result.bytes);
    for (const image of result.images) {
        // The converter names images relative to the output's folder, below it.
        if (path.isAbsolute(image.name) || image.name.split("/").includes("..")) continue;
        const file = path.join(path.dirname(output), image.name);
        const problem = writeNew(file, image.data);
        if (problem) console.error(`morvane: ${input}: warning: cannot write ${file}: ${problem}`);
    }
}

// Writes a file that did not exist; a file of the same bytes is as good.
// Returns why it could not, or null.
function writeNew(file, data) {
    try {
        fs.mkdirSync(path.dirname(file), { recursive: true });
        fs.writeFileSync(file, data, { flag: "wx" });
        return null;
    } catch (error) {
        if (error.code !== "EEXIST") return error.message;
    }
    const status = fs.lstatSync(file);
    const same = status.isFile() && status.size === data.length && Buffer.from(data).equals(fs.readFileSync(file));
    return same ? null : "the name is taken";
}
