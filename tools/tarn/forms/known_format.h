// Formats of bytes that cannot be a message.
#ifndef TOOLS_TARN_KNOWN_FORMAT_H_
#define TOOLS_TARN_KNOWN_FORMAT_H_

#include <string>
#include <string_view>

namespace tarn::tool {

// What bytes are that cannot be a message, and how to go on.
struct KnownFormat {
  std::string_view what;    // "compressed by gzip"; empty: not known
  std::string_view filter;  // a command that makes a message of it, or empty
  std::string_view advice;  // a sentence; or empty
};

KnownFormat KnownFormatOf(std::string_view bytes);

// The format and the advice, in words.
std::string WordsOf(const KnownFormat& format);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_KNOWN_FORMAT_H_
