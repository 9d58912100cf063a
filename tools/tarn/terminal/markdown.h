// Text as Markdown, for pages that people also read as they are.
#ifndef TOOLS_TARN_MARKDOWN_H_
#define TOOLS_TARN_MARKDOWN_H_

#include <string>
#include <string_view>

namespace tarn::tool {

// Text that Markdown shows as it is. What stands between backticks stays code;
// elsewhere a backslash goes before each character that would mean something.
std::string MarkdownText(std::string_view text);

// Such a text in a cell of a table: one line, in which no bar ends the cell.
std::string MarkdownCell(std::string_view text);

// Such a text as a line of its own, which begins no heading, list or quote.
std::string MarkdownLine(std::string_view line);

// The anchor that viewers give a heading: "fontstyle" for "Font.Style".
std::string MarkdownAnchor(std::string_view heading);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_MARKDOWN_H_
