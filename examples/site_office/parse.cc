// Messages of the schema by the name of their type.
#include "parse.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/stubs/logging.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

namespace site_office {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::Message;
using google::protobuf::MessageFactory;

// The runtime tells of bad UTF-8 only through its log, and its log handler is
// a plain function, so what it said last has to be kept here.
thread_local std::string last_log;

void KeepLog(google::protobuf::LogLevel, const char*, int,
             const std::string& text) {
  last_log = text;
}

// The field in "String field 'tarn.Price.set_price' contains invalid UTF-8 …",
// or nothing when the log speaks of something else.
std::string FieldInLog() {
  if (last_log.find("invalid UTF-8") == std::string::npos) return "";
  const size_t begin = last_log.find('\'');
  const size_t end = last_log.find('\'', begin + 1);
  if (end == std::string::npos) return "";
  return last_log.substr(begin + 1, end - begin - 1);
}

}  // namespace

std::unique_ptr<Message> NewMessage(std::string_view type) {
  const Descriptor* descriptor =
      DescriptorPool::generated_pool()->FindMessageTypeByName(
          std::string(type));
  // The pool also knows the runtime's own types and the entries of maps.
  if (descriptor == nullptr || descriptor->options().map_entry() ||
      descriptor->file()->package() !=
          tarn::Price::descriptor()->file()->package()) {
    return nullptr;
  }
  return std::unique_ptr<Message>(
      MessageFactory::generated_factory()->GetPrototype(descriptor)->New());
}

std::unique_ptr<Message> ParseMessage(std::string_view type,
                                      std::string_view bytes,
                                      std::string* reason) {
  std::unique_ptr<Message> message = NewMessage(type);
  if (message == nullptr) {
    *reason = "no message type is called " + std::string(type);
    return nullptr;
  }
  last_log.clear();
  if (message->ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) {
    return message;
  }
  const std::string field = FieldInLog();
  *reason = field.empty() ? "malformed " + std::string(type)
                          : "the text in " + field + " is not UTF-8";
  return nullptr;
}

std::string DeterministicBytes(const Message& message) {
  std::string bytes;
  google::protobuf::io::StringOutputStream stream(&bytes);
  google::protobuf::io::CodedOutputStream coded(&stream);
  coded.SetSerializationDeterministic(true);
  message.SerializeToCodedStream(&coded);
  coded.Trim();
  return bytes;
}

void CatchRuntimeLog() { google::protobuf::SetLogHandler(KeepLog); }

}  // namespace site_office
