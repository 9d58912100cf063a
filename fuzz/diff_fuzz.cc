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
#include "target.h"
#include "tarn/node_order.h"

namespace fuzz {
namespace {

using google::protobuf::Message;
using tarn::tool::Type;

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

const size_t kOptions = 4;

void Try(std::string_view input) {
  if (input.size() < kOptions) return;
  const Type& type = TypeOf(input);
  const auto at = [&](size_t i) {
    return static_cast<unsigned char>(input[i]);
  };
  const size_t number = at(2) << 8 | at(3);
  std::string first(input.substr(kOptions));
  std::string second = first;
  if (at(1) == 0) {
    second.erase(0, number);
    first.resize(std::min(first.size(), number));
  } else if (!second.empty()) {
    second[number % second.size()] ^= 1 << at(1) % 8;
  }
  const auto a = Parsed(type, first);
  const auto b = Parsed(type, second);
  if (a == nullptr || b == nullptr) return;
  Check(*a, *b);
  Check(*b, *a);
  Check(*a, *a);
}

}  // namespace fuzz
