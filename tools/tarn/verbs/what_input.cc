// Finds the form and the frame of a capture.
#include "what_input.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "failure.h"
#include "frame.h"
#include "lengths.h"
#include "ranking.h"

namespace tarn::tool {
namespace {

// How many messages of a stream are looked at, and how many bytes of each.
constexpr uint64_t kMessages = 16;
constexpr size_t kBytes = 64 << 10;
// So few messages can be entries of a list: where a tag is lost, two have only
// their lengths in front of them.
constexpr uint64_t kEntries = 3;

bool IsSound(const std::vector<const Type*>& types, std::string_view bytes) {
  const std::string_view part = bytes.substr(0, kBytes);
  return std::any_of(types.begin(), types.end(), [&](const Type* type) {
    const Evidence evidence = Weigh(*type, part, part.size() < bytes.size());
    return IsClean(evidence) && evidence.fields > 0;
  });
}

// The frame with which the bytes, or their beginning, are a stream; empty if
// there is none. More than half of the messages must be sound, or the first
// two: after a wrong length none may be. If the stream breaks off, two sound
// messages are needed.
std::string FindFrame(const std::vector<const Type*>& types,
                      std::string_view bytes) {
  std::string found;
  uint64_t most = 0;
  for (const char* frame : kFrames) {
    uint64_t messages = 0;
    uint64_t sound = 0;
    uint64_t first = 0;  // sound ones before any other
    const std::string_view rest =
        TakeFramed(frame, bytes, [&](std::string_view message) {
          if (++messages <= kMessages) sound += IsSound(types, message);
          if (messages == sound) first = sound;
          return true;
        });
    if (sound <= most || sound < (rest.empty() ? 1 : 2) ||
        (first < 2 && sound * 2 <= std::min(messages, kMessages))) {
      continue;
    }
    most = sound;
    found = frame;
  }
  return found;
}

// Whether bytes are the name of a type, with or without its package.
bool IsTypeName(const std::vector<const Type*>& types, std::string_view bytes) {
  return std::any_of(types.begin(), types.end(), [&](const Type* type) {
    return bytes == type->descriptor->name() ||
           bytes == type->descriptor->full_name();
  });
}

// Throws a NotRead for a stream that has the name of its type before each
// message: no verb reads one.
void RefuseNames(const std::vector<const Type*>& types,
                 std::string_view bytes) {
  for (const char* frame : kFrames) {
    uint64_t records = 0;
    std::string first;
    TakeFramed(frame, bytes, [&](std::string_view record) {
      const bool name = records % 2 == 0;
      if (name && !IsTypeName(types, record)) return false;
      if (records++ == 0) first = record;
      return records < kMessages;
    });
    if (records < 2) continue;
    throw NotRead(kMalformed,
                  "a stream (" + std::string(frame) +
                      ") with the name of its type before each message; the "
                      "first is " +
                      first +
                      ". tarn reads streams of messages alone; Wireshark reads "
                      "these, with the package tarn-wireshark",
                  {"binary"});
  }
}

struct RestOfStream {
  std::string frame;       // empty: the bytes are none
  std::string_view first;  // of its messages
  uint64_t messages = 0;   // up to kMessages
};

// The frame with which the bytes are the rest of a stream that began before
// them: sound messages begin early in them and go on to their end. `whole`:
// whether the stream ends with the bytes.
RestOfStream FindRestOfStream(const std::vector<const Type*>& types,
                              std::string_view bytes, bool whole) {
  for (const char* name : kFrames) {
    const std::string frame = name;
    LengthCheck check(types, frame);
    const std::optional<size_t> first = check.FindFirst(bytes, whole);
    if (!first || *first > bytes.size() / 2) continue;
    uint64_t sound = 0;
    RestOfStream found;
    found.frame = frame;
    const std::string_view rest =
        TakeFramed(frame, bytes.substr(*first), [&](std::string_view message) {
          if (found.messages == 0) found.first = message;
          sound += IsSound(types, message);
          return ++found.messages < kMessages;
        });
    if (found.messages == sound &&
        (rest.empty() || found.messages == kMessages)) {
      return found;
    }
  }
  return {};
}

// Whether the bytes, which are no message, begin like one that goes on into
// what would be the first message of a stream. A length and a body stand in
// front of the entries of a list, too.
bool BeginMessage(const std::vector<const Type*>& types, std::string_view bytes,
                  std::string_view first) {
  const size_t place = first.data() - bytes.data();
  const std::string_view part = bytes.substr(0, place + first.size());
  return std::any_of(types.begin(), types.end(), [&](const Type* type) {
    const Evidence evidence = Weigh(*type, part, true);
    return part.size() - evidence.unexplained > place && evidence.fields > 0 &&
           evidence.unknown == 0 && evidence.undeclared == 0 &&
           evidence.strange_texts == 0;
  });
}

// Notes the frame of bytes that are no sound message. Bytes that are the rest
// of a stream, but a broken message as well, are taken for the message.
void NoteFrame(const std::vector<const Type*>& types, Capture* capture) {
  std::string& frame = capture->options.frame;
  const std::string_view bytes = capture->bytes;
  frame = FindFrame(types, bytes);
  if (!frame.empty()) return;
  const RestOfStream rest = FindRestOfStream(types, bytes, true);
  const bool message = !rest.frame.empty() && rest.messages <= kEntries &&
                       BeginMessage(types, bytes, rest.first);
  (message ? capture->other_frame : frame) = rest.frame;
}

bool IsMessage(const std::vector<const Type*>& types, std::string_view bytes) {
  return bytes.empty() || IsSound(types, bytes);
}

std::unique_ptr<Reader> OpenReader(const InputOptions& options, Source source) {
  return source == Source::kText
             ? std::make_unique<Reader>("text", options.file)
             : std::make_unique<Reader>(options.file);
}

// Text of the command line is never binary. If that leaves one form, notes it
// in the options.
Reading ReadText(const std::vector<const Type*>& types, std::string_view text,
                 InputOptions* options) {
  try {
    return Read(*options, "", types, text);
  } catch (const NotRead& reason) {
    const std::vector<std::string>& forms = reason.forms();
    if (forms.size() != 2 || forms.front() != "binary") throw;
    options->from = forms.back();
    return Read(*options, "", types, text);
  }
}

bool IsLetter(char c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; }

bool IsMissing(const std::string& file) {
  struct stat status;
  return ::stat(file.c_str(), &status) != 0 &&
         (errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG);
}

// Whether a word ends like "capture.bin": with a dot and a few letters.
bool HasSuffix(std::string_view word) {
  constexpr size_t kMost = 8;
  const size_t dot = word.rfind('.');
  if (dot == word.npos || dot == 0) return false;
  const std::string_view suffix = word.substr(dot + 1);
  return !suffix.empty() && suffix.size() <= kMost && IsLetter(suffix[0]) &&
         std::all_of(suffix.begin(), suffix.end(), [](char c) {
           return IsLetter(c) || (c >= '0' && c <= '9');
         });
}

// Whether an argument is a misspelt path rather than a message. Base64 has
// slashes, too, but neither a dot nor the name of a folder that is there.
bool LooksLikePath(const std::string& argument) {
  constexpr std::string_view kNoName = " \t\r\n\"'\\{}[]<>;";
  if (argument.empty() || argument.find_first_of(kNoName) != argument.npos) {
    return false;
  }
  for (const char* start : {"/", "./", "../", "~/"}) {
    if (argument.compare(0, std::strlen(start), start) == 0) return true;
  }
  const size_t slash = argument.rfind('/');
  return HasSuffix(argument) ||
         (slash != argument.npos && !IsMissing(argument.substr(0, slash)));
}

}  // namespace

Source SourceOf(const std::string& argument) {
  if (argument == "-") return Source::kStandardInput;
  return IsMissing(argument) && !LooksLikePath(argument) ? Source::kText
                                                         : Source::kFile;
}

Capture ReadCapture(const InputOptions& options, Source source,
                    const std::vector<const Type*>& types) {
  Capture capture;
  capture.source = source;
  capture.options = options;
  std::string& frame = capture.options.frame;
  std::unique_ptr<Reader> reader = OpenReader(options, source);
  const bool large = reader->Fill(options.max_size + 1);
  const std::string_view input = reader->window();
  if (frame == "none" && source != Source::kText) RefuseNames(types, input);
  if (large) {
    const bool binary = options.from == "auto" || options.from == "binary";
    if (frame == "none") frame = FindFrame(types, input);
    if (frame.empty()) frame = FindRestOfStream(types, input, false).frame;
    if (frame.empty() || !binary) {
      throw NotRead(kMalformed,
                    "no stream, and more than " +
                        std::to_string(options.max_size) +
                        " bytes; see --max-size",
                    {});
    }
    capture.stream = std::move(reader);
    return capture;
  }
  Reading reading = source == Source::kText
                        ? ReadText(types, input, &capture.options)
                        : Read(options, "", types, input);
  if (reading.binary() && source == Source::kText && !input.empty()) {
    // The text is not repeated: it can hold a pass phrase.
    throw Failure(kUsage,
                  "the argument is no file that is there, and as text no form "
                  "of a message");
  }
  capture.form = reading.form;
  capture.layout = reading.layout;
  capture.cut = reading.cut;
  capture.bytes =
      reading.binary() ? std::string(input) : std::move(reading.bytes);
  capture.written = std::move(reading.written);
  if (!capture.written.empty()) return capture;
  if (frame == "none") {
    if (IsMessage(types, capture.bytes)) {
      capture.other_frame = FindFrame(types, capture.bytes);
    } else {
      NoteFrame(types, &capture);
    }
    if (frame.empty()) frame = "none";
  }
  if (frame != "none") {
    capture.stream =
        std::make_unique<Reader>("capture", std::move(capture.bytes));
    capture.whole = true;
  }
  return capture;
}

}  // namespace tarn::tool
