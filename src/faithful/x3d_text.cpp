#include "faithful/x3d_text.h"

#include <algorithm>
#include <array>

namespace morvane::faithful {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct Decoded {
    char32_t Code;
    std::size_t Length;  // at least 1
    bool Valid;
};

// The character at text[at], or, when the text there is ill-formed, the
// length of the longest start of a sequence found there (at least a byte).
Decoded DecodeAt(std::string_view text, std::size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) return {lead, 1, true};
    int follow;
    char32_t code;
    // The range of the first continuation byte excludes overlong forms,
    // surrogates and what lies beyond U+10FFFF.
    unsigned char low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        follow = 1;
        code = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        follow = 2;
        code = lead & 0x0F;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        follow = 3;
        code = lead & 0x07;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    } else {
        return {0xFFFD, 1, false};
    }
    std::size_t length = 1;
    for (int k = 0; k < follow; ++k) {
        if (at + length >= text.size()) return {0xFFFD, length, false};
        const auto next = static_cast<unsigned char>(text[at + length]);
        if (next < low || next > high) return {0xFFFD, length, false};
        code = (code << 6) | (next & 0x3F);
        ++length;
        low = 0x80;
        high = 0xBF;
    }
    return {code, length, true};
}

void AppendUtf8(std::string& out, char32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

void AppendEscaped(std::string& out, std::string_view text, bool inMFString) {
    for (std::size_t at = 0; at < text.size();) {
        const Decoded d = DecodeAt(text, at);
        const std::string_view bytes = text.substr(at, d.Length);
        at += d.Length;
        if (!d.Valid) {
            out += kReplacement;
            continue;
        }
        switch (d.Code) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '\'':
            out += "&apos;";
            break;
        case '"':
            out += inMFString ? "\\\"" : "&quot;";
            break;
        case '\\':
            out += inMFString ? "\\\\" : "\\";
            break;
        case '\t':
            out += "&#9;";
            break;
        case '\n':
            out += "&#10;";
            break;
        case '\r':
            out += "&#13;";
            break;
        default:
            if (d.Code < 0x20 || d.Code == 0xFFFE || d.Code == 0xFFFF) {
                out += kReplacement;
            } else {
                out += bytes;
            }
            break;
        }
    }
}

bool IsNameStart(char32_t c) {
    if (c < 0x80) return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
    return (c >= 0xC0 && c <= 0xD6) || (c >= 0xD8 && c <= 0xF6) || (c >= 0xF8 && c <= 0x2FF) ||
           (c >= 0x370 && c <= 0x37D) || (c >= 0x37F && c <= 0x1FFF) || (c >= 0x200C && c <= 0x200D) ||
           (c >= 0x2070 && c <= 0x218F) || (c >= 0x2C00 && c <= 0x2FEF) || (c >= 0x3001 && c <= 0xD7FF) ||
           (c >= 0xF900 && c <= 0xFDCF) || (c >= 0xFDF0 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0xEFFFF);
}

// XML's name characters less '.', which X3D names may not hold.
bool IsNameRest(char32_t c) {
    return IsNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == 0xB7 || (c >= 0x300 && c <= 0x36F) ||
           c == 0x203F || c == 0x2040;
}

// The words X3D's grammar reserves, which a name may not be.
constexpr std::array<std::string_view, 26> kKeywords = {
    "AS",        "component",  "DEF",     "EXPORT",       "EXTERNPROTO",    "FALSE",     "IMPORT",
    "IS",        "META",       "NULL",    "PROFILE",      "PROTO",          "ROUTE",     "TO",
    "TRUE",      "UNIT",       "USE",     "X3D",          "initializeOnly", "inputOnly", "inputOutput",
    "outputOnly", "eventIn",   "eventOut", "exposedField", "field"};

}  // namespace

bool IsValidUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const Decoded d = DecodeAt(text, at);
        if (!d.Valid) return false;
        at += d.Length;
    }
    return true;
}

std::string RepairUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const Decoded d = DecodeAt(text, at);
        out += d.Valid ? text.substr(at, d.Length) : kReplacement;
        at += d.Length;
    }
    return out;
}

std::string Latin1ToUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char byte : text) AppendUtf8(out, static_cast<unsigned char>(byte));
    return out;
}

void AppendAttributeText(std::string& out, std::string_view text) { AppendEscaped(out, text, false); }

void AppendMFString(std::string& out, std::span<const std::string> values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i > 0) out += ' ';
        out += '"';
        AppendEscaped(out, values[i], true);
        out += '"';
    }
}

void AppendMFString(std::string& out, std::string_view value) {
    out += '"';
    AppendEscaped(out, value, true);
    out += '"';
}

std::string ValidName(std::string_view wanted) {
    std::string out;
    out.reserve(wanted.size() + 1);
    for (std::size_t at = 0; at < wanted.size();) {
        const Decoded d = DecodeAt(wanted, at);
        if (d.Valid && IsNameRest(d.Code)) {
            if (out.empty() && !IsNameStart(d.Code)) out += '_';
            out += wanted.substr(at, d.Length);
        } else {
            out += '_';
        }
        at += d.Length;
    }
    if (out.empty() || std::find(kKeywords.begin(), kKeywords.end(), out) != kKeywords.end()) return '_' + out;
    return out;
}

void DefNames::Reserve(std::string_view wanted) { Reserved.insert(ValidName(wanted)); }

std::string DefNames::Give(std::string_view wanted) {
    std::string name = ValidName(wanted);
    if (Given.insert(name).second) return name;
    unsigned long& next = NextSuffix.try_emplace(name, 1).first->second;
    for (;; ++next) {
        std::string candidate = name + '_' + std::to_string(next);
        if (Reserved.contains(candidate) || !Given.insert(candidate).second) continue;
        ++next;
        return candidate;
    }
}

}  // namespace morvane::faithful
