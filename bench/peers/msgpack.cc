// MessagePack by msgpack-cxx: a message is an array of all its fields, as
// MSGPACK_DEFINE would have it.
#include <msgpack.hpp>

#include "structs.h"

namespace msgpack {
MSGPACK_API_VERSION_NAMESPACE(MSGPACK_DEFAULT_API_NS) {
  namespace adaptor {

#define DECLARE(Type)       \
  template <>               \
  struct pack<model::Type>; \
  template <>               \
  struct convert<model::Type>;
  SCHEMA_MESSAGES(DECLARE)

#define COUNT_FIELD(what, number, name, lower, Camel, kind, type) +1
#define PACK_FIELD(what, number, name, lower, Camel, kind, type) \
  PACK_##what(m.name)
#define PACK_NUMBER(value) out.pack(value);
#define PACK_ENUM PACK_NUMBER
#define PACK_STRING PACK_NUMBER
#define PACK_BYTES(value)                            \
  out.pack_bin(static_cast<uint32_t>(value.size())); \
  out.pack_bin_body(value.data(), static_cast<uint32_t>(value.size()));
#define PACK_MESSAGE PACK_NUMBER
#define PACK_CHOICE PACK_NUMBER
#define PACK_NUMBERS PACK_NUMBER
#define PACK_ENUMS PACK_NUMBER
#define PACK_STRINGS PACK_NUMBER
#define PACK_MESSAGES PACK_NUMBER
#define PACK_MAP PACK_NUMBER
#define CONVERT_FIELD(what, number, name, lower, Camel, kind, type) \
  next++->convert(m.name);
#define DEFINE(Type)                                                           \
  template <>                                                                  \
  struct pack<model::Type> {                                                   \
    template <typename Stream>                                                 \
    packer<Stream>& operator()(packer<Stream>& out,                            \
                               [[maybe_unused]] const model::Type& m) const {  \
      out.pack_array(0 SCHEMA_FIELDS_##Type(COUNT_FIELD));                     \
      SCHEMA_FIELDS_##Type(PACK_FIELD) return out;                             \
    }                                                                          \
  };                                                                           \
  template <>                                                                  \
  struct convert<model::Type> {                                                \
    const msgpack::object& operator()(const msgpack::object& in,               \
                                      [[maybe_unused]] model::Type& m) const { \
      if (in.type != msgpack::type::ARRAY ||                                   \
          in.via.array.size != 0 SCHEMA_FIELDS_##Type(COUNT_FIELD)) {          \
        throw msgpack::type_error();                                           \
      }                                                                        \
      [[maybe_unused]] const msgpack::object* next = in.via.array.ptr;         \
      SCHEMA_FIELDS_##Type(CONVERT_FIELD) return in;                           \
    }                                                                          \
  };
  SCHEMA_MESSAGES(DEFINE)

  }  // namespace adaptor
}
}  // namespace msgpack

namespace {

template <typename T>
void Enter(const Payload<T>& payload, Contest& contest) {
  const auto bytes = std::make_shared<msgpack::sbuffer>();
  EnterStructs(
      payload, contest,
      [bytes](const T& value) {
        bytes->clear();
        msgpack::pack(*bytes, value);
        return bytes->size();
      },
      [bytes](T& message) {
        msgpack::unpack(bytes->data(), bytes->size())->convert(message);
      });
}

}  // namespace

CONTEST_MAIN(Enter)
