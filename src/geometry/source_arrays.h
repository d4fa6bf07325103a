// Number arrays of a document, every float_array found again by id, and the
// two list parsers that turn element text into numbers.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/record_list.h"

namespace morvane {

// The smallest and largest value of each component over the whole points
// (three values each) of an array, every value multiplied by a scale.
// Values that are not numbers take no part, and among equal values the
// first one counts, as when the points are compared one after the other.
struct PointExtent {
    std::array<double, 3> Min;
    std::array<double, 3> Max;
};

struct FloatArray {
    explicit FloatArray(std::string id) : Id(std::move(id)) {}

    // The extent of the array's points at `scale`, computed once for as long
    // as the array and the scale stay the same: many primitives may read
    // one large array.
    const PointExtent& ExtentAt(double scale) const;

    // Fixed at creation: the arrays are found again by it.
    const std::string Id;
    // Values are only ever appended.
    std::vector<float> Values;

private:
    mutable PointExtent extent_{};
    mutable double extentScale_ = 0.0;
    mutable std::size_t extentValues_ = static_cast<std::size_t>(-1);
};

// Every number array of a document, in document order, each found again by
// its id. Ids need not be unique: the first array that bears one is found.
using SourceList = RecordList<FloatArray, &FloatArray::Id>;

inline FloatArray* FindFloatArray(const SourceList& sources, std::string_view id) { return sources.Find(id); }

// Reads a float list from its text as the text arrives in pieces, and gives
// for the whole text what TokenizeFloats gives, without holding the text:
// only a token that a piece cuts in two is kept until the next piece.
class FloatListReader {
public:
    void Feed(std::string_view text);
    // Ends the text and appends its numbers to `target`; the reader starts anew.
    void Finish(std::vector<float>& target);
    void Clear();

private:
    void Take(std::string_view token);

    std::vector<float> values_;
    std::string partial_;
    float value_ = 0.0f;
    bool anyToken_ = false;
};

// Reads an integer list from its text as it arrives in pieces, and gives
// for the whole text what TokenizeInts gives.
class IntListReader {
public:
    void Feed(std::string_view text);
    // Ends the text and replaces `out` with its integers; the reader starts anew.
    void Finish(std::vector<std::int32_t>& out);
    void Clear();

private:
    void CompleteToken();

    std::vector<std::int32_t> values_;
    // The token being read, and the delimiters seen behind it: they belong
    // to the text only if more text follows.
    std::string token_;
    std::string held_;
    std::int32_t value_ = 0;
    bool started_ = false;
};

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
