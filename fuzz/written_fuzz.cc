// Fuzzes what reads the text format and JSON against the runtime's parsers:
// what is encoded must be what the runtime reads, and the tool's own look at
// names and values must find nothing in text that the runtime takes. The first
// byte of the input chooses the message type, the second text or JSON; the rest
// is the message.
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>

#include "encoding.h"
#include "failure.h"
#include "ignore_errors.h"
#include "target.h"
#include "text_check.h"
#include "walker.h"

namespace fuzz {
namespace {

using google::protobuf::Message;
using tarn::tool::Failure;
using tarn::tool::Type;

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
  Expect(!accepted || tarn::tool::FindTextProblem(type, text, text.size())
                          .reason.words.empty(),
         type, "no problem in text that the runtime takes");
  std::string bytes;
  try {
    bytes = tarn::tool::EncodeText(type, text, "");
  } catch (const Failure&) {
    return;  // of text that the runtime takes: masked, or not UTF-8
  }
  Expect(accepted, type, "the runtime takes text that is encoded");
  Expect(bytes == tarn::tool::Canonical(*message), type,
         "text is encoded as the message that it is");
}

void CheckJson(const Type& type, std::string_view json) {
  std::string bytes;
  try {
    bytes = tarn::tool::EncodeJson(type, json, "");
  } catch (const Failure&) {
    return;  // the tool refuses more: names that are there twice, for instance
  }
  const auto message = Parsed(type, bytes);
  Expect(message != nullptr, type, "JSON becomes a message");
  // What the tool does to JSON before the runtime reads it.
  if (json.find("@unknown") != json.npos || json.find("-0") != json.npos) {
    return;
  }
  message->Clear();
  Expect(google::protobuf::util::JsonStringToMessage(std::string(json),
                                                     message.get())
             .ok(),
         type, "the runtime takes JSON that is encoded");
  Expect(bytes == tarn::tool::Canonical(*message), type,
         "JSON is encoded as the message that it is");
}

}  // namespace

const size_t kOptions = 2;

void Try(std::string_view input) {
  if (input.size() < kOptions) return;
  const Type& type = TypeOf(input);
  const std::string_view text = input.substr(kOptions);
  if (input[1] % 2 == 0) {
    CheckText(type, text);
  } else {
    CheckJson(type, text);
  }
}

}  // namespace fuzz
