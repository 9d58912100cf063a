// How deep messages may be nested, and what raises the limit.
#include <google/protobuf/text_format.h>

#include "reference/captured_log.h"
#include "reference/messages.h"

namespace {

using google::protobuf::TextFormat;
using wire::Writer;

const int kLimit = 100;

// A tree of `levels` nested records below the message that is parsed: nodes and
// the servers in them by turns.
std::string Tree(int levels) {
  Writer bytes;
  for (; levels > 0; --levels) {
    // Seen from the outside: odd levels are lists of nodes, even ones servers.
    bytes = Writer().Message(levels % 2 == 0 ? 1 : 7, bytes);
  }
  return bytes.bytes();
}

std::string Groups(int levels) {
  Writer bytes;
  for (; levels > 0; --levels) bytes = Writer().Group(1000, bytes);
  return bytes.bytes();
}

bool ParsesWithLimit(const std::string& bytes, int limit) {
  google::protobuf::io::CodedInputStream input(
      reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  input.SetRecursionLimit(limit);
  tarn::Server server;
  return server.ParseFromCodedStream(&input);
}

TEST(Depth, HundredNestedMessagesPassAndOneMoreFails) {
  tarn::Server server;
  ASSERT_TRUE(server.ParseFromString(Tree(kLimit)));
  EXPECT_EQ(tests::BytesOf(server), Tree(kLimit));
  EXPECT_FALSE(server.ParseFromString(Tree(kLimit + 1)));
}

TEST(Depth, EveryLevelOfTheSignNetworkTreeCountsTwice) {
  const auto tree = [](int levels) {
    tarn::Server server;
    tarn::Server* at = &server;
    for (; levels > 0; --levels) at = at->add_children()->mutable_server();
    return tests::BytesOf(server);
  };
  tarn::Server server;
  EXPECT_TRUE(server.ParseFromString(tree(kLimit / 2)));
  EXPECT_FALSE(server.ParseFromString(tree(kLimit / 2 + 1)));
}

TEST(Depth, HundredUnknownGroupsPassAndOneMoreFails) {
  tarn::Server server;
  ASSERT_TRUE(server.ParseFromString(Groups(kLimit)));
  EXPECT_EQ(tests::BytesOf(server), Groups(kLimit));
  EXPECT_FALSE(server.ParseFromString(Groups(kLimit + 1)));
}

TEST(Depth, MapEntriesCountOneLevel) {
  tarn::NetworkStatusReport report;
  const auto entry = [](int groups) {
    return Writer().Bytes(1, Groups(groups)).bytes();
  };
  EXPECT_TRUE(report.ParseFromString(entry(kLimit - 1)));
  EXPECT_FALSE(report.ParseFromString(entry(kLimit)));
}

TEST(Depth, LimitOfTheStreamIsTheLimitOfTheParse) {
  EXPECT_TRUE(ParsesWithLimit(Tree(kLimit), kLimit));
  EXPECT_FALSE(ParsesWithLimit(Tree(kLimit + 1), kLimit));
  EXPECT_TRUE(ParsesWithLimit(Tree(400), 400));
  EXPECT_FALSE(ParsesWithLimit(Tree(401), 400));
  EXPECT_TRUE(ParsesWithLimit(Tree(4), 4));
  EXPECT_FALSE(ParsesWithLimit(Tree(5), 4));
}

TEST(Depth, DeeperTreesThanTheLimitAreSerializedAllTheSame) {
  tarn::Server server;
  tarn::Server* at = &server;
  for (int i = 0; i < 200; ++i) at = at->add_children()->mutable_server();
  EXPECT_EQ(tests::BytesOf(server), Tree(400));
}

TEST(Depth, TextFormHasALimitWhenOneIsSet) {
  const auto text = [](int levels) {
    std::string open, close;
    for (int i = 0; i < levels; ++i) {
      open += i % 2 == 0 ? "children {" : "server {";
      close += "}";
    }
    return open + close;
  };
  tests::CapturedLog log;
  TextFormat::Parser parser;
  parser.SetRecursionLimit(10);
  tarn::Server server;
  EXPECT_TRUE(parser.ParseFromString(text(10), &server));
  EXPECT_EQ(tests::BytesOf(server), Tree(10));
  EXPECT_FALSE(parser.ParseFromString(text(11), &server));
}

}  // namespace
