// Tries every input that is near a golden message: the runtime, the walker of
// the inspector and the reference must give the same verdict, the runtime and
// the reference the same canonical bytes, and a parse must take no more memory
// than docs/security.md promises.
//
// Usage: near CORPUS [--all | --seed=N]
//   --all     every input; without it 200,000, by each rule the same number as
//             far as it makes so many
//   --seed=N  chooses other inputs
#include <google/protobuf/arena.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/message.h>
#include <google/protobuf/stubs/logging.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "encoding.h"
#include "heap.h"
#include "neighbours.h"
#include "printer.h"
#include "reference/reference.h"
#include "reference/wire.h"
#include "salvage.h"
#include "walker.h"

namespace {

namespace fs = std::filesystem;
namespace pb = google::protobuf;
using robust::Golden;
using robust::Rule;
using tarn::tool::Type;

constexpr uint64_t kChosen = 200000;
// What docs/security.md promises of a parse: bytes of memory for each byte of
// the input, and beside that.
constexpr uint64_t kForEachByte = 72;
constexpr uint64_t kBeside = 4096;
// What a walk takes, however large the input is.
constexpr uint64_t kOfAWalk = 64 << 10;
// A single input that takes longer hangs.
constexpr int kSeconds = 60;
constexpr int kShownFailures = 20;

// The input that is tried now, for messages and the handler of signals.
const Type* now_type;
std::string_view now_bytes;

void SayWhatIsTried(int signal) {
  const auto say = [](std::string_view text) {
    (void)!write(STDERR_FILENO, text.data(), text.size());
  };
  say("near: ended by a signal at ");
  say(now_type->descriptor->name());
  for (const unsigned char byte : now_bytes) {
    const char* const digits = "0123456789ABCDEF";
    say({" ", 1});
    say({digits + (byte >> 4), 1});
    say({digits + (byte & 15), 1});
  }
  say("\n");
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

struct GoesOnAfterErrors : tarn::tool::WalkVisitor {
  bool Fail(const tarn::tool::Stack& stack, const tarn::tool::Error& error) {
    tarn::tool::ErrorPath(error, stack);
    return true;
  }
};

// Tries inputs, and counts.
class Trier {
 public:
  void Try(const Type& type, const std::string& bytes) {
    now_type = &type;
    now_bytes = bytes;
    alarm(kSeconds);
    const reference::Decoded decoded =
        reference::Decode(reference::TypeNamed(type.descriptor->name()), bytes);
    accepts_ = decoded.accepted();
    canonical_ = accepts_ ? reference::Encode(decoded.message) : "";
    ++(accepts_ ? accepted : rejected);
    ParseOnHeap(type, bytes);
    ParseOnArena(type, bytes);
    WalkOver(type, bytes);
    alarm(0);
  }

  uint64_t accepted = 0;
  uint64_t rejected = 0;
  int failures = 0;

 private:
  void Check(bool right, const char* what) {
    if (right || ++failures > kShownFailures) return;
    std::printf("%s: %s %s\n", what, now_type->descriptor->name().c_str(),
                wire::ToHex(now_bytes).c_str());
  }

  // Notes what is held before a parse, and checks what it took.
  void BeforeParse() {
    ResetPeak();
    before_ = HeapNow().live;
  }
  void AfterParse(const char* what) {
    const uint64_t taken = HeapNow().peak - before_;
    Check(taken <= kBeside + kForEachByte * now_bytes.size(), what);
  }

  void ParseOnHeap(const Type& type, const std::string& bytes) {
    BeforeParse();
    const auto message = tarn::tool::NewMessage(type);
    const bool parsed = message->ParseFromString(bytes);
    AfterParse("more memory than promised");
    CheckParsed(parsed, *message, "in one piece");
    if (!parsed) return;
    Check(message->ParseFromString(canonical_) &&
              tarn::tool::Canonical(*message) == canonical_,
          "no fixed point");
  }

  void ParseOnArena(const Type& type, const std::string& bytes) {
    BeforeParse();
    pb::Arena arena;
    pb::Message* message = pb::MessageFactory::generated_factory()
                               ->GetPrototype(type.descriptor)
                               ->New(&arena);
    const bool parsed = message->ParseFromString(bytes);
    AfterParse("more memory on an arena than promised");
    CheckParsed(parsed, *message, "on an arena");
    // In pieces that are too short for a number or a text to be read in one
    // go. Where the end is not known, a text takes as much as it says at once.
    pb::io::ArrayInputStream pieces(bytes.data(),
                                    static_cast<int>(bytes.size()), 5);
    CheckParsed(message->ParseFromZeroCopyStream(&pieces), *message,
                "in pieces");
  }

  void CheckParsed(bool parsed, const pb::Message& message, const char* how) {
    Check(parsed == accepts_, how);
    if (!parsed || !accepts_) return;
    Check(tarn::tool::Canonical(message) == canonical_, how);
    Check(message.ByteSizeLong() == canonical_.size(), "another size");
  }

  void WalkOver(const Type& type, const std::string& bytes) {
    BeforeParse();
    Check(tarn::tool::SurveyMessage(type, bytes).accepted == accepts_,
          "another verdict of the walker");
    Check(HeapNow().peak - before_ <= kOfAWalk, "memory of a walk");
    GoesOnAfterErrors visitor;
    Check(tarn::tool::Walk(type, bytes, visitor) == accepts_,
          "another verdict of a walk that goes on");
    if (accepts_) return;
    const auto damage = tarn::tool::FindDamage(type, bytes, 0);
    Check(damage.offset <= bytes.size(), "damage past the end");
    Check(tarn::tool::NewMessage(type)->ParseFromString(damage.salvaged),
          "what is salvaged does not parse");
  }

  bool accepts_ = false;
  std::string canonical_;
  uint64_t before_ = 0;
};

std::vector<Golden> ReadCorpus(tarn::tool::Schema* schema,
                               const fs::path& folder) {
  std::vector<fs::path> paths;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.path().extension() == ".binpb") paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  std::vector<Golden> all;
  for (const fs::path& path : paths) {
    std::ifstream file(path, std::ios::binary);
    all.push_back({&schema->Find(path.parent_path().filename().string()),
                   {std::istreambuf_iterator<char>(file), {}}});
  }
  return all;
}

class Neighbours {
 public:
  Neighbours(tarn::tool::Schema* schema, const fs::path& corpus)
      : all_(ReadCorpus(schema, corpus)) {
    for (const pb::Descriptor* descriptor : schema->Messages()) {
      types_.push_back(&schema->Table(*descriptor));
    }
  }

  size_t files() const { return all_.size(); }

  void ForEach(const Rule& rule, const robust::Try& attempt) const {
    for (const Golden& golden : all_) rule.make(golden, all_, types_, attempt);
  }

  uint64_t Count(const Rule& rule) const {
    uint64_t count = 0;
    ForEach(rule, [&](const Type&, const std::string&) { ++count; });
    return count;
  }

 private:
  std::vector<Golden> all_;
  std::vector<const Type*> types_;
};

// How many inputs to try of each rule: kChosen in all, spread evenly as far as
// a rule has so many.
std::vector<uint64_t> Shares(const std::vector<uint64_t>& counts) {
  std::vector<size_t> order(counts.size());
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(),
            [&](size_t a, size_t b) { return counts[a] < counts[b]; });
  std::vector<uint64_t> shares(counts.size());
  uint64_t left = kChosen;
  for (size_t i = 0; i < order.size(); ++i) {
    const uint64_t even = left / (order.size() - i);
    shares[order[i]] = std::min(even, counts[order[i]]);
    left -= shares[order[i]];
  }
  return shares;
}

void Print(uint64_t tried, uint64_t there, uint64_t accepted, uint64_t rejected,
           const char* what) {
  std::printf("%9ju %9ju %9ju %9ju  %s\n", uintmax_t{tried}, uintmax_t{there},
              uintmax_t{accepted}, uintmax_t{rejected}, what);
  std::fflush(stdout);
}

int Run(const fs::path& corpus, bool everything, unsigned seed) {
  tarn::tool::Schema schema;
  const Neighbours neighbours(&schema, corpus);
  std::vector<uint64_t> counts;
  for (const Rule& rule : robust::Rules()) {
    counts.push_back(neighbours.Count(rule));
  }
  const std::vector<uint64_t> shares = everything ? counts : Shares(counts);
  std::printf("%zu files, seed %u\n    tried of there is  accepted  rejected\n",
              neighbours.files(), seed);
  std::mt19937_64 random(seed);
  Trier trier;
  for (size_t i = 0; i < counts.size(); ++i) {
    uint64_t wanted = shares[i];
    uint64_t left = counts[i];
    const uint64_t accepted = trier.accepted;
    const uint64_t rejected = trier.rejected;
    const Rule& rule = robust::Rules()[i];
    neighbours.ForEach(rule, [&](const Type& type, const std::string& bytes) {
      if (random() % left-- >= wanted) return;
      --wanted;
      trier.Try(type, bytes);
    });
    Print(shares[i], counts[i], trier.accepted - accepted,
          trier.rejected - rejected, rule.name);
  }
  Print(std::accumulate(shares.begin(), shares.end(), uint64_t{0}),
        std::accumulate(counts.begin(), counts.end(), uint64_t{0}),
        trier.accepted, trier.rejected, "in all");
  std::printf("%d failures\n", trier.failures);
  return trier.failures == 0 && trier.accepted + trier.rejected >= kChosen ? 0
                                                                           : 1;
}

}  // namespace

int main(int argc, char* argv[]) {
  const std::string_view option = argc > 2 ? argv[2] : "";
  const bool everything = option == "--all";
  const bool seeded = option.substr(0, 7) == "--seed=";
  if (argc < 2 || argc > 3 || (argc == 3 && !everything && !seeded)) {
    std::fputs("usage: near CORPUS [--all | --seed=N]\n", stderr);
    return 2;
  }
  pb::SetLogHandler(nullptr);
  for (const int signal : {SIGALRM, SIGSEGV, SIGABRT, SIGFPE, SIGBUS}) {
    std::signal(signal, SayWhatIsTried);
  }
  const unsigned seed =
      seeded ? std::strtoul(argv[2] + 7, nullptr, 10) : 20210321;
  return Run(argv[1], everything, seed);
}
