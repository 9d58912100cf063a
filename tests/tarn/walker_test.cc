// The walker gives the same verdict as the runtime, and reports each error at
// its place.
#include "walker.h"

#include <gmock/gmock.h>
#include <google/protobuf/message.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "encoding.h"
#include "reference/corpus_files.h"
#include "reference/fill.h"
#include "reference/wire.h"
#include "salvage.h"

namespace tarn::tool {
namespace {

using google::protobuf::Message;
using wire::Writer;

class WalkerTest : public testing::Test {
 protected:
  // The runtime would log every rejected text.
  WalkerTest() { google::protobuf::SetLogHandler(nullptr); }

  bool Accepts(const Type& type, const std::string& bytes) {
    WalkVisitor visitor;
    return Walk(type, bytes, visitor);
  }

  void ExpectSameVerdict(const Type& type, Message* message,
                         const std::string& bytes) {
    const bool accepted = message->ParseFromString(bytes);
    EXPECT_EQ(Accepts(type, bytes), accepted)
        << type.descriptor->name() << ": " << wire::ToHex(bytes);
    ++(accepted ? accepted_ : rejected_);
  }

  // All truncations and all one-bit changes.
  void ExpectSameVerdictNearby(const Type& type, const std::string& bytes) {
    const auto message = NewMessage(type);
    for (size_t size = 0; size <= bytes.size(); ++size) {
      ExpectSameVerdict(type, message.get(), bytes.substr(0, size));
    }
    std::string changed = bytes;
    for (size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
      changed[bit / 8] ^= 1 << bit % 8;
      ExpectSameVerdict(type, message.get(), changed);
      changed[bit / 8] ^= 1 << bit % 8;
    }
  }

  Damage DamageOf(const std::string& type, const Writer& writer) {
    return FindDamage(schema_.Find(type), writer.bytes(), 0);
  }

  Schema schema_;
  int accepted_ = 0;
  int rejected_ = 0;
};

// Bytes with something of each kind that a parser has to look out for.
std::vector<std::pair<std::string, std::string>> Specimens() {
  const Writer child = Writer().Message(
      1, Writer().Bytes(1, "S").Int(2, -1).Message(7, Writer()));
  return {
      {"Server", Writer().Bytes(1, "a").Int(9, -1).Message(7, child).bytes()},
      {"Server", Writer()
                     .Group(3, Writer().Group(1, Writer().Int(2, 3)))
                     .Fixed64(12, 1)
                     .Fixed32(1, 2)
                     .Overlong(0x50, 5)
                     .Overlong(300, 10)
                     .bytes()},
      {"ModsConfigured", Writer().Message(1, child).Message(1, child).bytes()},
      {"HwIdRowInfo",
       Writer().Float(7, 1.5f).Packed(8, {1, 0, 300}).Uint(8, 1).bytes()},
      {"NetworkStatusReport",
       Writer()
           .Message(1, Writer().Bytes(1, "a").Int(2, 1))
           .Message(1, Writer().Int(2, 99).Bytes(1, "\xC3\xBC").Int(3, 1))
           .Message(2, Writer())
           .bytes()},
      {"FileMessage", Writer().Bytes(1, "f").Bytes(2, "\xC3\x28").bytes()},
      {"GetStatusModule", Writer().Int(18, -5).Uint(19, 1).bytes()},
  };
}

TEST_F(WalkerTest, AgreesWithTheRuntimeNearEverySpecimen) {
  for (const auto& [type, bytes] : Specimens()) {
    ASSERT_TRUE(Accepts(schema_.Find(type), bytes)) << wire::ToHex(bytes);
    ExpectSameVerdictNearby(schema_.Find(type), bytes);
  }
  EXPECT_GT(accepted_, 500);
  EXPECT_GT(rejected_, 500);
}

TEST_F(WalkerTest, AgreesWithTheRuntimeNearMessagesOfEveryType) {
  tests::Random random(1);
  for (const auto* descriptor : schema_.Messages()) {
    const Type& type = schema_.Table(*descriptor);
    const auto message = NewMessage(type);
    tests::EdgeValues values(&random);
    tests::Fill(message.get(), &values, 3);
    ExpectSameVerdictNearby(type, message->SerializeAsString().substr(0, 400));
  }
  EXPECT_GT(accepted_, 5000);
  EXPECT_GT(rejected_, 5000);
}

TEST_F(WalkerTest, AgreesWithTheRuntimeOnMutations) {
  tests::Random random(2);
  const std::string spice("\x00\x0A\x0B\x0C\x12\x7B\x7C\x80\xED\xFF", 10);
  for (const auto& [name, bytes] : Specimens()) {
    const Type& type = schema_.Find(name);
    const auto message = NewMessage(type);
    for (int i = 0; i < 20000; ++i) {
      std::string mutant = bytes;
      for (int j = random() % 6; j >= 0 && !mutant.empty(); --j) {
        const size_t at = random() % mutant.size();
        switch (random() % 4) {
          case 0:
            mutant[at] = static_cast<char>(random());
            break;
          case 1:
            mutant[at] = spice[random() % spice.size()];
            break;
          case 2:
            mutant.insert(at, 1, spice[random() % spice.size()]);
            break;
          default:
            mutant.erase(at, 1 + random() % 2);
        }
      }
      ExpectSameVerdict(type, message.get(), mutant);
    }
  }
  EXPECT_GT(accepted_, 10000);
  EXPECT_GT(rejected_, 10000);
}

TEST_F(WalkerTest, AgreesWithTheRuntimeOnTheCorpus) {
  int files = 0;
  for (const auto& [path, name, bytes] : tests::CorpusFiles(
           CORPUS, {"valid", "accepted", "rejected"}, ".binpb")) {
    const Type& type = schema_.Find(name);
    EXPECT_EQ(Accepts(type, bytes),
              path.parent_path().parent_path().filename() != "rejected")
        << path;
    if (bytes.size() <= 2000) ExpectSameVerdictNearby(type, bytes);
    ++files;
  }
  EXPECT_GT(files, 700);
}

TEST_F(WalkerTest, AgreesWithTheRuntimeOnDepth) {
  const Type& type = schema_.Find("ChildTypes");
  const auto message = NewMessage(type);
  Writer records;
  Writer groups;
  for (int depth = 1; depth <= 103; ++depth) {
    records = Writer().Message(depth % 2 != 0 ? 1 : 7, records);
    groups = Writer().Group(9, groups);
    const std::string wrapped =
        depth % 2 != 0 ? records.bytes() : Writer().Message(1, records).bytes();
    ExpectSameVerdict(type, message.get(), wrapped);
    ExpectSameVerdict(type, message.get(), groups.bytes());
  }
  EXPECT_GT(accepted_, 190);
  EXPECT_GE(rejected_, 6);
}

TEST_F(WalkerTest, AMillionStartGroupsAreNoTrouble) {
  const std::string starts(1000000, '\x0B');
  EXPECT_FALSE(Accepts(schema_.Find("Server"), starts));
}

TEST_F(WalkerTest, LengthsAreBoundedAsTheRuntimeBoundsThem) {
  const Type& type = schema_.Find("FileMessage");
  const auto message = NewMessage(type);
  for (int size = 1; size <= 6; ++size) {
    for (const uint64_t length : {uint64_t{1}, uint64_t{0x7FFFFFEF},
                                  uint64_t{0x7FFFFFF0}, uint64_t{1} << 31}) {
      const Writer writer =
          Writer().Tag(2, wire::kLength).Overlong(length, size).Raw("a");
      ExpectSameVerdict(type, message.get(), writer.bytes());
    }
  }
  EXPECT_EQ(accepted_, 5);
}

// Bytes that end where readable memory ends: of 32-bit addresses, so high that
// a length leads past the last one.
class HighBytes {
 public:
  explicit HighBytes(const std::string& bytes) : size_(bytes.size()) {
    pages_ = static_cast<char*>(
        // NOLINTNEXTLINE(performance-no-int-to-ptr): only a number is asked for
        ::mmap(reinterpret_cast<void*>(uintptr_t{0xF0000000}), 2 * kPage,
               PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ::mprotect(pages_ + kPage, kPage, PROT_NONE);
    bytes.copy(pages_ + kPage - size_, size_);
  }
  ~HighBytes() { ::munmap(pages_, 2 * kPage); }
  std::string_view get() const { return {pages_ + kPage - size_, size_}; }

 private:
  const size_t kPage = ::sysconf(_SC_PAGESIZE);
  const size_t size_;
  char* pages_;
};

TEST_F(WalkerTest, LengthsMayLeadPastTheLastAddress) {
  constexpr uint64_t kLongest = 0x7FFFFFEF;
  const Writer record =
      Writer().Tag(1, wire::kLength).Overlong(kLongest, 5).Raw("\x0A\x02\x0A");
  const Writer text =
      Writer().Tag(1, wire::kLength).Overlong(kLongest, 5).Raw("a");
  const HighBytes records(record.bytes()), texts(text.bytes());
  const auto last = reinterpret_cast<uintptr_t>(texts.get().data());
  EXPECT_TRUE(sizeof(void*) > 4 || last + kLongest > UINT32_MAX);
  const Damage cut =
      FindDamage(schema_.Find("ModsConfigured"), records.get(), 0);
  EXPECT_EQ(cut.offset, 9u);
  EXPECT_EQ(cut.path, "modsConfigured[0].server.name");
  EXPECT_EQ(FindDamage(schema_.Find("Server"), texts.get(), 0).reason,
            "cut off inside tarn.Server.name: 1 of its 2147483631 bytes are "
            "there");
}

struct BrokenMessage {
  const char* type;
  Writer bytes;
  uint64_t offset;
  const char* path;
  const char* reason;
};

TEST_F(WalkerTest, SaysWhereAndWhy) {
  const Writer bad_name = Writer().Int(2, 1).Bytes(1, "a\xC3\x28");
  const BrokenMessage kBroken[] = {
      {"Server", Writer().Raw("\x0A\x05pr"), 4, "name",
       "cut off inside tarn.Server.name: 2 of its 5 bytes are there"},
      {"ModsConfigured", Writer().Raw("\x0A\x10\x0A\x0E\x0A\x05pr"), 8,
       "modsConfigured[0].server.name",
       "cut off inside tarn.Server.name: 2 of its 5 bytes are there"},
      {"Server", Writer().Raw("\x10\x80"), 2, "status",
       "cut off inside tarn.Server.status"},
      {"Server", Writer().Raw("\x80"), 1, "",
       "cut off inside a tag of tarn.Server"},
      {"ModsConfigured", Writer().Raw(wire::Hex("0A 04 0A 05 0A 00")), 3,
       "modsConfigured[0].server",
       "length runs past the end of tarn.ChildTypes: 5 bytes announced, 2 "
       "left"},
      {"Server", Writer().Raw("\x10\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"),
       10, "status", "varint longer than ten bytes"},
      {"Server", bad_name, 5, "name",
       "invalid UTF-8 in tarn.Server.name at byte 5"},
      {"Server", Writer().Tag(3, wire::kEnd), 0, "3",
       "end-group tag of field 3, which no group precedes"},
      {"Server", Writer().Tag(15, wire::kStart).Tag(14, wire::kEnd), 1, "15.14",
       "end-group tag of field 14 inside group 15"},
      {"Server", Writer().Raw(std::string(1, '\0')), 0, "",
       "tag with field number 0"},
      {"Server", Writer().Raw("\x0F"), 0, "1", "wire type 7 does not exist"},
      {"NetworkStatusReport", Writer().Message(1, Writer().Bytes(1, "\xFF")), 4,
       "status_packet[0].key",
       "invalid UTF-8 in tarn.NetworkStatusReport.StatusPacketEntry.key at "
       "byte 4"},
      {"HwIdRowInfo", Writer().Bytes(8, "\x01\x80"), 3, "assemblyTruthTable[1]",
       "value runs past the end of the list "
       "tarn.HwIdRowInfo.assemblyTruthTable"},
  };
  for (const BrokenMessage& broken : kBroken) {
    const Damage damage = DamageOf(broken.type, broken.bytes);
    EXPECT_EQ(damage.offset, broken.offset) << broken.reason;
    EXPECT_EQ(damage.path, broken.path) << broken.reason;
    EXPECT_EQ(damage.reason, broken.reason);
  }
}

TEST_F(WalkerTest, SaysThatNestingIsTooDeep) {
  Writer records;
  for (int depth = 0; depth < 102; ++depth) {
    records = Writer().Message(depth % 2 != 0 ? 1 : 7, records);
  }
  EXPECT_EQ(DamageOf("ChildTypes", records).reason, "nested deeper than 100");
}

// The saved part is always a message, and holds everything before the error.
TEST_F(WalkerTest, WhatIsSalvagedParses) {
  for (const auto& [name, bytes] : Specimens()) {
    const Type& type = schema_.Find(name);
    const auto message = NewMessage(type);
    for (size_t size = 0; size < bytes.size(); ++size) {
      const std::string cut = bytes.substr(0, size);
      if (Accepts(type, cut)) continue;
      const Damage damage = FindDamage(type, cut, 0);
      EXPECT_TRUE(message->ParseFromString(damage.salvaged))
          << wire::ToHex(cut) << " gives " << wire::ToHex(damage.salvaged);
    }
  }
  const Damage damage = DamageOf(
      "ModsConfigured",
      Writer().Raw("\x0A\x10\x0A\x0E\x0A\x02").Raw("pr").Raw("\x12\x05"));
  EXPECT_EQ(damage.salvaged, wire::Hex("0A 06 0A 04 0A 02 70 72"));
}

}  // namespace
}  // namespace tarn::tool
