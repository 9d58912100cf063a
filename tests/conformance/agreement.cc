// Runs a case with the library and with the reference, and compares the two.
#include "agreement.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/util/message_differencer.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "reference/wire.h"

namespace conformance {
namespace {

namespace pb = google::protobuf;
using reference::Type;

constexpr int kShownFailures = 20;
constexpr unsigned kSeed = 20210321;

unsigned Seed() {
  const char* chosen = std::getenv("CONFORMANCE_SEED");
  return chosen != nullptr ? std::strtoul(chosen, nullptr, 10) : kSeed;
}

const pb::Message* Prototype(const Type& type) {
  return pb::MessageFactory::generated_factory()->GetPrototype(
      pb::DescriptorPool::generated_pool()->FindMessageTypeByName("tarn." +
                                                                  type.name));
}

std::string Serialized(const pb::Message& message) {
  std::string bytes;
  {
    pb::io::StringOutputStream stream(&bytes);
    pb::io::CodedOutputStream coded(&stream);
    coded.SetSerializationDeterministic(true);
    message.SerializeToCodedStream(&coded);
  }
  return bytes;
}

bool Equal(const pb::Message& left, const pb::Message& right) {
  pb::util::DefaultFieldComparator floats;
  floats.set_treat_nan_as_equal(true);
  pb::util::MessageDifferencer differencer;
  differencer.set_field_comparator(&floats);
  return differencer.Compare(left, right);
}

// The error of a parsed message that should be written as `canonical`; empty if
// there is none.
std::string Disagreement(const pb::Message& message,
                         const std::string& canonical) {
  const std::string bytes = Serialized(message);
  if (bytes != canonical) return "accepted as " + wire::ToHex(bytes);
  if (message.ByteSizeLong() != bytes.size()) {
    return "a size of " + std::to_string(message.ByteSizeLong());
  }
  const std::unique_ptr<pb::Message> again(message.New());
  if (!again->ParseFromString(bytes)) return "rejected when read again";
  if (!Equal(message, *again)) return "not equal when read again";
  return "";
}

}  // namespace

int Pick(Random& random, size_t count) {
  return static_cast<int>(random() % count);
}

Conformance::Conformance() : random_(Seed()) {
  // Keeps the library linked: nothing else here uses one of its symbols.
  tarn::Price::descriptor();
  tarn::Server::descriptor();
}

void Conformance::TearDown() {
  EXPECT_GE(accepted_ + rejected_, least_);
  std::printf("seed %u: %d cases, %d accepted, %d rejected\n", Seed(),
              accepted_ + rejected_, accepted_, rejected_);
}

void Conformance::Case(const Type& type, const std::string& bytes) {
  const reference::Decoded decoded = reference::Decode(type, bytes);
  const bool accepted = decoded.accepted();
  ++(accepted ? accepted_ : rejected_);
  const std::string canonical =
      accepted ? reference::Encode(decoded.message) : "";

  const pb::Message* prototype = Prototype(type);
  const std::unique_ptr<pb::Message> heap(prototype->New());
  Compare("heap", type, bytes, decoded, canonical, heap->ParseFromString(bytes),
          *heap);

  // On the arena the same bytes come in pieces, too short for the parser to
  // read a number or a text in one go.
  arena_.Reset();
  pb::Message* on_arena = prototype->New(&arena_);
  pb::io::ArrayInputStream pieces(bytes.data(), static_cast<int>(bytes.size()),
                                  5);
  Compare("arena", type, bytes, decoded, canonical,
          on_arena->ParseFromZeroCopyStream(&pieces), *on_arena);
}

void Conformance::Merge(const Type& type, const std::string& first,
                        const std::string& second) {
  Case(type, first + second);
  const pb::Message* prototype = Prototype(type);
  const std::unique_ptr<pb::Message> target(prototype->New());
  arena_.Reset();
  pb::Message* source = prototype->New(&arena_);
  ASSERT_TRUE(target->ParseFromString(first));
  ASSERT_TRUE(source->ParseFromString(second));
  target->MergeFrom(*source);
  const reference::Decoded decoded = reference::Decode(type, first + second);
  Compare("merge", type, first + second, decoded,
          reference::Encode(decoded.message), true, *target);
}

void Conformance::Compare(const char* place, const Type& type,
                          const std::string& bytes,
                          const reference::Decoded& decoded,
                          const std::string& canonical, bool parsed,
                          const pb::Message& message) {
  std::string runtime = parsed ? "accepted" : "rejected";
  if (parsed == decoded.accepted()) {
    if (parsed) runtime = Disagreement(message, canonical);
    if (!parsed || runtime.empty()) return;
  }
  if (++failures_ > kShownFailures) {
    if (failures_ == kShownFailures + 1) ADD_FAILURE() << "and more";
    return;
  }
  ADD_FAILURE() << type.name << ", " << place
                << "\n  input:     " << wire::ToHex(bytes)
                << "\n  runtime:   " << runtime << "\n  reference: "
                << (decoded.accepted() ? "accepted as " + wire::ToHex(canonical)
                                       : "rejected, " + decoded.reason);
}

}  // namespace conformance
