// Parses with the runtime; the walker explains what the runtime rejects.
#include "parse.h"

#include "encoding.h"
#include "salvage.h"

namespace tarn::tool {

std::unique_ptr<google::protobuf::Message> ParseRecord(
    const InputOptions& options, const Type& type, const Record& record) {
  std::unique_ptr<google::protobuf::Message> message = NewMessage(type);
  const int size = static_cast<int>(record.bytes.size());
  if (message->ParseFromArray(record.bytes.data(), size)) return message;
  const Damage damage = Assess(type, record.bytes, record.offset);
  Complain(ErrorAt(options, record, damage.offset, damage.path, damage.reason));
  return nullptr;
}

}  // namespace tarn::tool
