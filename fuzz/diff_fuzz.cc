// Fuzzes the comparison against the bytes: two messages differ if and only if
// their canonical bytes differ, apart from the order of nodes. The first byte
// of the input chooses the message type. If the second byte is 0, both messages
// follow, after the length of the first in two bytes. Otherwise one message
// follows, and the other is a copy of it with one bit changed, at a place that
// the next two bytes choose.
#include <google/protobuf/message.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "difference.h"
#include "encoding.h"
#include "schema.h"
#include "tarn/node_order.h"

namespace {

using google::protobuf::Message;

void Check(const Message& a, const Message& b) {
  bool differ = false;
  tarn::tool::Compare(
      a, b, true, [&](const tarn::tool::Difference& difference) {
        differ = true;
        std::string before, after;
        const auto into = [](std::string* text) {
          return [text](std::string_view piece) { *text += piece; };
        };
        if (difference.before) difference.before(into(&before));
        if (difference.after) difference.after(into(&after));
        if (difference.change == tarn::tool::Difference::kChanged &&
            before == after) {
          std::abort();
        }
      });
  if (differ == (node_order::InOrder(a) != node_order::InOrder(b))) return;
  std::fprintf(stderr, "%s\n---\n%s\n", a.Utf8DebugString().c_str(),
               b.Utf8DebugString().c_str());
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static tarn::tool::Schema* schema = [] {
    google::protobuf::SetLogHandler(nullptr);
    return new tarn::tool::Schema();
  }();
  static const auto& messages =
      *new std::vector<const google::protobuf::Descriptor*>(schema->Messages());
  if (size < 4) return 0;
  const tarn::tool::Type& type =
      schema->Table(*messages[data[0] % messages.size()]);
  const size_t number = data[2] << 8 | data[3];
  std::string first(reinterpret_cast<const char*>(data) + 4, size - 4);
  std::string second = first;
  if (data[1] == 0) {
    second.erase(0, number);
    first.resize(std::min(first.size(), number));
  } else if (!second.empty()) {
    second[number % second.size()] ^= 1 << data[1] % 8;
  }
  const auto a = tarn::tool::NewMessage(type);
  const auto b = tarn::tool::NewMessage(type);
  if (!a->ParseFromString(first) || !b->ParseFromString(second)) return 0;
  Check(*a, *b);
  Check(*b, *a);
  Check(*a, *a);
  return 0;
}
