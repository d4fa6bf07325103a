// The npm package as a user gets it: installed from the packed tarball into
// a fresh folder (tests/wasm/run-package), imported by its name, and its
// `morvane` command run as npx runs it.
import { test } from "node:test";
import assert from "node:assert/strict";
import { execFileSync, spawnSync } from "node:child_process";
import { existsSync, mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { createRequire } from "node:module";
import { dirname, join } from "node:path";
import { deflateRawSync, deflateSync, inflateSync } from "node:zlib";
import morvane from "morvane";
import { convert } from "morvane";

// One triangle, (0 0 0) (1 0 0) (0 1 0), in a node of the scene.
const triangle = `<?xml version="1.0" encoding="utf-8"?>
<COLLADA xmlns="http://www.collada.org/2005/11/COLLADASchema" version="1.4.1">
  <asset><unit name="meter" meter="1"/><up_axis>Y_UP</up_axis></asset>
  <library_geometries>
    <geometry id="tri">
      <mesh>
        <source id="tri-pos"><float_array id="tri-pos-array" count="9">0 0 0 1 0 0 0 1 0</float_array></source>
        <vertices id="tri-vtx"><input semantic="POSITION" source="#tri-pos"/></vertices>
        <triangles count="1"><input semantic="VERTEX" source="#tri-vtx" offset="0"/><p>0 1 2</p></triangles>
      </mesh>
    </geometry>
  </library_geometries>
  <library_visual_scenes>
    <visual_scene id="scene"><node id="n"><instance_geometry url="#tri"/></node></visual_scene>
  </library_visual_scenes>
</COLLADA>
`;

function pointsOf(x3d) {
    const match = /<Coordinate containerField='coord' point='([^']*)'/.exec(x3d);
    assert.ok(match, "the output has a Coordinate node");
    return match[1].split(",").map(point => point.trim()).filter(Boolean);
}

test("the package's main module converts a document given as bytes or text", () => {
    assert.equal(typeof morvane.convert, "function");
    assert.equal(morvane.version, "1.0.0");
    for (const document of [triangle, new TextEncoder().encode(triangle), new TextEncoder().encode(triangle).buffer]) {
        const result = convert(document);
        assert.equal(result.ok, true);
        assert.deepEqual(result.diagnostics, []);
        assert.ok(result.x3d.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<X3D profile='Immersive'>"));
        assert.equal(new TextDecoder().decode(result.bytes), result.x3d);
        assert.match(result.x3d, /<IndexedFaceSet DEF='tri' /);
        assert.match(result.x3d, /coordIndex='\s*0 1 2 -1'/);
        assert.deepEqual(pointsOf(result.x3d), ["0.000000 0.000000 0.000000", "1.000000 0.000000 0.000000",
                                                "0.000000 1.000000 0.000000"]);
    }
});

test("the options and the output's name reach the conversion", () => {
    const named = convert(triangle, { outputName: "dir/wing.x3d" });
    assert.match(named.x3d, /<Viewpoint DEF='wing Front' /);
    assert.match(named.x3d, /description='wing Front View'/);
    assert.doesNotMatch(convert(triangle, ["-sv"]).x3d, /<Viewpoint /);
    assert.doesNotMatch(convert(triangle, { args: ["-sb"] }).x3d, /<Background /);
    assert.match(convert(triangle).x3d, /<Background DEF='AutoBackground' /);
    assert.throws(() => convert(triangle, ["--no-such-option"]), TypeError);
});

test("a document that gives no output says why, and the next conversion starts afresh", () => {
    const malformed = convert("<COLLADA>\n  <asset>\n</COLLADA>\n");
    assert.equal(malformed.ok, false);
    assert.equal(malformed.x3d, null);
    assert.equal(malformed.bytes, null);
    assert.equal(malformed.diagnostics.length, 1);
    assert.equal(malformed.diagnostics[0].severity, "error");
    assert.equal(malformed.diagnostics[0].kind, "malformed-xml");
    // The end tag that does not match is on the third line.
    assert.equal(malformed.diagnostics[0].line, 3);

    const empty = convert("<COLLADA><asset/></COLLADA>");
    assert.equal(empty.ok, false);
    assert.deepEqual(empty.diagnostics.map(d => d.kind), ["nothing-to-convert"]);

    const after = convert(triangle);
    assert.equal(after.ok, true);
    assert.deepEqual(after.diagnostics, []);
});

test("progress marks reach onProgress: a '.' more for each 128 faces read", () => {
    const dots = document => {
        const marks = [];
        assert.equal(convert(document, { onProgress: mark => marks.push(mark) }).ok, true);
        assert.ok(marks.every(mark => ".+!".includes(mark)), `marks: ${marks.join("")}`);
        return marks.filter(mark => mark === ".").length;
    };
    // 257 triangles, all the same three corners: 256 faces more than one.
    const many = triangle.replace("count=\"1\"", "count=\"257\"").replace("<p>0 1 2</p>", `<p>${"0 1 2 ".repeat(257)}</p>`);
    assert.ok(dots(many) - dots(triangle) >= 2);
});

// A 2 x 1 TGA, uncompressed true colour, 24 bits, bottom-up: a blue pixel
// (stored B G R) and a red one.
const tga = Uint8Array.from([0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 0, 24, 0, 255, 0, 0, 0, 0, 255]);

function textured(imageName) {
    return triangle
        .replace("<library_geometries>", `<library_images><image id="img"><init_from>${imageName}</init_from></image></library_images>
  <library_effects><effect id="fx"><profile_COMMON>
    <newparam sid="surf"><surface type="2D"><init_from>img</init_from></surface></newparam>
    <newparam sid="samp"><sampler2D><source>surf</source></sampler2D></newparam>
    <technique sid="t"><lambert><diffuse><texture texture="samp" texcoord="uv"/></diffuse></lambert></technique>
  </profile_COMMON></effect></library_effects>
  <library_materials><material id="mat"><instance_effect url="#fx"/></material></library_materials>
  <library_geometries>`)
        .replace("<triangles count=\"1\">", "<triangles count=\"1\" material=\"m\">")
        .replace("<instance_geometry url=\"#tri\"/>", `<instance_geometry url="#tri"><bind_material><technique_common>
        <instance_material symbol="m" target="#mat"/></technique_common></bind_material></instance_geometry>`);
}

test("a faithful conversion turns a TGA among the given files into a PNG the output names", () => {
    const result = convert(textured("maps/two.tga"), {
        faithful: true,
        location: "model.dae",
        files: { "maps/two.tga": tga },
    });
    assert.equal(result.ok, true, JSON.stringify(result.diagnostics));
    assert.equal(result.images.length, 1, JSON.stringify(result.diagnostics));
    const [image] = result.images;
    assert.ok(result.x3d.includes(image.name), "the output names the image it made");
    const pixels = pixelsOf(image.data);
    assert.deepEqual([pixels.width, pixels.height], [2, 1]);
    assert.deepEqual(pixels.at(0, 0), [0, 0, 255]);
    assert.deepEqual(pixels.at(1, 0), [255, 0, 0]);
});

// A PNG's size and its pixels' colours, whatever its chunks. Rows of one
// or two pixels: each is a filter byte 0 and its pixels.
function pixelsOf(data) {
    const png = Buffer.from(data);
    assert.deepEqual([...png.subarray(0, 8)], [137, 80, 78, 71, 13, 10, 26, 10]);
    const width = png.readUInt32BE(16), height = png.readUInt32BE(20);
    const chunks = [];
    for (let at = 8; at < png.length;) {
        const length = png.readUInt32BE(at);
        if (png.toString("latin1", at + 4, at + 8) === "IDAT") chunks.push(png.subarray(at + 8, at + 8 + length));
        at += 12 + length;
    }
    const channels = png[25] === 6 ? 4 : 3;
    const rows = inflateSync(Buffer.concat(chunks));
    const stride = 1 + width * channels;
    for (let y = 0; y < height; y++) assert.equal(rows[y * stride], 0, "no filter on a row this short");
    const at = (x, y) => [...rows.subarray(y * stride + 1 + x * channels, y * stride + 4 + x * channels)];
    return { width, height, at };
}

// A 2 x 1 RGB TIFF, little-endian, 8 bits a sample, one strip: a dark green
// pixel and a yellow one, stored as `compression` says.
const tiffPixels = [0, 128, 0, 255, 255, 0];
function tiff(compression, strip) {
    const entries = [[256, 3, 1, 2], [257, 3, 1, 1], [258, 3, 3, 134], [259, 3, 1, compression], [262, 3, 1, 2],
                     [273, 4, 1, 140], [277, 3, 1, 3], [278, 3, 1, 1], [279, 4, 1, strip.length], [284, 3, 1, 1]];
    const file = Buffer.alloc(140 + strip.length);
    file.write("II", 0, "latin1");
    file.writeUInt16LE(42, 2);
    file.writeUInt32LE(8, 4);
    file.writeUInt16LE(entries.length, 8);
    entries.forEach(([tag, type, count, value], i) => {
        const at = 10 + 12 * i;
        file.writeUInt16LE(tag, at);
        file.writeUInt16LE(type, at + 2);
        file.writeUInt32LE(count, at + 4);
        if (type === 3 && count === 1) file.writeUInt16LE(value, at + 8);
        else file.writeUInt32LE(value, at + 8);
    });
    // The IFD ends at 10 + 120 + 4 = 134: the three BitsPerSample, then the strip.
    for (let i = 0; i < 3; i++) file.writeUInt16LE(8, 134 + 2 * i);
    Buffer.from(strip).copy(file, 140);
    return new Uint8Array(file);
}

test("a faithful conversion turns TIFF images into PNGs: uncompressed, PackBits and Deflate strips", () => {
    const strips = {
        none: [1, tiffPixels],
        // One literal run: a count byte n, then n + 1 bytes as they are.
        packbits: [32773, [5, ...tiffPixels]],
        deflate: [8, deflateSync(Buffer.from(tiffPixels))],
    };
    for (const [name, [compression, strip]] of Object.entries(strips)) {
        const result = convert(textured(`${name}.tif`), {
            faithful: true,
            location: "model.dae",
            files: { [`${name}.tif`]: tiff(compression, strip) },
        });
        assert.equal(result.ok, true, name);
        assert.equal(result.images.length, 1, `${name}: ${JSON.stringify(result.diagnostics)}`);
        assert.ok(result.x3d.includes(result.images[0].name), `${name}: the output names the PNG`);
        const pixels = pixelsOf(result.images[0].data);
        assert.deepEqual([pixels.width, pixels.height], [2, 1], name);
        assert.deepEqual([...pixels.at(0, 0), ...pixels.at(1, 0)], tiffPixels, name);
    }
});

// sin(45.2 degrees) lies almost halfway between two doubles; rounded the
// other way than the native program rounds it, the composed rotations are
// no longer exactly orthonormal and a scale of 0.99999999999999989 shows.
test("rotations alone give a Transform without scale, as the native program writes it", () => {
    const turned = triangle.replace("<node id=\"n\">", `<node id="turned"><rotate sid="rotateZ">0 0 1 0</rotate>
        <rotate sid="rotateY">0 1 0 45.2</rotate><rotate sid="rotateX">1 0 0 -28.2</rotate>`);
    const result = convert(turned, { faithful: true });
    assert.equal(result.ok, true, JSON.stringify(result.diagnostics));
    const transform = /<Transform DEF='turned'[^>]*>/.exec(result.x3d);
    assert.ok(transform, "the node is a Transform");
    assert.match(transform[0], / rotation='/);
    assert.doesNotMatch(transform[0], / scale=/);
});

test("a faithful conversion of a document whose image is missing warns and still writes", () => {
    const result = convert(textured("gone.tga"), { faithful: true, files: {} });
    assert.equal(result.ok, true);
    assert.equal(result.diagnostics.length, 1);
    assert.equal(result.diagnostics[0].severity, "warning");
    assert.match(result.diagnostics[0].message, /gone\.tga/);
    assert.deepEqual(result.images, []);
});

test("the morvane command writes beside the input, to a named file or to standard output", () => {
    const work = mkdtempSync(join(tmpdir(), "morvane-npx-"));
    try {
        writeFileSync(join(work, "tri.dae"), triangle);
        const expected = convert(triangle, { outputName: "tri.x3d" }).bytes;
        // Run where the package is installed, as npx finds it there; never from a registry.
        // npm may add warnings of its own on standard error: the command's lines are ours.
        const ours = result => result.stderr.toString().split("\n").filter(line => line.startsWith("morvane:"));
        const npx = (...args) => spawnSync("npx", ["--no", "--", "morvane", ...args],
                                           { encoding: "buffer", env: { ...process.env, npm_config_offline: "true" } });
        const tri = join(work, "tri.dae");

        const beside = npx(tri);
        assert.equal(beside.status, 0, beside.stderr.toString());
        assert.deepEqual(readFileSync(join(work, "tri.x3d")), Buffer.from(expected));

        const named = npx("-sv", tri, join(work, "other.x3d"));
        assert.equal(named.status, 0, named.stderr.toString());
        assert.doesNotMatch(readFileSync(join(work, "other.x3d"), "utf8"), /<Viewpoint /);

        const piped = npx(tri, "-");
        assert.equal(piped.status, 0);
        assert.deepEqual(piped.stdout, Buffer.from(expected));

        const missing = npx(join(work, "none.dae"));
        assert.equal(missing.status, 1);
        assert.equal(ours(missing).length, 1);
        assert.ok(ours(missing)[0].startsWith(`morvane: ${join(work, "none.dae")}: cannot open`), ours(missing)[0]);
        assert.equal(existsSync(join(work, "none.x3d")), false);

        writeFileSync(join(work, "bad.dae"), "<COLLADA>");
        const bad = npx(join(work, "bad.dae"));
        assert.equal(bad.status, 1);
        assert.deepEqual(ours(bad).length, 1);
        assert.match(ours(bad)[0], /not well-formed XML at line 1/);
        assert.equal(existsSync(join(work, "bad.x3d")), false);
    } finally {
        rmSync(work, { recursive: true, force: true });
    }
});

// Each test that runs npx gets a folder of its own, removed afterwards.
function inFolder(body) {
    const work = mkdtempSync(join(tmpdir(), "morvane-npx-"));
    try {
        return body(work);
    } finally {
        rmSync(work, { recursive: true, force: true });
    }
}
const npx = (...args) => spawnSync("npx", ["--no", "--", "morvane", ...args],
                                   { encoding: "buffer", env: { ...process.env, npm_config_offline: "true" } });
const ourLines = result => result.stderr.toString().split("\n").filter(line => line.startsWith("morvane:"));

test("the morvane command writes the images beside the output, never over a file of other bytes", () => inFolder(work => {
    writeFileSync(join(work, "model.dae"), textured("maps/two.tga"));
    mkdirSync(join(work, "maps"));
    writeFileSync(join(work, "maps/two.tga"), tga);
    const [image] = convert(textured("maps/two.tga"), { faithful: true, location: "model.dae",
                                                         files: { "maps/two.tga": tga } }).images;
    assert.ok(image, "a PNG stands in for the TGA");
    const first = npx("--faithful", join(work, "model.dae"));
    assert.equal(first.status, 0, first.stderr.toString());
    assert.deepEqual(ourLines(first), []);
    assert.deepEqual(readFileSync(join(work, image.name)), Buffer.from(image.data));
    // The same bytes again: nothing to say.
    const again = npx("--faithful", join(work, "model.dae"));
    assert.deepEqual(ourLines(again), []);
    writeFileSync(join(work, image.name), "mine");
    const taken = npx("--faithful", join(work, "model.dae"));
    assert.equal(taken.status, 0);
    assert.deepEqual(ourLines(taken), [`morvane: ${join(work, "model.dae")}: warning: cannot write ` +
                                       `${join(work, image.name)}: the name is taken`]);
    assert.equal(readFileSync(join(work, image.name), "utf8"), "mine");
    assert.ok(existsSync(join(work, "model.x3d")));
}));

// --- archives --------------------------------------------------------------

// Archives are made by the page's zip writer (viewer/zip.js, beside this
// file), which tests/wasm/page.test.mjs checks against another reader.
const { zip, crc32 } = createRequire(import.meta.url)("./zip.js");
const zipOf = files => zip(Object.entries(files).map(([name, content]) =>
    ({ name, bytes: typeof content === "string" ? new TextEncoder().encode(content) : content })),
    { deflate: bytes => deflateRawSync(bytes) });

// A 1 x 1 PNG of one red pixel: the bytes an archive holds and a browser
// decodes, so they are handed over as they are.
function pngChunk(kind, data) {
    const body = Buffer.concat([Buffer.from(kind, "latin1"), data]);
    const length = Buffer.alloc(4), crc = Buffer.alloc(4);
    length.writeUInt32BE(data.length);
    crc.writeUInt32BE(crc32(body));
    return Buffer.concat([length, body, crc]);
}
const redPng = new Uint8Array(Buffer.concat([
    Buffer.from([137, 80, 78, 71, 13, 10, 26, 10]),
    pngChunk("IHDR", Buffer.from([0, 0, 0, 1, 0, 0, 0, 1, 8, 2, 0, 0, 0])),
    pngChunk("IDAT", deflateSync(Buffer.from([0, 255, 0, 0]))),
    pngChunk("IEND", Buffer.alloc(0)),
]));

const kml = `<?xml version="1.0" encoding="UTF-8"?>
<kml xmlns="http://www.opengis.net/kml/2.2"><Placemark><Model>
  <Location><longitude>2.2945</longitude><latitude>48.8584</latitude><altitude>0</altitude></Location>
  <Link><href>models/tri.dae</href></Link>
</Model></Placemark></kml>
`;
// The document the KML names is in models/, its TGA below it.
const kmz = await zipOf({ "doc.kml": kml, "models/tri.dae": textured("textures/two.tga"), "models/textures/two.tga": tga });
// Another document comes first in the archive; the manifest names the one
// to convert, whose image lies in a folder beside its own.
const zae = await zipOf({
    "first.dae": "<COLLADA><asset/></COLLADA>",
    "manifest.xml": "<?xml version=\"1.0\"?>\n<dae_root>scene/tri.dae</dae_root>\n",
    "scene/tri.dae": textured("../maps/red.png"),
    "maps/red.png": redPng,
});

// An archive's image is named by a relative URL in one folder beside the
// output, named after it, and the output names it so.
function checkArchiveImage(result, stem) {
    assert.equal(result.ok, true, JSON.stringify(result.diagnostics));
    assert.equal(result.images.length, 1, JSON.stringify(result.diagnostics));
    const [image] = result.images;
    const parts = image.name.split("/");
    assert.ok(parts.length >= 2 && !parts.includes("..") && !image.name.startsWith("/"), image.name);
    assert.ok(parts[0].startsWith(stem), `${image.name}: in a folder named after ${stem}`);
    assert.ok(result.x3d.includes(image.name), "the output names the image");
    return image;
}

test("a KMZ converts the document its KML names, with its TGA as a PNG, and keeps the place as text", () => {
    const result = convert(kmz, { faithful: true, outputName: "tower.x3d" });
    const image = checkArchiveImage(result, "tower");
    assert.match(image.name, /\.png$/);
    const pixels = pixelsOf(image.data);
    assert.deepEqual([pixels.width, pixels.height], [2, 1]);
    assert.deepEqual([pixels.at(0, 0), pixels.at(1, 0)], [[0, 0, 255], [255, 0, 0]]);
    assert.match(result.x3d, /coordIndex='\s*0 1 2 -1'/);
    assert.match(result.x3d, /<WorldInfo [^>]*48\.8584/);
});

test("a ZAE converts the document its manifest names, its PNG handed over as it is", () => {
    for (const document of [zae, zae.buffer, Buffer.from(zae)]) {
        const result = convert(document, { faithful: true, outputName: "out/scene.x3d" });
        const image = checkArchiveImage(result, "scene");
        assert.deepEqual(image.data, redPng);
        assert.match(result.x3d, /coordIndex='\s*0 1 2 -1'/);
    }
});

test("the classic conversion does not read archives", () => {
    const result = convert(kmz);
    assert.equal(result.ok, false);
    assert.deepEqual(result.images, []);
    assert.equal(result.diagnostics.filter(d => d.severity === "error").length, 1);
});

test("the morvane command converts an archive beside it with its images", () => inFolder(work => {
    writeFileSync(join(work, "tower.kmz"), kmz);
    const run = npx("--faithful", join(work, "tower.kmz"));
    assert.equal(run.status, 0, run.stderr.toString());
    assert.deepEqual(ourLines(run), []);
    const expected = convert(kmz, { faithful: true, outputName: "tower.x3d" });
    assert.deepEqual(readFileSync(join(work, "tower.x3d")), Buffer.from(expected.bytes));
    const [image] = expected.images;
    assert.ok(existsSync(join(work, dirname(image.name))));
    assert.deepEqual(readFileSync(join(work, image.name)), Buffer.from(image.data));
}));
