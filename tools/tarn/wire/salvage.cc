// Finds the first error, and closes the records that are open there.
#include "salvage.h"

#include <google/protobuf/io/coded_stream.h>

#include <vector>

#include "walker.h"

namespace tarn::tool {
namespace {

void AppendVarint(uint64_t value, std::string* bytes) {
  uint8_t varint[10];
  bytes->append(
      reinterpret_cast<char*>(varint),
      reinterpret_cast<char*>(
          google::protobuf::io::CodedOutputStream::WriteVarint64ToArray(
              value, varint)));
}

class FirstErrorFinder : public WalkVisitor {
 public:
  FirstErrorFinder(std::string_view bytes, uint64_t start, Damage* damage)
      : bytes_(bytes), start_(start), damage_(*damage) {}

  void Packed(const Stack&, const Item& item) { list_ = item.begin; }
  void PackedEnd(const Stack&, const Item&) { list_ = nullptr; }

  bool Fail(const Stack& stack, const Error& error) {
    damage_.offset = error.at - bytes_.data();
    damage_.path = ErrorPath(error, stack);
    damage_.reason = Reason(error, stack, bytes_.data(), start_);
    damage_.problem = error.problem;
    for (int i = 0; i <= stack.depth() && stack.at(i).group == 0; ++i) {
      damage_.around.push_back(stack.at(i).type);
    }
    const char* end = list_ != nullptr ? list_ : error.item.begin;
    // A group cannot be closed; it is left out completely.
    int depth = stack.depth();
    for (int i = depth; i > 0; --i) {
      if (stack.at(i).group == 0) continue;
      depth = i - 1;
      end = stack.at(i).begin;
    }
    Close(stack, depth, end);
    return false;
  }

 private:
  // Writes everything up to `end`, with corrected lengths. A shorter length may
  // need fewer bytes, and so may the length around it; so lengths are computed
  // from the inside out.
  void Close(const Stack& stack, int depth, const char* end) {
    std::vector<std::string> heads(depth + 1);
    uint64_t size = end - stack.at(depth).data;
    for (int i = depth; i > 0; --i) {
      const Frame& frame = stack.at(i);
      AppendVarint(frame.field->tag, &heads[i]);
      AppendVarint(size, &heads[i]);
      size += heads[i].size() + (frame.begin - stack.at(i - 1).data);
    }
    for (int i = 0; i <= depth; ++i) {
      const char* to = i < depth ? stack.at(i + 1).begin : end;
      damage_.salvaged += heads[i];
      damage_.salvaged.append(stack.at(i).data, to);
    }
  }

  std::string_view bytes_;
  uint64_t start_;
  Damage& damage_;
  const char* list_ = nullptr;
};

}  // namespace

Damage FindDamage(const Type& type, std::string_view bytes, uint64_t start) {
  Damage damage;
  FirstErrorFinder finder(bytes, start, &damage);
  Walk(type, bytes, finder);
  return damage;
}

}  // namespace tarn::tool
