// FlatBuffers: bytes that are read where they lie, without unpacking, after a
// check of all offsets.
#include <tree_generated.h>

#include "contest.h"

namespace {

#include <read_generated.h>

namespace fb = tarn_fb;
using Builder = flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;

// No list where there are no elements.
template <typename T>
Offset<flatbuffers::Vector<T>> CreateList(const std::vector<T>& elements,
                                          Builder& builder) {
  if (elements.empty()) return 0;
  return builder.CreateVector(elements);
}

#include <make_flatbuffers.h>

std::string_view View(const flatbuffers::String* text) {
  return text == nullptr ? std::string_view() : text->string_view();
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

#include <read_flatbuffers.h>

void Enter(const Tree& tree) {
  const auto made = std::make_shared<Builder>();
  made->Finish(Make(tree.message, *made));
  ShowSize(tree, made->GetSize());
  const auto verify = [made] {
    flatbuffers::Verifier verifier(made->GetBufferPointer(), made->GetSize(),
                                   100, UINT32_MAX);
    return verifier.VerifyBuffer<fb::ModsConfigured>();
  };
  const auto read = [made] {
    return Read(
        *flatbuffers::GetRoot<fb::ModsConfigured>(made->GetBufferPointer()));
  };
  Demand(verify() && read() == Read(tree.message), tree.name);
  Time(tree, "decode", [verify, read] {
    benchmark::DoNotOptimize(verify());
    benchmark::DoNotOptimize(read());
  });
}

}  // namespace

int main(int argc, char** argv) {
  for (const Tree& tree : Trees()) Enter(tree);
  return RunContest(argc, argv);
}
