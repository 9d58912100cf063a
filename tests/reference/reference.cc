// The types of the schema, the reference writer, and messages made as samples.
#include "reference.h"

#include <cstdlib>
#include <cstring>
#include <utility>

namespace reference {
namespace {

const std::map<std::string, Enum>& Enums() {
  static const auto* const enums = [] {
    auto* all = new std::map<std::string, Enum>;
#define SCHEMA_ENUM(file, type, full_name) (*all)[#type] = {full_name, {}};
#define SCHEMA_VALUE(type, name, number) \
  (*all)[#type].values.push_back({#name, number});
#include "schema_table.inc"
    return all;
  }();
  return *enums;
}

// status_packet as StatusPacket and statusPacket: how entries of maps are
// named, and fields in JSON.
std::string CamelCase(std::string_view name, bool upper) {
  std::string result;
  for (char c : name) {
    if (c == '_') {
      upper = true;
    } else {
      result.push_back(upper && c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
      upper = false;
    }
  }
  return result;
}

struct FieldRow {
  const char* message;
  int number;
  const char* name;
  Label label;
  Kind kind;
  const char* type;
};

std::vector<Type> MakeTypes() {
  std::vector<Type> types = {
#define SCHEMA_MESSAGE(file, index, name) {#name, {}},
#include "schema_table.inc"
  };
  const FieldRow rows[] = {
#define SCHEMA_FIELD(message, number, name, stem, constant, label, kind, type) \
  {#message, number, #name, Label::label, Kind::kind, #type},
#include "schema_table.inc"
  };
  std::map<std::string, Type*> by_name;
  for (Type& type : types) by_name[type.name] = &type;
  for (const FieldRow& row : rows) {
    std::string full_name = std::string("tarn.") + row.message + ".";
    full_name += row.label == Label::MAP
                     ? CamelCase(row.name, true) + "Entry.key"
                     : row.name;
    by_name.at(row.message)
        ->fields.push_back(
            {row.number, row.name, CamelCase(row.name, false), full_name,
             row.label, row.kind,
             row.kind == Kind::MESSAGE ? by_name.at(row.type) : nullptr,
             row.kind == Kind::ENUM ? &Enums().at(row.type) : nullptr});
  }
  return types;
}

uint64_t SignExtended(uint32_t bits) {
  return static_cast<uint64_t>(
      static_cast<int64_t>(static_cast<int32_t>(bits)));
}

// A number as a varint carries it.
uint64_t VarintOf(const Field& field, uint32_t bits) {
  return field.kind == Kind::INT32 || field.kind == Kind::ENUM
             ? SignExtended(bits)
             : bits;
}

void WriteUnknown(const std::vector<Unknown>& records, wire::Writer* out) {
  for (const Unknown& record : records) {
    const int number = static_cast<int>(record.number);
    switch (record.wire_type) {
      case wire::kVarint:
        out->Uint(number, record.value);
        break;
      case wire::kFixed64:
        out->Fixed64(number, record.value);
        break;
      case wire::kFixed32:
        out->Fixed32(number, static_cast<uint32_t>(record.value));
        break;
      case wire::kLength:
        out->Bytes(number, record.bytes);
        break;
      default: {
        wire::Writer content;
        WriteUnknown(record.group, &content);
        out->Group(number, content);
      }
    }
  }
}

void WriteValue(const Field& field, const Value& value, wire::Writer* out) {
  switch (field.kind) {
    case Kind::STRING:
    case Kind::BYTES:
      out->Bytes(field.number, value.text);
      break;
    case Kind::MESSAGE:
      out->Bytes(field.number, Encode(value.message[0]));
      break;
    case Kind::FLOAT:
      out->Fixed32(field.number, value.bits);
      break;
    default:
      out->Uint(field.number, VarintOf(field, value.bits));
  }
}

void WriteField(const Field& field, const std::vector<Value>& values,
                wire::Writer* out) {
  if (values.empty()) return;
  if (field.packed()) {
    wire::Writer body;
    for (const Value& value : values) body.Varint(VarintOf(field, value.bits));
    out->Message(field.number, body);
    return;
  }
  for (const Value& value : values) {
    if (field.IsSet(value)) WriteValue(field, value, out);
  }
}

Value SampleValue(const Field& field, int depth) {
  Value value;
  switch (field.kind) {
    case Kind::STRING:
    case Kind::BYTES:
      value.text = field.name;
      break;
    case Kind::MESSAGE:
      value.message.push_back(depth > 0 ? Sample(*field.type, depth - 1)
                                        : Message{field.type});
      break;
    case Kind::BOOL:
      value.bits = 1;
      break;
    case Kind::ENUM:
      value.bits = field.enumeration->values.back().second;
      break;
    case Kind::FLOAT: {
      const float number = static_cast<float>(field.number) + 0.5f;
      std::memcpy(&value.bits, &number, sizeof number);
      break;
    }
    default:
      value.bits = 100 + field.number;
  }
  return value;
}

}  // namespace

bool Field::packed() const {
  return label == Label::REPEATED && kind != Kind::STRING &&
         kind != Kind::BYTES && kind != Kind::MESSAGE;
}

wire::Type Field::wire_type() const {
  if (label == Label::MAP) return wire::kLength;
  switch (kind) {
    case Kind::STRING:
    case Kind::BYTES:
    case Kind::MESSAGE:
      return wire::kLength;
    case Kind::FLOAT:
      return wire::kFixed32;
    default:
      return wire::kVarint;
  }
}

bool Field::IsSet(const Value& value) const {
  return label != Label::SINGULAR || kind == Kind::MESSAGE || value.bits != 0 ||
         !value.text.empty();
}

const Field* Type::Find(uint32_t number) const {
  for (const Field& field : fields) {
    if (static_cast<uint32_t>(field.number) == number) return &field;
  }
  return nullptr;
}

const std::vector<Type>& Types() {
  static const auto* const types = new std::vector<Type>(MakeTypes());
  return *types;
}

const Type& TypeNamed(std::string_view name) {
  for (const Type& type : Types()) {
    if (type.name == name) return type;
  }
  std::abort();
}

std::string Encode(const Message& message) {
  wire::Writer out;
  for (const Field& field : message.type->fields) {
    if (const auto map = message.maps.find(field.number);
        map != message.maps.end()) {
      for (const auto& [key, bits] : map->second) {
        wire::Writer entry;
        entry.Bytes(1, key).Uint(2, VarintOf(field, bits));
        out.Message(field.number, entry);
      }
    }
    if (const auto values = message.fields.find(field.number);
        values != message.fields.end()) {
      WriteField(field, values->second, &out);
    }
  }
  WriteUnknown(message.unknown, &out);
  return out.bytes();
}

Message Sample(const Type& type, const Field& field, int depth) {
  Message message{&type};
  if (field.label == Label::MAP) {
    message.maps[field.number] = {{"first", 1}, {"second", 2}};
    return message;
  }
  std::vector<Value>& values = message.fields[field.number];
  values.push_back(SampleValue(field, depth));
  if (field.label == Label::REPEATED) values.push_back(SampleValue(field, 0));
  return message;
}

Message Sample(const Type& type, int depth) {
  Message message{&type};
  bool member_set = false;
  for (const Field& field : type.fields) {
    if (field.label == Label::ONEOF && std::exchange(member_set, true)) {
      continue;
    }
    Message one = Sample(type, field, depth);
    message.fields.merge(one.fields);
    message.maps.merge(one.maps);
  }
  return message;
}

}  // namespace reference
