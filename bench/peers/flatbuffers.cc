// FlatBuffers: bytes that are read where they lie, without unpacking, after a
// check of all offsets.
#include <flatbuffers/idl.h>
#include <flatbuffers/util.h>
#include <tree_generated.h>

#include "contest.h"

namespace {

#include <read_flatbuffers.h>
#include <read_generated.h>

void Enter(const std::string& schema, const Tree& tree) {
  const auto made = std::make_shared<flatbuffers::Parser>();
  Demand(
      made->Parse(schema.c_str()) && made->Parse(JsonOf(tree.message).c_str()),
      made->error_);
  const uint8_t* const bytes = made->builder_.GetBufferPointer();
  const size_t size = made->builder_.GetSize();
  ShowSize(tree, size);
  const auto verify = [made, bytes, size] {
    flatbuffers::Verifier verifier(bytes, size, 100, UINT32_MAX);
    return tarn_fb::VerifyModsConfiguredBuffer(verifier);
  };
  const auto read = [made, bytes] {
    return Read(*tarn_fb::GetModsConfigured(bytes));
  };
  Demand(verify() && read() == Read(tree.message), tree.name);
  Time(tree, "decode", [verify, read] {
    benchmark::DoNotOptimize(verify());
    benchmark::DoNotOptimize(read());
  });
}

}  // namespace

int main(int argc, char** argv) {
  std::string schema;
  Demand(flatbuffers::LoadFile(SCHEMA_FBS, false, &schema), SCHEMA_FBS);
  for (const Tree& tree : Trees()) Enter(schema, tree);
  return RunContest(argc, argv);
}
