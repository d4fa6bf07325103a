#include "geometry/source_arrays.h"

#include "support/number_text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>

namespace morvane {

namespace {

bool IsDelimiter(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Whether the fast conversion may be trusted with a token that starts here:
// a plain decimal after at most one sign. Everything else (leading white
// space, hex forms, inf, nan, doubled signs) goes to the C library.
bool StartsAsDecimal(std::string_view token, bool allowPoint) {
    std::size_t at = (token[0] == '-') ? 1 : 0;
    if (at >= token.size()) return false;
    return IsDigit(token[at]) || (allowPoint && token[at] == '.');
}

// A token of an integer list that is an optional '-' and up to nine digits,
// ending at `end` or before a character that is no digit. Gives where it
// ends, or null.
const char* ReadPlainInt(const char* at, const char* end, std::int32_t& value) {
    const bool negative = at != end && *at == '-';
    if (negative) ++at;
    const char* const first = at;
    std::int32_t magnitude = 0;
    while (at != end && IsDigit(*at) && at - first < 9) magnitude = magnitude * 10 + (*at++ - '0');
    if (at == first || (at != end && IsDigit(*at))) return nullptr;
    value = negative ? -magnitude : magnitude;
    return at;
}

}  // namespace

const PointExtent& FloatArray::ExtentAt(double scale) const {
    const bool sameScale = std::memcmp(&scale, &extentScale_, sizeof scale) == 0;
    if (sameScale && extentValues_ == Values.size()) return extent_;
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    extent_ = {{kInfinity, kInfinity, kInfinity}, {-kInfinity, -kInfinity, -kInfinity}};
    const std::size_t points = Values.size() / 3;
    for (std::size_t i = 0; i < points; ++i) {
        for (std::size_t k = 0; k < 3; ++k) {
            const double value = static_cast<double>(Values[3 * i + k]) * scale;
            if (value < extent_.Min[k]) extent_.Min[k] = value;
            if (value > extent_.Max[k]) extent_.Max[k] = value;
        }
    }
    extentScale_ = scale;
    extentValues_ = Values.size();
    return extent_;
}

void ConvertFloatToken(std::string_view token, float& value) {
    if (token.empty()) return;
    const char* const end = token.data() + token.size();
    float shortValue = 0.0f;
    if (ReadShortDecimal(token.data(), end, shortValue) == end) {
        value = shortValue;
        return;
    }
    // from_chars takes no '+', yet after one a plain decimal reads the same.
    std::string_view body = token;
    if (body[0] == '+' && body.size() > 1 && (IsDigit(body[1]) || body[1] == '.')) body.remove_prefix(1);
    if (StartsAsDecimal(body, true)) {
        float parsed = 0.0f;
        const auto [end, error] = std::from_chars(body.data(), body.data() + body.size(), parsed);
        // Only a whole token is certain to be what scanf collects; range
        // errors leave `parsed` unset where scanf gives inf or zero.
        if (error == std::errc() && end == body.data() + body.size()) {
            value = parsed;
            return;
        }
    }
    const std::string copy(token);
    float scanned = 0.0f;
    if (std::sscanf(copy.c_str(), "%g", &scanned) == 1) value = scanned;
}

void ConvertIntToken(std::string_view token, std::int32_t& value) {
    if (token.empty()) return;
    if (StartsAsDecimal(token, false)) {
        std::int32_t parsed = 0;
        // "%d" stops at the first character that is not a digit, as this
        // does, so the rest of the token does not matter.
        const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), parsed);
        if (error == std::errc()) {
            value = parsed;
            return;
        }
    }
    const std::string copy(token);
    int scanned = 0;
    if (std::sscanf(copy.c_str(), "%d", &scanned) == 1) value = scanned;
}

void FloatListReader::Feed(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        if (IsDelimiter(text[at])) {
            // A delimiter ends the token that a piece before this one began.
            if (!partial_.empty()) {
                Take(partial_);
                partial_.clear();
            }
            while (at < text.size() && IsDelimiter(text[at])) ++at;
            continue;
        }
        std::size_t stop = at;
        while (stop < text.size() && !IsDelimiter(text[stop])) ++stop;
        const std::string_view run = text.substr(at, stop - at);
        if (stop == text.size()) {
            partial_.append(run);  // the next piece may go on with it
        } else if (partial_.empty()) {
            Take(run);
        } else {
            partial_.append(run);
            Take(partial_);
            partial_.clear();
        }
        at = stop;
    }
}

void FloatListReader::Finish(std::vector<float>& target) {
    if (!partial_.empty()) Take(partial_);
    // Text of delimiters alone is one empty token, which repeats the value.
    if (!anyToken_) values_.push_back(value_);
    if (target.empty()) {
        target.swap(values_);
    } else {
        target.insert(target.end(), values_.begin(), values_.end());
    }
    Clear();
}

void FloatListReader::Clear() {
    std::vector<float>().swap(values_);
    std::string().swap(partial_);
    value_ = 0.0f;
    anyToken_ = false;
}

void FloatListReader::Take(std::string_view token) {
    ConvertFloatToken(token, value_);
    values_.push_back(value_);
    anyToken_ = true;
}

void IntListReader::Feed(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        if (!started_) {
            // Delimiters before the first token are trimmed away.
            while (at < text.size() && IsDelimiter(text[at])) ++at;
            if (at == text.size()) return;
            started_ = true;
        }
        if (token_.empty() && held_.empty()) {
            // At the start of a token: a plain integer with one blank behind
            // it and more text after that is a whole token, read in place.
            const char* const begin = text.data() + at;
            const char* const end = text.data() + text.size();
            std::int32_t value = 0;
            const char* stop = ReadPlainInt(begin, end, value);
            if (stop != nullptr && end - stop >= 2 && stop[0] == ' ' && !IsDelimiter(stop[1])) {
                value_ = value;
                values_.push_back(value);
                at += static_cast<std::size_t>(stop + 1 - begin);
                continue;
            }
        }
        std::size_t stop = at;
        const bool delimiters = IsDelimiter(text[at]);
        while (stop < text.size() && IsDelimiter(text[stop]) == delimiters) ++stop;
        if (delimiters) {
            // Held back until text follows them: at the end they are trimmed.
            held_.append(text.substr(at, stop - at));
        } else if (!held_.empty()) {
            // Text follows: the held delimiters belong to it after all. The
            // run itself is read on the next turn, which may start a token.
            for (const char c : held_) {
                if (c == ' ') {
                    CompleteToken();
                } else {
                    token_.push_back(c);
                }
            }
            held_.clear();
            continue;
        } else {
            token_.append(text.substr(at, stop - at));
        }
        at = stop;
    }
}

void IntListReader::Finish(std::vector<std::int32_t>& out) {
    // Text of delimiters alone is one empty token; otherwise the last token
    // ends here, and the delimiters held behind it are trimmed.
    CompleteToken();
    out.swap(values_);
    Clear();
}

void IntListReader::Clear() {
    std::vector<std::int32_t>().swap(values_);
    token_.clear();
    held_.clear();
    value_ = 0;
    started_ = false;
}

void IntListReader::CompleteToken() {
    ConvertIntToken(token_, value_);
    values_.push_back(value_);
    token_.clear();
}

void TokenizeFloats(std::string_view text, std::vector<float>& target) {
    FloatListReader reader;
    reader.Feed(text);
    reader.Finish(target);
}

void TokenizeInts(std::string_view text, std::vector<std::int32_t>& out) {
    IntListReader reader;
    reader.Feed(text);
    reader.Finish(out);
}

}  // namespace morvane
