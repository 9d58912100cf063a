// Lists of numbers: written packed, read packed, unpacked and in any mix.
#include "reference/messages.h"

namespace {

using tests::FromHex;
using tests::HexOf;
using tests::Message;
using tests::Rewritten;
using wire::Writer;

// One of the three lists of numbers in the schema.
struct List {
  const char* name;
  const Message* prototype;
  int number;
};

class Packed : public testing::TestWithParam<List> {
 protected:
  std::string Reread(const Writer& bytes) const {
    return Rewritten(*GetParam().prototype, bytes);
  }
  bool Parses(const Writer& bytes) const {
    std::unique_ptr<Message> message(GetParam().prototype->New());
    return message->ParseFromString(bytes.bytes());
  }
  const int number_ = GetParam().number;
  const std::string one_zero_one_ = HexOf(Writer().Packed(number_, {1, 0, 1}));
};

INSTANTIATE_TEST_SUITE_P(
    , Packed,
    testing::Values(
        List{"state", &tarn::AppStates::default_instance(), 1},
        List{"assemblyTruthTable", &tarn::HwIdRowInfo::default_instance(), 8},
        List{"possibleDisplayTypes",
             &tarn::CabinetAssemblyConfiguration::default_instance(), 6}),
    [](const auto& info) { return info.param.name; });

TEST_P(Packed, PackedFormIsReadAndWritten) {
  EXPECT_EQ(Reread(Writer().Packed(number_, {1, 0, 1})), one_zero_one_);
}

TEST_P(Packed, UnpackedFormIsWrittenBackPacked) {
  EXPECT_EQ(Reread(Writer().Int(number_, 1).Int(number_, 0).Int(number_, 1)),
            one_zero_one_);
}

TEST_P(Packed, BothFormsMixInInputOrder) {
  EXPECT_EQ(Reread(Writer().Int(number_, 1).Packed(number_, {0, 1})),
            one_zero_one_);
  EXPECT_EQ(Reread(Writer().Packed(number_, {1, 0}).Int(number_, 1)),
            one_zero_one_);
  EXPECT_EQ(
      Reread(Writer().Int(number_, 1).Packed(number_, {0}).Int(number_, 1)),
      one_zero_one_);
}

TEST_P(Packed, RecordsInARowAppend) {
  EXPECT_EQ(Reread(Writer().Packed(number_, {1}).Packed(number_, {0, 1})),
            one_zero_one_);
}

TEST_P(Packed, RecordsAppendWithOtherFieldsBetweenThem) {
  EXPECT_EQ(
      Reread(
          Writer().Packed(number_, {1}).Uint(1000, 7).Packed(number_, {0, 1})),
      one_zero_one_ + " " + HexOf(Writer().Uint(1000, 7)));
}

TEST_P(Packed, RecordOfLengthZeroIsNotWrittenBack) {
  EXPECT_EQ(Reread(Writer().Packed(number_, {})), "");
  EXPECT_EQ(Reread(Writer().Packed(number_, {}).Packed(number_, {1, 0, 1})),
            one_zero_one_);
}

TEST_P(Packed, ZeroInsideAListIsWrittenLikeAnyOther) {
  EXPECT_EQ(Reread(Writer().Int(number_, 0)),
            HexOf(Writer().Packed(number_, {0})));
}

TEST_P(Packed, LongListTakesALengthOfTwoBytes) {
  Writer unpacked, values;
  for (int i = 0; i < 300; ++i) {
    unpacked.Int(number_, i % 2);
    values.Varint(i % 2);
  }
  EXPECT_EQ(Reread(unpacked), HexOf(Writer().Message(number_, values)));
}

TEST_P(Packed, TruncatedVarintInARecordFailsTheParse) {
  EXPECT_FALSE(Parses(Writer().Bytes(number_, "\x80")));
  EXPECT_FALSE(Parses(Writer().Bytes(number_, "\x01\xFF")));
  EXPECT_FALSE(Parses(Writer().Bytes(number_, "\x80").Int(number_, 1)));
}

TEST_P(Packed, RecordPastTheEndFailsTheParse) {
  EXPECT_FALSE(
      Parses(Writer().Tag(number_, wire::kLength).Raw("\x03\x01\x01")));
}

TEST_P(Packed, ElevenByteVarintInARecordFailsTheParse) {
  EXPECT_FALSE(Parses(
      Writer().Bytes(number_, std::string(10, '\xFF') + std::string(1, 1))));
}

TEST_P(Packed, OtherWireTypesAreKeptAsUnknownFields) {
  EXPECT_EQ(Reread(Writer().Fixed32(number_, 1).Int(number_, 1)),
            HexOf(Writer().Packed(number_, {1}).Fixed32(number_, 1)));
}

TEST(PackedEnums, NegativeNumbersTakeTenBytesEach) {
  const std::string minus_one = "FF FF FF FF FF FF FF FF FF 01";
  tarn::AppStates states;
  states.add_state(static_cast<tarn::AppState>(-1));
  states.add_state(tarn::Offline);
  EXPECT_EQ(HexOf(states), "0A 0B " + minus_one + " 05");
  EXPECT_EQ(Rewritten<tarn::AppStates>("08 " + minus_one),
            "0A 0A " + minus_one);

  tarn::CabinetAssemblyConfiguration cabinet;
  cabinet.add_possibledisplaytypes(static_cast<tarn::DisplaySubtypes>(-1));
  EXPECT_EQ(HexOf(cabinet), "32 0A " + minus_one);
  EXPECT_EQ(FromHex<tarn::CabinetAssemblyConfiguration>("30 " + minus_one)
                .possibledisplaytypes(0),
            -1);
}

TEST(PackedEnums, LowThirtyTwoBitsOfEachNumberAreKept) {
  EXPECT_EQ(Rewritten<tarn::AppStates>("0A 06 82 80 80 80 10 05"),
            "0A 02 02 05");
  EXPECT_EQ(Rewritten<tarn::AppStates>("08 82 80 80 80 10"), "0A 01 02");
}

TEST(PackedEnums, NumbersOutsideTheEnumAreKept) {
  EXPECT_EQ(Rewritten<tarn::AppStates>("0A 03 09 C8 01"), "0A 03 09 C8 01");
  EXPECT_EQ(Rewritten<tarn::CabinetAssemblyConfiguration>("30 03"), "32 01 03");
  EXPECT_EQ(Rewritten<tarn::CabinetAssemblyConfiguration>("32 01 03"),
            "32 01 03");
  tarn::CabinetAssemblyConfiguration cabinet;
  cabinet.mutable_possibledisplaytypes()->Add(3);
  EXPECT_EQ(HexOf(cabinet), "32 01 03");
}

TEST(AppStates, ReadyAndOfflineAreTwoBytesInOneRecord) {
  tarn::AppStates states;
  states.add_state(tarn::Ready);
  states.add_state(tarn::Offline);
  EXPECT_EQ(HexOf(states), "0A 02 02 05");
  const auto unpacked = FromHex<tarn::AppStates>("08 02 08 05");
  ASSERT_EQ(unpacked.state_size(), 2);
  EXPECT_EQ(unpacked.state(0), tarn::Ready);
  EXPECT_EQ(unpacked.state(1), tarn::Offline);
  EXPECT_EQ(HexOf(unpacked), "0A 02 02 05");
}

TEST(AppStates, ReservedZeroInTheListIsWritten) {
  tarn::AppStates states;
  states.add_state(tarn::reserved0);
  EXPECT_EQ(HexOf(states), "0A 01 00");
}

TEST(AppStates, RecordOfLengthZeroGivesNoStates) {
  EXPECT_EQ(FromHex<tarn::AppStates>("0A 00").state_size(), 0);
  EXPECT_EQ(Rewritten<tarn::AppStates>("0A 00"), "");
}

TEST(AppStates, SecondRecordFollowsTheFirst) {
  const auto states = FromHex<tarn::AppStates>("0A 02 01 02 0A 01 05");
  ASSERT_EQ(states.state_size(), 3);
  EXPECT_EQ(states.state(2), tarn::Offline);
}

TEST(AppStates, StateNineIsKeptThoughNotValid) {
  const auto states = FromHex<tarn::AppStates>("0A 01 09");
  EXPECT_EQ(static_cast<int>(states.state(0)), 9);
  EXPECT_FALSE(tarn::AppState_IsValid(9));
  EXPECT_EQ(HexOf(states), "0A 01 09");
}

TEST(TruthTable, IsOneByteAnEntry) {
  tarn::HwIdRowInfo row;
  for (bool entry : {true, false, true}) row.add_assemblytruthtable(entry);
  EXPECT_EQ(HexOf(row), "42 03 01 00 01");
  EXPECT_EQ(Rewritten<tarn::HwIdRowInfo>("40 01 40 00 40 01"),
            "42 03 01 00 01");
}

TEST(TruthTable, AnyNonZeroVarintIsTrueAndWrittenAsOne) {
  EXPECT_TRUE(FromHex<tarn::HwIdRowInfo>("42 01 02").assemblytruthtable(0));
  EXPECT_EQ(Rewritten<tarn::HwIdRowInfo>("42 01 02"), "42 01 01");
  EXPECT_EQ(Rewritten<tarn::HwIdRowInfo>("42 05 80 01 80 00 7F"),
            "42 03 01 00 01");
  EXPECT_EQ(Rewritten<tarn::HwIdRowInfo>("42 0A FF FF FF FF FF FF FF FF FF 01"),
            "42 01 01");
  EXPECT_EQ(Rewritten<tarn::HwIdRowInfo>("42 05 80 80 80 80 10"), "42 01 01");
  EXPECT_EQ(Rewritten<tarn::HwIdRowInfo>("40 80 80 80 80 10"), "42 01 01");
}

TEST(PossibleDisplayTypes, PriceAndMessageAreTwoBytes) {
  tarn::CabinetAssemblyConfiguration cabinet;
  cabinet.add_possibledisplaytypes(tarn::price);
  cabinet.add_possibledisplaytypes(tarn::message);
  EXPECT_EQ(HexOf(cabinet), "32 02 00 01");
}

}  // namespace
