// Reads the text format and JSON with the runtime's own parsers. Checks limits
// first, so that these parsers do not exhaust the stack.
#include "encoding.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "json_check.h"
#include "salvage.h"
#include "secrets.h"
#include "text_check.h"
#include "walker.h"

namespace tarn::tool {
namespace {

using google::protobuf::Message;
using google::protobuf::TextFormat;
namespace io = google::protobuf::io;

// Keeps the first error that the text parser reports.
class FirstError : public io::ErrorCollector {
 public:
  void AddError(int line, int column, const std::string& message) override {
    if (!message_.empty()) return;
    line_ = line;
    column_ = column;
    message_ = message;
    if (message_.back() == '.') message_.pop_back();
  }
  int line() const { return line_; }  // from 0; -1: none
  int column() const { return column_; }
  const std::string& message() const { return message_; }

 private:
  int line_ = -1;
  int column_ = 0;
  std::string message_;
};

// Offset of a comment with which the text printer shows an unknown field: "#
// 15: 150", alone in its line.
size_t FindUnknownComment(std::string_view text) {
  for (size_t line = 0; line < text.size();) {
    const size_t next = std::min(text.find('\n', line), text.size()) + 1;
    const size_t at = text.find_first_not_of(' ', line);
    line = next;
    if (at >= next || text.substr(at, 2) != "# ") continue;
    const size_t colon = text.find_first_not_of("0123456789", at + 2);
    if (colon != at + 2 && colon != text.npos &&
        (text[colon] == ':' || text.substr(colon, 2) == " {")) {
      return at;
    }
  }
  return text.npos;
}

// Whether nothing, or only the last character of a text, is at an offset.
bool EndsAt(std::string_view text, size_t offset) {
  return offset >= text.size() ||
         text.find_first_not_of(" \t\r\n", offset + 1) == text.npos;
}

// Takes the place of a message of the runtime that could quote a pass phrase.
constexpr char kSecretReason[] = "something else is expected here";

// Writes -0 as -0.0: the runtime reads -0 as an integer, which has no negative
// zero.
std::string WithSignedZeros(std::string fields, const JsonFindings& findings) {
  if (findings.negative_zeros.empty()) return fields;
  std::string signed_zeros;
  size_t from = 0;
  for (const size_t end : findings.negative_zeros) {
    signed_zeros.append(fields, from, end - from);
    signed_zeros += ".0";
    from = end;
  }
  return signed_zeros.append(fields, from);
}

// Whether the runtime accepts a value for a field, or for an element of a list.
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

std::string Canonical(const Type& type, std::string_view bytes, bool unknown) {
  const std::unique_ptr<Message> message = NewMessage(type);
  GOOGLE_CHECK(message->ParseFromArray(bytes.data(), bytes.size()));
  if (!unknown) message->DiscardUnknownFields();
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
    TextPlace stop;
    stop.MoveTo(text, error.line(), error.column());
    TextProblem problem = FindTextProblem(type, text, stop.offset);
    if (problem.reason.words.empty()) {
      problem = {stop.offset, {type.secret ? kSecretReason : error.message()}};
      if (EndsAt(text, stop.offset)) {
        problem.reason.words = "the input ends before the message does";
        problem.reason.ends = true;
      }
    }
    throw NotEncoded(place + LineAndColumn(text, problem.offset) + ": " +
                         problem.reason.words,
                     problem.reason);
  }
  if (const std::string field = MaskedInText(type, text); !field.empty()) {
    throw NotEncoded(place + MaskedReason(field), {});
  }
  const size_t unknown = FindUnknownComment(text);
  if (unknown != text.npos) {
    Complain(place + LineAndColumn(text, unknown) +
             ": unknown fields, which stand in comments, are left out");
  }
  // The text parser accepts strings that are not UTF-8.
  std::string bytes = Canonical(*message);
  if (WalkVisitor visitor; !Walk(type, bytes, visitor)) {
    const Damage damage = FindDamage(type, bytes, 0);
    throw NotEncoded(
        place + damage.path + ": " + damage.reason + " of the encoded message",
        {});
  }
  return bytes;
}

std::string EncodeJson(const Type& type, std::string_view json,
                       const std::string& place) {
  const JsonFindings findings = CheckJson(type, json);
  if (!findings.problem.empty()) {
    throw NotEncoded(place + findings.problem, findings.reason);
  }
  std::string fields(json);
  if (findings.unknown_end != 0) {
    // Undeclared numbers are listed there, too, but they also stand in their
    // field.
    const std::string_view listed = json.substr(
        findings.unknown_begin, findings.unknown_end - findings.unknown_begin);
    if (listed.find("\"wireType\"") != listed.npos) {
      Complain(place + LineAndColumn(json, findings.unknown_begin) +
               ": unknown fields, which stand in \"@unknown\", are left out");
    }
    fields.replace(findings.unknown_begin, listed.size(), listed.size(), ' ');
  }
  const std::unique_ptr<Message> message = NewMessage(type);
  const auto status = google::protobuf::util::JsonStringToMessage(
      WithSignedZeros(std::move(fields), findings), message.get());
  if (status.ok()) return Canonical(*message);
  // The runtime does not say where the error is: it is the first value that the
  // runtime refuses when it is tried alone.
  const JsonFindings values = CheckJson(
      type, json,
      [](const Type& holder, const Field& field, std::string_view value) {
        return IsJsonValue(holder, field, value);
      });
  if (!values.problem.empty()) {
    throw NotEncoded(place + values.problem, values.reason);
  }
  throw NotEncoded(
      place + (type.secret ? kSecretReason : std::string(status.message())),
      {});
}

size_t UnderstoodText(const Type& type, std::string_view text) {
  const std::unique_ptr<Message> message = NewMessage(type);
  FirstError error;
  TextFormat::Parser parser;
  parser.RecordErrorsTo(&error);
  parser.SetRecursionLimit(kMaxDepth);
  parser.AllowUnknownField(true);
  io::ArrayInputStream stream(text.data(), text.size());
  parser.Parse(&stream, message.get());
  return message->ByteSizeLong();
}

size_t UnderstoodJson(const Type& type, std::string_view json) {
  const std::unique_ptr<Message> message = NewMessage(type);
  google::protobuf::util::JsonParseOptions options;
  options.ignore_unknown_fields = true;
  if (!google::protobuf::util::JsonStringToMessage(
           google::protobuf::StringPiece(json.data(), json.size()),
           message.get(), options)
           .ok()) {
    // A value is of another kind. Up to an unknown name, a value that fits
    // counts two, the least bytes that it takes, and another one for its name.
    size_t right = 0;
    CheckJson(
        type, json,
        [&](const Type& holder, const Field& field, std::string_view value) {
          right += IsJsonValue(holder, field, value) ? 2 : 1;
          return true;
        });
    return right;
  }
  return message->ByteSizeLong();
}

}  // namespace tarn::tool
