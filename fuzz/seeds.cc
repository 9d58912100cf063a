// Puts in front of golden messages what each target expects there.
#include "seeds.h"

#include <algorithm>

#include "reference/corpus_files.h"
#include "reference/wire.h"
#include "target.h"

namespace fuzz {
namespace {

using Visit =
    std::function<void(const std::string& name, const std::string& input)>;

// A golden message, in bytes or as text or JSON.
struct Golden {
  char type;  // its number among all types
  size_t number;
  const std::string& content;
  bool json;
};

std::string OfBytes(const Golden& golden) {
  return golden.type + golden.content;
}

std::string Whole(const Golden& golden) {
  return std::string{golden.type, '\0'} + golden.content;
}

// The message and itself with one bit changed.
std::string OfDiff(const Golden& golden) {
  return std::string{golden.type, 1, 0, 5} + golden.content;
}

std::string OfWritten(const Golden& golden) {
  return std::string{golden.type, static_cast<char>(golden.json)} +
         golden.content;
}

// Three framed messages, of each kind of frame.
std::string OfStream(const Golden& golden) {
  const char kind = static_cast<char>(golden.number % 3);
  std::string framed;
  if (kind == 0) {
    framed = wire::Writer().Varint(golden.content.size()).bytes();
  } else {
    const auto size = static_cast<uint32_t>(golden.content.size());
    for (int i = 0; i < 4; ++i) {
      const int shift = 8 * (kind == 1 ? 3 - i : i);
      framed += static_cast<char>(size >> shift & 0xFF);
    }
  }
  framed += golden.content;
  const char choice = static_cast<char>(kind | (golden.number % 2) << 6);
  return std::string{golden.type, choice} + framed + framed + framed;
}

// The bytes written in one of the ways of digits_fuzz.
std::string OfDigits(const Golden& golden) {
  constexpr size_t kWays = 10;
  return static_cast<char>(golden.number % kWays) + golden.content;
}

std::string InHex(const Golden& golden) {
  return std::string{golden.type, 0} + wire::ToHex(golden.content);
}

struct Maker {
  const char* target;
  const char* suffix;  // of the files
  std::string (*make)(const Golden& golden);
};
constexpr Maker kMakers[] = {
    {"diff_fuzz", ".binpb", OfDiff},       {"digits_fuzz", ".binpb", OfDigits},
    {"message_fuzz", ".binpb", Whole},     {"office_fuzz", ".binpb", Whole},
    {"printed_fuzz", ".binpb", OfBytes},   {"reading_fuzz", ".binpb", InHex},
    {"reading_fuzz", ".txtpb", Whole},     {"reading_fuzz", ".json", Whole},
    {"rows_fuzz", ".binpb", OfBytes},      {"stream_fuzz", ".binpb", OfStream},
    {"walker_fuzz", ".binpb", OfBytes},    {"wire_fuzz", ".binpb", OfBytes},
    {"written_fuzz", ".txtpb", OfWritten}, {"written_fuzz", ".json", OfWritten},
};

char NumberOf(const std::string& type) {
  const auto found = std::find_if(Types().begin(), Types().end(),
                                  [&](const tarn::tool::Type* each) {
                                    return each->descriptor->name() == type;
                                  });
  return static_cast<char>(found - Types().begin());
}

}  // namespace

void ForEachSeed(const std::string& target, const std::string& corpus,
                 const Visit& visit) {
  for (const Maker& maker : kMakers) {
    if (maker.target != target) continue;
    size_t number = 0;
    for (const tests::CorpusFile& file : tests::CorpusFiles(
             corpus, {"valid", "accepted", "rejected"}, maker.suffix)) {
      const Golden golden = {NumberOf(file.type), number++, file.content,
                             file.path.extension() == ".json"};
      visit(file.type + "." + file.path.filename().string(),
            maker.make(golden));
    }
  }
}

}  // namespace fuzz
