// The rules by which inputs near a message are made.
#include "neighbours.h"

#include <climits>
#include <cstdint>
#include <string_view>

#include "reference/wire.h"
#include "walker.h"

namespace robust {
namespace {

using tarn::tool::Error;
using tarn::tool::Item;
using tarn::tool::Stack;
using tarn::tool::Type;
using Types = std::vector<const Type*>;
using Corpus = std::vector<Golden>;

// A varint of a message.
struct Part {
  enum Kind { kTag, kLength, kNumber } kind;
  size_t begin;
  size_t end;
  uint64_t value;
};

// Finds the varints of a message, also after what is wrong in it.
class PartFinder : public tarn::tool::WalkVisitor {
 public:
  explicit PartFinder(std::string_view bytes) : bytes_(bytes) {}

  void Value(const Stack&, const Item& item) { Add(item); }
  void Packed(const Stack&, const Item& item) { Add(item); }
  void Element(const Stack&, const Item& item) {
    Add(Part::kNumber, item.data, item.end);
  }
  void Enter(const Stack&, const Item& item) { Add(item); }
  void Leave(const Stack& stack, const char* tail) {
    if (stack.top().group != 0) Add(Part::kTag, tail, bytes_.end());
  }
  void Unknown(const Stack&, const Item& item) { Add(item); }
  bool Fail(const Stack&, const Error& error) {
    Add(Part::kTag, error.item.begin, bytes_.end());
    if (error.item.data != error.item.value) {
      Add(Part::kLength, error.item.value, error.item.data);
    }
    return true;
  }

  const std::vector<Part>& parts() const { return parts_; }

 private:
  void Add(const Item& item) {
    Add(Part::kTag, item.begin, item.value);
    if (item.wire() == wire::kVarint) {
      Add(Part::kNumber, item.data, item.end);
    } else if (item.wire() == wire::kLength) {
      Add(Part::kLength, item.value, item.data);
    }
  }

  void Add(Part::Kind kind, const char* begin, const char* end) {
    uint64_t value;
    const char* after = tarn::tool::ReadVarint(begin, end, 10, &value);
    if (after == nullptr) return;
    parts_.push_back({kind, static_cast<size_t>(begin - bytes_.data()),
                      static_cast<size_t>(after - bytes_.data()), value});
  }

  const std::string_view bytes_;
  std::vector<Part> parts_;
};

std::vector<Part> Parts(const Golden& golden) {
  PartFinder finder(golden.bytes);
  tarn::tool::Walk(*golden.type, golden.bytes, finder);
  return finder.parts();
}

// Tries the message with another varint: as it is, so that the records around
// it have a wrong length, and with these lengths mended.
void TryVarint(const Golden& golden, const std::vector<Part>& parts,
               const Part& part, const std::string& varint,
               const Try& attempt) {
  std::string bytes = golden.bytes;
  bytes.replace(part.begin, part.end - part.begin, varint);
  attempt(*golden.type, bytes);
  if (bytes.size() == golden.bytes.size()) return;
  bool mended = false;
  uint64_t grown = uint64_t{bytes.size()} - golden.bytes.size();
  for (size_t i = parts.size(); i-- > 0;) {
    const Part& around = parts[i];
    if (around.kind != Part::kLength || around.end > part.begin ||
        around.value < part.end - around.end) {
      continue;
    }
    const std::string length =
        wire::Writer().Varint(around.value + grown).bytes();
    bytes.replace(around.begin, around.end - around.begin, length);
    grown += length.size() - (around.end - around.begin);
    mended = true;
  }
  if (mended) attempt(*golden.type, bytes);
}

void Cut(const Golden& golden, const Corpus&, const Types&,
         const Try& attempt) {
  for (size_t size = 0; size <= golden.bytes.size(); ++size) {
    attempt(*golden.type, golden.bytes.substr(0, size));
  }
}

void FlipBits(const Golden& golden, const Corpus&, const Types&,
              const Try& attempt) {
  std::string bytes = golden.bytes;
  for (size_t i = 0; i < bytes.size() * 8; ++i) {
    bytes[i / 8] ^= 1 << i % 8;
    attempt(*golden.type, bytes);
    bytes[i / 8] ^= 1 << i % 8;
  }
}

void ReplaceTags(const Golden& golden, const Corpus&, const Types&,
                 const Try& attempt) {
  for (const Part& part : Parts(golden)) {
    if (part.kind != Part::kTag) continue;
    std::string bytes = golden.bytes;
    for (size_t i = part.begin; i < part.end; ++i) {
      for (int value = 0; value < 256; ++value) {
        bytes[i] = static_cast<char>(value);
        attempt(*golden.type, bytes);
      }
      bytes[i] = golden.bytes[i];
    }
  }
}

void ReplaceLengths(const Golden& golden, const Corpus&, const Types&,
                    const Try& attempt) {
  const std::vector<Part> parts = Parts(golden);
  for (const Part& part : parts) {
    if (part.kind != Part::kLength) continue;
    for (const uint64_t length :
         {uint64_t{0}, uint64_t{1}, part.value - 1, part.value + 1,
          uint64_t{INT_MAX} - 16, uint64_t{INT_MAX} - 15, uint64_t{INT_MAX},
          uint64_t{INT_MAX} + 1, uint64_t{UINT32_MAX}, UINT64_MAX}) {
      TryVarint(golden, parts, part, wire::Writer().Varint(length).bytes(),
                attempt);
    }
  }
}

void Overlong(const Golden& golden, const Corpus&, const Types&,
              const Try& attempt) {
  const std::vector<Part> parts = Parts(golden);
  for (const Part& part : parts) {
    for (int size = static_cast<int>(part.end - part.begin) + 1; size <= 11;
         ++size) {
      TryVarint(golden, parts, part,
                wire::Writer().Overlong(part.value, size).bytes(), attempt);
    }
  }
}

void Join(const Golden& golden, const Corpus& all, const Types&,
          const Try& attempt) {
  for (const Golden& other : all) {
    attempt(*golden.type, golden.bytes + other.bytes);
  }
}

void AsOtherTypes(const Golden& golden, const Corpus& all, const Types& types,
                  const Try& attempt) {
  for (const Type* type : types) {
    if (type == golden.type) continue;
    const Golden other = {type, golden.bytes};
    Cut(other, all, types, attempt);
    FlipBits(other, all, types, attempt);
  }
}

}  // namespace

const std::vector<Rule>& Rules() {
  static const auto& rules = *new std::vector<Rule>{
      {"cut at every byte", Cut},
      {"every bit flipped", FlipBits},
      {"every byte of a tag, all 256 values", ReplaceTags},
      {"every length, at its edges", ReplaceLengths},
      {"every varint, longer than necessary", Overlong},
      {"every two files in a row", Join},
      {"cut and flipped, read as every other type", AsOtherTypes},
  };
  return rules;
}

}  // namespace robust
