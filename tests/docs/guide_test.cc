// The lines of code that docs/guide.md shows, compiled and run.
#include <google/protobuf/io/zero_copy_stream_impl.h>
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

TEST(Guide, LengthsKeepMessagesApart) {
  tarn::Price price, other;
  price.set_set_price("2.50");
  other.set_line_num(2);
  std::stringstream file;
  std::vector<std::string> used;
  const auto Use = [&used](const tarn::Price& next) {
    used.push_back(next.SerializeAsString());
  };

  SerializeDelimitedToOstream(price, &file);
  SerializeDelimitedToOstream(other, &file);

  IstreamInputStream in(&file);
  bool end = false;  // true once the stream ends after a whole message
  tarn::Price next;
  while (ParseDelimitedFromZeroCopyStream(&next, &in, &end)) {
    Use(next);
    next.Clear();  // or else the next message is merged into this one
  }

  EXPECT_TRUE(end);
  EXPECT_EQ(used, (std::vector<std::string>{price.SerializeAsString(),
                                            other.SerializeAsString()}));
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
bool Receive(const std::string& bytes, tarn::Price* price) {
  return price->ParseFromString(bytes);
}

TEST(Guide, AProgramReadsTheCorpus) {
  const std::filesystem::path corpus = CORPUS_DIR;
  int right = 0, wrong = 0;

  for (const char* kind : {"valid", "accepted", "rejected"}) {
    for (const auto& file :
         std::filesystem::directory_iterator(corpus / kind / "Price")) {
      if (file.path().extension() != ".binpb") continue;
      tarn::Price price;
      const bool taken = Receive(BytesOf(file.path()), &price);
      ++(taken == (kind != std::string("rejected")) ? right : wrong);
    }
  }

  EXPECT_GT(right, 5);
  EXPECT_EQ(wrong, 0);
}

}  // namespace
