#include "faithful/image_paths.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>
#include <unordered_set>

namespace morvane::faithful {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

// The folders, relative to the document's, where an image that is not
// where its reference says is looked for by its file name.
constexpr std::array<std::string_view, 5> kFallbackFolders = {"", "textures", "images", "../textures",
                                                              "../materials/textures"};

bool IsAlpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

int HexValue(char c) {
    if (IsDigit(c)) return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

bool StartsEscape(std::string_view text, std::size_t at) {
    return at + 2 < text.size() && HexValue(text[at + 1]) >= 0 && HexValue(text[at + 2]) >= 0;
}

std::string Decoded(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        // %00 stays as it is: a NUL would cut the path short for the system.
        if (text[i] == '%' && StartsEscape(text, i) && (text[i + 1] != '0' || text[i + 2] != '0')) {
            out += static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

void AppendEscape(std::string& out, unsigned char byte) {
    constexpr char kHex[] = "0123456789ABCDEF";
    out += '%';
    out += kHex[byte >> 4];
    out += kHex[byte & 15];
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
    if (text.size() < prefix.size()) return false;
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        if (Lower(text[i]) != prefix[i]) return false;
    }
    return true;
}

// The length of the scheme that starts `text` ("http" in "http://"), or 0.
std::size_t SchemeLength(std::string_view text) {
    if (text.empty() || !IsAlpha(text[0])) return 0;
    std::size_t i = 1;
    while (i < text.size() && (IsAlpha(text[i]) || IsDigit(text[i]) || text[i] == '+' || text[i] == '-' ||
                               text[i] == '.')) {
        ++i;
    }
    return i < text.size() && text[i] == ':' ? i : 0;
}

// "C:" or "C|" (an old form in file: URLs) at the start.
bool StartsWithDrive(std::string_view path) {
    return path.size() >= 2 && IsAlpha(path[0]) && (path[1] == ':' || path[1] == '|') &&
           (path.size() == 2 || path[2] == '/');
}

std::string_view LastPart(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

// The document's folder: "" for a name without one, "/" for the root.
std::string_view Folder(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) return {};
    return slash == 0 ? path.substr(0, 1) : path.substr(0, slash);
}

std::string Joined(std::string_view folder, std::string_view path) {
    if (folder.empty() || (!path.empty() && path[0] == '/')) return NormalizePath(path);
    std::string joined(folder);
    joined += '/';
    joined += path;
    return NormalizePath(joined);
}

void Drive(ImageReference& r, std::string path) {
    r.Type = ImageReference::Kind::Foreign;
    if (path.size() >= 2 && path[1] == '|') path[1] = ':';
    r.Path = std::move(path);
}

// The text after "file:".
void ReadFileUrl(ImageReference& r, std::string_view rest) {
    r.FromFileUrl = true;
    rest = rest.substr(0, rest.find_first_of("?#"));
    std::string path;
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        const std::size_t slash = rest.find('/');
        const std::string_view host = rest.substr(0, slash);
        const std::string_view after = slash == std::string_view::npos ? std::string_view{} : rest.substr(slash);
        if (StartsWithDrive(host)) {
            Drive(r, Decoded(rest));
            return;
        }
        const bool thisMachine = host.empty() || (host.size() == 9 && StartsWithNoCase(host, "localhost"));
        if (!thisMachine) {
            r.Type = ImageReference::Kind::Foreign;
            r.Path = "//" + Decoded(rest);
            return;
        }
        path = Decoded(after);
    } else {
        path = Decoded(rest);
    }
    if (path.starts_with("/") && StartsWithDrive(std::string_view(path).substr(1))) {
        Drive(r, path.substr(1));
    } else if (StartsWithDrive(path)) {
        Drive(r, path);
    } else {
        r.Type = path.starts_with("/") ? ImageReference::Kind::Absolute : ImageReference::Kind::Relative;
        r.Path = path;
    }
}

// A place to try, and whether it is the place the reference names as it
// names it.
struct Candidate {
    std::string Path;
    bool Named;
};

std::vector<Candidate> CandidatesOf(const ImageReference& r, std::string_view documentPath) {
    std::vector<Candidate> out;
    if (r.Type == ImageReference::Kind::None || r.Type == ImageReference::Kind::Url) return out;
    std::unordered_set<std::string> seen;
    const std::string_view folder = Folder(documentPath);
    // The place as given, then with its extension in lower and upper case.
    const auto add = [&](std::string path, bool named) {
        const std::size_t name = path.rfind('/') + 1;  // npos + 1 == 0
        const std::size_t dot = path.rfind('.');
        std::array<std::string, 3> spellings{path, path, path};
        if (dot != std::string::npos && dot > name) {
            std::transform(path.begin() + dot, path.end(), spellings[1].begin() + dot, Lower);
            std::transform(path.begin() + dot, path.end(), spellings[2].begin() + dot, Upper);
        }
        for (std::size_t i = 0; i < spellings.size(); ++i) {
            if (seen.insert(spellings[i]).second) out.push_back({std::move(spellings[i]), named && i == 0});
        }
    };
    if (r.Type != ImageReference::Kind::Foreign) {
        add(Joined(folder, r.Path), true);
        if (!r.Undecoded.empty()) add(Joined(folder, r.Undecoded), true);
    }
    for (const std::string_view fallback : kFallbackFolders) {
        for (const std::string* name : {&r.FileName, &r.UndecodedFileName}) {
            if (name->empty()) continue;
            std::string path(fallback);
            if (!path.empty()) path += '/';
            path += *name;
            add(Joined(folder, path), false);
        }
    }
    return out;
}

std::string Absolute(std::string_view path, std::string_view workingDirectory) {
    if (!path.empty() && path[0] == '/') return NormalizePath(path);
    std::string joined(workingDirectory);
    joined += '/';
    joined += path;
    return NormalizePath(joined);
}

std::vector<std::string_view> Parts(std::string_view path) {
    std::vector<std::string_view> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find('/', start);
        if (end == std::string_view::npos) end = path.size();
        if (end > start) parts.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

// Dot segments of an absolute URL path removed; empty segments are kept.
std::string WithoutDotSegments(std::string_view path) {
    std::vector<std::string_view> kept;
    bool trailingSlash = false;
    std::size_t start = 1;  // past the leading '/'
    while (start <= path.size()) {
        std::size_t end = path.find('/', start);
        const bool last = end == std::string_view::npos;
        if (last) end = path.size();
        const std::string_view part = path.substr(start, end - start);
        if (part == ".") {
            trailingSlash = last;
        } else if (part == "..") {
            if (!kept.empty()) kept.pop_back();
            trailingSlash = last;
        } else {
            kept.push_back(part);
            trailingSlash = false;
        }
        start = end + 1;
    }
    std::string out;
    for (const std::string_view part : kept) {
        out += '/';
        out += part;
    }
    if (trailingSlash || out.empty()) out += '/';
    return out;
}

bool IsHttp(std::string_view text) { return StartsWithNoCase(text, "http://") || StartsWithNoCase(text, "https://"); }

}  // namespace

ImageReference ReadImageReference(std::string_view text) {
    ImageReference r;
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return r;
    std::string s(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
    std::replace(s.begin(), s.end(), '\\', '/');

    const std::size_t scheme = SchemeLength(s);
    if (scheme == 1) {
        Drive(r, Decoded(s));
    } else if (scheme == 4 && StartsWithNoCase(s, "file")) {
        ReadFileUrl(r, std::string_view(s).substr(5));
    } else if (scheme > 1) {
        r.Type = ImageReference::Kind::Url;
        r.Path = s;
        return r;
    } else if (s.starts_with("//")) {
        // A UNC path, \\server\share\name.
        r.Type = ImageReference::Kind::Foreign;
        r.Path = Decoded(s);
    } else {
        r.Type = s[0] == '/' ? ImageReference::Kind::Absolute : ImageReference::Kind::Relative;
        r.Path = Decoded(s);
        if (r.Path != s) {
            r.Undecoded = s;
            r.UndecodedFileName = LastPart(s);
        }
    }
    r.FileName = LastPart(r.Path);
    return r;
}

std::vector<std::string> ImageCandidates(const ImageReference& reference, std::string_view documentPath) {
    std::vector<std::string> out;
    for (Candidate& c : CandidatesOf(reference, documentPath)) out.push_back(std::move(c.Path));
    return out;
}

ImageLocation LocateImage(std::string_view reference, std::string_view document, std::string_view output,
                          std::string_view workingDirectory, const std::function<bool(const std::string&)>& isFile) {
    const ImageReference r = ReadImageReference(reference);
    ImageLocation out;
    if (r.Type == ImageReference::Kind::None) return out;
    if (r.Type == ImageReference::Kind::Url) {
        out.Status = ImageStatus::Remote;
        out.Url = EncodeUrl(r.Path);
        return out;
    }
    const std::string_view trimmed = document.substr(std::min(document.size(), document.find_first_not_of(kBlanks)));
    if (IsHttp(trimmed)) {
        // What a path of the author's machine names can only be beside the document.
        out.Status = ImageStatus::Remote;
        const bool local = r.Type == ImageReference::Kind::Foreign || r.FromFileUrl;
        if (local && r.FileName.empty()) return out;
        out.Url = ResolveUrl(trimmed, local ? EncodePath(r.FileName)
                                            : EncodeUrl(r.Undecoded.empty() ? r.Path : r.Undecoded));
        return out;
    }
    std::string documentPath(document);
    if (SchemeLength(trimmed) == 4 && StartsWithNoCase(trimmed, "file")) {
        documentPath = ReadImageReference(trimmed).Path;
    }

    const std::vector<Candidate> candidates = CandidatesOf(r, documentPath);
    for (const Candidate& c : candidates) {
        if (isFile(c.Path)) {
            out.Status = c.Named ? ImageStatus::Named : ImageStatus::Nearby;
            out.File = c.Path;
            out.Url = RelativeUrl(output, c.Path, workingDirectory);
            return out;
        }
    }
    // Named where a later copy may still be put: the named place, or beside
    // the document for a place of another machine.
    if (!candidates.empty()) out.Url = RelativeUrl(output, candidates.front().Path, workingDirectory);
    return out;
}

ImageLocation LocateImage(std::string_view reference, std::string_view document, std::string_view output) {
    std::error_code error;
    const std::filesystem::path current = std::filesystem::current_path(error);
    const std::string workingDirectory = error ? std::string(1, '/') : current.string();
    return LocateImage(reference, document, output, workingDirectory, [](const std::string& path) {
        std::error_code ignored;
        return std::filesystem::is_regular_file(path, ignored);
    });
}

std::string RelativeUrl(std::string_view output, std::string_view file, std::string_view workingDirectory) {
    const std::string from = Absolute(output, workingDirectory);
    const std::string to = Absolute(file, workingDirectory);
    std::vector<std::string_view> fromParts = Parts(from);
    if (!fromParts.empty()) fromParts.pop_back();  // the output's own name
    const std::vector<std::string_view> toParts = Parts(to);
    std::size_t common = 0;
    while (common < fromParts.size() && common + 1 < toParts.size() && fromParts[common] == toParts[common]) ++common;
    std::string url;
    for (std::size_t i = common; i < fromParts.size(); ++i) url += "../";
    for (std::size_t i = common; i < toParts.size(); ++i) {
        if (i > common) url += '/';
        url += EncodePath(toParts[i]);
    }
    return url;
}

std::string EncodePath(std::string_view path) {
    std::string out;
    out.reserve(path.size());
    for (const char c : path) {
        if (IsAlpha(c) || IsDigit(c) || c == '-' || c == '.' || c == '_' || c == '~' || c == '/') {
            out += c;
        } else {
            AppendEscape(out, static_cast<unsigned char>(c));
        }
    }
    return out;
}

std::string EncodeUrl(std::string_view url) {
    constexpr std::string_view kUnsafe = "\"<>\\^`{|}";
    std::string out;
    out.reserve(url.size());
    for (std::size_t i = 0; i < url.size(); ++i) {
        const auto byte = static_cast<unsigned char>(url[i]);
        if (byte <= 0x20 || byte >= 0x7F || kUnsafe.find(url[i]) != std::string_view::npos ||
            (url[i] == '%' && !StartsEscape(url, i))) {
            AppendEscape(out, byte);
        } else {
            out += url[i];
        }
    }
    return out;
}

std::string ResolveUrl(std::string_view base, std::string_view reference) {
    if (SchemeLength(reference) > 0) return std::string(reference);
    const std::size_t schemeEnd = base.find(':');
    if (schemeEnd == std::string_view::npos) return std::string(reference);
    const std::string_view scheme = base.substr(0, schemeEnd);
    if (reference.starts_with("//")) return std::string(scheme) + ":" + std::string(reference);

    std::string_view authority, basePath;
    std::string_view rest = base.substr(schemeEnd + 1);
    rest = rest.substr(0, rest.find_first_of("?#"));
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        const std::size_t slash = rest.find('/');
        authority = rest.substr(0, slash);
        basePath = slash == std::string_view::npos ? std::string_view{} : rest.substr(slash);
    } else {
        basePath = rest;
    }
    const std::size_t suffixAt = reference.find_first_of("?#");
    const std::string_view path = reference.substr(0, suffixAt);
    const std::string_view suffix = suffixAt == std::string_view::npos ? std::string_view{} : reference.substr(suffixAt);

    std::string merged;
    if (path.starts_with("/")) {
        merged = path;
    } else if (path.empty()) {
        merged = basePath.empty() ? "/" : basePath;
    } else {
        const std::size_t slash = basePath.rfind('/');
        merged = slash == std::string_view::npos ? "/" : std::string(basePath.substr(0, slash + 1));
        merged += path;
    }
    std::string out(scheme);
    out += "://";
    out += authority;
    out += WithoutDotSegments(merged);
    out += suffix;
    return out;
}

std::string NormalizePath(std::string_view path) {
    const bool absolute = !path.empty() && path[0] == '/';
    std::vector<std::string_view> kept;
    for (const std::string_view part : Parts(path)) {
        if (part == ".") continue;
        if (part == "..") {
            if (!kept.empty() && kept.back() != "..") {
                kept.pop_back();
            } else if (!absolute) {
                kept.push_back(part);
            }
            continue;
        }
        kept.push_back(part);
    }
    if (kept.empty()) return absolute ? "/" : ".";
    std::string out;
    for (const std::string_view part : kept) {
        if (absolute || !out.empty()) out += '/';
        out += part;
    }
    return out;
}

}  // namespace morvane::faithful
