// JSON with the keys of the schema, zeros left out: read by simdjson, written
// by RapidJSON.
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

#include <stdexcept>

#include "structs.h"

namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;
namespace ondemand = simdjson::ondemand;

#define DECLARE(Type)                            \
  void Write(const model::Type& m, Writer& out); \
  void Read(ondemand::object in, model::Type& m);
SCHEMA_MESSAGES(DECLARE)

void Write(bool value, Writer& out) { out.Bool(value); }
void Write(int32_t value, Writer& out) { out.Int(value); }
void Write(uint32_t value, Writer& out) { out.Uint(value); }
void Write(float value, Writer& out) { out.Double(value); }
void Write(std::string_view text, Writer& out) {
  out.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

template <typename T>
void WriteList(const T& list, Writer& out) {
  out.StartArray();
  for (const auto& x : list) Write(x, out);
  out.EndArray();
}

template <typename T>
void WriteMap(const T& map, Writer& out) {
  out.StartObject();
  for (const auto& [key, value] : map) {
    Write(std::string_view(key), out);
    out.Int(value);
  }
  out.EndObject();
}

#define WRITE_IF(name, condition, write) \
  if (condition) {                       \
    out.Key(#name, sizeof(#name) - 1);   \
    write;                               \
  }
#define WRITE_NUMBER(name) WRITE_IF(name, m.name != 0, Write(m.name, out))
#define WRITE_ENUM WRITE_NUMBER
#define WRITE_STRING(name) \
  WRITE_IF(name, !m.name.empty(), Write(std::string_view(m.name), out))
// A payload with bytes is not entered.
#define WRITE_BYTES(name)
#define WRITE_MESSAGE(name) WRITE_IF(name, m.name, Write(*m.name, out))
#define WRITE_CHOICE WRITE_MESSAGE
#define WRITE_NUMBERS(name) \
  WRITE_IF(name, !m.name.empty(), WriteList(m.name, out))
#define WRITE_ENUMS WRITE_NUMBERS
#define WRITE_STRINGS WRITE_NUMBERS
#define WRITE_MESSAGES WRITE_NUMBERS
#define WRITE_MAP(name) WRITE_IF(name, !m.name.empty(), WriteMap(m.name, out))
#define WRITE_FIELD(what, number, name, lower, Camel, kind, type) \
  WRITE_##what(name)
#define DEFINE_WRITE(Type)                                         \
  void Write([[maybe_unused]] const model::Type& m, Writer& out) { \
    out.StartObject();                                             \
    SCHEMA_FIELDS_##Type(WRITE_FIELD) out.EndObject();             \
  }
SCHEMA_MESSAGES(DEFINE_WRITE)

template <typename Value>
void Get(Value&& in, bool& out) {
  out = in.get_bool();
}
template <typename Value>
void Get(Value&& in, int32_t& out) {
  out = static_cast<int32_t>(int64_t(in.get_int64()));
}
template <typename Value>
void Get(Value&& in, uint32_t& out) {
  out = static_cast<uint32_t>(uint64_t(in.get_uint64()));
}
template <typename Value>
void Get(Value&& in, float& out) {
  out = static_cast<float>(double(in.get_double()));
}
template <typename Value>
void Get(Value&& in, std::string& out) {
  out = std::string_view(in.get_string());
}
template <typename Value, typename Message>
void Get(Value&& in, std::unique_ptr<Message>& out) {
  out = std::make_unique<Message>();
  Read(in.get_object(), *out);
}
template <typename Value, typename T>
void Get(Value&& in, std::vector<T>& out) {
  for (auto element : in.get_array()) {
    if constexpr (std::is_class_v<T> && !std::is_same_v<T, std::string>) {
      Read(element.get_object(), out.emplace_back());
    } else {
      T next{};
      Get(element, next);
      out.push_back(std::move(next));
    }
  }
}
template <typename Value>
void Get(Value&& in, std::map<std::string, int32_t>& out) {
  for (auto entry : in.get_object()) {
    const std::string_view key = entry.unescaped_key();
    Get(entry.value(), out[std::string(key)]);
  }
}

#define READ_FIELD(what, number, name, lower, Camel, kind, type) \
  if (key == #name) {                                            \
    Get(field.value(), m.name);                                  \
    continue;                                                    \
  }
#define DEFINE_READ(Type)                                           \
  void Read(ondemand::object in, [[maybe_unused]] model::Type& m) { \
    for (auto field : in) {                                         \
      const std::string_view key = field.unescaped_key();           \
      SCHEMA_FIELDS_##Type(READ_FIELD) throw std::runtime_error(    \
          "unknown key");                                           \
    }                                                               \
  }
SCHEMA_MESSAGES(DEFINE_READ)

template <typename T>
void Enter(const Payload<T>& payload, Contest& contest) {
  // JSON has no bytes.
  if constexpr (std::is_same_v<T, model::FileMessage>) return;
  const auto buffer = std::make_shared<rapidjson::StringBuffer>();
  const auto write = [buffer](const T& value) {
    buffer->Clear();
    Writer writer(*buffer);
    Write(value, writer);
    return buffer->GetSize();
  };
  write(payload.value);
  const auto text = std::make_shared<simdjson::padded_string>(
      buffer->GetString(), buffer->GetSize());
  const auto parser = std::make_shared<ondemand::parser>();
  EnterStructs(payload, contest, write, [text, parser](T& message) {
    ondemand::document document = parser->iterate(*text);
    Read(document.get_object(), message);
  });
}

}  // namespace

CONTEST_MAIN(Enter)
