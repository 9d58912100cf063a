// The lines of code that docs/performance.md shows, compiled and run.
#include <google/protobuf/arena.h>
#include <gtest/gtest.h>
#include <tarn/Network.pb.h>

#include <string>
#include <vector>

namespace {

// A server with so many clients.
tarn::ModsConfigured Network(int clients) {
  tarn::ModsConfigured network;
  tarn::Server* server = network.add_modsconfigured()->mutable_server();
  for (int i = 0; i < clients; ++i) {
    server->add_children()->mutable_client()->set_name("North " +
                                                       std::to_string(i));
  }
  return network;
}

TEST(Snippets, AnArenaIsResetBeforeEachMessage) {
  std::string bytes;
  int sent = 0;
  std::vector<int> used;
  const auto Receive = [&sent](std::string& next) {
    next = Network(sent).SerializeAsString();
    return ++sent <= 3;
  };
  const auto Use = [&used](const tarn::ModsConfigured& tree) {
    used.push_back(tree.modsconfigured(0).server().children_size());
  };

  std::vector<char> block(1 << 20);
  google::protobuf::ArenaOptions options;
  options.initial_block = block.data();
  options.initial_block_size = block.size();
  google::protobuf::Arena arena(options);
  while (Receive(bytes)) {
    arena.Reset();
    auto* tree =
        google::protobuf::Arena::CreateMessage<tarn::ModsConfigured>(&arena);
    if (tree->ParseFromString(bytes)) Use(*tree);
  }

  EXPECT_EQ(used, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(arena.SpaceAllocated(), block.size());
}

TEST(Snippets, TheSizeIsComputedOnce) {
  const tarn::ModsConfigured tree = Network(3);
  std::string bytes;

  bytes.resize(tree.ByteSizeLong());
  tree.SerializeWithCachedSizesToArray(
      reinterpret_cast<uint8_t*>(bytes.data()));

  EXPECT_EQ(bytes, tree.SerializeAsString());
}

}  // namespace
