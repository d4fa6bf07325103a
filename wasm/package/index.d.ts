// morvane in WebAssembly: COLLADA 1.4 documents, and the .kmz and .zae
// archives that hold one with its images, converted to X3D scenes.

export interface ConvertOptions {
    /** The program's option words: "-sy", "-l", "-a30", "--faithful", ... */
    args?: string[];
    /**
     * Adds "--faithful": the scene as its author made it, images converted to PNG where needed.
     * Archives (.kmz, .zae) are read by the faithful conversion only.
     */
    faithful?: boolean;
    /**
     * Where the document is. With `files`, a name among them (default
     * "document.dae"); in Node without `files`, a path on this machine, whose
     * folder is where the images the document names are looked for.
     */
    location?: string;
    /** The output's name ("model.x3d"): viewpoints are named after it, images relative to its folder. */
    outputName?: string;
    /** Files beside the document (its images), by relative name. */
    files?: Record<string, Uint8Array | ArrayBuffer>;
    /** Called with each progress mark: "." faces read or welded, "+" a node written, "!" a library mesh. */
    onProgress?: (mark: string) => void;
}

export interface Diagnostic {
    /** "error": why there is no output; "warning": something to know of an output written all the same. */
    severity: "error" | "warning";
    /** A short fixed word: "malformed-xml", "nothing-to-convert", "image-not-found", ... */
    kind: string;
    message: string;
    /** From 1; 0 where no place in the document applies. */
    line: number;
    column: number;
}

export interface ConvertedImage {
    /** Relative to the output's folder, as the output names it ("model_files/textures/wood.jpg"). */
    name: string;
    /** The image's bytes: a PNG made by the conversion, or an archive's image as the archive holds it. */
    data: Uint8Array;
}

export interface ConvertResult {
    /** True when the document gave an output. */
    ok: boolean;
    status: "ok" | "refused" | "out-of-memory";
    /** The X3D text; null when there is no output. */
    x3d: string | null;
    /** The output's exact bytes; null when there is no output. */
    bytes: Uint8Array | null;
    diagnostics: Diagnostic[];
    /**
     * The files the output names that the caller is to store beside it (--faithful): PNGs made for
     * images that browsers cannot decode, and, for an archive, every image taken from it.
     */
    images: ConvertedImage[];
}

/**
 * Converts one document, or the document in a .kmz or .zae archive (told by
 * its bytes, under --faithful). Throws a TypeError for an option word that is not
 * one of the program's or a malformed argument; a document that gives no
 * output is a result with `ok` false and an error among its diagnostics.
 * An array as second argument stands for `{ args }`.
 */
export function convert(document: Uint8Array | ArrayBuffer | ArrayBufferView | string,
                        options?: ConvertOptions | string[]): ConvertResult;

/** The library's version, "1.0.0". */
export const version: string;
