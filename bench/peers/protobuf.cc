// The generated classes: of the library as it ships, of the same sources in a
// plain build, or of the lite runtime. One program of each, since two of them
// cannot be in one process.
#include "contest.h"

namespace {

#include <read_generated.h>

using google::protobuf::Arena;

template <typename T>
void ToArray(const T& message, std::string* array) {
  const size_t size = message.ByteSizeLong();
  if (array->size() < size) array->resize(size);
  benchmark::DoNotOptimize(message.SerializeWithCachedSizesToArray(
      reinterpret_cast<uint8_t*>(array->data())));
}

template <typename T>
void Parse(const std::string& bytes, T* message) {
  benchmark::DoNotOptimize(
      message->ParseFromArray(bytes.data(), static_cast<int>(bytes.size())));
}

template <typename T>
void TimeParsing(const Payload<T>& payload) {
  const std::string& bytes = payload.bytes;
  const auto reused = std::make_shared<T>();
  const auto block = std::make_shared<Block<T>>(bytes);
  Time(payload, "parse new", [&bytes] {
    T message;
    Parse(bytes, &message);
  });
  Time(payload, "parse reused",
       [&bytes, reused] { Parse(bytes, reused.get()); });
  Time(payload, "parse arena", [&bytes] {
    Arena arena;
    Parse(bytes, Arena::CreateMessage<T>(&arena));
  });
  Time(payload, "parse block",
       [&bytes, block] { Parse(bytes, block->Create()); });
}

template <typename T>
void TimeSerializing(const Payload<T>& payload) {
  const T* const message = &payload.message;
  const auto array = std::make_shared<std::string>();
  Time(payload, "serialize string",
       [message] { benchmark::DoNotOptimize(message->SerializeAsString()); });
  Time(payload, "serialize array", [message, array] {
    array->resize(message->ByteSizeLong());
    benchmark::DoNotOptimize(message->SerializeToArray(
        array->data(), static_cast<int>(array->size())));
  });
  Time(payload, "serialize cached",
       [message, array] { ToArray(*message, array.get()); });
  const auto block = std::make_shared<Block<T>>(payload.bytes);
  T* const on_arena = block->Create();
  on_arena->CopyFrom(*message);
  Time(payload, "serialize block",
       [block, on_arena, array] { ToArray(*on_arena, array.get()); });
}

template <typename T>
void Enter(const Payload<T>& payload) {
  T message;
  Parse(payload.bytes, &message);
  Demand(message.SerializeAsString() == payload.bytes, payload.name);
  TimeParsing(payload);
  TimeSerializing(payload);
}

void TimeReading(const Tree& tree) {
  ShowSize(tree, tree.bytes.size());
  const auto block = std::make_shared<Block<tarn::ModsConfigured>>(tree.bytes);
  Time(tree, "decode", [&tree, block] {
    auto* const message = block->Create();
    Parse(tree.bytes, message);
    benchmark::DoNotOptimize(Read(*message));
  });
}

tarn::Frame LongestFrame() {
  tarn::Frame frame;
  frame.set_number(70000);
  frame.set_hold_seconds(30 * 24 * 3600);
  return frame;
}

}  // namespace

int main(int argc, char** argv) {
  for (const Tree& tree : Trees()) {
    Enter(tree);
    TimeReading(tree);
  }
  const Payload<tarn::KT4Products> products{"40 products",
                                            FixedProducts(6, 40)};
  const Payload<tarn::Frame> frame{"frame, 9 bytes", LongestFrame()};
  Enter(products);
  Enter(frame);
  return RunContest(argc, argv);
}
