// Marks with which people and programs say that they left out the rest of a
// text: "0a06...", "CgZS [truncated]", "0a06 (142 bytes more)".
#ifndef TOOLS_TARN_CUT_TEXT_H_
#define TOOLS_TARN_CUT_TEXT_H_

#include <cstddef>
#include <string_view>

namespace tarn::tool {

// A text without such a mark at its end, and without the blanks before it; the
// whole text if there is none.
std::string_view WithoutCutMark(std::string_view text);

// Whether such a mark is at the beginning of a text, after blanks.
bool BeginsWithMark(std::string_view text);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_CUT_TEXT_H_
