// Messages in the text format and in JSON, as the reference prints them.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include "reference.h"

namespace reference {
namespace {

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
      if (!field.IsSet(value)) continue;
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
    const std::string name = "\"" + field.json_name + "\": ";
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
    } else if (field.IsSet(found->second[0])) {
      members.push_back(name + JsonValue(field, found->second[0], inner));
    }
  }
  return JsonBlock(members, indent, "{}");
}

}  // namespace

std::string ToText(const Message& message) {
  std::string text;
  PrintText(message, "", &text);
  return text;
}

std::string ToJson(const Message& message) {
  return JsonObject(message, "") + "\n";
}

}  // namespace reference
