// Prints values by reflection. The depth is at most that of a message that can
// be parsed.
#include "value_text.h"

#include <google/protobuf/stubs/strutil.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <vector>

#include "output.h"

namespace tarn::tool {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::UnknownField;
using google::protobuf::UnknownFieldSet;

constexpr size_t kPiece = 4096;
constexpr size_t kLongestName = 100;

// A size up to `limit` at which the text can be cut between two characters.
size_t CutAt(std::string_view text, size_t limit) {
  if (text.size() <= limit) return text.size();
  size_t size = limit;
  while (size > limit - 3 && (text[size] & 0xC0) == 0x80) --size;
  return size;
}

// Writes text for the inside of quotes.
void WriteEscaped(std::string_view text, const TextSink& write) {
  while (!text.empty()) {
    const size_t size = CutAt(text, kPiece);
    write(Escaped(text.substr(0, size), "\\\""));
    text.remove_prefix(size);
  }
}

// Shows the bits of a NaN other than the usual one: there are 2^24 - 2 NaNs.
std::string FloatText(float value) {
  std::string text = google::protobuf::SimpleFtoa(value);
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  if (std::isnan(value) && bits != 0x7FC00000) {
    char digits[8];
    const auto end = std::to_chars(digits, digits + sizeof digits, bits, 16);
    text += "(0x" + std::string(digits, end.ptr) + ")";
  }
  return text;
}

void WriteVarint(uint64_t value, const TextSink& write) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7) {
    bytes.push_back(static_cast<char>(value | 0x80));
  }
  bytes.push_back(static_cast<char>(value));
  WriteEscaped(bytes, write);
}

void WriteFixed(uint64_t value, int size, const TextSink& write) {
  std::string bytes;
  for (int i = 0; i < size; ++i) {
    bytes.push_back(static_cast<char>(value >> (8 * i)));
  }
  WriteEscaped(bytes, write);
}

void WriteUnknownBytes(const UnknownFieldSet& fields, const TextSink& write) {
  for (int i = 0; i < fields.field_count(); ++i) {
    const UnknownField& field = fields.field(i);
    const auto tag = [&](int wire) {
      WriteVarint(static_cast<uint32_t>(field.number()) << 3 | wire, write);
    };
    switch (field.type()) {
      case UnknownField::TYPE_VARINT:
        tag(0);
        WriteVarint(field.varint(), write);
        break;
      case UnknownField::TYPE_FIXED64:
        tag(1);
        WriteFixed(field.fixed64(), 8, write);
        break;
      case UnknownField::TYPE_LENGTH_DELIMITED:
        tag(2);
        WriteVarint(field.length_delimited().size(), write);
        WriteEscaped(field.length_delimited(), write);
        break;
      case UnknownField::TYPE_GROUP:
        tag(3);
        WriteUnknownBytes(field.group(), write);
        tag(4);
        break;
      case UnknownField::TYPE_FIXED32:
        tag(5);
        WriteFixed(field.fixed32(), 4, write);
        break;
    }
  }
}

}  // namespace

void WriteQuoted(std::string_view text, const TextSink& write) {
  write("\"");
  WriteEscaped(text, write);
  write("\"");
}

void WriteValue(const Message& message, const FieldDescriptor& field, int index,
                const TextSink& write) {
  const auto& reflection = *message.GetReflection();
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return WriteMessage(
          index < 0 ? reflection.GetMessage(message, &field)
                    : reflection.GetRepeatedMessage(message, &field, index),
          write);
    case FieldDescriptor::CPPTYPE_STRING: {
      std::string scratch;
      return WriteQuoted(
          index < 0 ? reflection.GetStringReference(message, &field, &scratch)
                    : reflection.GetRepeatedStringReference(message, &field,
                                                            index, &scratch),
          write);
    }
    case FieldDescriptor::CPPTYPE_FLOAT:
      return write(FloatText(
          index < 0 ? reflection.GetFloat(message, &field)
                    : reflection.GetRepeatedFloat(message, &field, index)));
    default:
      std::string text;
      google::protobuf::TextFormat::PrintFieldValueToString(message, &field,
                                                            index, &text);
      write(text);
  }
}

void WriteMessage(const Message& message, const TextSink& write) {
  const auto& reflection = *message.GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection.ListFields(message, &fields);
  write("{ ");
  for (const FieldDescriptor* field : fields) {
    const bool list = field->is_repeated();
    const int count = list ? reflection.FieldSize(message, field) : 1;
    for (int i = 0; i < count; ++i) {
      write(field->name());
      write(field->message_type() != nullptr ? " " : ": ");
      WriteValue(message, *field, list ? i : -1, write);
      write(" ");
    }
  }
  if (!reflection.GetUnknownFields(message).empty()) {
    write("unknown fields: ");
    WriteUnknown(reflection.GetUnknownFields(message), write);
    write(" ");
  }
  write("}");
}

void WriteUnknown(const UnknownFieldSet& fields, const TextSink& write) {
  write("\"");
  WriteUnknownBytes(fields, write);
  write("\"");
}

std::string Shortened(std::string_view text) {
  if (text.size() <= kLongestName) return std::string(text);
  return std::string(text.substr(0, CutAt(text, kLongestName))) + "… (" +
         std::to_string(text.size()) + " bytes)";
}

}  // namespace tarn::tool
