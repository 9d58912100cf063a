// Fuzzes streams of framed messages: the records come in the order of the
// input, each with its own bytes, and a stream without an error is nothing but
// its records. The first byte of the input chooses the message type, the second
// the frame, whether reading goes on after an error, and whether all types are
// looked for; the rest is the stream.
#include "frame.h"
#include "input.h"
#include "printer.h"
#include "target.h"

namespace fuzz {

const size_t kOptions = 2;

using tarn::tool::ExitCode;
using tarn::tool::Record;
using tarn::tool::Type;

void Try(std::string_view input) {
  if (input.size() < kOptions) return;
  const Type& type = TypeOf(input);
  const unsigned char choice = input[1];
  const std::string stream(input.substr(kOptions));
  tarn::tool::InputOptions options;
  options.frame = tarn::tool::kFrames[choice % 3];
  options.keep_going = (choice & 0x40) != 0;
  options.max_size = 1 << 16;
  const std::vector<const Type*> types =
      (choice & 0x80) != 0 ? Types() : std::vector<const Type*>{&type};

  tarn::tool::Reader reader("stream", stream);
  uint64_t end = 0, complaints = 0;
  std::vector<std::string> records;
  const auto handle = [&](const Record& record) -> ExitCode {
    Expect(
        record.number > 0 && record.number <= records.size() + complaints + 1,
        type, "records are counted");
    Expect(record.offset <= stream.size() &&
               stream.compare(record.offset, record.bytes.size(),
                              record.bytes) == 0,
           type, "a record is at its place");
    Expect(complaints > 0 || record.offset >= end, type,
           "records follow one another");
    records.emplace_back(record.bytes);
    end = record.offset + record.bytes.size();
    return tarn::tool::SurveyMessage(type, record.bytes).accepted
               ? tarn::tool::kFine
               : tarn::tool::kMalformed;
  };
  const ExitCode status = tarn::tool::ForEachFramed(
      options, &reader, types, handle,
      [&](const Record& record, const std::string& reason) {
        ++complaints;
        Expect(record.offset <= stream.size() && !reason.empty(), type,
               "a complaint names a place and a reason");
      });
  Expect(status != tarn::tool::kFine || complaints == 0, type,
         "no complaint about a fine stream");
  if (status != tarn::tool::kFine) return;
  Expect(stream.empty() || end == stream.size(), type,
         "a fine stream is read to its end");
  size_t next = 0;
  const std::string_view left = tarn::tool::TakeFramed(
      options.frame, stream, [&](std::string_view message) {
        Expect(next < records.size() && records[next] == message, type,
               "the same records");
        ++next;
        return true;
      });
  Expect(left.empty() && next == records.size(), type, "all records");
}

}  // namespace fuzz
