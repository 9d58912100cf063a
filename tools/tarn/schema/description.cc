// Finds entities by name, and the fields that use them.
#include "description.h"

#include <google/protobuf/io/coded_stream.h>

#include "failure.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::FieldDescriptor;

[[noreturn]] void Unknown(const Schema& schema, const std::string& name) {
  std::string fields;
  const auto add = [&](const std::string& known) {
    fields += (fields.empty() ? "; there is " : ", ") + known;
  };
  for (const std::string& known : schema.Names()) {
    const size_t dot = known.rfind('.');
    if (dot != known.npos && known.substr(dot + 1) == name) add(known);
  }
  // A name that only JSON has.
  const std::string bare = schema.Bare(name);
  for (const Descriptor* message : schema.Messages()) {
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor& field = *message->field(i);
      if (field.json_name() == field.name()) continue;
      if (bare == field.json_name() ||
          bare == message->name() + '.' + field.json_name()) {
        add(schema.Bare(field.full_name()));
      }
    }
  }
  throw Failure(
      kUnknownName,
      "no message, field, enum or value " + name +
          (fields.empty() ? DidYouMean(schema.Bare(name), schema.Names())
                          : fields));
}

}  // namespace

Entity FindEntity(const Schema& schema, const std::string& name) {
  const DescriptorPool& pool = *schema.files().front()->pool();
  const std::string full =
      schema.files().front()->package() + "." + schema.Bare(name);
  Entity entity;
  entity.message = pool.FindMessageTypeByName(full);
  entity.field = pool.FindFieldByName(full);
  entity.oneof = pool.FindOneofByName(full);
  entity.enumeration = pool.FindEnumTypeByName(full);
  entity.value = pool.FindEnumValueByName(full);
  // The schema puts a value next to its enum; people look for it in the enum.
  const size_t dot = full.rfind('.');
  if (const auto* outer = pool.FindEnumTypeByName(full.substr(0, dot))) {
    entity.value = outer->FindValueByName(full.substr(dot + 1));
  }
  if (entity.message == nullptr && entity.field == nullptr &&
      entity.oneof == nullptr && entity.enumeration == nullptr &&
      entity.value == nullptr) {
    Unknown(schema, name);
  }
  return entity;
}

std::vector<std::string> UsesOf(const Schema& schema, const void* type) {
  std::vector<std::string> uses;
  for (const Descriptor* message : schema.Messages()) {
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor& field = *message->field(i);
      const FieldDescriptor& held = HeldBy(field);
      if (held.message_type() == type ||
          (held.enum_type() != nullptr && held.enum_type() == type)) {
        uses.push_back(field.full_name());
      }
    }
  }
  return uses;
}

const FieldDescriptor& HeldBy(const FieldDescriptor& field) {
  return field.is_map() ? *field.message_type()->map_value() : field;
}

const Field& TableOf(Schema* schema, const FieldDescriptor& field) {
  return *schema->Table(*field.containing_type()).Find(field.number());
}

uint32_t TagOf(const Field& field) {
  return field.packed_tag != 0 && field.repeated ? field.packed_tag : field.tag;
}

std::string HexOfVarint(uint32_t varint) {
  uint8_t bytes[5];
  const uint8_t* end =
      google::protobuf::io::CodedOutputStream::WriteVarint32ToArray(varint,
                                                                    bytes);
  std::string hex;
  for (const uint8_t* byte = bytes; byte != end; ++byte) {
    char digits[4];
    std::snprintf(digits, sizeof digits, byte == bytes ? "%02x" : " %02x",
                  *byte);
    hex += digits;
  }
  return hex;
}

}  // namespace tarn::tool
