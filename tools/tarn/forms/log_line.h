// Lines as syslog writes them: "Nov 22 12:00:01 host program[123]: text", and
// lines of a dump after any text.
#ifndef TOOLS_TARN_LOG_LINE_H_
#define TOOLS_TARN_LOG_LINE_H_

#include <string>
#include <string_view>

namespace tarn::tool {

struct LogLine {
  // "host program[123]", or words for a line of a dump; empty: neither.
  std::string_view sender;
  std::string_view text;  // after the sender; else the whole line
};

// The time can also be that of ISO 8601, and a priority before it.
LogLine ReadLogLine(std::string_view line);

// Removes what the log has before the text of each line. Returns false if a
// line is none of a log, or of another sender.
bool Unlog(std::string_view text, std::string* plain);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_LOG_LINE_H_
