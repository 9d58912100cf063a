// The ranking of types, and when the tool says that bytes look like something
// else.
#include "ranking.h"

#include <gmock/gmock.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include "encoding.h"
#include "mismatch.h"
#include "nodes.h"

namespace {

using tarn::tool::AllTypes;
using tarn::tool::HoldsNodes;
using tarn::tool::Mismatch;
using tarn::tool::NamesOf;
using tarn::tool::Rank;
using tarn::tool::Schema;
using tarn::tool::Type;
using tarn::tool::Verdict;
using tarn::tool::Weigh;

tarn::ModsConfigured Network(int depth) {
  tarn::ModsConfigured network;
  auto* children = network.mutable_modsconfigured();
  for (int i = 0; i < depth; ++i) {
    auto* server = children->Add()->mutable_server();
    server->set_name("Roof radio " + std::to_string(i));
    server->set_uuid("3e236cd6-e840-4148-8571-8bb2fa6fb256");
    server->set_status(tarn::ok);
    server->set_networkid(7);
    auto* client = server->add_children()->mutable_client();
    client->set_name("North sign");
    client->set_uuid("7382d1e7-7ae6-459a-8158-76015e4d7023");
    client->set_status(tarn::comm_error);
    children = server->mutable_children();
  }
  return network;
}

TEST(Ranking, OneTurnedBitNeverMakesAHealthyNetworkOfAnotherType) {
  Schema schema;
  const auto all = AllTypes(&schema);
  const Type& type = schema.Find("ModsConfigured");
  const std::string bytes = tarn::tool::Canonical(Network(3));
  int refused = 0;
  for (size_t bit = 0; bit < 8 * bytes.size(); ++bit) {
    std::string turned = bytes;
    turned[bit / 8] ^= static_cast<char>(1 << bit % 8);
    if (Weigh(type, turned).accepted) continue;
    ++refused;
    for (const Type* other : Verdict(Rank(all, turned))) {
      EXPECT_FALSE(HoldsNodes(*other->descriptor))
          << other->descriptor->name() << ", bit " << bit;
    }
  }
  EXPECT_GT(refused, 100);
}

TEST(Ranking, NetworkTooDeepIsNoOtherType) {
  Schema schema;
  const std::string bytes = tarn::tool::Canonical(Network(51));
  const auto ranked = Rank(AllTypes(&schema), bytes);
  EXPECT_THAT(Verdict(ranked), testing::IsEmpty());
  EXPECT_FALSE(ranked.front().evidence.accepted);
}

TEST(Ranking, TypesThatOnlyTheirUseTellsApartAreAllNamed) {
  Schema schema;
  const std::string bytes = tarn::tool::Canonical(Network(2));
  EXPECT_EQ(NamesOf(Verdict(Rank(AllTypes(&schema), bytes))),
            "ModsAvailable, ModsConfigured or PendingModConfiguration");
}

TEST(Ranking, FieldsOfANewerSenderLeaveTheTypeItsPlace) {
  Schema schema;
  std::string bytes = tarn::tool::Canonical(Network(2));
  bytes += std::string("\xB8\x06\x01", 3);
  EXPECT_EQ(NamesOf(Verdict(Rank(AllTypes(&schema), bytes))),
            "ModsAvailable, ModsConfigured or PendingModConfiguration");
}

std::string PricesBytes() {
  tarn::Prices prices;
  for (int i = 1; i < 4; ++i) {
    auto* price = prices.add_prices();
    price->set_line_num(i);
    price->set_product_id("tea-cash");
    price->set_set_price("1.10");
  }
  return tarn::tool::Canonical(prices);
}

TEST(Mismatch, WrongTypeIsNamed) {
  Schema schema;
  Mismatch mismatch("f: ", {&schema.Find("Server")});
  EXPECT_EQ(mismatch.HintFor(PricesBytes(), false),
            "f: these bytes look more like Prices than like Server");
}

TEST(Mismatch, RightTypeIsLeftAlone) {
  Schema schema;
  Mismatch mismatch("f: ", {&schema.Find("Prices")});
  EXPECT_EQ(mismatch.HintFor(PricesBytes(), false), "");
}

TEST(Mismatch, StreamWithoutFrameIsNamed) {
  Schema schema;
  const std::string message = PricesBytes();
  std::string varint;
  std::string big;
  for (int i = 0; i < 3; ++i) {
    const char size = static_cast<char>(message.size());
    varint += size + message;
    big += std::string(3, '\0') + size + message;
  }
  Mismatch mismatch("", {&schema.Find("Prices")});
  EXPECT_THAT(mismatch.HintFor(varint, false),
              testing::HasSubstr("--frame varint"));
  EXPECT_THAT(mismatch.HintFor(big, false),
              testing::HasSubstr("--frame u32be"));
}

// Whatever the length of a stream, and however odd its messages.
TEST(Mismatch, WorkIsBounded) {
  Schema schema;
  const std::string odd(1 << 20, '\x7A');
  const size_t types = schema.Messages().size();
  Mismatch mismatch("", {&schema.Find("Server")});
  for (int i = 0; i < 1000; ++i) mismatch.HintFor(odd, true);
  EXPECT_LE(mismatch.weighed(),
            Mismatch::kMessages * Mismatch::kBytes * (types + 1));
  EXPECT_GT(mismatch.weighed(), 0u);
}

}  // namespace
