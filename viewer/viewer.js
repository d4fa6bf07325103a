// Shows one X3D file in X_ITE: the one named by ?url= (relative to this
// page), or one dropped onto the page. The status line says what loaded or
// why it failed.
//
// For scripts that drive the page (bench/render-check): window.viewer.done
// is a promise of the last load's outcome, { url, loaded, error },
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
        say("Drop an .x3d file onto this page, or open it with ?url=PATH (relative to this page).");
        window.viewer.done = Promise.resolve({ url: null, loaded: false, error: "no file given" });
    }

    document.addEventListener("dragover", event => {
        event.preventDefault();
        document.body.classList.add("dragging");
    });
    document.addEventListener("dragleave", () => document.body.classList.remove("dragging"));
    document.addEventListener("drop", event => {
        event.preventDefault();
        document.body.classList.remove("dragging");
        const file = event.dataTransfer?.files?.[0];
        if (!file) return;
        // A dropped file has no folder: the images it names cannot be found.
        const blob = URL.createObjectURL(file);
        window.viewer.done = show(browser, blob, `${file.name} (dropped; its images cannot be found)`)
            .finally(() => URL.revokeObjectURL(blob));
    });
}

window.viewer = {
    done: new Promise(() => {}),
    nodes: () => sceneNodes(X3D.getBrowser(canvas)),
    geometry: () => drawnGeometry(X3D.getBrowser(canvas)),
};

X3D(() => start(X3D.getBrowser(canvas)),
    error => say(`The X3D browser did not start: ${error?.message ?? error}`, true));
