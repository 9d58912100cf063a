// Fuzzes what is written as the text format and as JSON: the runtime and the
// inspector read both as the message that was written, without its unknown
// fields. The first byte of the input chooses the message type; the rest is the
// message.
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>

#include <algorithm>

#include "encoding.h"
#include "printer.h"
#include "target.h"

namespace fuzz {
namespace {

using tarn::tool::Output;
using tarn::tool::Type;

// How many records are inside one another.
int DepthOf(const Type& type, std::string_view bytes) {
  struct Depth : tarn::tool::WalkVisitor {
    void Enter(const tarn::tool::Stack& stack, const tarn::tool::Item& item) {
      if (item.field != nullptr) deepest = std::max(deepest, stack.depth() + 1);
    }
    int deepest = 0;
  } visitor;
  tarn::tool::Walk(type, bytes, visitor);
  return visitor.deepest;
}

// JSON can be deeper when it is written than when it is read.
constexpr int kDeepestJson = 99;

}  // namespace

const size_t kOptions = 1;

void Try(std::string_view input) {
  if (input.empty()) return;
  const Type& type = TypeOf(input);
  const std::string_view bytes = input.substr(kOptions);
  const tarn::tool::Survey survey = tarn::tool::SurveyMessage(type, bytes);
  const auto message = Parsed(type, bytes);
  if (message == nullptr) return;
  message->DiscardUnknownFields();
  PlainNans(message.get());
  const std::string expected = tarn::tool::Canonical(*message);

  tarn::tool::PrintStyle style;
  style.show_secrets = true;
  const std::string text = Printed([&](Output* output) {
    tarn::tool::PrintText(type, bytes, survey, style, output);
  });
  message->Clear();
  Expect(google::protobuf::TextFormat::ParseFromString(text, message.get()) &&
             tarn::tool::Canonical(*message) == expected,
         type, "the runtime reads the text");
  Expect(tarn::tool::EncodeText(type, text, "") == expected, type,
         "the text is read");

  style.unknown = false;  // a note of them would go to standard error
  style.pretty = bytes.size() % 2 == 0;
  const std::string json = Printed([&](Output* output) {
    tarn::tool::PrintJson(type, bytes, survey, style, output);
  });
  if (DepthOf(type, bytes) > kDeepestJson) return;
  Expect(tarn::tool::EncodeJson(type, json, "") == expected, type,
         "the JSON is read");
  if (json.find("-0") != json.npos) return;  // becomes 0
  Expect(google::protobuf::util::JsonStringToMessage(json, message.get()).ok(),
         type, "the runtime reads the JSON");
}

}  // namespace fuzz
