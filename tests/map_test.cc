// The two maps of the network report: entries, replacement, order.
#include <gmock/gmock.h>

#include "reference/captured_log.h"
#include "reference/messages.h"

namespace {

using google::protobuf::Arena;
using tarn::NetworkStatusReport;
using tests::FromBytes;
using tests::FromHex;
using tests::HexOf;
using wire::Writer;

using StatusMap = google::protobuf::Map<std::string, tarn::StatusCodes>;

// One of the two maps with its accessors.
struct MapField {
  const char* name;
  int number;
  const StatusMap& (*get)(const NetworkStatusReport&);
  StatusMap* (*edit)(NetworkStatusReport*);
  int (*size)(const NetworkStatusReport&);
  void (*clear)(NetworkStatusReport*);
  bool (*validate_key)(std::string*);
  bool (*validate_value)(void*);
};

// Without the "", clang-format takes the first line for a directive.
#define MAP(number, stem, Entry)                                      \
  MapField {                                                          \
    "" #stem, number,                                                 \
        [](const NetworkStatusReport& r) -> const StatusMap& {        \
          return r.stem();                                            \
        },                                                            \
        [](NetworkStatusReport* r) { return r->mutable_##stem(); },   \
        [](const NetworkStatusReport& r) { return r.stem##_size(); }, \
        [](NetworkStatusReport* r) { r->clear_##stem(); },            \
        tarn::NetworkStatusReport_##Entry##_DoNotUse::ValidateKey,    \
        tarn::NetworkStatusReport_##Entry##_DoNotUse::ValidateValue   \
  }

class Map : public testing::TestWithParam<MapField> {
 protected:
  // An entry record of this map with a key and a value.
  Writer Entry(const char* key, int value) const {
    return Record(Writer().Bytes(1, key).Int(2, value));
  }
  Writer Record(const Writer& content) const {
    return Writer().Message(map_.number, content);
  }
  const StatusMap& Of(const NetworkStatusReport& report) const {
    return map_.get(report);
  }
  NetworkStatusReport Holding(
      std::initializer_list<std::pair<const char*, int>> entries) const {
    NetworkStatusReport report;
    for (const auto& [key, value] : entries) {
      (*map_.edit(&report))[key] = static_cast<tarn::StatusCodes>(value);
    }
    return report;
  }
  const MapField map_ = GetParam();
};

INSTANTIATE_TEST_SUITE_P(, Map,
                         testing::Values(MAP(1, status_packet,
                                             StatusPacketEntry),
                                         MAP(2, price_sync_status_packet,
                                             PriceSyncStatusPacketEntry)),
                         [](const auto& info) { return info.param.name; });

TEST_P(Map, EntryIsANestedMessageOfKeyAndValue) {
  EXPECT_EQ(HexOf(Holding({{"a", tarn::ok}})), HexOf(Entry("a", 1)));
  const auto report = FromBytes<NetworkStatusReport>(Entry("a", 1).bytes());
  EXPECT_EQ(Of(report).at("a"), tarn::ok);
  EXPECT_EQ(map_.size(report), 1);
}

TEST_P(Map, LaterEntryOfAKeyReplacesTheEarlierOne) {
  const auto report = FromBytes<NetworkStatusReport>(
      Entry("a", tarn::ok).Raw(Entry("a", tarn::comm_error).bytes()).bytes());
  ASSERT_EQ(map_.size(report), 1);
  EXPECT_EQ(Of(report).at("a"), tarn::comm_error);
}

TEST_P(Map, EntryWithOnlyAKeyHasTheValueUnused) {
  const auto report =
      FromBytes<NetworkStatusReport>(Record(Writer().Bytes(1, "a")).bytes());
  EXPECT_EQ(Of(report).at("a"), tarn::unused);
  EXPECT_EQ(HexOf(report), HexOf(Entry("a", 0)));
}

TEST_P(Map, EntryWithOnlyAValueHasTheEmptyKey) {
  const auto report =
      FromBytes<NetworkStatusReport>(Record(Writer().Uint(2, 3)).bytes());
  ASSERT_EQ(map_.size(report), 1);
  EXPECT_EQ(Of(report).at(""), tarn::power_outage);
  EXPECT_EQ(HexOf(report), HexOf(Entry("", 3)));
}

TEST_P(Map, EmptyEntryIsTheEmptyKeyWithTheValueUnused) {
  const auto report = FromBytes<NetworkStatusReport>(Record({}).bytes());
  ASSERT_EQ(map_.size(report), 1);
  EXPECT_EQ(Of(report).at(""), tarn::unused);
}

TEST_P(Map, ValueBeforeKeyIsRead) {
  const auto report = FromBytes<NetworkStatusReport>(
      Record(Writer().Uint(2, 3).Bytes(1, "a")).bytes());
  ASSERT_EQ(map_.size(report), 1);
  EXPECT_EQ(Of(report).at("a"), tarn::power_outage);
}

TEST_P(Map, LastKeyAndLastValueOfAnEntryAreKept) {
  const auto report = FromBytes<NetworkStatusReport>(
      Record(Writer().Bytes(1, "a").Uint(2, 3).Bytes(1, "b").Uint(2, 4))
          .bytes());
  ASSERT_EQ(map_.size(report), 1);
  EXPECT_EQ(Of(report).at("b"), tarn::assy_conf_err);
}

TEST_P(Map, OtherFieldsInAnEntryAreDropped) {
  const Writer extra =
      Writer().Uint(3, 1).Bytes(1, "a").Uint(2, 5).Fixed32(4, 1).Group(
          5, Writer().Uint(1, 1));
  const auto report = FromBytes<NetworkStatusReport>(Record(extra).bytes());
  EXPECT_EQ(HexOf(report), HexOf(Entry("a", 5)));
}

TEST_P(Map, DeterministicOrderIsByKeyBytes) {
  const std::string expected = HexOf(
      Entry("B", 3).Raw(Entry("a", 2).bytes()).Raw(Entry("b", 1).bytes()));
  EXPECT_EQ(HexOf(Holding({{"b", 1}, {"a", 2}, {"B", 3}})), expected);
}

TEST_P(Map, BytesAboveSevenBitsSortAboveLetters) {
  const auto report = Holding({{"\xC3\xA4", 1}, {"z", 2}, {"", 3}, {"za", 4}});
  EXPECT_EQ(HexOf(report), HexOf(Entry("", 3)
                                     .Raw(Entry("z", 2).bytes())
                                     .Raw(Entry("za", 4).bytes())
                                     .Raw(Entry("\xC3\xA4", 1).bytes())));
}

TEST_P(Map, SameContentsBuiltInAnyOrderGiveTheSameBytes) {
  NetworkStatusReport up, down;
  for (int i = 0; i < 200; ++i) {
    (*map_.edit(&up))[std::to_string(i)] = tarn::ok;
    (*map_.edit(&down))[std::to_string(199 - i)] = tarn::ok;
  }
  map_.edit(&down)->erase("7");
  (*map_.edit(&down))["7"] = tarn::ok;
  EXPECT_EQ(HexOf(up), HexOf(down));
}

TEST_P(Map, AnyOrderOfEntriesCarriesTheSameMap) {
  NetworkStatusReport report;
  for (int i = 0; i < 200; ++i) {
    (*map_.edit(&report))[std::to_string(i)] =
        static_cast<tarn::StatusCodes>(i);
  }
  std::string bytes;
  ASSERT_TRUE(report.SerializeToString(&bytes));
  EXPECT_EQ(bytes.size(), report.ByteSizeLong());
  EXPECT_EQ(HexOf(FromBytes<NetworkStatusReport>(bytes)), HexOf(report));
}

TEST_P(Map, ValueOutsideTheEnumSurvives) {
  for (int value : {99, 12, 1000, -1}) {
    const auto report =
        FromBytes<NetworkStatusReport>(Entry("a", value).bytes());
    EXPECT_EQ(static_cast<int>(Of(report).at("a")), value);
    EXPECT_EQ(HexOf(report), HexOf(Entry("a", value)));
  }
}

TEST_P(Map, EntriesAreInsertedFoundOverwrittenAndErased) {
  NetworkStatusReport report;
  StatusMap* map = map_.edit(&report);
  EXPECT_TRUE(map->insert({"a", tarn::ok}).second);
  EXPECT_FALSE(map->insert({"a", tarn::comm_error}).second);
  EXPECT_EQ(map->at("a"), tarn::ok);
  (*map)["a"] = tarn::retry_mode;
  (*map)["b"];
  EXPECT_EQ(map_.size(report), 2);
  EXPECT_EQ(map->find("b")->second, tarn::unused);
  EXPECT_TRUE(map->find("c") == map->end());
  EXPECT_TRUE(map->contains("a"));
  int sum = 0;
  for (const auto& entry : Of(report)) sum += entry.second;
  EXPECT_EQ(sum, tarn::retry_mode);
  EXPECT_EQ(map->erase("b"), 1u);
  EXPECT_EQ(HexOf(report), HexOf(Entry("a", 6)));
  map_.clear(&report);
  EXPECT_EQ(map_.size(report), 0);
  EXPECT_EQ(HexOf(report), "");
}

TEST_P(Map, MergeInsertsAndOverwritesAndKeeps) {
  auto target = Holding({{"x", 11}, {"y", 1}});
  target.MergeFrom(Holding({{"x", 9}, {"z", 2}}));
  EXPECT_EQ(HexOf(target), HexOf(Holding({{"x", 9}, {"y", 1}, {"z", 2}})));
}

TEST_P(Map, SwapBetweenHeapAndArenaExchangesTheEntries) {
  Arena arena;
  auto* other = Arena::CreateMessage<NetworkStatusReport>(&arena);
  (*map_.edit(other))["b"] = tarn::retry_mode;
  auto report = Holding({{"a", 1}, {"c", 2}});
  report.Swap(other);
  EXPECT_EQ(HexOf(report), HexOf(Holding({{"b", 6}})));
  EXPECT_EQ(HexOf(*other), HexOf(Holding({{"a", 1}, {"c", 2}})));
}

TEST_P(Map, OtherWireTypeIsKeptAsAnUnknownField) {
  const Writer varint = Writer().Uint(map_.number, 5);
  const auto report = FromBytes<NetworkStatusReport>(varint.bytes());
  EXPECT_EQ(map_.size(report), 0);
  EXPECT_EQ(HexOf(report), HexOf(varint));
}

TEST_P(Map, MalformedEntryFailsTheParse) {
  for (const char* content : {"0A 05 61", "10", "10 80", "0A 01", "0B", "0F",
                              "00", "0C", "0A 01 61 10 01 02"}) {
    NetworkStatusReport report;
    EXPECT_FALSE(report.ParseFromString(
        Writer().Bytes(map_.number, wire::Hex(content)).bytes()))
        << content;
  }
  NetworkStatusReport report;
  EXPECT_FALSE(report.ParseFromString(
      Writer().Tag(map_.number, wire::kLength).Raw("\x09\x0A\x01").bytes()));
}

TEST_P(Map, ValidateKeyChecksUtf8AndNamesTheKey) {
  std::string good = "a", bad = "\xC3\x28";
  tests::CapturedLog log;
  EXPECT_TRUE(map_.validate_key(&good));
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(map_.validate_key(&bad));
  const std::string entry =
      map_.number == 1 ? "StatusPacketEntry" : "PriceSyncStatusPacketEntry";
  EXPECT_THAT(log.lines(),
              testing::ElementsAre(testing::HasSubstr(
                  "'tarn.NetworkStatusReport." + entry + ".key'")));
}

TEST_P(Map, ValidateValueAcceptsEveryNumber) {
  for (int value : {0, 1, 12, 99, -1}) {
    EXPECT_TRUE(map_.validate_value(&value));
  }
}

TEST_P(Map, EveryKeyIsCheckedOnSerializing) {
  const auto report = Holding({{"\xFF", 1}, {"good", 2}, {"\xC3\x28", 3}});
  tests::CapturedLog log;
  std::string bytes;
  EXPECT_TRUE(report.SerializeToString(&bytes));
  EXPECT_EQ(log.lines().size(), 2u);
  EXPECT_EQ(bytes.size(), report.ByteSizeLong());
  EXPECT_NE(HexOf(report), "");
  EXPECT_EQ(log.lines().size(), 4u);
}

TEST_P(Map, BrokenKeyAmongGoodOnesFailsTheWholeParse) {
  tests::CapturedLog log;
  NetworkStatusReport report;
  EXPECT_FALSE(report.ParseFromString(
      Entry("a", 1).Raw(Entry("\xC3\x28", 1).bytes()).bytes()));
  EXPECT_FALSE(report.ParseFromString(
      Record(Writer().Uint(2, 1).Bytes(1, "\xC3\x28")).bytes()));
  EXPECT_EQ(log.lines().size(), 2u);
}

TEST(NetworkStatusReport, MergingPriceSyncReplacesXAndKeepsY) {
  NetworkStatusReport target, source;
  auto* map = target.mutable_price_sync_status_packet();
  (*map)["x"] = tarn::price_update_ok;
  (*map)["y"] = tarn::ok;
  (*source.mutable_price_sync_status_packet())["x"] = tarn::price_sync_pending;
  target.MergeFrom(source);
  EXPECT_EQ(map->size(), 2u);
  EXPECT_EQ(map->at("x"), tarn::price_sync_pending);
  EXPECT_EQ(map->at("y"), tarn::ok);
}

TEST(NetworkStatusReport, LifecycleIsMergedOnlyWhenNotZero) {
  auto target = FromHex<NetworkStatusReport>("18 05");
  target.MergeFrom(FromHex<NetworkStatusReport>("18 00"));
  EXPECT_EQ(target.network_price_lifecycle(), tarn::price_update_failure);
  target.MergeFrom(FromHex<NetworkStatusReport>("18 0B"));
  EXPECT_EQ(target.network_price_lifecycle(), tarn::price_update_ok);
}

TEST(NetworkStatusReport, MapsAndLifecycleAreWrittenInNumberOrder) {
  NetworkStatusReport report;
  report.set_network_price_lifecycle(tarn::price_update_ok);
  (*report.mutable_price_sync_status_packet())["p"] = tarn::ok;
  (*report.mutable_status_packet())["s"] = tarn::comm_error;
  EXPECT_EQ(HexOf(report), "0A 05 0A 01 73 10 02 12 05 0A 01 70 10 01 18 0B");
}

}  // namespace
