// A short checksum of the schema.
#include "fingerprint.h"

#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;

// The types that the fingerprint covers.
struct Covered {
  std::set<const Descriptor*> messages;
  std::set<const EnumDescriptor*> enums;
};

void Cover(const Descriptor& message, Covered* covered) {
  if (!covered->messages.insert(&message).second) return;
  for (int i = 0; i < message.field_count(); ++i) {
    const FieldDescriptor& field = *message.field(i);
    if (field.message_type() != nullptr) Cover(*field.message_type(), covered);
    if (field.enum_type() != nullptr) covered->enums.insert(field.enum_type());
  }
}

std::string LineOf(const FieldDescriptor& field) {
  std::string line = std::to_string(field.number()) + ' ' + field.name() + ' ';
  if (field.is_repeated()) line += field.is_packed() ? "packed " : "repeated ";
  if (field.message_type() != nullptr) {
    line += field.message_type()->full_name();
  } else if (field.enum_type() != nullptr) {
    line += field.enum_type()->full_name();
  } else {
    line += field.type_name();
  }
  if (field.containing_oneof() != nullptr) {
    line += " of " + field.containing_oneof()->name();
  }
  return line + '\n';
}

std::string LinesOf(const Descriptor& message) {
  std::map<int, std::string> lines;
  for (int i = 0; i < message.field_count(); ++i) {
    lines[message.field(i)->number()] = LineOf(*message.field(i));
  }
  std::string text = "message " + message.full_name() + '\n';
  for (const auto& [number, line] : lines) text += line;
  return text;
}

std::string LinesOf(const EnumDescriptor& enumeration) {
  std::set<std::pair<int, std::string>> values;
  for (int i = 0; i < enumeration.value_count(); ++i) {
    const auto& value = *enumeration.value(i);
    values.emplace(value.number(), value.name());
  }
  std::string text = "enum " + enumeration.full_name() + '\n';
  for (const auto& [number, name] : values) {
    text += std::to_string(number) + ' ' + name + '\n';
  }
  return text;
}

}  // namespace

std::string CanonicalSchema(const Schema& schema, const Descriptor* root) {
  Covered covered;
  if (root != nullptr) {
    Cover(*root, &covered);
  } else {
    for (const Descriptor* message : schema.Messages()) {
      Cover(*message, &covered);
    }
    for (const EnumDescriptor* enumeration : schema.Enums()) {
      covered.enums.insert(enumeration);
    }
  }
  std::map<std::string, std::string> by_name;
  for (const auto* message : covered.messages) {
    by_name[message->full_name()] = LinesOf(*message);
  }
  for (const auto* enumeration : covered.enums) {
    by_name[enumeration->full_name()] = LinesOf(*enumeration);
  }
  std::string text;
  for (const auto& [name, lines] : by_name) text += lines;
  return text;
}

std::string Fingerprint(const Schema& schema, const Descriptor* root) {
  const std::string text = CanonicalSchema(schema, root);
  const unsigned int sum = static_cast<unsigned int>(
      crc32_z(0, reinterpret_cast<const Bytef*>(text.data()), text.size()));
  char digits[10];
  std::snprintf(digits, sizeof digits, "%04x-%04x", sum >> 16, sum & 0xFFFF);
  return digits;
}

}  // namespace tarn::tool
