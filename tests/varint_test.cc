// Varints: sign extension, the bits that are kept, overlong and endless forms,
// tags of two bytes.
#include <climits>

#include "reference/messages.h"

namespace {

using tests::FieldDescriptor;
using tests::ForEachField;
using tests::FromHex;
using tests::HexOf;
using tests::Message;
using tests::Parses;
using tests::Rewritten;
using wire::Writer;

const char kMinusOne[] = "FF FF FF FF FF FF FF FF FF 01";

// Calls visit(default instance, field number) for the fields of one type that
// are neither lists nor maps.
template <class Visitor>
void ForEachSingular(FieldDescriptor::Type type, Visitor visit) {
  int fields = 0;
  ForEachField([&](const Message& prototype, const FieldDescriptor* field) {
    if (field->type() != type || field->is_repeated()) return;
    visit(prototype, field->number());
    ++fields;
  });
  EXPECT_GT(fields, 0);
}

TEST(Varint, NegativeInt32TakesTenBytesInEveryField) {
  ForEachSingular(FieldDescriptor::TYPE_INT32, [](auto& prototype, int number) {
    std::unique_ptr<Message> message(prototype.New());
    const auto* field = message->GetDescriptor()->FindFieldByNumber(number);
    for (int value : {-1, INT_MIN, INT_MAX, 1, 127, 128}) {
      message->GetReflection()->SetInt32(message.get(), field, value);
      const Writer expected = Writer().Int(number, value);
      EXPECT_EQ(HexOf(*message), HexOf(expected));
      EXPECT_EQ(Rewritten(prototype, expected), HexOf(expected));
    }
  });
}

TEST(Varint, Int32KeepsTheLowThirtyTwoBitsInEveryField) {
  ForEachSingular(FieldDescriptor::TYPE_INT32, [](auto& prototype, int number) {
    const Writer high = Writer().Uint(number, 0x7FFFFFFF00000007);
    EXPECT_EQ(Rewritten(prototype, high), HexOf(Writer().Int(number, 7)));
    const Writer unsigned_form = Writer().Uint(number, 0xFFFFFFFF);
    EXPECT_EQ(Rewritten(prototype, unsigned_form),
              HexOf(Writer().Int(number, -1)));
    EXPECT_EQ(Rewritten(prototype, Writer().Uint(number, 1ull << 32)), "");
  });
}

TEST(Varint, Uint32TakesAtMostFiveBytesInEveryField) {
  ForEachSingular(
      FieldDescriptor::TYPE_UINT32, [](auto& prototype, int number) {
        const Writer most = Writer().Uint(number, 0xFFFFFFFF);
        EXPECT_EQ(Rewritten(prototype, most), HexOf(most));
        EXPECT_EQ(most.bytes().size(), 6u);
        const Writer minus_one = Writer().Int(number, -1);
        EXPECT_EQ(Rewritten(prototype, minus_one), HexOf(most));
        const Writer high = Writer().Uint(number, 0x1234567800000009);
        EXPECT_EQ(Rewritten(prototype, high), HexOf(Writer().Uint(number, 9)));
      });
}

TEST(Varint, AnyNonZeroVarintIsTrueInEveryBool) {
  ForEachSingular(FieldDescriptor::TYPE_BOOL, [](auto& prototype, int number) {
    const std::string one = HexOf(Writer().Uint(number, 1));
    for (uint64_t value : {uint64_t{1}, uint64_t{2}, uint64_t{128},
                           uint64_t{1} << 32, uint64_t{1} << 63, ~uint64_t{}}) {
      EXPECT_EQ(Rewritten(prototype, Writer().Uint(number, value)), one);
    }
    EXPECT_EQ(Rewritten(prototype, Writer().Uint(number, 0)), "");
  });
}

TEST(Varint, OverlongFormsOfUpToTenBytesAreReadInEveryField) {
  for (auto type : {FieldDescriptor::TYPE_INT32, FieldDescriptor::TYPE_UINT32,
                    FieldDescriptor::TYPE_BOOL, FieldDescriptor::TYPE_ENUM}) {
    ForEachSingular(type, [](auto& prototype, int number) {
      for (int size = 2; size <= 10; ++size) {
        const Writer overlong =
            Writer().Tag(number, wire::kVarint).Overlong(1, size);
        EXPECT_EQ(Rewritten(prototype, overlong),
                  HexOf(Writer().Uint(number, 1)));
        const Writer zero =
            Writer().Tag(number, wire::kVarint).Overlong(0, size);
        EXPECT_EQ(Rewritten(prototype, zero), "");
      }
    });
  }
}

TEST(Varint, ElevenBytesFailTheParseInEveryField) {
  for (auto type : {FieldDescriptor::TYPE_INT32, FieldDescriptor::TYPE_UINT32,
                    FieldDescriptor::TYPE_BOOL, FieldDescriptor::TYPE_ENUM}) {
    ForEachSingular(type, [](auto& prototype, int number) {
      std::unique_ptr<Message> message(prototype.New());
      const Writer eleven = Writer().Tag(number, wire::kVarint).Overlong(1, 11);
      EXPECT_FALSE(message->ParseFromString(eleven.bytes()));
    });
  }
}

TEST(Varint, LastOfSeveralValuesIsKept) {
  EXPECT_EQ(Rewritten<tarn::Err>("08 01 08 02 08 03"), "08 03");
  EXPECT_EQ(Rewritten<tarn::Price>("1A 01 61 08 02 1A 01 62"),
            "08 02 1A 01 62");
}

TEST(Varint, ErrCodeMinusOneIsNineFFsAndAOne) {
  tarn::Err error;
  error.set_code(-1);
  EXPECT_EQ(HexOf(error), std::string("08 ") + kMinusOne);
  EXPECT_EQ(FromHex<tarn::Err>(HexOf(error)).code(), -1);
}

TEST(Varint, DimmingLevelMinusOneTakesElevenBytes) {
  tarn::Dimming dimming;
  dimming.set_level(-1);
  EXPECT_EQ(HexOf(dimming), std::string("10 ") + kMinusOne);
}

TEST(Varint, TestPatternMinusOneTakesElevenBytes) {
  tarn::DisplayTPat pattern;
  pattern.set_test_pattern(-1);
  EXPECT_EQ(HexOf(pattern), std::string("08 ") + kMinusOne);
}

TEST(Varint, DataWordOfAllOnesTakesFiveBytes) {
  tarn::POSDataMsg word;
  word.set_data(4294967295);
  EXPECT_EQ(HexOf(word), "08 FF FF FF FF 0F");
  EXPECT_EQ(
      FromHex<tarn::POSDataMsg>("08 85 80 80 80 80 80 80 80 80 01").data(), 5u);
}

TEST(Varint, PassReadFromTwoIsWrittenAsOne) {
  EXPECT_TRUE(FromHex<tarn::TestUpdateMsg>("10 02").pass());
  EXPECT_EQ(Rewritten<tarn::TestUpdateMsg>("10 02"), "10 01");
}

TEST(Varint, FieldsSixteenToNineteenHaveTagsOfTwoBytes) {
  tarn::GetStatusModule status;
  status.set_blankdisplayflags(1);
  EXPECT_EQ(HexOf(status), "80 01 01");
  status.Clear();
  status.set_com1device(-1);
  EXPECT_EQ(HexOf(status), std::string("88 01 ") + kMinusOne);
  status.Clear();
  status.set_errorflags(2);
  EXPECT_EQ(HexOf(status), "90 01 02");
  status.Clear();
  status.set_statusretrieved(true);
  EXPECT_EQ(HexOf(status), "98 01 01");
  EXPECT_EQ(status.ByteSizeLong(), 3u);
  EXPECT_TRUE(FromHex<tarn::GetStatusModule>("98 01 01").statusretrieved());
}

TEST(Varint, OverlongTagsAreRead) {
  EXPECT_EQ(Rewritten<tarn::Err>("88 00 05"), "08 05");
  EXPECT_EQ(Rewritten<tarn::Err>("88 80 80 80 00 05"), "08 05");
  EXPECT_EQ(Rewritten<tarn::GetStatusModule>("98 81 00 01"), "98 01 01");
}

TEST(Varint, TagOfMoreThanFiveBytesFailsTheParse) {
  EXPECT_FALSE(Parses<tarn::Err>("88 80 80 80 80 00 05"));
}

TEST(Varint, LengthMayBeOverlong) {
  EXPECT_EQ(Rewritten<tarn::Err>("12 81 00 61"), "12 01 61");
}

}  // namespace
