// The reference reader, writer and printers of the schema's messages.
#include "reference.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
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
            {row.number, row.name, full_name, row.label, row.kind,
             row.kind == Kind::MESSAGE ? by_name.at(row.type) : nullptr,
             row.kind == Kind::ENUM ? &Enums().at(row.type) : nullptr});
  }
  return types;
}

// Reads one input from its beginning. Every function that returns false has
// put down the reason.
class Decoder {
 public:
  explicit Decoder(std::string_view bytes) : bytes_(bytes) {}

  const std::string& reason() const { return reason_; }

  bool ReadMessage(size_t end, int depth, Message* message) {
    while (pos_ < end) {
      uint32_t key;
      if (!ReadKey(end, &key)) return false;
      const Field* field = message->type->Find(key >> 3);
      const auto wire_type = static_cast<wire::Type>(key & 7);
      bool read;
      if (field != nullptr && wire_type == field->wire_type()) {
        read = ReadField(*field, end, depth, message);
      } else if (field != nullptr && field->packed() &&
                 wire_type == wire::kLength) {
        read = ReadPacked(*field, end, &message->fields[field->number]);
      } else {
        read = ReadUnknown(key, end, depth, &message->unknown);
      }
      if (!read) return false;
    }
    return true;
  }

 private:
  bool Fail(std::string reason) {
    reason_ = std::move(reason);
    return false;
  }

  // A varint of at most `size` bytes. Bits beyond the 64th are dropped.
  bool ReadVarint(size_t end, int size, const char* too_long, uint64_t* value) {
    *value = 0;
    for (int i = 0; i < size; ++i) {
      if (pos_ == end) return Fail("truncated");
      const unsigned char byte = bytes_[pos_++];
      *value |= static_cast<uint64_t>(byte & 0x7F) << 7 * i;
      if (byte < 0x80) return true;
    }
    return Fail(too_long);
  }

  bool ReadNumber(size_t end, uint64_t* value) {
    return ReadVarint(end, 10, "varint_too_long", value);
  }

  // A key that may stand between records: none that ends the message.
  bool ReadKey(size_t end, uint32_t* key) {
    if (!ReadAnyKey(end, key)) return false;
    return (*key & 7) != wire::kEnd || Fail("end_group");
  }

  bool ReadAnyKey(size_t end, uint32_t* key) {
    uint64_t value;
    if (!ReadVarint(end, 5, "key_too_long", &value)) return false;
    *key = static_cast<uint32_t>(value);
    return *key != 0 || Fail("zero_key");
  }

  bool ReadLength(size_t end, size_t* record_end) {
    uint64_t length;
    if (!ReadVarint(end, 5, "length_too_long", &length)) return false;
    if (length > INT_MAX - 16) return Fail("length_too_long");
    if (length > end - pos_) {
      return Fail(end == bytes_.size() ? "length_past_end"
                                       : "length_past_record");
    }
    *record_end = pos_ + length;
    return true;
  }

  bool ReadBytes(size_t end, std::string* bytes) {
    size_t record_end;
    if (!ReadLength(end, &record_end)) return false;
    bytes->assign(bytes_.substr(pos_, record_end - pos_));
    pos_ = record_end;
    return true;
  }

  bool ReadText(size_t end, const Field& field, std::string* text) {
    return ReadBytes(end, text) && (IsUtf8(*text) || Fail(field.full_name));
  }

  bool ReadFixed(size_t end, size_t size, uint64_t* value) {
    if (size > end - pos_) return Fail("truncated");
    *value = 0;
    for (size_t i = 0; i < size; ++i) {
      const unsigned char byte = bytes_[pos_++];
      *value |= static_cast<uint64_t>(byte) << 8 * i;
    }
    return true;
  }

  bool ReadScalar(const Field& field, size_t end, Value* value) {
    uint64_t number;
    if (field.kind == Kind::FLOAT) {
      if (!ReadFixed(end, 4, &number)) return false;
    } else {
      if (!ReadNumber(end, &number)) return false;
      if (field.kind == Kind::BOOL) number = number != 0;
    }
    value->bits = static_cast<uint32_t>(number);
    return true;
  }

  bool ReadPacked(const Field& field, size_t end, std::vector<Value>* values) {
    size_t record_end;
    if (!ReadLength(end, &record_end)) return false;
    while (pos_ < record_end) {
      if (!ReadScalar(field, record_end, &values->emplace_back())) return false;
    }
    return true;
  }

  bool ReadField(const Field& field, size_t end, int depth, Message* message) {
    if (field.label == Label::MAP) {
      return ReadEntry(field, end, depth, &message->maps[field.number]);
    }
    if (field.label == Label::ONEOF) {
      for (const Field& member : message->type->fields) {
        if (member.label == Label::ONEOF && member.number != field.number) {
          message->fields.erase(member.number);
        }
      }
    }
    std::vector<Value>& values = message->fields[field.number];
    if (field.label == Label::REPEATED || values.empty()) values.emplace_back();
    Value* value = &values.back();
    switch (field.kind) {
      case Kind::STRING:
        return ReadText(end, field, &value->text);
      case Kind::BYTES:
        return ReadBytes(end, &value->text);
      case Kind::MESSAGE:
        break;
      default:
        return ReadScalar(field, end, value);
    }
    size_t record_end;
    if (!ReadLength(end, &record_end)) return false;
    if (depth == kMaxDepth) return Fail("too_deep");
    if (value->message.empty()) value->message.push_back({field.type});
    return ReadMessage(record_end, depth + 1, &value->message[0]);
  }

  bool ReadEntry(const Field& field, size_t end, int depth,
                 std::map<std::string, uint32_t>* map) {
    size_t record_end;
    if (!ReadLength(end, &record_end)) return false;
    if (depth == kMaxDepth) return Fail("too_deep");
    std::string map_key;
    Value value;
    std::vector<Unknown> dropped;
    while (pos_ < record_end) {
      uint32_t key;
      if (!ReadKey(record_end, &key)) return false;
      bool read;
      if (key == (1 << 3 | wire::kLength)) {
        read = ReadText(record_end, field, &map_key);
      } else if (key == (2 << 3 | wire::kVarint)) {
        read = ReadScalar(field, record_end, &value);
      } else {
        read = ReadUnknown(key, record_end, depth + 1, &dropped);
      }
      if (!read) return false;
    }
    (*map)[map_key] = value.bits;
    return true;
  }

  bool ReadUnknown(uint32_t key, size_t end, int depth,
                   std::vector<Unknown>* records) {
    const auto wire_type = static_cast<wire::Type>(key & 7);
    if (key >> 3 == 0) return Fail("zero_field_number");
    Unknown& record = records->emplace_back(Unknown{key >> 3, wire_type});
    switch (wire_type) {
      case wire::kVarint:
        return ReadNumber(end, &record.value);
      case wire::kFixed64:
        return ReadFixed(end, 8, &record.value);
      case wire::kFixed32:
        return ReadFixed(end, 4, &record.value);
      case wire::kLength:
        return ReadBytes(end, &record.bytes);
      case wire::kStart:
        if (depth == kMaxDepth) return Fail("too_deep");
        return ReadGroup(key, end, depth + 1, &record.group);
      default:
        return Fail("bad_wire_type");
    }
  }

  bool ReadGroup(uint32_t start, size_t end, int depth,
                 std::vector<Unknown>* records) {
    while (pos_ < end) {
      uint32_t key;
      if (!ReadAnyKey(end, &key)) return false;
      if ((key & 7) == wire::kEnd) {
        return key >> 3 == start >> 3 || Fail("group_mismatch");
      }
      if (!ReadUnknown(key, end, depth, records)) return false;
    }
    return Fail("group_not_closed");
  }

  const std::string_view bytes_;
  size_t pos_ = 0;
  std::string reason_;
};

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

// Implicit presence: a value counts as set when it is not the default.
bool IsSet(const Field& field, const Value& value) {
  return field.label != Label::SINGULAR || field.kind == Kind::MESSAGE ||
         value.bits != 0 || !value.text.empty();
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
    if (IsSet(field, value)) WriteValue(field, value, out);
  }
}

std::string Base64(std::string_view bytes) {
  static const char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    uint32_t group = 0;
    for (size_t j = i; j < i + 3; ++j) {
      const unsigned char byte = j < bytes.size() ? bytes[j] : 0;
      group = group << 8 | byte;
    }
    for (size_t j = 0; j < 4; ++j) {
      text.push_back(
          i + j > bytes.size() ? '=' : kDigits[group >> (18 - 6 * j) & 63]);
    }
  }
  return text;
}

// A text in quotes. Control characters are escaped, so that a file of it is
// text on every system; `bytes` are escaped above 0x7E too.
std::string Quoted(std::string_view text, bool json, bool bytes) {
  std::string result = "\"";
  for (unsigned char c : text) {
    char escape[8];
    if (c == '"' || c == '\\') {
      result.push_back('\\');
      result.push_back(c);
    } else if (c < 0x20 || c == 0x7F || (bytes && c > 0x7E)) {
      std::snprintf(escape, sizeof escape, json ? "\\u%04x" : "\\%03o", c);
      result += escape;
    } else {
      result.push_back(c);
    }
  }
  return result + "\"";
}

// The shortest digits that read back as the same float; always with a point
// or an exponent, since the integer -0 has no sign. Rounded up, the digits of
// the largest float are out of range for who reads them as a double first.
std::string FloatText(uint32_t bits, bool json) {
  float value;
  std::memcpy(&value, &bits, sizeof value);
  if (std::isnan(value)) return json ? "\"NaN\"" : "nan";
  if (std::isinf(value)) {
    const std::string sign = value < 0 ? "-" : "";
    return json ? "\"" + sign + "Infinity\"" : sign + "inf";
  }
  char digits[32];
  const bool largest = std::abs(value) == std::numeric_limits<float>::max();
  const auto end =
      (largest ? std::to_chars(digits, digits + sizeof digits, double{value})
               : std::to_chars(digits, digits + sizeof digits, value))
          .ptr;
  std::string text(digits, end);
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

std::string ScalarText(const Field& field, const Value& value, bool json) {
  const auto number = static_cast<int32_t>(value.bits);
  switch (field.kind) {
    case Kind::UINT32:
      return std::to_string(value.bits);
    case Kind::BOOL:
      return value.bits != 0 ? "true" : "false";
    case Kind::FLOAT:
      return FloatText(value.bits, json);
    case Kind::STRING:
      return Quoted(value.text, json, false);
    case Kind::BYTES:
      return json ? "\"" + Base64(value.text) + "\""
                  : Quoted(value.text, json, true);
    case Kind::ENUM:
      for (const auto& [name, declared] : field.enumeration->values) {
        if (declared == number) return json ? "\"" + name + "\"" : name;
      }
      return std::to_string(number);
    default:
      return std::to_string(number);
  }
}

void PrintText(const Message& message, const std::string& indent,
               std::string* out) {
  const std::string inner = indent + "  ";
  for (const Field& field : message.type->fields) {
    if (const auto map = message.maps.find(field.number);
        map != message.maps.end()) {
      for (const auto& [key, bits] : map->second) {
        *out += indent + field.name + " {\n";
        *out += inner + "key: " + Quoted(key, false, false) + "\n";
        *out += inner + "value: " + ScalarText(field, {bits}, false);
        *out += "\n" + indent + "}\n";
      }
    }
    const auto values = message.fields.find(field.number);
    if (values == message.fields.end()) continue;
    for (const Value& value : values->second) {
      if (!IsSet(field, value)) continue;
      *out += indent + field.name;
      if (field.kind == Kind::MESSAGE) {
        *out += " {\n";
        PrintText(value.message[0], inner, out);
        *out += indent + "}\n";
      } else {
        *out += ": " + ScalarText(field, value, false) + "\n";
      }
    }
  }
}

std::string JsonObject(const Message& message, const std::string& indent);

std::string JsonValue(const Field& field, const Value& value,
                      const std::string& indent) {
  return field.kind == Kind::MESSAGE ? JsonObject(value.message[0], indent)
                                     : ScalarText(field, value, true);
}

// Members between an opening and a closing bracket, one a line.
std::string JsonBlock(const std::vector<std::string>& members,
                      const std::string& indent, const char* brackets) {
  std::string block(1, brackets[0]);
  for (size_t i = 0; i < members.size(); ++i) {
    block += (i == 0 ? "\n" : ",\n") + indent + "  " + members[i];
  }
  if (!members.empty()) block += "\n" + indent;
  return block + brackets[1];
}

std::string JsonObject(const Message& message, const std::string& indent) {
  const std::string inner = indent + "  ";
  std::vector<std::string> members;
  for (const Field& field : message.type->fields) {
    const std::string name = "\"" + CamelCase(field.name, false) + "\": ";
    if (const auto map = message.maps.find(field.number);
        map != message.maps.end()) {
      std::vector<std::string> entries;
      for (const auto& [key, bits] : map->second) {
        entries.push_back(Quoted(key, true, false) + ": " +
                          ScalarText(field, {bits}, true));
      }
      members.push_back(name + JsonBlock(entries, inner, "{}"));
    }
    const auto found = message.fields.find(field.number);
    if (found == message.fields.end() || found->second.empty()) continue;
    if (field.label == Label::REPEATED) {
      std::vector<std::string> elements;
      for (const Value& value : found->second) {
        elements.push_back(JsonValue(field, value, inner + "  "));
      }
      members.push_back(name + JsonBlock(elements, inner, "[]"));
    } else if (IsSet(field, found->second[0])) {
      members.push_back(name + JsonValue(field, found->second[0], inner));
    }
  }
  return JsonBlock(members, indent, "{}");
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

Decoded Decode(const Type& type, std::string_view bytes) {
  Decoded decoded{{&type}};
  Decoder decoder(bytes);
  decoder.ReadMessage(bytes.size(), 0, &decoded.message);
  decoded.reason = decoder.reason();
  return decoded;
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

std::string ToText(const Message& message) {
  std::string text;
  PrintText(message, "", &text);
  return text;
}

std::string ToJson(const Message& message) {
  return JsonObject(message, "") + "\n";
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

// Follows the table of well-formed byte sequences of the Unicode Standard
// (section 3.9, table 3-7).
bool IsUtf8(std::string_view text) {
  const auto in = [&](size_t i, unsigned char low, unsigned char high) {
    const unsigned char byte = i < text.size() ? text[i] : 0;
    return byte >= low && byte <= high;
  };
  for (size_t i = 0; i < text.size();) {
    const unsigned char lead = text[i];
    size_t size = 0;
    if (lead < 0x80) {
      size = 1;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      size = in(i + 1, 0x80, 0xBF) ? 2 : 0;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      const bool second =
          in(i + 1, lead == 0xE0 ? 0xA0 : 0x80, lead == 0xED ? 0x9F : 0xBF);
      size = second && in(i + 2, 0x80, 0xBF) ? 3 : 0;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      const bool second =
          in(i + 1, lead == 0xF0 ? 0x90 : 0x80, lead == 0xF4 ? 0x8F : 0xBF);
      size = second && in(i + 2, 0x80, 0xBF) && in(i + 3, 0x80, 0xBF) ? 4 : 0;
    }
    if (size == 0) return false;
    i += size;
  }
  return true;
}

}  // namespace reference
