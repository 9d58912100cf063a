// FlatBuffers: bytes that are read where they lie. Written straight through the
// builder, and read without unpacking, after a check of all offsets or without.
#include <tarn_generated.h>

#include "contest.h"

namespace {

namespace fb = tarn_fb;
using Builder = flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;

#define DECLARE_FILL(Type) \
  Offset<fb::Type> Fill(const model::Type& in, Builder& builder);
SCHEMA_MESSAGES(DECLARE_FILL)

// What a table points to is written before the table.
#define PART_NUMBER(name, type)
#define PART_ENUM PART_NUMBER
#define PART_STRING(name, type)     \
  Offset<flatbuffers::String> name; \
  if (!in.name.empty()) name = builder.CreateString(in.name);
#define PART_BYTES(name, type)            \
  const auto name = builder.CreateVector( \
      reinterpret_cast<const uint8_t*>(in.name.data()), in.name.size());
#define PART_MESSAGE(name, type) \
  Offset<fb::type> name;         \
  if (in.name) name = Fill(*in.name, builder);
#define PART_CHOICE PART_MESSAGE
#define PART_NUMBERS(name, type) \
  const auto name = builder.CreateVector(in.name);
#define PART_ENUMS PART_NUMBERS
#define PART_STRINGS(name, type) \
  const auto name = builder.CreateVectorOfStrings(in.name);
#define PART_EACH(name, Element, make)                   \
  Offset<flatbuffers::Vector<Offset<Element>>> name;     \
  if (!in.name.empty()) {                                \
    std::vector<Offset<Element>> parts;                  \
    parts.reserve(in.name.size());                       \
    for (const auto& x : in.name) parts.push_back(make); \
    name = builder.CreateVector(parts);                  \
  }
#define PART_MESSAGES(name, type) PART_EACH(name, fb::type, Fill(x, builder))
#define PART_MAP(name, type) \
  PART_EACH(                 \
      name, fb::StatusEntry, \
      fb::CreateStatusEntry(builder, builder.CreateString(x.first), x.second))
#define PART(what, number, name, lower, Camel, kind, type) \
  PART_##what(name, type)

#define ADD_NUMBER(name, lower, type) out.add_##lower(in.name);
#define ADD_ENUM ADD_NUMBER
#define ADD_STRING(name, lower, type) out.add_##lower(name);
#define ADD_BYTES ADD_STRING
#define ADD_MESSAGE ADD_STRING
#define ADD_CHOICE(name, lower, type)              \
  if (in.name) {                                   \
    out.add_types_type(fb::ChildTypesKind_##type); \
    out.add_types(name.Union());                   \
  }
#define ADD_NUMBERS ADD_STRING
#define ADD_ENUMS ADD_STRING
#define ADD_STRINGS ADD_STRING
#define ADD_MESSAGES ADD_STRING
#define ADD_MAP ADD_STRING
#define ADD(what, number, name, lower, Camel, kind, type) \
  ADD_##what(name, lower, type)
#define DEFINE_FILL(Type)                                       \
  Offset<fb::Type> Fill([[maybe_unused]] const model::Type& in, \
                        Builder& builder) {                     \
    SCHEMA_FIELDS_##Type(PART) fb::Type##Builder out(builder);  \
    SCHEMA_FIELDS_##Type(ADD) return out.Finish();              \
  }
SCHEMA_MESSAGES(DEFINE_FILL)

std::string_view View(const flatbuffers::String* text) {
  return text == nullptr ? std::string_view() : text->string_view();
}
std::string_view View(const flatbuffers::Vector<uint8_t>* bytes) {
  if (bytes == nullptr) return {};
  return {reinterpret_cast<const char*>(bytes->data()), bytes->size()};
}

// The elements of a vector, of which there are none without it.
template <typename T>
class Elements {
 public:
  using Iterator = typename flatbuffers::Vector<T>::const_iterator;

  explicit Elements(const flatbuffers::Vector<T>* vector) : vector_(vector) {}
  Iterator begin() const {
    return vector_ == nullptr ? Iterator(nullptr, 0) : vector_->begin();
  }
  Iterator end() const {
    return vector_ == nullptr ? Iterator(nullptr, 0) : vector_->end();
  }

 private:
  const flatbuffers::Vector<T>* vector_;
};

#define MESSAGE_OF(Type) const fb::Type*
#define GET(name, lower, Camel) m->lower()
#define TEXT(name, lower, Camel) View(m->lower())
#define HAS(name, lower, Camel) m->lower() != nullptr
#define SUB GET
#define MANY(name, lower, Camel) Elements(m->lower())
#define IS(number, name, lower, Camel, type) \
  m->types_type() == fb::ChildTypesKind_##type
#define CHOSEN(name, lower, Camel) m->types_as_##Camel()
#define ELEMENT(x) x
#define TEXT_ELEMENT(x) View(x)
#define KEY(x) View(x->key())
#define MAPPED(x) x->value()
#include "walk.h"

template <typename T>
struct RootOf;
#define DEFINE_ROOT_OF(Type)   \
  template <>                  \
  struct RootOf<model::Type> { \
    using type = fb::Type;     \
  };
SCHEMA_MESSAGES(DEFINE_ROOT_OF)

template <typename T>
void Write(const T& value, Builder& builder) {
  builder.Clear();
  builder.Finish(Fill(value, builder));
  benchmark::DoNotOptimize(builder.GetBufferPointer());
}

template <typename Root>
bool Verify(const Builder& builder) {
  flatbuffers::Verifier verifier(builder.GetBufferPointer(), builder.GetSize(),
                                 100, UINT32_MAX);
  return verifier.VerifyBuffer<Root>();
}

template <typename Root, typename V>
uint64_t Read(const Builder& builder, V visitor) {
  return Walk(flatbuffers::GetRoot<Root>(builder.GetBufferPointer()), visitor);
}

template <typename T>
void Enter(const Payload<T>& payload, Contest& contest) {
  using Root = typename RootOf<T>::type;
  const auto held = std::make_shared<Builder>();
  Write(payload.value, *held);
  contest.SetSize(payload, held->GetSize());
  contest.Check(payload, "offsets", Verify<Root>(*held));
  contest.CheckValues(payload, Read<Root>(*held, Hash()));

  contest.Time(payload, "encode",
               [&payload, builder = std::make_shared<Builder>()] {
                 Write(payload.value, *builder);
               });
  contest.Time(payload, "verify",
               [held] { benchmark::DoNotOptimize(Verify<Root>(*held)); });
  contest.Time(payload, "read", [held] {
    benchmark::DoNotOptimize(Read<Root>(*held, Touch()));
  });
  contest.Time(payload, "decode", [held] {
    benchmark::DoNotOptimize(Verify<Root>(*held));
    benchmark::DoNotOptimize(Read<Root>(*held, Touch()));
  });
}

}  // namespace

CONTEST_MAIN(Enter)
