#include "archive/archive_document.h"

#include <expat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <optional>

namespace morvane::archive {

namespace {

ConversionError ArchiveError(const std::string& message) { return ConversionError(ErrorKind::kBadArchive, message); }

bool EndsWithIgnoringCase(std::string_view name, std::string_view suffix) {
    if (name.size() < suffix.size()) return false;
    name.remove_prefix(name.size() - suffix.size());
    for (std::size_t i = 0; i < suffix.size(); ++i) {
        const char c = name[i] >= 'A' && name[i] <= 'Z' ? static_cast<char>(name[i] - 'A' + 'a') : name[i];
        if (c != suffix[i]) return false;
    }
    return true;
}

std::string_view Trim(std::string_view text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    while (!text.empty() && blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && blank(text.back())) text.remove_suffix(1);
    return text;
}

// The text of elements along paths of local names, collected while a
// control file is parsed: the first occurrence of each path wins, and
// nothing is collected once the first element named `scope` has ended.
class ControlFileReader {
public:
    ControlFileReader(std::string_view scope, std::vector<std::vector<std::string_view>> paths)
        : scope_(scope), paths_(std::move(paths)), values_(paths_.size()) {}

    // False when the file is not well-formed XML.
    bool Parse(const std::string& text) {
        XML_Parser parser = XML_ParserCreateNS(nullptr, '\n');
        if (parser == nullptr) throw std::bad_alloc();
        XML_SetUserData(parser, this);
        XML_SetElementHandler(parser, &OnStart, &OnEnd);
        XML_SetCharacterDataHandler(parser, &OnText);
        const bool ok = XML_Parse(parser, text.data(), static_cast<int>(text.size()), XML_TRUE) == XML_STATUS_OK;
        XML_ParserFree(parser);
        return ok;
    }

    const std::optional<std::string>& Value(std::size_t path) const { return values_[path]; }

private:
    static std::string_view Local(const XML_Char* name) {
        const char* cut = std::strrchr(name, '\n');
        return cut == nullptr ? std::string_view(name) : std::string_view(cut + 1);
    }

    // The path from the scope element down, when inside it.
    std::optional<std::size_t> Matching() const {
        if (done_ || scopeDepth_ == 0) return std::nullopt;
        for (std::size_t p = 0; p < paths_.size(); ++p) {
            const auto& path = paths_[p];
            if (values_[p] || path.size() + scopeDepth_ != stack_.size()) continue;
            bool same = true;
            for (std::size_t i = 0; i < path.size() && same; ++i) same = stack_[scopeDepth_ + i] == path[i];
            if (same) return p;
        }
        return std::nullopt;
    }

    static void XMLCALL OnStart(void* self, const XML_Char* name, const XML_Char**) {
        auto* reader = static_cast<ControlFileReader*>(self);
        reader->stack_.emplace_back(Local(name));
        if (!reader->done_ && reader->scopeDepth_ == 0 && reader->stack_.back() == reader->scope_) {
            reader->scopeDepth_ = reader->stack_.size();
        }
        reader->text_.clear();
    }

    static void XMLCALL OnEnd(void* self, const XML_Char*) {
        auto* reader = static_cast<ControlFileReader*>(self);
        if (const auto path = reader->Matching()) reader->values_[*path] = std::string(Trim(reader->text_));
        if (reader->scopeDepth_ == reader->stack_.size()) {
            reader->done_ = true;
            reader->scopeDepth_ = 0;
        }
        reader->stack_.pop_back();
        reader->text_.clear();
    }

    static void XMLCALL OnText(void* self, const XML_Char* text, int length) {
        auto* reader = static_cast<ControlFileReader*>(self);
        // Only the text of a wanted element is kept, and never beyond the
        // file's own size.
        if (reader->Matching()) reader->text_.append(text, static_cast<std::size_t>(length));
    }

    std::string_view scope_;
    std::vector<std::vector<std::string_view>> paths_;
    std::vector<std::optional<std::string>> values_;
    std::vector<std::string> stack_;
    std::size_t scopeDepth_ = 0;
    bool done_ = false;
    std::string text_;
};

std::string ReadControlFile(ZipArchive& archive, const Entry& entry) {
    std::string text;
    std::string reason;
    if (!archive.ReadWhole(entry, kMostControlFileBytes, text, reason)) {
        throw ArchiveError(entry.Name + " cannot be read: " + reason);
    }
    return text;
}

// The entry a reference in a control file names, relative to the control
// file's own folder: as written, then percent-decoded.
const Entry* Resolve(const ZipArchive& archive, const Entry& from, std::string_view reference) {
    std::string_view folder = from.Name;
    const std::size_t slash = folder.rfind('/');
    folder = slash == std::string_view::npos ? std::string_view() : folder.substr(0, slash + 1);
    std::string text(Trim(reference));
    std::replace(text.begin(), text.end(), '\\', '/');
    if (text.starts_with("/")) return nullptr;
    for (const std::string& candidate : {text, PercentDecoded(text)}) {
        const auto path = NormalizeEntryPath(std::string(folder) + candidate);
        if (!path) continue;
        if (const Entry* entry = archive.Find(*path)) return entry;
    }
    return nullptr;
}

const Entry* FirstWithExtension(const ZipArchive& archive, std::string_view extension, bool rootOnly) {
    for (const Entry& entry : archive.Entries()) {
        if (rootOnly && entry.Name.find('/') != std::string::npos) continue;
        if (EndsWithIgnoringCase(entry.Name, extension)) return &entry;
    }
    return nullptr;
}

}  // namespace

std::string PercentDecoded(std::string_view text) {
    const auto hex = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    };
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        if (i + 2 >= text.size() || hex(text[i + 1]) < 0 || hex(text[i + 2]) < 0) return std::string(text);
        decoded += static_cast<char>(hex(text[i + 1]) * 16 + hex(text[i + 2]));
        i += 2;
    }
    return decoded;
}

ArchiveDocument FindDocument(ZipArchive& archive) {
    ArchiveDocument found;
    if (const Entry* manifest = archive.Find("manifest.xml")) {
        ControlFileReader reader("dae_root", {{}});
        if (!reader.Parse(ReadControlFile(archive, *manifest))) {
            throw ArchiveError("manifest.xml is not well-formed XML");
        }
        const auto& root = reader.Value(0);
        if (!root || root->empty()) throw ArchiveError("manifest.xml names no document in <dae_root>");
        found.Document = Resolve(archive, *manifest, *root);
        if (found.Document == nullptr) {
            throw ArchiveError("manifest.xml names " + *root + ", which the archive does not hold");
        }
        return found;
    }

    const Entry* kml = archive.Find("doc.kml");
    if (kml == nullptr) kml = FirstWithExtension(archive, ".kml", true);
    if (kml != nullptr) {
        // KML 2.2 links a model with <Link>; older files with <Url>.
        ControlFileReader reader("Model", {{"Link", "href"},
                                           {"Url", "href"},
                                           {"Location", "longitude"},
                                           {"Location", "latitude"},
                                           {"Location", "altitude"},
                                           {"altitudeMode"},
                                           {"Orientation", "heading"},
                                           {"Orientation", "tilt"},
                                           {"Orientation", "roll"},
                                           {"Scale", "x"},
                                           {"Scale", "y"},
                                           {"Scale", "z"}});
        if (!reader.Parse(ReadControlFile(archive, *kml))) throw ArchiveError(kml->Name + " is not well-formed XML");
        const auto& link = reader.Value(0) ? reader.Value(0) : reader.Value(1);
        if (link && !link->empty()) {
            found.Document = Resolve(archive, *kml, *link);
            if (found.Document == nullptr) {
                throw ArchiveError(kml->Name + " names " + *link + ", which the archive does not hold");
            }
            struct Group {
                const char* Title;
                std::array<const char*, 4> Names;
                std::size_t First;
            };
            const Group groups[] = {{"KML Location:", {"longitude", "latitude", "altitude", "altitudeMode"}, 2},
                                    {"KML Orientation:", {"heading", "tilt", "roll", nullptr}, 6},
                                    {"KML Scale:", {"x", "y", "z", nullptr}, 9}};
            for (const Group& group : groups) {
                std::string line;
                for (std::size_t i = 0; i < group.Names.size() && group.Names[i] != nullptr; ++i) {
                    const auto& value = reader.Value(group.First + i);
                    if (!value || value->empty()) continue;
                    line += std::string(" ") + group.Names[i] + "=" + *value;
                }
                if (!line.empty()) found.Placement.push_back(group.Title + line);
            }
            return found;
        }
    }
    found.Document = FirstWithExtension(archive, ".dae", false);
    if (found.Document == nullptr) {
        throw ArchiveError(kml != nullptr ? "zip archive without a COLLADA document (" + kml->Name +
                                                " links no model, and there is no .dae entry)"
                                          : "zip archive without a COLLADA document (no .kml, manifest.xml or .dae "
                                            "entry)");
    }
    return found;
}

}  // namespace morvane::archive
