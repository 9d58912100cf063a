// Cap'n Proto: bytes that are read where they lie; each access checks its own
// pointer. Written through the builders, then copied to one array, as reading
// from one array wants it.
#include <capnp/message.h>
#include <capnp/serialize.h>
#include <tarn.capnp.h>

#include "contest.h"

namespace {

namespace cp = tarn_capnp;

#define DECLARE_FILL(Type) \
  void Fill(const model::Type& in, cp::Type::Builder out);
SCHEMA_MESSAGES(DECLARE_FILL)

capnp::Text::Reader Text(const std::string& text) {
  return {text.data(), text.size()};
}

#define FILL_NUMBER(name, Camel) out.set##Camel(in.name);
#define FILL_ENUM FILL_NUMBER
#define FILL_STRING(name, Camel) \
  if (!in.name.empty()) out.set##Camel(Text(in.name));
#define FILL_BYTES(name, Camel)       \
  out.set##Camel(capnp::Data::Reader( \
      reinterpret_cast<const uint8_t*>(in.name.data()), in.name.size()));
#define FILL_MESSAGE(name, Camel) \
  if (in.name) Fill(*in.name, out.init##Camel());
#define FILL_CHOICE FILL_MESSAGE
#define FILL_EACH(name, Camel, add)                                     \
  if (!in.name.empty()) {                                               \
    auto list = out.init##Camel(static_cast<uint32_t>(in.name.size())); \
    uint32_t i = 0;                                                     \
    for (const auto& x : in.name) {                                     \
      add;                                                              \
      ++i;                                                              \
    }                                                                   \
  }
#define FILL_NUMBERS(name, Camel) FILL_EACH(name, Camel, list.set(i, x))
#define FILL_ENUMS FILL_NUMBERS
#define FILL_STRINGS(name, Camel) FILL_EACH(name, Camel, list.set(i, Text(x)))
#define FILL_MESSAGES(name, Camel) FILL_EACH(name, Camel, Fill(x, list[i]))
#define FILL_MAP(name, Camel)                           \
  FILL_EACH(name, Camel, list[i].setKey(Text(x.first)); \
            list[i].setValue(x.second))
#define FILL_FIELD(what, number, name, lower, Camel, kind, type) \
  FILL_##what(name, Camel)
#define DEFINE_FILL(Type)                             \
  void Fill([[maybe_unused]] const model::Type& in,   \
            [[maybe_unused]] cp::Type::Builder out) { \
    SCHEMA_FIELDS_##Type(FILL_FIELD)                  \
  }
SCHEMA_MESSAGES(DEFINE_FILL)

std::string_view View(capnp::Text::Reader text) {
  return {text.begin(), text.size()};
}
std::string_view View(capnp::Data::Reader data) {
  return {reinterpret_cast<const char*>(data.begin()), data.size()};
}

#define MESSAGE_OF(Type) cp::Type::Reader
#define GET(name, lower, Camel) m.get##Camel()
#define TEXT(name, lower, Camel) View(m.get##Camel())
#define HAS(name, lower, Camel) m.has##Camel()
#define SUB GET
#define MANY GET
#define IS(number, name, lower, Camel, type) m.is##Camel() && m.has##Camel()
#define CHOSEN GET
#define ELEMENT(x) x
#define TEXT_ELEMENT(x) View(x)
#define KEY(x) View(x.getKey())
#define MAPPED(x) x.getValue()
#include "walk.h"

template <typename T>
struct RootOf;
#define DEFINE_ROOT_OF(Type)   \
  template <>                  \
  struct RootOf<model::Type> { \
    using type = cp::Type;     \
  };
SCHEMA_MESSAGES(DEFINE_ROOT_OF)

template <typename T>
kj::Array<capnp::word> Write(const T& value) {
  capnp::MallocMessageBuilder builder;
  Fill(value, builder.initRoot<typename RootOf<T>::type>());
  return capnp::messageToFlatArray(builder);
}

template <typename Root, typename V>
uint64_t Read(kj::ArrayPtr<const capnp::word> words, V visitor) {
  // Reading everything of a large message passes the limit that guards
  // against messages which refer to the same part again and again.
  capnp::ReaderOptions options;
  options.traversalLimitInWords = UINT32_MAX;
  capnp::FlatArrayMessageReader reader(words, options);
  return Walk(reader.getRoot<Root>(), visitor);
}

template <typename T>
void Enter(const Payload<T>& payload, Contest& contest) {
  using Root = typename RootOf<T>::type;
  const auto words =
      std::make_shared<kj::Array<capnp::word>>(Write(payload.value));
  contest.SetSize(payload, words->asBytes().size());
  contest.CheckValues(payload, Read<Root>(*words, Hash()));

  contest.Time(payload, "encode", [&payload] {
    benchmark::DoNotOptimize(Write(payload.value).begin());
  });
  // Its checks are part of reading.
  for (const char* operation : {"read", "decode"}) {
    contest.Time(payload, operation, [words] {
      benchmark::DoNotOptimize(Read<Root>(*words, Touch()));
    });
  }
}

}  // namespace

CONTEST_MAIN(Enter)
