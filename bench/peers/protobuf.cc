// The generated classes: of the library as it ships, of the same sources in a
// plain build, or of the lite runtime. One program of each, since two of them
// cannot be in one process.
#include <google/protobuf/arena.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include "contest.h"

namespace {

using google::protobuf::Arena;

template <typename T>
struct MessageOf;
#define DEFINE_MESSAGE_OF(Type)   \
  template <>                     \
  struct MessageOf<model::Type> { \
    using type = tarn::Type;      \
  };
SCHEMA_MESSAGES(DEFINE_MESSAGE_OF)

#define DECLARE_FILL(Type) void Fill(const model::Type& in, tarn::Type* out);
SCHEMA_MESSAGES(DECLARE_FILL)

#define FILL_NUMBER(name, lower, type) out->set_##lower(in.name);
#define FILL_ENUM(name, lower, type) \
  out->set_##lower(static_cast<tarn::type>(in.name));
#define FILL_STRING FILL_NUMBER
#define FILL_BYTES FILL_NUMBER
#define FILL_MESSAGE(name, lower, type) \
  if (in.name) Fill(*in.name, out->mutable_##lower());
#define FILL_CHOICE FILL_MESSAGE
#define FILL_EACH(name, lower, add)                                  \
  out->mutable_##lower()->Reserve(static_cast<int>(in.name.size())); \
  for (const auto& x : in.name) add;
#define FILL_NUMBERS(name, lower, type) \
  FILL_EACH(name, lower, out->add_##lower(x))
#define FILL_ENUMS(name, lower, type) \
  FILL_EACH(name, lower, out->add_##lower(static_cast<tarn::type>(x)))
#define FILL_STRINGS FILL_NUMBERS
#define FILL_MESSAGES(name, lower, type) \
  FILL_EACH(name, lower, Fill(x, out->add_##lower()))
#define FILL_MAP(name, lower, type)                                         \
  for (const auto& [key, value] : in.name) {                                \
    (*out->mutable_##lower())[key] = static_cast<tarn::StatusCodes>(value); \
  }
#define FILL_FIELD(what, number, name, lower, Camel, kind, type) \
  FILL_##what(name, lower, type)
#define DEFINE_FILL(Type)                             \
  void Fill(const model::Type& in, tarn::Type* out) { \
    SCHEMA_FIELDS_##Type(FILL_FIELD)                  \
  }
SCHEMA_MESSAGES(DEFINE_FILL)

#define MESSAGE_OF(Type) const tarn::Type&
#define GET(name, lower, Camel) m.lower()
#define TEXT(name, lower, Camel) std::string_view(m.lower())
#define HAS(name, lower, Camel) m.has_##lower()
#define SUB GET
#define MANY GET
#define IS(number, name, lower, Camel, type) m.has_##lower()
#define CHOSEN GET
#define ELEMENT(x) x
#define TEXT_ELEMENT(x) std::string_view(x)
#define KEY(x) std::string_view(x.first)
#define MAPPED(x) x.second
#include "walk.h"

// An arena with a block of memory that takes the messages of these bytes, one
// after the other.
template <typename T>
class Block {
 public:
  explicit Block(const std::string& bytes)
      : memory_(SpaceFor(bytes)), arena_(Options(memory_)) {}

  // The message made before goes.
  T* Create() {
    arena_.Reset();
    return Arena::CreateMessage<T>(&arena_);
  }

 private:
  static size_t SpaceFor(const std::string& bytes) {
    Arena arena;
    Arena::CreateMessage<T>(&arena)->ParseFromString(bytes);
    return arena.SpaceAllocated() + 1024;
  }
  static google::protobuf::ArenaOptions Options(std::vector<char>& memory) {
    google::protobuf::ArenaOptions options;
    options.initial_block = memory.data();
    options.initial_block_size = memory.size();
    return options;
  }

  std::vector<char> memory_;
  Arena arena_;
};

template <typename T>
std::string DeterministicBytes(const T& message) {
  std::string bytes;
  {
    google::protobuf::io::StringOutputStream stream(&bytes);
    google::protobuf::io::CodedOutputStream coded(&stream);
    coded.SetSerializationDeterministic(true);
    message.SerializeToCodedStream(&coded);
  }
  return bytes;
}

template <typename T>
void ToArray(const T& message, std::string& array) {
  const size_t size = message.ByteSizeLong();
  if (array.size() < size) array.resize(size);
  benchmark::DoNotOptimize(message.SerializeWithCachedSizesToArray(
      reinterpret_cast<uint8_t*>(array.data())));
}

template <typename T>
void Parse(const std::string& bytes, T& message) {
  benchmark::DoNotOptimize(
      message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
}

template <typename T>
void TimeParsing(const Payload<T>& payload, Contest& contest) {
  using Message = typename MessageOf<T>::type;
  const std::string& bytes = payload.bytes;
  const auto reused = std::make_shared<Message>();
  const auto block = std::make_shared<Block<Message>>(bytes);
  contest.Time(payload, "parse new", [&bytes] {
    Message message;
    Parse(bytes, message);
  });
  contest.Time(payload, "parse reused",
               [&bytes, reused] { Parse(bytes, *reused); });
  contest.Time(payload, "parse arena", [&bytes] {
    Arena arena;
    Parse(bytes, *Arena::CreateMessage<Message>(&arena));
  });
  contest.Time(payload, "parse block",
               [&bytes, block] { Parse(bytes, *block->Create()); });
  contest.Time(payload, "decode", [&bytes, block] {
    auto* const message = block->Create();
    Parse(bytes, *message);
    benchmark::DoNotOptimize(Walk(*message, Touch()));
  });
}

template <typename T>
void TimeSerializing(const Payload<T>& payload, Contest& contest) {
  using Message = typename MessageOf<T>::type;
  const auto message = std::make_shared<Message>();
  Fill(payload.value, message.get());
  const auto array = std::make_shared<std::string>();
  const auto block = std::make_shared<Block<Message>>(payload.bytes);
  contest.Time(payload, "serialize string", [message] {
    benchmark::DoNotOptimize(message->SerializeAsString());
  });
  contest.Time(payload, "serialize reused", [message, array] {
    benchmark::DoNotOptimize(message->SerializeToString(array.get()));
  });
  contest.Time(payload, "serialize array", [message, array] {
    array->resize(message->ByteSizeLong());
    benchmark::DoNotOptimize(message->SerializeToArray(
        array->data(), static_cast<int>(array->size())));
  });
  contest.Time(payload, "serialize cached",
               [message, array] { ToArray(*message, *array); });
  const auto held = std::make_shared<Block<Message>>(payload.bytes);
  auto* const on_arena = held->Create();
  Fill(payload.value, on_arena);
  contest.Time(payload, "serialize block",
               [held, on_arena, array] { ToArray(*on_arena, *array); });
  contest.Time(payload, "encode", [&payload, array, block] {
    auto* const built = block->Create();
    Fill(payload.value, built);
    ToArray(*built, *array);
  });
}

template <typename T>
void Enter(const Payload<T>& payload, Contest& contest) {
  using Message = typename MessageOf<T>::type;
  const auto message = std::make_shared<Message>();
  Fill(payload.value, message.get());
  contest.CheckBytes(payload, DeterministicBytes(*message));
  Parse(payload.bytes, *message);
  contest.CheckValues(payload, Walk(*message, Hash()));

  contest.Time(payload, "build", [&payload] {
    Message built;
    Fill(payload.value, &built);
    benchmark::DoNotOptimize(&built);
  });
  TimeParsing(payload, contest);
  TimeSerializing(payload, contest);
  contest.Time(payload, "copy", [message] {
    Message copy(*message);
    benchmark::DoNotOptimize(&copy);
  });
  contest.Time(payload, "read", [message] {
    benchmark::DoNotOptimize(message.get());
    benchmark::DoNotOptimize(Walk(*message, Touch()));
  });
  contest.TimeDestruction(
      payload, [message] { return std::make_unique<Message>(*message); });
}

}  // namespace

CONTEST_MAIN(Enter)
