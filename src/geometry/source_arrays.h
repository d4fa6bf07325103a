// Number arrays of a document, every float_array found again by id, and the
// two list parsers that turn element text into numbers.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace morvane {

struct FloatArray {
    std::string Id;
    std::vector<float> Values;
};

// The first array in document order whose Id equals `id`, or null.
FloatArray* FindFloatArray(const std::vector<std::unique_ptr<FloatArray>>& sources, const std::string& id);

// Appends the numbers of `text` to `target`. Tokens are separated by runs of
// blanks, tabs, carriage returns and line feeds; each is read as "%g" reads
// it into a float, and a token that does not convert repeats the previous
// value (0 before the first). Text of white space alone is one empty token.
void TokenizeFloats(std::string_view text, std::vector<float>& target);

// Replaces `out` with the integers of `text`. After trimming white space
// from both ends, tokens are separated by exactly one blank: tabs and line
// breaks stay inside a token, and two blanks make an empty token. Each token
// is read as "%d" reads it; an empty or unconvertible token repeats the
// previous integer (0 before the first).
void TokenizeInts(std::string_view text, std::vector<std::int32_t>& out);

// One token as "%g" reads it into a float: `value` is kept when nothing
// converts. Exposed for the tests that hold it to the C library.
void ConvertFloatToken(std::string_view token, float& value);
// One token as "%d" reads it; `value` is kept when nothing converts.
void ConvertIntToken(std::string_view token, std::int32_t& value);

}  // namespace morvane
