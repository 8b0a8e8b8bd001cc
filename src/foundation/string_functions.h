// Small text helpers shared by the library's classes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace korad {

// The text after the first "." with `head` set to the text before it; with no dot the
// whole text, and `head` blank.
std::string SplitAtFirstDot(std::string_view text, std::string& head);

// A new random GUID in its registry text form, braces and upper-case hex included:
// "{0F8FAD5B-D9CB-469F-A165-70867728950E}". Raises "Could not create a new GUID" when
// the system has no randomness to give.
std::string CreateGUID();

// Sorts ascending by byte value (so "Z" before "a"), in place, by selection: each
// position gets the smallest of the rest through SwapStrings. Quadratic, and meant for
// the short lists it sorts (section names, the lines of a section).
void SortStrings(std::vector<std::string>& strings);

// Exchanges two entries (0-based).
void SwapStrings(std::vector<std::string>& strings, size_t i, size_t j);

}  // namespace korad
