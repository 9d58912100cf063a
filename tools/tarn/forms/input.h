// Messages from a file or a pipe: one, or a stream of framed ones.
#ifndef TOOLS_TARN_INPUT_H_
#define TOOLS_TARN_INPUT_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "failure.h"
#include "input_options.h"
#include "output.h"
#include "ranking.h"
#include "reader.h"
#include "reading.h"
#include "schema.h"

namespace tarn::tool {

// A message in its wire bytes.
struct Record {
  std::string_view bytes;
  uint64_t number = 0;  // from 1 in a stream; 0: the only one
  uint64_t offset = 0;  // of its first byte in the file
  // If the input was text or JSON: the types that accept it, with the bytes for
  // each.
  const std::vector<Written>* written = nullptr;
};

using RecordHandler = std::function<ExitCode(const Record&)>;

// Calls `handle` for each message of the input: one without a frame, or many
// with frames. Uses memory for the largest of them only. Reads them as messages
// of one of the types. If the first messages look like something else, says so
// on stderr.
//
// Returns the worst status of all messages. A malformed message ends the stream
// unless --keep-going is given. Reports errors of the stream itself. Shows the
// progress of a slow stream on a terminal.
ExitCode ForEachRecord(const InputOptions& options,
                       const std::vector<const Type*>& types,
                       const RecordHandler& handle);

// Called for an error of the stream itself, with the record that it is in.
using StreamErrorHandler =
    std::function<void(const Record&, const std::string& reason)>;

// The same for the framed messages of a reader, without the look at what they
// are. Errors of the stream go to `complain`. A wrong length of a message that
// is not fine is one of them: reading goes on after the message.
ExitCode ForEachFramed(const InputOptions& options, Reader* reader,
                       const std::vector<const Type*>& types,
                       const RecordHandler& handle,
                       const StreamErrorHandler& complain);

// Calls `handle` with the canonical bytes of each message of an input in text
// or JSON: one message, or with --frame one JSON message on each line. Returns
// the worst status, as above.
ExitCode ForEachWritten(const InputOptions& options, const Type& type,
                        const std::function<void(std::string_view)>& handle);

// "record 3, byte 12" on a line of its own, after `mark`: what a verb prints
// before a message of a stream. Nothing for a single message.
void PrintRecordLine(const Record& record, std::string_view mark,
                     Output* output);

// The types that a record can have, the likeliest first. Text and JSON have
// only those that accept them, each with bytes of its own.
std::vector<Candidate> RankRecord(const std::vector<const Type*>& types,
                                  const Record& record);

// The message of an input that is not a stream.
std::string ReadMessage(const InputOptions& options, const Type& type);

// The bytes of a whole file, at most `max_size` of them.
std::string ReadFile(const std::string& file, uint64_t max_size);

// "FILE: record 3: byte 12: ": where something is, for an error message.
std::string PlaceInInput(const InputOptions& options, const Record& record,
                         uint64_t offset);
// The same with path and reason: "FILE: byte 12: server.name: bad UTF-8". The
// path may be empty.
std::string ErrorAt(const InputOptions& options, const Record& record,
                    uint64_t offset, const std::string& path,
                    const std::string& reason);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_INPUT_H_
