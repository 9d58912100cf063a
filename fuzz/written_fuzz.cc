// Fuzzes what reads the text format and JSON against the runtime's parsers:
// what is encoded must be what the runtime reads, and the tool's own look at
// names and values must find nothing in text that the runtime takes. The first
// byte of the input chooses the message type, the second text or JSON; the rest
// is the message.
#include <google/protobuf/message.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "encoding.h"
#include "failure.h"
#include "ignore_errors.h"
#include "text_check.h"
#include "walker.h"

namespace {

using google::protobuf::Message;
using tarn::tool::Failure;
using tarn::tool::Schema;
using tarn::tool::Type;

[[noreturn]] void Fail(const Type& type, const char* what) {
  std::fprintf(stderr, "%s: %s\n", type.descriptor->full_name().c_str(), what);
  std::abort();
}

bool ReadText(std::string_view text, Message* message) {
  tarn::tool::IgnoreErrors errors;
  google::protobuf::TextFormat::Parser parser;
  parser.RecordErrorsTo(&errors);
  parser.SetRecursionLimit(tarn::tool::kMaxDepth);
  return parser.ParseFromString(std::string(text), message);
}

void CheckText(const Type& type, std::string_view text) {
  const auto message = tarn::tool::NewMessage(type);
  const bool accepted = ReadText(text, message.get());
  if (accepted && !tarn::tool::FindTextProblem(type, text, text.size())
                       .reason.words.empty()) {
    Fail(type, "a problem in text that the runtime takes");
  }
  std::string bytes;
  try {
    bytes = tarn::tool::EncodeText(type, text, "");
  } catch (const Failure&) {
    return;  // of text that the runtime takes: masked, or not UTF-8
  }
  if (!accepted) Fail(type, "text is encoded that the runtime refuses");
  if (bytes != tarn::tool::Canonical(*message)) {
    Fail(type, "text is encoded as another message");
  }
}

void CheckJson(const Type& type, std::string_view json) {
  std::string bytes;
  try {
    bytes = tarn::tool::EncodeJson(type, json, "");
  } catch (const Failure&) {
    return;  // the tool refuses more: names that are there twice, for instance
  }
  const auto message = tarn::tool::NewMessage(type);
  if (!message->ParseFromString(bytes)) Fail(type, "JSON becomes no message");
  // What the tool does to JSON before the runtime reads it.
  if (json.find("@unknown") != json.npos || json.find("-0") != json.npos) {
    return;
  }
  message->Clear();
  if (!google::protobuf::util::JsonStringToMessage(std::string(json),
                                                   message.get())
           .ok()) {
    Fail(type, "JSON is encoded that the runtime refuses");
  }
  if (bytes != tarn::tool::Canonical(*message)) {
    Fail(type, "JSON is encoded as another message");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Schema* schema = [] {
    google::protobuf::SetLogHandler(nullptr);
    return new Schema();
  }();
  static const auto& messages =
      *new std::vector<const google::protobuf::Descriptor*>(schema->Messages());
  if (size < 2) return 0;
  const Type& type = schema->Table(*messages[data[0] % messages.size()]);
  const std::string_view text(reinterpret_cast<const char*>(data) + 2,
                              size - 2);
  if (data[1] % 2 == 0) {
    CheckText(type, text);
  } else {
    CheckJson(type, text);
  }
  return 0;
}
