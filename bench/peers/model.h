// Plain structs with every field of the schema: where all contestants get the
// values that they hold, and what those that have no structs of their own read
// into.
#ifndef SCHEMA_BENCH_PEERS_MODEL_H_
#define SCHEMA_BENCH_PEERS_MODEL_H_

#include <fields.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace model {

#define DECLARE_STRUCT(Type) struct Type;
SCHEMA_MESSAGES(DECLARE_STRUCT)
#undef DECLARE_STRUCT

#define MEMBER_NUMBER(name, type) type name = 0;
#define MEMBER_ENUM(name, type) int32_t name = 0;
#define MEMBER_STRING(name, type) std::string name;
#define MEMBER_BYTES(name, type) std::string name;
#define MEMBER_MESSAGE(name, type) std::unique_ptr<type> name;
#define MEMBER_CHOICE(name, type) std::unique_ptr<type> name;
#define MEMBER_NUMBERS(name, type) std::vector<type> name;
#define MEMBER_ENUMS(name, type) std::vector<int32_t> name;
#define MEMBER_STRINGS(name, type) std::vector<std::string> name;
#define MEMBER_MESSAGES(name, type) std::vector<type> name;
#define MEMBER_MAP(name, type) std::map<std::string, int32_t> name;
#define MEMBER(what, number, name, lower, Camel, kind, type) \
  MEMBER_##what(name, type)
#define DEFINE_STRUCT(Type)      \
  struct Type {                  \
    SCHEMA_FIELDS_##Type(MEMBER) \
  };
SCHEMA_MESSAGES(DEFINE_STRUCT)
#undef DEFINE_STRUCT
#undef MEMBER
#undef MEMBER_NUMBER
#undef MEMBER_ENUM
#undef MEMBER_STRING
#undef MEMBER_BYTES
#undef MEMBER_MESSAGE
#undef MEMBER_CHOICE
#undef MEMBER_NUMBERS
#undef MEMBER_ENUMS
#undef MEMBER_STRINGS
#undef MEMBER_MESSAGES
#undef MEMBER_MAP

// The bytes of a message by the rules of Protocol Buffers: fields in the order
// of their numbers, map entries in the order of their keys, no zeros. They are
// written with protozero.
#define DECLARE_ENCODE(Type) std::string Encode(const Type& m);
SCHEMA_MESSAGES(DECLARE_ENCODE)
#undef DECLARE_ENCODE

// A number for all values of a message, each in its place.
#define DECLARE_HASH(Type) uint64_t HashOf(const Type& m);
SCHEMA_MESSAGES(DECLARE_HASH)
#undef DECLARE_HASH

}  // namespace model

#endif  // SCHEMA_BENCH_PEERS_MODEL_H_
