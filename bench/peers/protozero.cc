// protozero: a reader and a writer of the wire format without any classes of
// messages. Read into the plain structs; and walked over storing nothing,
// which is the least that reading the wire can cost. It leaves the check of
// texts for UTF-8 to its user, who leaves it out here.
#include <protozero/pbf_reader.hpp>

#include "structs.h"

namespace {

using protozero::pbf_reader;

#define DECLARE(Type)                         \
  void Read(pbf_reader in, model::Type& out); \
  template <typename V>                       \
  uint64_t Pass(pbf_reader in, const model::Type*, V v);
SCHEMA_MESSAGES(DECLARE)

std::pair<std::string_view, int32_t> ReadEntry(pbf_reader in) {
  std::pair<std::string_view, int32_t> entry;
  while (in.next()) {
    if (in.tag() == 1) {
      const auto key = in.get_view();
      entry.first = {key.data(), key.size()};
    } else if (in.tag() == 2) {
      entry.second = in.get_enum();
    } else {
      in.skip();
    }
  }
  return entry;
}

#define READ_NUMBER(name, kind) out.name = in.get_##kind();
#define READ_ENUM READ_NUMBER
#define READ_STRING READ_NUMBER
#define READ_BYTES READ_NUMBER
#define READ_MESSAGE(name, kind)                                            \
  out.name = std::make_unique<typename decltype(out.name)::element_type>(); \
  Read(in.get_message(), *out.name);
#define READ_CHOICE READ_MESSAGE
#define READ_NUMBERS(name, kind)             \
  const auto range = in.get_packed_##kind(); \
  out.name.assign(range.begin(), range.end());
#define READ_ENUMS READ_NUMBERS
#define READ_STRINGS(name, kind) out.name.push_back(in.get_string());
#define READ_MESSAGES(name, kind) \
  Read(in.get_message(), out.name.emplace_back());
#define READ_MAP(name, kind) out.name.emplace(ReadEntry(in.get_message()));
#define READ_FIELD(what, number, name, lower, Camel, kind, type) \
  case number: {                                                 \
    READ_##what(name, kind) break;                               \
  }
#define DEFINE_READ(Type)                                       \
  void Read(pbf_reader in, [[maybe_unused]] model::Type& out) { \
    while (in.next()) {                                         \
      switch (in.tag()) {                                       \
        SCHEMA_FIELDS_##Type(READ_FIELD) default : in.skip();   \
      }                                                         \
    }                                                           \
  }
SCHEMA_MESSAGES(DEFINE_READ)

std::string_view View(pbf_reader& in) {
  const auto view = in.get_view();
  return {view.data(), view.size()};
}

#define PASS_NUMBER(number, name, kind, type) \
  sum += v.Value(number, in.get_##kind());
#define PASS_ENUM PASS_NUMBER
#define PASS_STRING(number, name, kind, type) sum += v.Value(number, View(in));
#define PASS_BYTES PASS_STRING
#define PASS_MESSAGE(number, name, kind, type)                      \
  sum += Pass(in.get_message(), static_cast<model::type*>(nullptr), \
              v.Sub(number, 0));
#define PASS_CHOICE PASS_MESSAGE
#define PASS_NUMBERS(number, name, kind, type)     \
  for (const auto x : in.get_packed_##kind()) {    \
    sum += v.Item(number, places.Next(number), x); \
  }
#define PASS_ENUMS PASS_NUMBERS
#define PASS_STRINGS(number, name, kind, type) \
  sum += v.Item(number, places.Next(number), View(in));
#define PASS_MESSAGES(number, name, kind, type)                     \
  sum += Pass(in.get_message(), static_cast<model::type*>(nullptr), \
              v.Sub(number, places.Next(number)));
#define PASS_MAP(number, name, kind, type)        \
  const auto entry = ReadEntry(in.get_message()); \
  sum += v.Item(number, entry.first, entry.second);
#define PASS_FIELD(what, number, name, lower, Camel, kind, type) \
  case number: {                                                 \
    PASS_##what(number, name, kind, type) break;                 \
  }
#define DEFINE_PASS(Type)                                     \
  template <typename V>                                       \
  uint64_t Pass(pbf_reader in, const model::Type*, V v) {     \
    uint64_t sum = v.Present();                               \
    [[maybe_unused]] typename V::Places places;               \
    while (in.next()) {                                       \
      switch (in.tag()) {                                     \
        SCHEMA_FIELDS_##Type(PASS_FIELD) default : in.skip(); \
      }                                                       \
    }                                                         \
    return sum;                                               \
  }
SCHEMA_MESSAGES(DEFINE_PASS)

template <typename T>
void Enter(const Payload<T>& payload, Contest& contest) {
  const std::string& bytes = payload.bytes;
  const T* const kind = nullptr;
  contest.CheckValues(payload, Pass(pbf_reader(bytes), kind, Hash()));
  EnterStructs(
      payload, contest,
      [](const T& value) { return model::Encode(value).size(); },
      [&bytes](T& message) { Read(pbf_reader(bytes), message); });
  contest.Time(payload, "walk", [&bytes, kind] {
    benchmark::DoNotOptimize(Pass(pbf_reader(bytes), kind, Touch()));
  });
}

}  // namespace

CONTEST_MAIN(Enter)
