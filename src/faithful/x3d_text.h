// Text in an X3D XML file: attribute values in single quotes, UTF-8
// checked and mended, MFString values, and DEF names that are valid and
// unique within one file.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "support/memory_budget.h"

namespace morvane::faithful {

// Whether `text` is well-formed UTF-8: no stray continuation byte, no
// truncated, overlong or surrogate sequence, nothing above U+10FFFF.
bool IsValidUtf8(std::string_view text);

// `text` with every ill-formed piece replaced by U+FFFD: one replacement for
// each longest start of a sequence that cannot be completed (so "\xE2\x82"
// before "a" gives one U+FFFD and the "a"), and one for a byte that starts
// nothing. Well-formed text comes back unchanged.
std::string RepairUtf8(std::string_view text);

// Each byte as the character of the same code point (ISO-8859-1).
std::string Latin1ToUtf8(std::string_view text);

// Appends `text` as it must stand inside an attribute value delimited by
// single quotes: & < > ' " as entity references; tab, line feed and
// carriage return as character references, since a reader turns them into
// blanks otherwise; characters XML 1.0 cannot carry (other C0 controls,
// U+FFFE, U+FFFF) and ill-formed UTF-8 as U+FFFD.
void AppendAttributeText(std::string& out, std::string_view text);

// Appends the strings as one MFString attribute value: each one in double
// quotes with \" and \\ for its own quotes and backslashes, one blank
// between them, then escaped as AppendAttributeText does, except that the
// double quotes stay as they are (they need no escaping between single
// quotes).
void AppendMFString(std::string& out, std::span<const std::string> values);
void AppendMFString(std::string& out, std::string_view value);

// `wanted` made into a name that is both an XML NCName (DEF is an xs:ID)
// and an X3D name: every character that may not stand in it becomes '_'
// (blanks, quotes, & < > # , . : [ ] \ { } + and controls among them; of
// the rest, what XML's name characters allow), a '_' is put in front of one
// that may not come first (a digit, '-', or a combining mark) and of the
// X3D keywords (USE, DEF, ROUTE, TRUE...), and an empty name is "_".
std::string ValidName(std::string_view wanted);

// Gives every node of one file its DEF name: the valid form of the name it
// wants while that is free, else that name with "_1", "_2"... appended, the
// first that is neither given nor reserved. The order of the calls decides,
// so a file written in the same order gets the same names. Reserving
// first all the names that nodes will want keeps each name for a node that
// wants it exactly: two nodes wanting "a" and a later one wanting "a_1"
// get "a", "a_2" and "a_1". Without reserving, the later one gets "a_1_1".
// Either way no name is given twice. The suffixes tried for one name go on
// from the last one given, so n calls cost O(n + reserved names) in all.
class DefNames {
public:
    // The names given are counted against `budget` (none: not counted).
    explicit DefNames(MemoryBudget* budget = nullptr) : Given(budget), Reserved(budget), NextSuffix(budget) {}

    void Reserve(std::string_view wanted);
    std::string Give(std::string_view wanted);

private:
    using NameSet = std::unordered_set<std::string, std::hash<std::string>, std::equal_to<>, Counted<std::string>>;
    NameSet Given;
    NameSet Reserved;
    // For each name that was wanted twice, the next suffix to try.
    std::unordered_map<std::string, unsigned long, std::hash<std::string>, std::equal_to<>,
                       Counted<std::pair<const std::string, unsigned long>>>
        NextSuffix;
};

}  // namespace morvane::faithful
