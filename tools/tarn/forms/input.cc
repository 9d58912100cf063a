// Takes inputs apart into messages.
#include "input.h"

#include <unistd.h>

#include <algorithm>
#include <climits>

#include "encoding.h"
#include "forms.h"
#include "frame.h"
#include "lengths.h"
#include "mismatch.h"
#include "only_comments.h"
#include "progress.h"
#include "reader.h"

namespace tarn::tool {
namespace {

// The runtime counts the bytes of a message in an int.
constexpr uint64_t kMostBytes = INT_MAX;

// The reason why a message of this size is not read; empty if it is read.
std::string TooLarge(uint64_t size, uint64_t max_size) {
  if (size > max_size) {
    return "more than " + std::to_string(max_size) + " bytes; see --max-size";
  }
  if (size > kMostBytes) {
    return "more than " + std::to_string(kMostBytes) +
           " bytes, the most that the Protocol Buffers runtime reads";
  }
  return "";
}

std::string ReadAll(Reader* reader, const InputOptions& options) {
  const uint64_t most = std::min(options.max_size, kMostBytes);
  if (reader->known_size() > most || reader->Fill(most + 1)) {
    throw Failure(kMalformed, InputName(options.file) + ": " +
                                  TooLarge(most + 1, options.max_size));
  }
  return std::string(reader->window());
}

// Skips bytes. Returns false if the file ends before.
bool Discard(Reader* reader, uint64_t size) {
  while (size > 0) {
    if (!reader->Fill(1)) return false;
    const size_t step = std::min<uint64_t>(size, reader->window().size());
    reader->Consume(step);
    size -= step;
  }
  return true;
}

// Prints a hint about a message after the message itself.
void GiveHint(Mismatch* mismatch, const Record& record) {
  const std::string hint = mismatch->HintFor(record.bytes, record.number > 0);
  if (!hint.empty()) Complain(hint);
}

// Takes the messages of a stream one after another.
class Stream {
 public:
  Stream(const InputOptions& options, Reader* reader,
         const std::vector<const Type*>& types, const RecordHandler& handle,
         const StreamErrorHandler& complain)
      : options_(options),
        reader_(*reader),
        lengths_(types, options.frame),
        handle_(handle),
        complain_(complain) {}

  ExitCode Run() {
    while (reader_.Fill(1) && TakeRecord()) {
    }
    progress_.Hide();
    return worst_;
  }

 private:
  // Returns whether to go on.
  bool TakeRecord() {
    ++record_.number;
    record_.offset = start_ = reader_.offset();
    record_.bytes = {};
    const size_t most = MostOfHeader(options_.frame);
    reader_.Fill(most);
    const Header header =
        ReadHeader(options_.frame, reader_.window().substr(0, most));
    if (header.size == 0) {
      if (reader_.window().size() >= most && IsWrong(UINT64_MAX, true)) {
        return options_.keep_going;
      }
      Fail(reader_.window().size() < 10 ? "cut off inside the frame"
                                        : "a frame longer than ten bytes");
      return false;
    }
    reader_.Consume(header.size);
    const std::string too_large = TooLarge(header.length, options_.max_size);
    const std::string length = std::to_string(header.length);
    if (!too_large.empty()) {
      if (IsWrong(header.length, true)) return options_.keep_going;
      const uint64_t left = reader_.Left();
      if (left < header.length && header.length > options_.max_size) {
        Fail("the frame is lost: its length says " + length + ", but " +
             std::to_string(left) + " bytes are left");
        return false;
      }
      Fail("message of " + length + " bytes: " + too_large);
      return options_.keep_going && Discard(&reader_, header.length);
    }
    if (!reader_.Fill(header.length)) {
      const size_t there = reader_.window().size();
      if (IsWrong(header.length, true)) return options_.keep_going;
      Fail("cut off inside the message: " + std::to_string(there) + " of its " +
           length + " bytes are there");
      return false;
    }
    return HandleRecord(header.length);
  }

  bool HandleRecord(uint64_t length) {
    record_.offset = reader_.offset();
    record_.bytes = reader_.window().substr(0, length);
    progress_.Update(record_.number, record_.offset + length);
    const ExitCode status = handle_(record_);
    worst_ = std::max(worst_, status);
    // A sound record after a broken one can be a part of it.
    if (status == kFine && well_) lengths_.Learn(record_.bytes);
    well_ = status < kMalformed;
    if (ReaderHasGone() && !options_.to_the_end) return false;
    const bool go_on = status < kMalformed || options_.keep_going;
    if (status != kFine && IsWrong(length, status >= kMalformed)) {
      return options_.keep_going;
    }
    reader_.Consume(length);
    return go_on;
  }

  void Fail(const std::string& reason) {
    progress_.Hide();
    complain_(record_, reason);
    well_ = false;
    worst_ = std::max(worst_, kMalformed);
  }

  // Reports that the next message does not begin where the length says, and
  // goes to where it does. Returns false if nothing tells that.
  bool IsWrong(uint64_t length, bool broken) {
    const NextMessage next =
        lengths_.FindNext(start_, length, broken, &reader_);
    // Going back twice to the same place would never end.
    if (next.how == NextMessage::kAsLengthSays || next.offset <= in_step_) {
      return false;
    }
    in_step_ = next.offset;
    const uint64_t found = next.offset - reader_.offset();
    const std::string on = options_.keep_going ? ", where reading goes on" : "";
    const std::string place = "at byte " + std::to_string(next.offset) + on;
    reader_.MoveTo(next.offset);
    record_.offset = start_;
    if (next.how == NextMessage::kNearby) {
      --record_.number;
      record_.offset = next.offset;
      Fail("out of step: the next message begins here, not at byte " +
           std::to_string(start_) + (on.empty() ? "" : "; it is read again"));
    } else if (next.how == NextMessage::kAfterField) {
      Fail("the length in front is wrong: it says " + std::to_string(length) +
           ", but after " + std::to_string(found) +
           " bytes the next message begins, " + place);
    } else if (record_.number == 1) {
      Fail("out of step: the start of the stream may be missing; messages " +
           ("begin " + place));
    } else {
      Fail("out of step: no message ends where its length says; messages " +
           ("begin again " + place));
    }
    return true;
  }

  const InputOptions& options_;
  Reader& reader_;
  LengthCheck lengths_;
  const RecordHandler& handle_;
  const StreamErrorHandler& complain_;
  Progress progress_;
  Record record_;
  uint64_t start_ = 0;    // of the frame of the record
  uint64_t in_step_ = 0;  // where messages went on last
  bool well_ = true;      // whether the last record was
  ExitCode worst_ = kFine;
};

}  // namespace

ExitCode ForEachFramed(const InputOptions& options, Reader* reader,
                       const std::vector<const Type*>& types,
                       const RecordHandler& handle,
                       const StreamErrorHandler& complain) {
  return Stream(options, reader, types, handle, complain).Run();
}

std::string PlaceInInput(const InputOptions& options, const Record& record,
                         uint64_t offset) {
  std::string place = InputName(options.file) + ": ";
  if (record.number > 0) {
    place += "record " + std::to_string(record.number) + ": ";
  }
  return place + "byte " + std::to_string(record.offset + offset) + ": ";
}

std::string ErrorAt(const InputOptions& options, const Record& record,
                    uint64_t offset, const std::string& path,
                    const std::string& reason) {
  return PlaceInInput(options, record, offset) +
         (path.empty() ? "" : path + ": ") + reason;
}

void PrintRecordLine(const Record& record, std::string_view mark,
                     Output* output) {
  if (record.number == 0) return;
  if (record.number > 1) output->Write('\n');
  output->Painted(Color::kDim, std::string(mark) + "record " +
                                   std::to_string(record.number) + ", byte " +
                                   std::to_string(record.offset));
  output->Write('\n');
}

std::vector<Candidate> RankRecord(const std::vector<const Type*>& types,
                                  const Record& record) {
  if (record.written == nullptr) return Rank(types, record.bytes);
  std::vector<Candidate> candidates;
  for (const Written& message : *record.written) {
    candidates.push_back({message.type, Weigh(*message.type, message.bytes)});
  }
  Sort(&candidates);
  return candidates;
}

std::string ReadFile(const std::string& file, uint64_t max_size) {
  InputOptions options;
  options.file = file;
  options.max_size = max_size;
  Reader reader(file);
  return ReadAll(&reader, options);
}

std::string ReadMessage(const InputOptions& options, const Type& type) {
  std::string input = ReadFile(options.file, options.max_size);
  Reading reading =
      Read(options, InputName(options.file) + ": ", {&type}, input);
  if (!reading.note.empty()) Complain(reading.note);
  Record record;
  record.bytes = reading.binary() ? input : reading.bytes;
  Mismatch mismatch(InputName(options.file) + ": ", {&type}, true);
  GiveHint(&mismatch, record);
  return reading.binary() ? std::move(input) : std::move(reading.bytes);
}

ExitCode ForEachRecord(const InputOptions& options,
                       const std::vector<const Type*>& types,
                       const RecordHandler& handle) {
  Reader reader(options.file);
  const std::string name = InputName(options.file) + ": ";
  Mismatch mismatch(name, types);
  const bool framed = options.frame != "none";
  const auto stream = [&](Reader* from) {
    return ForEachFramed(
        options, from, types,
        [&](const Record& record) {
          const ExitCode status = handle(record);
          GiveHint(&mismatch, record);
          return status;
        },
        [&](const Record& record, const std::string& reason) {
          Complain(PlaceInInput(options, record, 0) + reason);
        });
  };
  if (framed && (options.from == "text" || options.from == "json")) {
    throw Failure(kUsage,
                  "--frame is for bytes, not for --from " + options.from);
  }
  if (framed && (options.from == "auto" || options.from == "binary")) {
    return stream(&reader);
  }
  const std::string input = ReadAll(&reader, options);
  Reading reading = Read(options, name, types, input);
  if (framed) {
    Reader memory(InputName(options.file), std::move(reading.bytes));
    return stream(&memory);
  }
  if (!reading.note.empty()) Complain(reading.note);
  Record record;
  record.bytes = reading.binary() ? input : reading.bytes;
  record.written = reading.written.empty() ? nullptr : &reading.written;
  if (input.empty() && ::isatty(STDERR_FILENO) != 0) {
    Complain(InputName(options.file) + " is empty, which is an empty message");
  }
  const ExitCode status = handle(record);
  if (record.written == nullptr) GiveHint(&mismatch, record);
  return status;
}

ExitCode ForEachWritten(const InputOptions& options, const Type& type,
                        const std::function<void(std::string_view)>& handle) {
  if (options.from != "auto" && options.from != "text" &&
      options.from != "json") {
    throw Failure(kUsage, "only text and JSON can be encoded, not --from " +
                              options.from);
  }
  Reader reader(options.file);
  if (options.frame == "none") {
    const std::string all = ReadAll(&reader, options);
    const std::string_view input = WithoutMark(all);
    const std::string place = InputName(options.file) + ": ";
    const bool json =
        options.from == "json" ||
        (options.from == "auto" && Trim(input).substr(0, 1) == "{");
    const std::string note = json ? "" : NoteOnComments(input, place);
    if (!note.empty()) Complain(note);
    handle(json ? EncodeJson(type, input, place)
                : EncodeText(type, input, place));
    return kFine;
  }
  ExitCode worst = kFine;
  std::string line;
  for (uint64_t number = 1; reader.ReadLine(options.max_size, &line);
       ++number) {
    if (ReaderHasGone()) break;
    if (Trim(line).empty()) continue;
    try {
      handle(EncodeJson(type, number == 1 ? WithoutMark(line) : line,
                        InputName(options.file) + ": record " +
                            std::to_string(number) + ": "));
    } catch (const Failure& failure) {
      if (!options.keep_going || failure.code() != kMalformed) throw;
      Complain(failure.what());
      worst = kMalformed;
    }
  }
  return worst;
}

}  // namespace tarn::tool
