// protobuf-c: structs of pointers, each to memory of its own.
#include <Network.pb-c.h>
#include <Tarn.pb-c.h>

#include <cstdlib>
#include <cstring>

#include "c_structs.h"

namespace {

template <typename T>
struct MessageOf;
#define DEFINE_MESSAGE_OF(Type)   \
  template <>                     \
  struct MessageOf<model::Type> { \
    using type = Tarn__##Type;    \
  };
SCHEMA_MESSAGES(DEFINE_MESSAGE_OF)

#define DEFINE_INIT(Type, c_name) \
  void Init(Tarn__##Type* message) { tarn__##c_name##__init(message); }
SCHEMA_C_NAMES(DEFINE_INIT)

template <typename T>
T* Allocate(size_t count) {
  return static_cast<T*>(std::malloc(count * sizeof(T)));
}

template <typename T>
void New(T*& message) {
  message = Allocate<T>(1);
  Init(message);
}

char* Copy(const std::string& text) { return strdup(text.c_str()); }

#define DECLARE_FILL(Type) void Fill(const model::Type& in, Tarn__##Type* out);
SCHEMA_MESSAGES(DECLARE_FILL)

#define FILL_NUMBER(number, name, lower, type) out->lower = in.name;
#define FILL_ENUM(number, name, lower, type) \
  out->lower = static_cast<decltype(out->lower)>(in.name);
#define FILL_STRING(number, name, lower, type) \
  if (!in.name.empty()) out->lower = Copy(in.name);
#define FILL_BYTES(number, name, lower, type)          \
  out->lower.len = in.name.size();                     \
  out->lower.data = Allocate<uint8_t>(in.name.size()); \
  std::memcpy(out->lower.data, in.name.data(), in.name.size());
#define FILL_MESSAGE(number, name, lower, type) \
  if (in.name) {                                \
    New(out->lower);                            \
    Fill(*in.name, out->lower);                 \
  }
#define FILL_CHOICE(number, name, lower, type)                          \
  if (in.name) {                                                        \
    out->types_case = static_cast<Tarn__ChildTypes__TypesCase>(number); \
  }                                                                     \
  FILL_MESSAGE(number, name, lower, type)
// The elements of an empty list stay a null pointer, as after parsing.
#define FILL_EACH(name, lower, add)                                            \
  if (!in.name.empty()) {                                                      \
    out->lower =                                                               \
        Allocate<std::remove_pointer_t<decltype(out->lower)>>(in.name.size()); \
    for (const auto& x : in.name) {                                            \
      auto& next = out->lower[out->n_##lower++];                               \
      add;                                                                     \
    }                                                                          \
  }
#define FILL_NUMBERS(number, name, lower, type) \
  FILL_EACH(name, lower, next = static_cast<std::decay_t<decltype(next)>>(x))
#define FILL_ENUMS FILL_NUMBERS
#define FILL_STRINGS(number, name, lower, type) \
  FILL_EACH(name, lower, next = Copy(x))
#define FILL_MESSAGES(number, name, lower, type) \
  FILL_EACH(name, lower, New(next); Fill(x, next))
#define FILL_MAP(number, name, lower, type)                    \
  FILL_EACH(name, lower, New(next); next->key = Copy(x.first); \
            next->value = static_cast<Tarn__StatusCodes>(x.second))
#define FILL_FIELD(what, number, name, lower, Camel, kind, type) \
  FILL_##what(number, name, lower, type)
#define DEFINE_FILL(Type)                               \
  void Fill(const model::Type& in, Tarn__##Type* out) { \
    SCHEMA_FIELDS_##Type(FILL_FIELD)                    \
  }
SCHEMA_MESSAGES(DEFINE_FILL)

std::string_view View(const char* text) { return text; }
std::string_view View(const ProtobufCBinaryData& data) {
  return {reinterpret_cast<const char*>(data.data), data.len};
}

#define MESSAGE_OF(Type) const Tarn__##Type&
#define GET(name, lower, Camel) m.lower
#define TEXT(name, lower, Camel) View(m.lower)
#define HAS(name, lower, Camel) m.lower != nullptr
#define SUB(name, lower, Camel) *m.lower
#define MANY(name, lower, Camel) Span(m.lower, m.n_##lower)
#define IS(number, name, lower, Camel, type) m.types_case == number
#define CHOSEN SUB
#define ELEMENT(x) Target(x)
#define TEXT_ELEMENT(x) View(x)
#define KEY(x) View(x->key)
#define MAPPED(x) x->value
template <typename T>
const T& Target(T* message) {
  return *message;
}
template <typename T>
std::enable_if_t<!std::is_pointer_v<T>, T> Target(T number) {
  return number;
}
#include "walk.h"

// Frees a message and all that belongs to it.
struct Free {
  template <typename Message>
  void operator()(Message* message) const {
    protobuf_c_message_free_unpacked(&message->base, nullptr);
  }
};
template <typename T>
using Owner = std::unique_ptr<typename MessageOf<T>::type, Free>;

template <typename T>
Owner<T> Build(const T& value) {
  typename MessageOf<T>::type* message;
  New(message);
  Fill(value, message);
  return Owner<T>(message);
}

template <typename T>
Owner<T> Parse(const std::string& bytes) {
  using Message = typename MessageOf<T>::type;
  Message kind;
  Init(&kind);
  return Owner<T>(reinterpret_cast<Message*>(protobuf_c_message_unpack(
      kind.base.descriptor, nullptr, bytes.size(),
      reinterpret_cast<const uint8_t*>(bytes.data()))));
}

// A program has to ask for the size before it has an array.
template <typename T>
size_t Write(const Owner<T>& message, std::string& array) {
  const size_t size = protobuf_c_message_get_packed_size(&message->base);
  if (array.size() < size) array.resize(size);
  return protobuf_c_message_pack(&message->base,
                                 reinterpret_cast<uint8_t*>(array.data()));
}

template <typename T>
void Enter(const Payload<T>& payload, Contest& contest) {
  EnterCStructs(payload, contest, Build<T>, Parse<T>, Write<T>,
                [](const Owner<T>& message, auto visitor) {
                  return Walk(*message, visitor);
                });
}

}  // namespace

CONTEST_MAIN(Enter)
