// Messages from a file or a pipe: one, or a stream of framed ones.
#ifndef TOOLS_TARN_INPUT_H_
#define TOOLS_TARN_INPUT_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "failure.h"
#include "input_options.h"
#include "reading.h"
#include "schema.h"

namespace tarn::tool {

// A message in its wire bytes.
struct Record {
  std::string_view bytes;
  uint64_t number = 0;  // from 1 in a stream; 0: the only one
  uint64_t offset = 0;  // of its first byte in the file
  // Where it was text or JSON: the types that take it, and its bytes for each.
  const std::vector<Written>* written = nullptr;
};

// Calls `handle` for each message of the input, one that is not framed or many
// that are, in memory for the largest of them. It is read as a message of one
// of the types, and where the first messages look like something else, that is
// said on stderr.
//
// Returns the worst status that a message had. Behind a malformed message the
// stream ends unless --keep-going is given. What is wrong with the stream
// itself is reported here. A slow stream shows its progress on a terminal.
ExitCode ForEachRecord(const InputOptions& options,
                       const std::vector<const Type*>& types,
                       const std::function<ExitCode(const Record&)>& handle);

// Calls `handle` with the canonical bytes of each message of an input that is
// text or JSON: one, or with --frame one JSON message a line. Returns the worst
// status, as above.
ExitCode ForEachWritten(const InputOptions& options, const Type& type,
                        const std::function<void(std::string_view)>& handle);

// The single message of an input that is no stream.
std::string ReadMessage(const InputOptions& options, const Type& type);

// The bytes of a whole file, at most `max_size` of them.
std::string ReadFile(const std::string& file, uint64_t max_size);

// "FILE: record 3: byte 12: ": where something is, for an error message.
std::string Place(const InputOptions& options, const Record& record,
                  uint64_t offset);
// The same with what is wrong there: "FILE: byte 12: server.name: bad UTF-8".
// The path may be empty.
std::string ErrorAt(const InputOptions& options, const Record& record,
                    uint64_t offset, const std::string& path,
                    const std::string& reason);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_INPUT_H_
