#include "geometry/source_arrays.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>

namespace morvane {

namespace {

constexpr std::string_view kDelimiters = " \t\r\n";

bool IsDelimiter(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view Trim(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kDelimiters);
    if (first == std::string_view::npos) return {};
    const std::size_t last = text.find_last_not_of(kDelimiters);
    return text.substr(first, last - first + 1);
}

// Whether the fast conversion may be trusted with a token that starts here:
// a plain decimal after at most one sign. Everything else (leading white
// space, hex forms, inf, nan, doubled signs) goes to the C library.
bool StartsAsDecimal(std::string_view token, bool allowPoint) {
    std::size_t at = (token[0] == '-') ? 1 : 0;
    if (at >= token.size()) return false;
    return IsDigit(token[at]) || (allowPoint && token[at] == '.');
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

FloatArray& SourceList::Add(std::string id) {
    arrays_.push_back(std::make_unique<FloatArray>(std::move(id)));
    FloatArray& array = *arrays_.back();
    byId_.Note(array.Id, &array);
    return array;
}

void SourceList::clear() {
    byId_.Clear();
    arrays_.clear();
}

void ConvertFloatToken(std::string_view token, float& value) {
    if (token.empty()) return;
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

void TokenizeFloats(std::string_view text, std::vector<float>& target) {
    text = Trim(text);
    // Counting first keeps a long array from growing by copies.
    std::size_t tokens = 1;
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (!IsDelimiter(text[i]) && IsDelimiter(text[i - 1])) ++tokens;
    }
    target.reserve(target.size() + tokens);

    float value = 0.0f;
    const char* at = text.data();
    const char* const end = at + text.size();
    while (true) {
        const char* stop = at;
        while (stop != end && !IsDelimiter(*stop)) ++stop;
        ConvertFloatToken(std::string_view(at, static_cast<std::size_t>(stop - at)), value);
        target.push_back(value);
        if (stop == end) break;
        at = stop;
        while (IsDelimiter(*at)) ++at;
    }
}

void TokenizeInts(std::string_view text, std::vector<std::int32_t>& out) {
    text = Trim(text);
    out.clear();
    out.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), ' ')) + 1);

    std::int32_t value = 0;
    const char* at = text.data();
    const char* const end = at + text.size();
    while (true) {
        const void* blank = at == end ? nullptr : std::memchr(at, ' ', static_cast<std::size_t>(end - at));
        const char* stop = blank != nullptr ? static_cast<const char*>(blank) : end;
        ConvertIntToken(std::string_view(at, static_cast<std::size_t>(stop - at)), value);
        out.push_back(value);
        if (stop == end) break;
        at = stop + 1;
    }
}

}  // namespace morvane
