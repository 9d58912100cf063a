// What `tarn what` was given, and how it is read: its form and its frame.
#ifndef TOOLS_TARN_WHAT_INPUT_H_
#define TOOLS_TARN_WHAT_INPUT_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "input_options.h"
#include "reader.h"
#include "reading.h"
#include "schema.h"

namespace tarn::tool {

enum class Source { kFile, kText, kStandardInput };

// Whether an argument is a file or the message itself: everything that the
// system does not call missing is a file, and so is what looks like a path.
Source SourceOf(const std::string& argument);

struct Capture {
  Source source = Source::kStandardInput;
  // `frame` is the one that was found; `from` is the one that was asked for.
  InputOptions options;
  std::string form = "binary";
  std::string layout;
  bool cut = false;  // the text says that its end is left out
  // Of a single message.
  std::string bytes;
  std::vector<Written> written;
  // A frame with which the single message is a stream as well; may be empty.
  std::string other_frame;
  // Of a stream.
  std::unique_ptr<Reader> stream;
  bool whole = false;  // all of it is in memory
};

// Reads a message, or opens a stream. Throws a NotRead if the form cannot be
// told, or cannot be read.
Capture ReadCapture(const InputOptions& options, Source source,
                    const std::vector<const Type*>& types);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_WHAT_INPUT_H_
