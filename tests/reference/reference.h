// A second implementation of the schema's encoding, written from its rules and
// from the table, without the runtime. The tests compare the library with it.
#ifndef TESTS_REFERENCE_REFERENCE_H_
#define TESTS_REFERENCE_REFERENCE_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "wire.h"

namespace reference {

enum class Label { SINGULAR, REPEATED, ONEOF, MAP };
enum class Kind { INT32, UINT32, BOOL, FLOAT, STRING, BYTES, ENUM, MESSAGE };

struct Enum {
  std::string full_name;
  std::vector<std::pair<std::string, int32_t>> values;
};

struct Type;
struct Value;

struct Field {
  int number;
  std::string name;
  std::string json_name;
  // What a failed UTF-8 check names: the field, or the key of a map's entry.
  std::string full_name;
  Label label;
  Kind kind;
  const Type* type;         // of messages
  const Enum* enumeration;  // of enums

  // Whether a list of it travels in one record.
  bool packed() const;
  // The wire type of one value, or of a map's entry.
  wire::Type wire_type() const;
  // Implicit presence: a value counts as set when it is not the default.
  bool IsSet(const Value& value) const;
};

struct Type {
  std::string name;
  std::vector<Field> fields;  // in the order of their numbers

  const Field* Find(uint32_t number) const;
};

// All messages of both files.
const std::vector<Type>& Types();
// The message of that name, without the package. Aborts when there is none.
const Type& TypeNamed(std::string_view name);

struct Message;

struct Value {
  uint32_t bits = 0;                  // numbers, booleans, enums, floats
  std::string text = {};              // strings, bytes
  std::vector<Message> message = {};  // one message, or none
};

// A record that the schema does not know.
struct Unknown {
  uint32_t number;
  wire::Type wire_type;
  uint64_t value = 0;               // varint, fixed32, fixed64
  std::string bytes = {};           // length-delimited
  std::vector<Unknown> group = {};  // group
};

struct Message {
  const Type* type;
  // By number; a singular field holds one value.
  std::map<int, std::vector<Value>> fields = {};
  std::map<int, std::map<std::string, uint32_t>> maps = {};
  std::vector<Unknown> unknown = {};
};

// The deepest nesting that is read: messages and unknown groups below the
// outermost message.
inline constexpr int kMaxDepth = 100;

struct Decoded {
  Message message;
  // Why the bytes are rejected, empty when they are accepted: the full name of
  // the field whose text is not UTF-8, or one of the reasons that
  // corpus/README.md lists.
  std::string reason = {};

  bool accepted() const { return reason.empty(); }
};

Decoded Decode(const Type& type, std::string_view bytes);

// The canonical bytes: fields in ascending order, maps sorted by key, lists
// packed, unknown fields last, every varint in its shortest form.
std::string Encode(const Message& message);

// The text format and the JSON form. Neither carries unknown fields, nor the
// payload of a NaN.
std::string ToText(const Message& message);
std::string ToJson(const Message& message);

// A message with every field set (the first member of a oneof), each to
// another value than its neighbours. Messages nested deeper than `depth` are
// there but empty.
//
// tests/reference/fill.h makes such messages by descriptors. This is another
// maker because expected bytes must not come from the library or the runtime.
Message Sample(const Type& type, int depth);
// The same with one field alone.
Message Sample(const Type& type, const Field& field, int depth);

// Whether text is UTF-8: shortest form, no surrogates, up to U+10FFFF.
bool IsUtf8(std::string_view text);

}  // namespace reference

#endif  // TESTS_REFERENCE_REFERENCE_H_
