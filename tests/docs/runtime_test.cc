// What docs/compatibility.md and docs/security.md say of the runtime: the table
// of bytes, and the statements that other tests do not hold.
#include <google/protobuf/arena.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/stubs/common.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "reference/captured_log.h"
#include "reference/wire.h"

namespace {

using google::protobuf::Arena;

std::string Section() {
  std::ifstream file(COMPATIBILITY);
  const std::string page{std::istreambuf_iterator<char>(file), {}};
  const size_t begin = page.find("\n## What the runtime decides\n");
  EXPECT_NE(begin, std::string::npos);
  return page.substr(begin, page.find("\n## ", begin + 1) - begin);
}

TEST(Runtime, WritesTheBytesOfTheTableBack) {
  const std::string section = Section();
  const std::regex row(R"(\| [^|`]+ \| `([0-9A-F ]+)` \| `([0-9A-F ]+)` \|)");
  int rows = 0;
  for (std::sregex_iterator it(section.begin(), section.end(), row), end;
       it != end; ++it, ++rows) {
    tarn::BaseMsg message;
    ASSERT_TRUE(message.ParseFromString(wire::Hex((*it)[1].str())));
    EXPECT_FALSE(message.GetReflection()->GetUnknownFields(message).empty());
    EXPECT_EQ(wire::ToHex(message.SerializeAsString()), (*it)[2].str());
    EXPECT_NE((*it)[1].str(), (*it)[2].str());
  }
  EXPECT_EQ(rows, 3);
}

// Gives what lies on an arena to a message that does not.
void HandOver(tarn::GetStatusModule* status, Arena* arena) {
  auto* given = Arena::CreateMessage<tarn::DimmingValues>(arena);
  given->set_dimmingmode(1);
  status->set_allocated_dimmingconfig(given);
}

TEST(Runtime, RefusesASubmessageOfAnotherArena) {
  tests::CapturedLog log;
  Arena mine;
  Arena other;
  tarn::GetStatusModule on_heap;
  auto* on_arena = Arena::CreateMessage<tarn::GetStatusModule>(&mine);
  for (tarn::GetStatusModule* status : {&on_heap, on_arena}) {
    EXPECT_THROW(HandOver(status, &other), google::protobuf::FatalException);
    EXPECT_FALSE(status->has_dimmingconfig());
    tarn::DimmingValues given;
    given.set_dimmingmode(1);
    status->mutable_dimmingconfig()->CopyFrom(given);
    EXPECT_EQ(wire::ToHex(status->SerializeAsString()), "5A 02 08 01");
  }
}

TEST(Runtime, FreesWhatStoodThereBeforeItRefuses) {
  tests::CapturedLog log;
  Arena mine;
  Arena other;
  auto* on_arena = Arena::CreateMessage<tarn::GetStatusModule>(&mine);
  on_arena->mutable_dimmingconfig()->set_dimmingmode(2);
  EXPECT_THROW(HandOver(on_arena, &other), google::protobuf::FatalException);
  EXPECT_EQ(on_arena->dimmingconfig().dimmingmode(), 2);

  tarn::GetStatusModule on_heap;
  const void* const before = on_heap.mutable_dimmingconfig();
  EXPECT_THROW(HandOver(&on_heap, &other), google::protobuf::FatalException);
  // The pointer is all that is left; it must not be followed, nor freed again.
  EXPECT_EQ(on_heap.unsafe_arena_release_dimmingconfig(), before);
}

TEST(Runtime, CountsTheEntriesOfMaps) {
  EXPECT_EQ(tarn::NetworkStatusReport::descriptor()->index(), 24);
  EXPECT_EQ(int{tarn::NetworkStatusReport::kIndexInFileMessages}, 26);
  EXPECT_NE(Section().find("26 for `NetworkStatusReport`, which is message 24"),
            std::string::npos);
}

TEST(Runtime, SetsMemoryAsideForATextThatAStreamOnlyAnnounces) {
  const std::string bytes = "\x0A\x80\xDA\xC4\x09 20 MB";
  tarn::Server server;
  EXPECT_FALSE(server.ParseFromString(bytes));
  EXPECT_LT(server.name().capacity(), 100u);
  google::protobuf::io::ArrayInputStream stream(bytes.data(), bytes.size());
  EXPECT_FALSE(server.ParseFromBoundedZeroCopyStream(&stream, bytes.size()));
  EXPECT_LT(server.name().capacity(), 100u);
  google::protobuf::io::ArrayInputStream endless(bytes.data(), bytes.size());
  EXPECT_FALSE(server.ParseFromZeroCopyStream(&endless));
  EXPECT_GE(server.name().capacity(), 20000000u);

  const std::string gigabyte = "\x0A\x80\x80\x80\x80\x04...";
  tarn::Server other;
  google::protobuf::io::ArrayInputStream more(gigabyte.data(), gigabyte.size());
  EXPECT_FALSE(other.ParseFromZeroCopyStream(&more));
  EXPECT_LE(other.name().capacity(), 50000000u);
}

constexpr char kSecret[] = "hunter2";

TEST(Runtime, LogsTheFieldAndNotItsText) {
  tests::CapturedLog log;
  tarn::Wifi wifi;
  const wire::Writer bytes =
      wire::Writer().Bytes(2, std::string(kSecret) + "\xFF");
  EXPECT_FALSE(wifi.ParseFromString(bytes.bytes()));
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_NE(log.lines()[0].find("'tarn.Wifi.pass'"), std::string::npos);
  EXPECT_EQ(log.lines()[0].find(kSecret), std::string::npos);
}

TEST(Runtime, QuotesTheTextAndTheJsonThatItRefuses) {
  tests::CapturedLog log;
  tarn::Wifi wifi;
  EXPECT_FALSE(google::protobuf::TextFormat::ParseFromString(
      std::string("pass: ") + kSecret, &wifi));
  ASSERT_EQ(log.lines().size(), 1u);
  EXPECT_NE(log.lines()[0].find(kSecret), std::string::npos);
  const auto status = google::protobuf::util::JsonStringToMessage(
      std::string("{\"pass\": ") + kSecret + "}", &wifi);
  EXPECT_NE(status.ToString().find(kSecret), std::string::npos);
  wifi.set_pass(kSecret);
  EXPECT_NE(wifi.DebugString().find(kSecret), std::string::npos);
}

}  // namespace
