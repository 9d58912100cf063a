// Text in lines of a bounded width.
#ifndef TOOLS_TARN_WRAP_H_
#define TOOLS_TARN_WRAP_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::tool {

// Breaks text at blanks into lines of at most `width` columns; a longer word
// has a line of its own. Paragraphs, which "\n\n" separates, have an empty line
// between them.
std::vector<std::string> Wrap(std::string_view text, size_t width);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_WRAP_H_
