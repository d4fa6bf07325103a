// Shows one X3D file in X_ITE: the one named by ?url= (relative to this
// page), or one dropped onto the page. The status line says what loaded or
// why it failed.
//
// For scripts that drive the page (bench/render-check): window.viewer.done
// is a promise of the last load's outcome, { url, loaded, error }, and
// window.viewer.nodes() lists the nodes of the scene shown.

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

window.viewer = { done: new Promise(() => {}), nodes: () => sceneNodes(X3D.getBrowser(canvas)) };

X3D(() => start(X3D.getBrowser(canvas)),
    error => say(`The X3D browser did not start: ${error?.message ?? error}`, true));
