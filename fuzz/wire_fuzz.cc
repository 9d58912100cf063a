// Fuzzes the library with wire bytes of every type: on the heap, on an arena
// and in pieces it gives the same verdict, and of what it accepts the same
// canonical bytes as the reference. The first byte of the input chooses the
// message type; the rest is the message.
#include <google/protobuf/arena.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include "encoding.h"
#include "reference/reference.h"
#include "target.h"

namespace fuzz {
namespace {

using google::protobuf::Message;
using tarn::tool::Type;

// What the reference says of a message.
struct Expected {
  bool accepted;
  std::string canonical;
};

void Check(const Type& type, const Expected& expected, bool accepted,
           const Message& message) {
  Expect(accepted == expected.accepted, type, "one verdict");
  if (!accepted) return;
  Expect(tarn::tool::Canonical(message) == expected.canonical, type,
         "one canonical form");
  Expect(message.ByteSizeLong() == expected.canonical.size(), type,
         "the size that was said");
}

}  // namespace

const size_t kOptions = 1;

void Try(std::string_view input) {
  if (input.empty()) return;
  const Type& type = TypeOf(input);
  const std::string_view bytes = input.substr(kOptions);
  const int size = static_cast<int>(bytes.size());
  const reference::Decoded decoded =
      reference::Decode(reference::TypeNamed(type.descriptor->name()), bytes);
  Expected expected = {decoded.accepted(), ""};
  if (expected.accepted) {
    expected.canonical = reference::Encode(decoded.message);
  }

  const auto message = tarn::tool::NewMessage(type);
  const bool accepted = message->ParseFromArray(bytes.data(), size);
  Check(type, expected, accepted, *message);

  google::protobuf::Arena arena;
  Message* const other = message->New(&arena);
  Check(type, expected, other->ParseFromArray(bytes.data(), size), *other);
  if (!accepted) return;
  // What is refused can announce a text of many megabytes, for which the
  // runtime sets memory aside where it does not know how much will come.
  google::protobuf::io::ArrayInputStream pieces(bytes.data(), size, 5);
  Check(type, expected, other->ParseFromZeroCopyStream(&pieces), *other);

  other->Clear();
  other->MergeFrom(*message);
  Check(type, expected, true, *other);
  Check(type, expected, message->ParseFromString(expected.canonical), *message);
}

}  // namespace fuzz
