// Reads the text format and JSON by the runtime's own parsers, behind limits
// that keep these from running out of stack.
#include "encoding.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>

#include "failure.h"
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
    throw Failure(kMalformed, place + error.text());
  }
  return Canonical(*message);
}

std::string EncodeJson(const Type& type, std::string_view json,
                       const std::string& place) {
  const std::unique_ptr<Message> message = NewMessage(type);
  const auto status = google::protobuf::util::JsonStringToMessage(
      {json.data(), json.size()}, message.get());
  if (!status.ok()) {
    throw Failure(kMalformed, place + std::string(status.message()));
  }
  return Canonical(*message);
}

}  // namespace inspector
