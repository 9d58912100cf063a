// The lines of code that docs/guide.md shows, compiled and run.
#include <gmock/gmock.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/util/delimited_message_util.h>
#include <gtest/gtest.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "reference/captured_log.h"
#include "reference/wire.h"

namespace {

using google::protobuf::Arena;
using google::protobuf::io::IstreamInputStream;
using google::protobuf::util::ParseDelimitedFromZeroCopyStream;
using google::protobuf::util::SerializeDelimitedToOstream;

TEST(Guide, ZeroIsAbsentAndAMergeNeverSetsBack) {
  tarn::Module sent, merged;
  merged.set_linearaddr(7);
  merged.set_error(true);
  tarn::Module replaced = merged;

  sent.set_linearaddr(0);    // takes no byte
  sent.set_error(false);     // nor does this
  sent.mutable_extstatus();  // takes bytes: a message has presence
  merged.MergeFrom(sent);    // still address 7, and in error
  replaced = sent;           // address 0, not in error

  EXPECT_EQ(sent.ByteSizeLong(), 2u);
  EXPECT_EQ(merged.linearaddr(), 7);
  EXPECT_TRUE(merged.error());
  EXPECT_TRUE(merged.has_extstatus());
  EXPECT_EQ(replaced.linearaddr(), 0);
  EXPECT_FALSE(replaced.error());
}

std::string Words(tarn::StatusCodes status) {
  switch (status) {
    case tarn::ok:
      return "works";
    case tarn::comm_error:
      return "out of reach";
    default:
      return tarn::StatusCodes_IsValid(status)
                 ? tarn::StatusCodes_Name(status)
                 : "status " + std::to_string(status);
  }
}

TEST(Guide, AnEnumCanHoldANumberThatItDoesNotDeclare) {
  EXPECT_EQ(Words(tarn::comm_error), "out of reach");
  EXPECT_EQ(Words(tarn::retry_mode), "retry_mode");
  EXPECT_EQ(Words(static_cast<tarn::StatusCodes>(99)), "status 99");
}

// An order with one price.
tarn::Prices Order(const std::string& price) {
  tarn::Prices order;
  order.add_prices()->set_set_price(price);
  return order;
}

TEST(Guide, LengthsKeepMessagesApart) {
  const tarn::Prices morning = Order("2.50"), evening = Order("2.30");
  std::stringstream file;
  std::vector<std::string> used;
  const auto Use = [&used](const tarn::Prices& next) {
    used.push_back(next.SerializeAsString());
  };

  SerializeDelimitedToOstream(morning, &file);
  SerializeDelimitedToOstream(evening, &file);

  IstreamInputStream in(&file);
  bool end = false;  // true once the stream ends after a whole message
  tarn::Prices next;
  while (ParseDelimitedFromZeroCopyStream(&next, &in, &end)) {
    Use(next);
    next.Clear();  // or else the next message is merged into this one
  }

  EXPECT_TRUE(end);
  EXPECT_EQ(used, (std::vector<std::string>{morning.SerializeAsString(),
                                            evening.SerializeAsString()}));
}

// Four bytes, the highest first, say how many bytes follow.
void WritePart(std::ostream& out, const std::string& bytes) {
  for (int shift = 24; shift >= 0; shift -= 8) out.put(bytes.size() >> shift);
  out << bytes;
}

// False if more than `most` bytes are announced, or fewer come than announced.
bool ReadPart(std::istream& in, size_t most, std::string* bytes) {
  char length[4];
  if (!in.read(length, 4)) return false;
  size_t size = 0;
  for (unsigned char byte : length) size = size << 8 | byte;
  if (size > most) return false;
  bytes->resize(size);
  return bool(in.read(&(*bytes)[0], size));
}

// The price of each order, and a word where something is refused.
std::vector<std::string> Received(std::istream& in) {
  const size_t most = 1000;
  std::vector<std::string> got;
  const auto Use = [&got](const tarn::Prices& prices) {
    got.push_back(prices.prices(0).set_price());
  };
  const auto Refuse = [&got] { got.push_back("refused"); };

  std::string name, bytes;
  while (in.peek() != EOF) {
    if (!ReadPart(in, 100, &name) || !ReadPart(in, most, &bytes)) {
      Refuse();  // where the next message begins is lost
      break;
    }
    tarn::Prices prices;
    if (name != "Prices") continue;  // a type that this program does not take
    if (prices.ParseFromString(bytes)) {
      Use(prices);
    } else {
      Refuse();  // the next message can be good
    }
  }
  return got;
}

const char kParts[] = R"(
00 00 00 06             the length of the name
50 72 69 63 65 73       "Prices"
00 00 00 08             the length of the message
0A 06 1A 04 32 2E 35 30 the message
)";

TEST(Guide, ANameBeforeEachMessageTellsItsType) {
  std::stringstream connection;
  const tarn::Prices order = Order("2.50");

  WritePart(connection, "Prices");
  WritePart(connection, order.SerializeAsString());

  std::istringstream parts(kParts);
  std::string line, bytes;
  while (std::getline(parts, line)) bytes += wire::Hex(line.substr(0, 24));
  EXPECT_EQ(wire::ToHex(connection.str()), wire::ToHex(bytes));
  WritePart(connection, "Newer");
  WritePart(connection, "");
  WritePart(connection, "Prices");
  WritePart(connection, "no order");
  WritePart(connection, "Prices");
  WritePart(connection, Order("2.30").SerializeAsString());
  EXPECT_EQ(Received(connection),
            (std::vector<std::string>{"2.50", "refused", "2.30"}));
}

TEST(Guide, AReaderRefusesWhatIsTooLongOrCutOff) {
  using testing::ElementsAre;
  std::stringstream whole;
  WritePart(whole, "Prices");
  WritePart(whole, Order("2.50").SerializeAsString());
  for (size_t size = 1; size < whole.str().size(); ++size) {
    std::istringstream cut(whole.str().substr(0, size));
    EXPECT_THAT(Received(cut), ElementsAre("refused")) << size;
  }
  for (const char* length : {"00 00 03 E9", "7F FF FF FF", "FF FF FF FF"}) {
    std::istringstream large(wire::Hex("00 00 00 06 50 72 69 63 65 73") +
                             wire::Hex(length) + std::string(2000, 'x'));
    EXPECT_THAT(Received(large), ElementsAre("refused")) << length;
  }
}

TEST(Guide, ReadersKeepTheTreeThatTheyRead) {
  tarn::ModsConfigured tree;
  tree.add_modsconfigured()->mutable_server()->set_name("Roof radio");
  const std::string bytes = tree.SerializeAsString();

  std::shared_ptr<const tarn::ModsConfigured> current;
  std::thread receiver([&] {
    auto next = std::make_shared<tarn::ModsConfigured>();
    if (!next->ParseFromString(bytes)) return;
    std::atomic_store(
        &current, std::shared_ptr<const tarn::ModsConfigured>(std::move(next)));
  });
  const auto seen = std::atomic_load(&current);  // null, or a whole tree
  receiver.join();

  if (seen != nullptr) {
    EXPECT_EQ(seen->SerializeAsString(), bytes);
  }
  ASSERT_NE(current, nullptr);
  EXPECT_EQ(current->SerializeAsString(), bytes);
}

TEST(Guide, WhatOutlivesATreeIsCopiedOrReleased) {
  tarn::ChildTypes node;
  node.mutable_server()->set_name("Roof radio");
  const std::string bytes = node.SerializeAsString();
  std::string name;
  tarn::Server copy;
  {
    Arena arena;
    auto* tree = Arena::CreateMessage<tarn::ChildTypes>(&arena);
    ASSERT_TRUE(tree->ParseFromString(bytes));

    name = tree->server().name();  // a reference would dangle
    copy = tree->server();         // from the arena to the heap
  }
  std::unique_ptr<tarn::Server> server(node.release_server());  // no copy

  EXPECT_EQ(name, "Roof radio");
  EXPECT_EQ(copy.name(), name);
  EXPECT_EQ(server->name(), name);
  EXPECT_EQ(node.types_case(), tarn::ChildTypes::TYPES_NOT_SET);
}

std::string BytesOf(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// What a program makes of a message, for the next test.
bool Receive(const std::string& bytes, tarn::Prices* prices) {
  return prices->ParseFromString(bytes);
}

TEST(Guide, AProgramReadsTheCorpusInSilence) {
  const std::filesystem::path corpus = CORPUS_DIR;
  const tests::CapturedLog log;
  int right = 0, wrong = 0;

  google::protobuf::SetLogHandler(nullptr);
  for (const std::string kind : {"valid", "accepted", "rejected"}) {
    const bool expected = kind != "rejected";
    for (const auto& file :
         std::filesystem::directory_iterator(corpus / kind / "Prices")) {
      if (file.path().extension() != ".binpb") continue;
      tarn::Prices prices;
      const bool taken = Receive(BytesOf(file.path()), &prices);
      ++(taken == expected ? right : wrong);
    }
  }

  EXPECT_GT(right, 10);
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(log.lines().empty());
}

TEST(Guide, TheRuntimeLogsATextThatIsNotUtf8) {
  const tests::CapturedLog log;
  tarn::Prices prices;
  EXPECT_FALSE(Receive(Order("\xFF").SerializeAsString(), &prices));
  EXPECT_THAT(log.lines(), testing::Contains(testing::HasSubstr(
                               "contains invalid UTF-8 data when parsing")));
}

}  // namespace
