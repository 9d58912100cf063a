// protozero: a reader of the wire format without any classes of messages. It
// walks over the bytes storing nothing, which is the least that reading the
// wire can cost, and leaves out the check of texts for UTF-8.
#include <protozero/pbf_reader.hpp>

#include "contest.h"

namespace {

#include <read_generated.h>
#include <walk_protozero.h>

}  // namespace

int main(int argc, char** argv) {
  for (const Tree& tree : Trees()) {
    const auto walk = [&tree] {
      return WalkModsConfigured(protozero::pbf_reader(tree.bytes));
    };
    Demand(walk() == Read(tree.message), tree.name);
    Time(tree, "walk", [walk] { benchmark::DoNotOptimize(walk()); });
  }
  return RunContest(argc, argv);
}
