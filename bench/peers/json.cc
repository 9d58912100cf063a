// JSON with the keys of the schema, zeros left out: read by simdjson into plain
// structs, and written from them by RapidJSON.
#include <google/protobuf/util/json_util.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

#include <stdexcept>

#include "contest.h"

namespace {

// Each struct calls visit(key, member) for its members in turn, until one call
// returns true.
#include <structs.h>

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;
namespace ondemand = simdjson::ondemand;

bool Zero(const std::string& text) { return text.empty(); }
template <typename T>
bool Zero(const std::vector<T>& list) {
  return list.empty();
}
template <typename T>
bool Zero(const T& value) {
  return !value;
}

void Write(bool value, Writer& out) { out.Bool(value); }
void Write(int32_t value, Writer& out) { out.Int(value); }
void Write(std::string& text, Writer& out) {
  out.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}
template <typename T>
void Write(std::unique_ptr<T>& message, Writer& out) {
  Write(*message, out);
}
template <typename T>
void Write(std::vector<T>& list, Writer& out) {
  out.StartArray();
  for (auto& element : list) Write(element, out);
  out.EndArray();
}
template <typename T>
void Write(T& message, Writer& out) {
  out.StartObject();
  message.Visit([&out](const auto& key, auto& member)
                    __attribute__((always_inline)) {
                      if (Zero(member)) return false;
                      out.Key(key, sizeof key - 1);
                      Write(member, out);
                      return false;
                    });
  out.EndObject();
}

template <typename T>
void Read(ondemand::object in, T& message);

template <typename Value, typename T>
void Get(Value&& in, T& out) {
  if constexpr (std::is_same_v<T, bool>) {
    out = in.get_bool();
  } else if constexpr (std::is_same_v<T, int32_t>) {
    out = static_cast<int32_t>(int64_t(in.get_int64()));
  } else {
    out = std::string_view(in.get_string());
  }
}
template <typename Value, typename T>
void Get(Value&& in, std::unique_ptr<T>& out) {
  out = std::make_unique<T>();
  Read(in.get_object(), *out);
}
template <typename Value, typename T>
void Get(Value&& in, std::vector<T>& out) {
  for (auto element : in.get_array()) {
    if constexpr (std::is_class_v<T>) {
      Read(element.get_object(), out.emplace_back());
    } else {
      Get(element, out.emplace_back());
    }
  }
}

template <typename T>
void Read(ondemand::object in, T& message) {
  for (auto field : in) {
    const std::string_view key = field.unescaped_key();
    if (!message.Visit([&](const auto& name, auto& member)
                           __attribute__((always_inline)) {
                             if (key != std::string_view(name, sizeof name - 1))
                               return false;
                             Get(field.value(), member);
                             return true;
                           })) {
      throw std::runtime_error("unknown key");
    }
  }
}

std::string JsonOf(const google::protobuf::Message& message) {
  google::protobuf::util::JsonPrintOptions options;
  options.always_print_enums_as_ints = true;
  options.preserve_proto_field_names = true;
  std::string text;
  if (!MessageToJsonString(message, &text, options).ok()) std::abort();
  return text;
}

void Enter(const Tree& tree) {
  const auto text =
      std::make_shared<simdjson::padded_string>(JsonOf(tree.message));
  const auto parser = std::make_shared<ondemand::parser>();
  const auto parse = [text, parser](ModsConfigured& message) {
    ondemand::document document = parser->iterate(*text);
    Read(document.get_object(), message);
  };
  const auto message = std::make_shared<ModsConfigured>();
  parse(*message);
  const auto buffer = std::make_shared<rapidjson::StringBuffer>();
  const auto write = [message, buffer] {
    buffer->Clear();
    Writer writer(*buffer);
    Write(*message, writer);
    return buffer->GetSize();
  };
  ShowSize(tree, write());
  Demand(buffer->GetString() == std::string_view(*text), tree.name);
  Time(tree, "parse new", [parse] {
    ModsConfigured parsed;
    parse(parsed);
    benchmark::DoNotOptimize(&parsed);
  });
  Time(tree, "serialize array", [write] { benchmark::DoNotOptimize(write()); });
}

}  // namespace

int main(int argc, char** argv) {
  for (const Tree& tree : Trees()) Enter(tree);
  return RunContest(argc, argv);
}
