// Shows one X3D file in X_ITE: the one named by ?url= (relative to this
// page), or one dropped onto the page. A dropped (or picked) COLLADA
// document, with its images or its whole folder, is converted on this
// machine by the WebAssembly build in a worker (convert-worker.js) and
// shown with the dropped images (convert.js). The status line says what
// loaded or why it failed.
//
// For scripts that drive the page (bench/render-check, bench/drop-check):
// window.viewer.done is a promise of the last load's outcome, { url, loaded, error },
// window.viewer.lastResult what the last conversion gave (ok, diagnostics,
// image names, URLs not found and left out, whether it read an archive),
// window.viewer.nodes() lists the nodes of the scene shown, and
// window.viewer.geometry() measures what it draws (see drawnGeometry).

"use strict";

const statusLine = document.getElementById("status");
const canvas = document.getElementById("view");

function say(text, failed = false) {
    statusLine.textContent = text;
    statusLine.title = text;
    statusLine.classList.toggle("failed", failed);
}

// Every node reachable from the current scene's root nodes through the
// fields that hold nodes, each node once, parents before children.
function sceneNodes(browser) {
    const seen = new Set();
    const order = [];
    const visit = node => {
        if (!node || seen.has(node)) return;
        seen.add(node);
        order.push(node);
        for (const field of node.getFieldDefinitions()) {
            if (field.accessType === X3D.X3DConstants.inputOnly) continue;
            const value = node[field.name];
            if (field.dataType === X3D.X3DConstants.SFNode) visit(value);
            else if (field.dataType === X3D.X3DConstants.MFNode) for (const child of value) visit(child);
        }
    };
    for (const node of browser.currentScene.rootNodes) visit(node);
    return order;
}

// What X_ITE draws of the current scene, taken from its own data: each
// Shape it would draw (visible, with a geometry) once per path from a root
// node, so a Shape under a USE'd Transform counts once per use, with the
// model matrix of that path (X_ITE's getShapes, the walk its StaticGroup
// uses), and the vertices of its geometry as X_ITE built them for the GPU
// (four numbers a vertex): triangles for faces, where an IndexedFaceSet's
// polygon of n corners is n - 2 triangles (fewer when X_ITE drops a face of
// fewer than three corners or a degenerate one), pairs for line sets, one a
// point for point sets. Returns the counts, the world-space box of all
// those vertices (null when there are none) and, apart, the box that X_ITE
// itself gives the scene's layer (its bounding boxes grow when a child's
// box is turned, so this one can be larger than the vertices' box).
// faceTriangles counts the triangles the faces stand for, n - 2 for each
// IndexedFaceSet face of n >= 3 indices, and the drawn ones for other
// geometry: X_ITE's tessellator (convex='false') leaves out triangles of no
// area, which the drawn count then lacks.
function drawnGeometry(browser) {
    const identity = new X3D.SFMatrix4f().getValue();
    const shapes = [];
    for (const root of browser.currentScene.rootNodes)
        root?.getValue().getShapes?.(shapes, identity);

    const low = [Infinity, Infinity, Infinity], high = [-Infinity, -Infinity, -Infinity];
    const counts = { shapes: shapes.length, triangles: 0, faceTriangles: 0, lines: 0, points: 0 };
    for (const { modelMatrix: m, shapeNode } of shapes) {
        const geometry = shapeNode.getGeometry();
        const field = geometry?.getVertices?.();
        if (!field) continue;
        const vertices = field.getValue(), length = field.length;
        const perVertex = length / 4;
        switch (geometry.getGeometryType()) {
            case 0: counts.points += perVertex; break;
            case 1: counts.lines += perVertex / 2; break;
            default:
                counts.triangles += perVertex / 3;
                counts.faceTriangles += geometry.getTypeName() !== "IndexedFaceSet" ? perVertex / 3
                    : geometry.getCoord() ? faceTriangles(geometry._coordIndex.getValue(), geometry._coordIndex.length)
                    : 0;
                break;
        }
        // X_ITE's matrices act on row vectors: p' = p M.
        for (let i = 0; i < length; i += 4) {
            const x = vertices[i], y = vertices[i + 1], z = vertices[i + 2];
            const world = [x * m[0] + y * m[4] + z * m[8] + m[12],
                           x * m[1] + y * m[5] + z * m[9] + m[13],
                           x * m[2] + y * m[6] + z * m[10] + m[14]];
            for (let axis = 0; axis < 3; axis++) {
                if (world[axis] < low[axis]) low[axis] = world[axis];
                if (world[axis] > high[axis]) high[axis] = world[axis];
            }
        }
    }
    const box = low[0] <= high[0] ? { min: low, max: high } : null;

    let browserBox = null;
    const layer = browser.getActiveLayer?.();
    if (layer) {
        const bbox = layer.getBBox(new X3D.Box3());
        const min = new X3D.Vector3(), max = new X3D.Vector3();
        bbox.getExtents(min, max);
        if (!bbox.size.equals(X3D.Vector3.ZERO) || !bbox.center.equals(X3D.Vector3.ZERO))
            browserBox = { min: [min.x, min.y, min.z], max: [max.x, max.y, max.z] };
    }
    return { ...counts, box, browserBox };
}

// The triangles that the first LENGTH numbers of a coordIndex stand for,
// n - 2 for each face of n >= 3 indices (a last face needs no -1).
function faceTriangles(coordIndex, length) {
    let triangles = 0, corners = 0;
    for (let i = 0; i <= length; i++) {
        if (i < length && coordIndex[i] >= 0) { corners++; continue; }
        if (corners >= 3) triangles += corners - 2;
        corners = 0;
    }
    return triangles;
}

// Why a URL could not be loaded: the server's answer when it was not a
// success, else X_ITE's own message.
async function explain(url, error) {
    if (!url.startsWith("blob:")) {
        try {
            const response = await fetch(url, { method: "HEAD", cache: "no-store" });
            if (!response.ok) return `HTTP ${response.status} ${response.statusText}`.trim();
        } catch (fetchError) {
            return `no answer from the server (${fetchError.message})`;
        }
    }
    const text = String(error?.message ?? error ?? "unknown error").split("\n")[0];
    return text || "X_ITE could not read it";
}

async function show(browser, url, label) {
    say(`Loading ${label}…`);
    try {
        await browser.loadURL(new X3D.MFString(url));
    } catch (error) {
        const reason = await explain(url, error);
        say(`Could not load ${label}: ${reason}`, true);
        return { url, loaded: false, error: reason };
    }
    const shapes = sceneNodes(browser).filter(node => node.getNodeTypeName() === "Shape").length;
    say(`Loaded ${label}: ${shapes} shape${shapes === 1 ? "" : "s"}. ` +
        "Drag to turn, wheel to zoom, right click for viewpoints.");
    return { url, loaded: true, error: null };
}

function start(browser) {
    const url = new URLSearchParams(location.search).get("url");
    if (url) {
        window.viewer.done = show(browser, url, url);
    } else {
        say("Drop a .dae document (with its images, or its folder) or a .kmz or .zae archive to convert it " +
            "here, or an .x3d file; or open one with ?url=PATH (relative to this page).");
        window.viewer.done = Promise.resolve({ url: null, loaded: false, error: "no file given" });
    }

    document.addEventListener("dragover", event => {
        event.preventDefault();
        document.body.classList.add("dragging");
    });
    document.addEventListener("dragleave", () => document.body.classList.remove("dragging"));
    document.addEventListener("drop", async event => {
        event.preventDefault();
        document.body.classList.remove("dragging");
        const files = await droppedFiles(event.dataTransfer);
        window.viewer.done = open(browser, files);
    });
    for (const id of ["pick", "pick-folder"]) {
        const input = document.getElementById(id);
        input.addEventListener("change", () => {
            const files = Array.from(input.files, file => ({ path: file.webkitRelativePath || file.name, file }));
            input.value = "";
            window.viewer.done = open(browser, files);
        });
    }
}

// The dropped files with their paths below what was dropped, folders read
// through; plain files where the browser gives no entries.
async function droppedFiles(transfer) {
    const entries = Array.from(transfer?.items ?? [], item => item.webkitGetAsEntry?.()).filter(Boolean);
    if (entries.length === 0) return Array.from(transfer?.files ?? [], file => ({ path: file.name, file }));
    const files = [];
    const visit = async entry => {
        if (entry.isFile) {
            const file = await new Promise((resolve, reject) => entry.file(resolve, reject));
            files.push({ path: entry.fullPath.replace(/^\//, ""), file });
        } else if (entry.isDirectory) {
            const reader = entry.createReader();
            // A folder's entries come in batches until an empty one.
            for (;;) {
                const batch = await new Promise((resolve, reject) => reader.readEntries(resolve, reject));
                if (batch.length === 0) break;
                for (const child of batch) await visit(child);
            }
        }
    };
    for (const entry of entries) await visit(entry);
    return files;
}

// Shows what was dropped or picked: converts the first document among the
// files (an .x3d file alone is shown as it is).
async function open(browser, files) {
    const documents = dropped.documentsAmong(files.map(file => file.path));
    if (documents.length === 0) {
        const x3d = files.find(file => /\.x3dv?$/i.test(file.path));
        if (!x3d) {
            say("Nothing to show: drop a .dae document (with its images, or its folder), a .kmz or .zae archive " +
                "or an .x3d file.", true);
            return { url: null, loaded: false, error: "no document" };
        }
        const blob = URL.createObjectURL(x3d.file);
        // A dropped file has no folder: the images it names cannot be found.
        return show(browser, blob, `${x3d.path} (dropped; its images cannot be found)`)
            .finally(() => URL.revokeObjectURL(blob));
    }
    return convertAndShow(browser, files, documents[0], documents.length - 1);
}

let worker = null;
let objectUrls = [];

// Raw deflate in the browser's own compression streams, for the zip
// download's X3D text; null where the browser has none (entries are then
// stored).
const deflateRaw = (() => {
    try {
        new CompressionStream("deflate-raw");
    } catch {
        return null;
    }
    return async bytes => {
        const stream = new Blob([bytes]).stream().pipeThrough(new CompressionStream("deflate-raw"));
        return new Uint8Array(await new Response(stream).arrayBuffer());
    };
})();

// Converts one document in the worker and shows the result: progress on the
// way, every diagnostic in the list below the status line, the output
// offered for download, alone and, when the conversion gave images (PNGs
// standing in for images browsers cannot decode, an archive's images), in a
// zip file with them in the folders the output names them by.
// An archive is converted faithfully whatever the switch says: the classic
// conversion reads documents only.
async function convertAndShow(browser, files, documentPath, others) {
    const diagnosticsList = document.getElementById("diagnostics");
    const downloads = document.getElementById("downloads");
    const progress = document.getElementById("progress");
    diagnosticsList.replaceChildren();
    downloads.replaceChildren();
    for (const url of objectUrls) URL.revokeObjectURL(url);
    objectUrls = [];
    const note = (severity, text) => {
        const item = document.createElement("li");
        item.className = severity;
        item.textContent = `${severity}: ${text}`;
        diagnosticsList.append(item);
    };

    const byPath = new Map(files.map(file => [file.path, file.file]));
    const contents = {};
    for (const file of files) contents[file.path] = await file.file.arrayBuffer();
    const documentBytes = contents[documentPath].slice(0);
    const archive = /\.(kmz|zae)$/i.test(documentPath) || dropped.isArchive(new Uint8Array(documentBytes, 0,
                                                                                             Math.min(4, documentBytes.byteLength)));
    const faithful = archive || document.getElementById("faithful").checked;

    worker ??= new Worker("convert-worker.js");
    progress.hidden = false;
    progress.removeAttribute("value");
    const outcome = await new Promise(resolve => {
        worker.onmessage = ({ data }) => {
            if (data.type === "stage") say(data.text);
            else if (data.type === "progress") say(`Converting ${documentPath}… ${data.marks} progress marks`);
            else resolve(data);
        };
        worker.onerror = event => resolve({ type: "failed", message: event.message || "the converter stopped" });
        // An archive's images are inside it: the converter is not given
        // the archive a second time among the files.
        const given = archive ? Object.fromEntries(Object.entries(contents).filter(([path]) => path !== documentPath))
                              : contents;
        worker.postMessage({ document: documentBytes, location: documentPath, files: given, faithful });
    });
    progress.hidden = true;
    if (outcome.type === "failed") {
        worker.terminate();
        worker = null;
        say(`Could not convert ${documentPath}: ${outcome.message}`, true);
        return { url: null, loaded: false, error: outcome.message };
    }
    const { result } = outcome;
    window.viewer.lastResult = { ok: result.ok, diagnostics: result.diagnostics, archive, faithful,
                                 images: result.images.map(image => image.name) };
    for (const d of result.diagnostics) {
        const place = d.line ? ` (line ${d.line}, column ${d.column})` : "";
        note(d.severity, `${d.message}${place} [${d.kind}]`);
    }
    if (!result.ok) {
        say(`${documentPath} gave no output${result.diagnostics.length ? "" : ": no reason given"}.`, true);
        return { url: null, loaded: false, error: result.diagnostics.map(d => d.message).join("; ") || "no output" };
    }

    const outputPath = dropped.outputPathFor(documentPath);
    const outputFolder = dropped.folderOf(outputPath);
    const urls = new Map();
    const objectUrl = (blob) => {
        const url = URL.createObjectURL(blob);
        objectUrls.push(url);
        return url;
    };
    for (const [path, file] of byPath) urls.set(path, objectUrl(file));
    const offer = (blob, name, text) => {
        const link = document.createElement("a");
        link.href = objectUrl(blob);
        link.download = name;
        link.textContent = text;
        downloads.append(link);
    };
    const outputName = outputPath.split("/").pop();
    offer(new Blob([result.bytes], { type: "model/x3d+xml" }), outputName, `Download ${outputName}`);
    for (const image of result.images) {
        const path = dropped.normalizePath(outputFolder ? `${outputFolder}/${image.name}` : image.name);
        if (path !== null) urls.set(path, objectUrl(new Blob([image.data], { type: dropped.imageType(image.data) })));
    }
    if (result.images.length) {
        // The images keep their folders only in a zip file: a browser
        // saves each link's file alone, by its last name.
        const entries = dropped.downloadEntries(outputName, result.bytes, result.images);
        const zipName = outputName.replace(/\.x3d$/, "") + ".zip";
        const count = entries.length - 1;
        offer(new Blob([await zipWriter.zip(entries, { deflate: deflateRaw })], { type: "application/zip" }), zipName,
              `Download ${zipName} (${outputName} and ${count} image${count === 1 ? "" : "s"})`);
    }

    const x3d = new TextDecoder().decode(result.bytes);
    const rewritten = dropped.rewriteUrls(x3d, outputPath, urls);
    for (const url of new Set(rewritten.missing)) note("warning", `not among the dropped files: ${url}`);
    for (const url of new Set(rewritten.blocked)) note("warning", `not fetched (away from this machine): ${url}`);
    window.viewer.lastResult.missing = rewritten.missing;
    window.viewer.lastResult.blocked = rewritten.blocked;
    const shown = objectUrl(new Blob([rewritten.text], { type: "model/x3d+xml" }));
    const mode = !faithful ? "classic" : archive && !document.getElementById("faithful").checked
        ? "faithful: an archive is read by the faithful conversion only" : "faithful";
    const label = `${outputPath} (${mode}${others ? `; ${others} more document${others === 1 ? "" : "s"} dropped` : ""})`;
    return show(browser, shown, label);
}

window.viewer = {
    done: new Promise(() => {}),
    nodes: () => sceneNodes(X3D.getBrowser(canvas)),
    geometry: () => drawnGeometry(X3D.getBrowser(canvas)),
};

X3D(() => start(X3D.getBrowser(canvas)),
    error => say(`The X3D browser did not start: ${error?.message ?? error}`, true));
