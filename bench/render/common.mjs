// What the browser checks share: a deadline on the browser's answers, and
// which requests stay on this machine.

// `promise`, or an error naming `what` when it has not settled within `ms`.
export function withTimeout(promise, what, ms) {
    let timer;
    return Promise.race([
        promise,
        new Promise((_, reject) => { timer = setTimeout(() => reject(new Error(`${what}: no answer in ${ms / 1000} s`)), ms); }),
    ]).finally(() => clearTimeout(timer));
}

// Whether a request stays on this machine: the page's own server on
// 127.0.0.1, or data, blob and about URLs.
export function isLocal(url) {
    if (/^(data|blob|about):/.test(url)) return true;
    try {
        return new URL(url).hostname === "127.0.0.1";
    } catch {
        return false;
    }
}
