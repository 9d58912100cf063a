// Reads the text format and JSON by the runtime's own parsers, behind limits
// that keep these from running out of stack.
#include "encoding.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>

#include <vector>

#include "failure.h"
#include "json_check.h"
#include "walker.h"

namespace inspector {
namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;
namespace io = google::protobuf::io;

// Keeps the first error that the text parser reports.
class FirstError : public io::ErrorCollector {
 public:
  void AddError(int line, int column, const std::string& message) override {
    if (!text_.empty()) return;
    text_ = line < 0 ? message
                     : "line " + std::to_string(line + 1) + ", column " +
                           std::to_string(column + 1) + ": " + message;
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

// The text parser names a field that does not exist; this offers the nearest.
std::string Suggestion(const std::string& error) {
  constexpr std::string_view kType = "Message type \"";
  constexpr std::string_view kField = "\" has no field named \"";
  const size_t type = error.find(kType);
  const size_t field = error.find(kField);
  if (type == error.npos || field == error.npos) return "";
  const size_t name = field + kField.size();
  const auto* descriptor =
      google::protobuf::DescriptorPool::generated_pool()->FindMessageTypeByName(
          error.substr(type + kType.size(), field - type - kType.size()));
  if (descriptor == nullptr) return "";
  std::vector<std::string> names;
  for (int i = 0; i < descriptor->field_count(); ++i) {
    names.push_back(descriptor->field(i)->name());
  }
  return DidYouMean(error.substr(name, error.find('"', name) - name), names);
}

// A comment as the text printer writes unknown fields: "# 15: 150".
size_t FindUnknownComment(std::string_view text) {
  for (size_t at = 0; (at = text.find("# ", at)) != text.npos; ++at) {
    const size_t line = text.rfind('\n', at) + 1;
    const bool alone =
        text.substr(line, at - line).find_first_not_of(' ') == text.npos;
    const size_t colon = text.find_first_not_of("0123456789", at + 2);
    if (alone && colon != at + 2 && colon != text.npos &&
        (text[colon] == ':' || text.substr(colon, 2) == " {")) {
      return at;
    }
  }
  return text.npos;
}

// Whether the runtime takes a value for a field, or for an element of it.
bool IsJsonValue(const Type& holder, const Field& field,
                 std::string_view value) {
  const std::unique_ptr<Message> message = NewMessage(holder);
  std::string json = "{" + field.json_key;
  json += field.repeated ? "[" : "";
  json += value;
  json += field.repeated ? "]}" : "}";
  return google::protobuf::util::JsonStringToMessage(json, message.get()).ok();
}

}  // namespace

std::unique_ptr<Message> NewMessage(const Type& type) {
  return std::unique_ptr<Message>(
      google::protobuf::MessageFactory::generated_factory()
          ->GetPrototype(type.descriptor)
          ->New());
}

std::string Canonical(const Message& message) {
  std::string bytes;
  io::StringOutputStream stream(&bytes);
  io::CodedOutputStream coded(&stream);
  coded.SetSerializationDeterministic(true);
  message.SerializePartialToCodedStream(&coded);
  coded.Trim();
  return bytes;
}

std::string Canonical(const Type& type, std::string_view bytes) {
  const std::unique_ptr<Message> message = NewMessage(type);
  GOOGLE_CHECK(message->ParseFromArray(bytes.data(), bytes.size()));
  return Canonical(*message);
}

std::string EncodeText(const Type& type, std::string_view text,
                       const std::string& place) {
  const std::unique_ptr<Message> message = NewMessage(type);
  FirstError error;
  TextFormat::Parser parser;
  parser.RecordErrorsTo(&error);
  parser.SetRecursionLimit(kMaxDepth);
  io::ArrayInputStream stream(text.data(), text.size());
  if (!parser.Parse(&stream, message.get())) {
    std::string reason = error.text();
    if (!reason.empty() && reason.back() == '.') reason.pop_back();
    throw Failure(kMalformed, place + reason + Suggestion(reason));
  }
  const size_t unknown = FindUnknownComment(text);
  if (unknown != text.npos) {
    Complain(place + LineAndColumn(text, unknown) +
             ": unknown fields, which stand in comments, are left out");
  }
  return Canonical(*message);
}

std::string EncodeJson(const Type& type, std::string_view json,
                       const std::string& place) {
  const JsonFindings findings = CheckJson(type, json);
  if (!findings.problem.empty()) {
    throw Failure(kMalformed, place + findings.problem);
  }
  std::string fields(json);
  if (findings.unknown_end != 0) {
    Complain(place + LineAndColumn(json, findings.unknown_begin) +
             ": unknown fields, which stand in \"@unknown\", are left out");
    fields.erase(findings.unknown_begin,
                 findings.unknown_end - findings.unknown_begin);
  }
  const std::unique_ptr<Message> message = NewMessage(type);
  const auto status =
      google::protobuf::util::JsonStringToMessage(fields, message.get());
  if (status.ok()) return Canonical(*message);
  // The runtime does not say where: the first value that it refuses by itself
  // is the one.
  const JsonFindings values = CheckJson(
      type, json,
      [](const Type& holder, const Field& field, std::string_view value) {
        return IsJsonValue(holder, field, value);
      });
  throw Failure(kMalformed,
                place + (values.problem.empty() ? std::string(status.message())
                                                : values.problem));
}

}  // namespace inspector
