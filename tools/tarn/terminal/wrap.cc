// Breaks text between words.
#include "wrap.h"

#include <algorithm>

#include "output.h"

namespace tarn::tool {

std::vector<std::string> Wrap(std::string_view text, size_t width) {
  std::vector<std::string> lines(1);
  while (!text.empty()) {
    if (text.substr(0, 2) == "\n\n") {
      lines.emplace_back();
      lines.emplace_back();
      text.remove_prefix(2);
    }
    const size_t size = std::min(text.find_first_of(" \n"), text.size());
    std::string& line = lines.back();
    if (!line.empty() && Width(line) + 1 + Width(text.substr(0, size)) > width)
      lines.emplace_back();
    if (!lines.back().empty()) lines.back() += ' ';
    lines.back() += text.substr(0, size);
    text.remove_prefix(size);
    if (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  }
  return lines;
}

}  // namespace tarn::tool
