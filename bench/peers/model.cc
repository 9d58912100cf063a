// The bytes and the hash of the plain structs.
#include "model.h"

#include <protozero/pbf_writer.hpp>

#include "model_walk.h"

namespace model {

#define DEFINE_HASH(Type) \
  uint64_t HashOf(const Type& m) { return Walk(m, Hash()); }
SCHEMA_MESSAGES(DEFINE_HASH)

namespace {

#define DECLARE_WRITE(Type) \
  void Write(const Type& m, protozero::pbf_writer out);
SCHEMA_MESSAGES(DECLARE_WRITE)

#define WRITE_NUMBER(number, name, kind) \
  if (Bits(m.name) != 0) out.add_##kind(number, m.name);
#define WRITE_ENUM WRITE_NUMBER
#define WRITE_STRING(number, name, kind) \
  if (!m.name.empty()) out.add_##kind(number, m.name);
#define WRITE_BYTES WRITE_STRING
#define WRITE_MESSAGE(number, name, kind) \
  if (m.name) Write(*m.name, {out, number});
#define WRITE_CHOICE WRITE_MESSAGE
#define WRITE_NUMBERS(number, name, kind) \
  out.add_packed_##kind(number, m.name.begin(), m.name.end());
#define WRITE_ENUMS WRITE_NUMBERS
#define WRITE_STRINGS(number, name, kind) \
  for (const auto& x : m.name) out.add_##kind(number, x);
#define WRITE_MESSAGES(number, name, kind) \
  for (const auto& x : m.name) Write(x, {out, number});
#define WRITE_MAP(number, name, kind)         \
  for (const auto& [key, value] : m.name) {   \
    protozero::pbf_writer entry(out, number); \
    entry.add_string(1, key);                 \
    entry.add_enum(2, value);                 \
  }
#define WRITE_FIELD(what, number, name, lower, Camel, kind, type) \
  WRITE_##what(number, name, kind)
#define DEFINE_WRITE(Type)                                                \
  void Write([[maybe_unused]] const Type& m, protozero::pbf_writer out) { \
    SCHEMA_FIELDS_##Type(WRITE_FIELD)                                     \
  }
SCHEMA_MESSAGES(DEFINE_WRITE)

}  // namespace

#define DEFINE_ENCODE(Type)                 \
  std::string Encode(const Type& m) {       \
    std::string bytes;                      \
    Write(m, protozero::pbf_writer(bytes)); \
    return bytes;                           \
  }
SCHEMA_MESSAGES(DEFINE_ENCODE)

}  // namespace model
