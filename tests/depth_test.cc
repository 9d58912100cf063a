// How deep messages may be nested, and what raises the limit.
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <pthread.h>

#include <functional>

#include "reference/captured_log.h"
#include "reference/messages.h"

namespace {

using google::protobuf::TextFormat;
using wire::Writer;

const int kLimit = 100;
const int kJsonRead = 99;
const int kJsonWritten = 64;

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

// The tree as people write it, with so many objects inside the outermost.
std::string WrittenTree(int levels, const char* children, const char* server,
                        const char* end_of_children, const char* end) {
  std::string open, close;
  for (int i = 0; i < levels; ++i) {
    open += i % 2 == 0 ? children : server;
    close += (levels - i) % 2 == 0 ? end : end_of_children;
  }
  return open + close;
}

std::string JsonTree(int levels) {
  return "{" +
         WrittenTree(levels, "\"children\":[{", "\"server\":{", "}]", "}") +
         "}";
}

std::string TextTree(int levels) {
  return WrittenTree(levels, "children {", "server {", "}", "}");
}

// Runs work() where the stack has 256 KiB.
void OnASmallStack(std::function<void()> work) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 << 10), 0);
  const auto run = [](void* given) -> void* {
    (*static_cast<std::function<void()>*>(given))();
    return nullptr;
  };
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
}

// The same as Tree(), made in one pass: every length takes five bytes.
std::string LargeTree(int levels) {
  std::string bytes;
  for (int i = levels; i > 0; --i) {
    bytes += Writer()
                 .Tag(i % 2 == 0 ? 7 : 1, wire::kLength)
                 .Overlong(uint64_t{6} * (i - 1), 5)
                 .bytes();
  }
  return bytes;
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
  tests::CapturedLog log;
  TextFormat::Parser parser;
  parser.SetRecursionLimit(10);
  tarn::Server server;
  EXPECT_TRUE(parser.ParseFromString(TextTree(10), &server));
  EXPECT_EQ(tests::BytesOf(server), Tree(10));
  EXPECT_FALSE(parser.ParseFromString(TextTree(11), &server));
}

TEST(Depth, JsonIsReadTo99LevelsAndWrittenTo64) {
  using google::protobuf::util::JsonStringToMessage;
  using google::protobuf::util::MessageToJsonString;
  tarn::Server server;
  ASSERT_TRUE(JsonStringToMessage(JsonTree(kJsonRead), &server).ok());
  EXPECT_EQ(tests::BytesOf(server), Tree(kJsonRead));
  EXPECT_FALSE(JsonStringToMessage(JsonTree(kJsonRead + 1), &server).ok());

  std::string json;
  ASSERT_TRUE(server.ParseFromString(Tree(kJsonWritten)));
  EXPECT_TRUE(MessageToJsonString(server, &json).ok());
  EXPECT_EQ(json, JsonTree(kJsonWritten));
  ASSERT_TRUE(server.ParseFromString(Tree(kJsonWritten + 1)));
  EXPECT_FALSE(MessageToJsonString(server, &json).ok());
}

TEST(Depth, AMillionLevelsAreRefusedOnASmallStack) {
  tests::CapturedLog log;
  const int million = 1000000;
  OnASmallStack([&] {
    tarn::Server server;
    EXPECT_FALSE(server.ParseFromString(LargeTree(million)));
    EXPECT_FALSE(server.ParseFromString(std::string(million, '\x3B')));
    TextFormat::Parser parser;
    parser.SetRecursionLimit(kLimit);
    EXPECT_FALSE(parser.ParseFromString(TextTree(million), &server));
    EXPECT_FALSE(
        google::protobuf::util::JsonStringToMessage(JsonTree(million), &server)
            .ok());
  });
}

}  // namespace
