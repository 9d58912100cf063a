// nanopb with its memory from malloc: structs that hold numbers and single
// messages themselves, and point to everything else.
#include <Network.pb.h>
#include <Tarn.pb.h>
#include <pb_decode.h>
#include <pb_encode.h>

#include <cstdlib>
#include <cstring>

#include "c_structs.h"

namespace {

template <typename T>
struct MessageOf;
#define DEFINE_MESSAGE_OF(Type)                                          \
  template <>                                                            \
  struct MessageOf<model::Type> {                                        \
    using type = tarn_##Type;                                            \
    static constexpr const pb_msgdesc_t* kFields = tarn_##Type##_fields; \
  };
SCHEMA_MESSAGES(DEFINE_MESSAGE_OF)

char* Copy(const std::string& text) { return strdup(text.c_str()); }

#define DECLARE_FILL(Type) void Fill(const model::Type& in, tarn_##Type* out);
SCHEMA_MESSAGES(DECLARE_FILL)

#define FILL_NUMBER(number, name) \
  out->name = static_cast<decltype(out->name)>(in.name);
#define FILL_ENUM FILL_NUMBER
#define FILL_STRING(number, name) \
  if (!in.name.empty()) out->name = Copy(in.name);
#define FILL_BYTES(number, name)                                \
  out->name = static_cast<pb_bytes_array_t*>(                   \
      std::malloc(PB_BYTES_ARRAY_T_ALLOCSIZE(in.name.size()))); \
  out->name->size = static_cast<pb_size_t>(in.name.size());     \
  std::memcpy(out->name->bytes, in.name.data(), in.name.size());
#define FILL_MESSAGE(number, name) \
  if (in.name) {                   \
    out->has_##name = true;        \
    Fill(*in.name, &out->name);    \
  }
#define FILL_CHOICE(number, name)     \
  if (in.name) {                      \
    out->which_types = number;        \
    Fill(*in.name, &out->types.name); \
  }
#define FILL_EACH(name, add)                              \
  if (!in.name.empty()) {                                 \
    out->name = static_cast<decltype(out->name)>(         \
        std::calloc(in.name.size(), sizeof(*out->name))); \
    for (const auto& x : in.name) {                       \
      auto& next = out->name[out->name##_count++];        \
      add;                                                \
    }                                                     \
  }
#define FILL_NUMBERS(number, name) \
  FILL_EACH(name, next = static_cast<std::decay_t<decltype(next)>>(x))
#define FILL_ENUMS FILL_NUMBERS
#define FILL_STRINGS(number, name) FILL_EACH(name, next = Copy(x))
#define FILL_MESSAGES(number, name) FILL_EACH(name, Fill(x, &next))
#define FILL_MAP(number, name)              \
  FILL_EACH(name, next.key = Copy(x.first); \
            next.value = static_cast<tarn_StatusCodes>(x.second))
#define FILL_FIELD(what, number, name, lower, Camel, kind, type) \
  FILL_##what(number, name)
#define DEFINE_FILL(Type)                              \
  void Fill(const model::Type& in, tarn_##Type* out) { \
    SCHEMA_FIELDS_##Type(FILL_FIELD)                   \
  }
SCHEMA_MESSAGES(DEFINE_FILL)

std::string_view View(const char* text) {
  return text == nullptr ? std::string_view() : text;
}
std::string_view View(const pb_bytes_array_t* bytes) {
  if (bytes == nullptr) return {};
  return {reinterpret_cast<const char*>(bytes->bytes), bytes->size};
}

#define MESSAGE_OF(Type) const tarn_##Type&
#define GET(name, lower, Camel) m.name
#define TEXT(name, lower, Camel) View(m.name)
#define HAS(name, lower, Camel) m.has_##name
#define SUB GET
#define MANY(name, lower, Camel) Span(m.name, m.name##_count)
#define IS(number, name, lower, Camel, type) m.which_types == number
#define CHOSEN(name, lower, Camel) m.types.name
#define ELEMENT(x) x
#define TEXT_ELEMENT(x) View(x)
#define KEY(x) View(x.key)
#define MAPPED(x) x.value
#include "walk.h"

// A message of its own, with all that belongs to it.
template <typename T>
class Owner {
 public:
  using Message = typename MessageOf<T>::type;

  Owner() : message_(std::make_unique<Message>()) {}
  Owner(Owner&&) = default;
  ~Owner() {
    if (message_) pb_release(MessageOf<T>::kFields, message_.get());
  }

  bool Parse(const std::string& bytes) {
    pb_istream_t stream = pb_istream_from_buffer(
        reinterpret_cast<const pb_byte_t*>(bytes.data()), bytes.size());
    return pb_decode(&stream, MessageOf<T>::kFields, message_.get());
  }

  // Writes to an array that is large enough; returns the size.
  size_t Write(std::string& array) const {
    pb_ostream_t stream = pb_ostream_from_buffer(
        reinterpret_cast<pb_byte_t*>(array.data()), array.size());
    pb_encode(&stream, MessageOf<T>::kFields, message_.get());
    return stream.bytes_written;
  }

  Message& operator*() const { return *message_; }

 private:
  std::unique_ptr<Message> message_;
};

template <typename T>
void Enter(const Payload<T>& payload, Contest& contest) {
  // Debian's build counts the bytes of a field with 16 bits.
  if constexpr (std::is_same_v<T, model::FileMessage>) return;
  EnterCStructs(
      payload, contest,
      [](const T& value) {
        Owner<T> message;
        Fill(value, &*message);
        return message;
      },
      [](const std::string& bytes) {
        Owner<T> message;
        benchmark::DoNotOptimize(message.Parse(bytes));
        return message;
      },
      [](const Owner<T>& message, std::string& array) {
        return message.Write(array);
      },
      [](const Owner<T>& message, auto visitor) {
        return Walk(*message, visitor);
      });
}

}  // namespace

CONTEST_MAIN(Enter)
