// Parses with the runtime; the walker explains what the runtime rejects.
#include "parse.h"

#include "encoding.h"
#include "salvage.h"

namespace tarn::tool {
namespace {

using google::protobuf::Message;

bool Parse(const InputOptions& options, const Type& type, const Record& record,
           Message* message) {
  const int size = static_cast<int>(record.bytes.size());
  if (message->ParseFromArray(record.bytes.data(), size)) return true;
  const Damage damage = FindDamage(type, record.bytes, record.offset);
  Complain(ErrorAt(options, record, damage.offset, damage.path, damage.reason));
  return false;
}

}  // namespace

std::unique_ptr<Message> ParseRecord(const InputOptions& options,
                                     const Type& type, const Record& record) {
  std::unique_ptr<Message> message = NewMessage(type);
  return Parse(options, type, record, message.get()) ? std::move(message)
                                                     : nullptr;
}

const Message* ParseRecord(const InputOptions& options, const Type& type,
                           const Record& record,
                           google::protobuf::Arena* arena) {
  Message* message = google::protobuf::MessageFactory::generated_factory()
                         ->GetPrototype(type.descriptor)
                         ->New(arena);
  return Parse(options, type, record, message) ? message : nullptr;
}

}  // namespace tarn::tool
