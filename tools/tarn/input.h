// Messages from a file or a pipe: one, or a stream of framed ones, in any of
// the forms in which people keep bytes.
#ifndef TOOLS_TARN_INPUT_H_
#define TOOLS_TARN_INPUT_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "command_line.h"
#include "failure.h"
#include "output.h"
#include "schema.h"

namespace inspector {

// A message in its wire bytes.
struct Record {
  std::string_view bytes;
  uint64_t number = 0;  // from 1 in a stream; 0: the only one
  uint64_t offset = 0;  // of its first byte in the file
};

// Calls `handle` for each message of the input, one that is not framed or many
// that are, in memory for the largest of them. Text and JSON are encoded as
// `type` first; null refuses them, since only a type tells how to read them.
//
// Returns the worst status that a message had. Behind a malformed message the
// stream ends unless --keep-going is given. What is wrong with the stream
// itself is reported here. A slow stream shows its progress on a terminal.
ExitCode ForEachRecord(const InputOptions& options, const Type* type,
                       const std::function<ExitCode(const Record&)>& handle);

// Calls `handle` with the canonical bytes of each message of an input that is
// text or JSON: one, or with --frame one JSON message a line. Returns the worst
// status, as above.
ExitCode ForEachWritten(const InputOptions& options, const Type& type,
                        const std::function<void(std::string_view)>& handle);

// The single message of an input that is no stream.
std::string ReadMessage(const InputOptions& options, const Type* type);

// The wire bytes of an input that was read before; `options` says its form.
std::string ToWire(const InputOptions& options, const Type* type,
                   std::string_view input);

// The bytes of a whole file, at most `max_size` of them.
std::string ReadFile(const std::string& file, uint64_t max_size);

// "FILE: record 3: byte 12: ": where something is, for an error message.
std::string Place(const InputOptions& options, const Record& record,
                  uint64_t offset);

// Writes a message with the frame that `frame` names in front.
void WriteFramed(const std::string& frame, std::string_view bytes,
                 Output* output);

// The wire bytes of hexadecimal digits, plain or as xxd and others dump them;
// of base64. False when the text is not that.
bool FromHex(std::string_view text, std::string* bytes);
bool FromBase64(std::string_view text, std::string* bytes);

}  // namespace inspector

#endif  // TOOLS_TARN_INPUT_H_
