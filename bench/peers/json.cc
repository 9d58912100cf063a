// JSON with the keys of the schema, zeros left out: read by simdjson into the
// messages of the library, and written from them by RapidJSON.
#define RAPIDJSON_HAS_STDSTRING 1
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

#include <stdexcept>

#include "contest.h"

namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;
namespace ondemand = simdjson::ondemand;

template <typename T>
T Get(ondemand::value in) {
  if constexpr (std::is_same_v<T, bool>) {
    return in.get_bool();
  } else if constexpr (std::is_same_v<T, std::string>) {
    return std::string(std::string_view(in.get_string()));
  } else {
    return static_cast<T>(int64_t(in.get_int64()));
  }
}

void Write(bool value, Writer& out) { out.Bool(value); }
void Write(int32_t value, Writer& out) { out.Int(value); }
void Write(const std::string& text, Writer& out) { out.String(text); }

#include <read_json.h>
#include <write_json.h>

void Enter(const Tree& tree) {
  const auto text =
      std::make_shared<simdjson::padded_string>(JsonOf(tree.message));
  const auto parser = std::make_shared<ondemand::parser>();
  const auto block = std::make_shared<Block<tarn::ModsConfigured>>(tree.bytes);
  const auto parse = [text, parser, block] {
    ondemand::document document = parser->iterate(*text);
    auto* const message = block->Create();
    Read(document.get_object(), message);
    return message;
  };
  Demand(parse()->SerializeAsString() == tree.bytes, tree.name);
  const auto buffer = std::make_shared<rapidjson::StringBuffer>();
  const auto write = [&tree, buffer] {
    buffer->Clear();
    Writer writer(*buffer);
    Write(tree.message, writer);
    return buffer->GetSize();
  };
  ShowSize(tree, write());
  Demand(buffer->GetString() == std::string_view(*text), tree.name);
  Time(tree, "parse block", [parse] { benchmark::DoNotOptimize(parse()); });
  Time(tree, "serialize array", [write] { benchmark::DoNotOptimize(write()); });
}

}  // namespace

int main(int argc, char** argv) {
  for (const Tree& tree : Trees()) Enter(tree);
  return RunContest(argc, argv);
}
