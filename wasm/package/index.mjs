// The package's ES module entry: the same converter as index.js.
import morvane from "./index.js";

export function convert(document, options) {
    return morvane.convert(document, options);
}

// Reading it starts the module once, here at import.
export const version = morvane.version;

export default morvane;
