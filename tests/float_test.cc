// Floats keep every bit on the wire; their bits decide whether they are
// present, not their value.
#include <cmath>
#include <limits>

#include "reference/messages.h"

namespace {

using tests::FieldDescriptor;
using tests::ForEachField;
using tests::FromHex;
using tests::HexOf;
using tests::Message;
using tests::Rewritten;
using wire::Writer;

const uint32_t kMinusZero = 0x80000000;
const uint32_t kQuietNan = 0x7FC00000;

// Bits that a comparison or a conversion of values would change.
const uint32_t kPatterns[] = {
    kMinusZero, kQuietNan,  0x7FC00001, 0xFFC12345,  // Quiet NaNs.
    0x7F800001, 0xFFBFFFFF, 0x7FA00000,              // Signalling NaNs.
    0x7F800000, 0xFF800000,                          // Infinities.
    0x00000001, 0x807FFFFF,                          // Subnormal numbers.
    0x7F7FFFFF, 0x3F800000};

template <class Visitor>
void ForEachFloat(Visitor visit) {
  int fields = 0;
  ForEachField([&](const Message& prototype, const FieldDescriptor* field) {
    if (field->type() != FieldDescriptor::TYPE_FLOAT) return;
    visit(prototype, field);
    ++fields;
  });
  EXPECT_EQ(fields, 4);
}

TEST(Float, EveryBitPatternIsKept) {
  ForEachFloat([](const Message& prototype, const FieldDescriptor* field) {
    for (uint32_t bits : kPatterns) {
      const Writer bytes = Writer().Fixed32(field->number(), bits);
      EXPECT_EQ(Rewritten(prototype, bytes), HexOf(bytes));
      const auto message = tests::FromBytes(prototype, bytes.bytes());
      EXPECT_EQ(message->ByteSizeLong(), 5u);
      EXPECT_TRUE(message->GetReflection()->HasField(*message, field));
    }
  });
}

TEST(Float, EveryBitPatternIsCopiedAndMerged) {
  ForEachFloat([](const Message& prototype, const FieldDescriptor* field) {
    const Writer old = Writer().Float(field->number(), -60);
    for (uint32_t bits : kPatterns) {
      const Writer bytes = Writer().Fixed32(field->number(), bits);
      const auto source = tests::FromBytes(prototype, bytes.bytes());
      const auto target = tests::FromBytes(prototype, old.bytes());
      target->MergeFrom(*source);
      EXPECT_EQ(HexOf(*target), HexOf(bytes));
      std::unique_ptr<Message> copy(prototype.New());
      copy->CopyFrom(*source);
      EXPECT_EQ(HexOf(*copy), HexOf(bytes));
    }
  });
}

TEST(Float, PlusZeroIsNeitherWrittenNorMerged) {
  ForEachFloat([](const Message& prototype, const FieldDescriptor* field) {
    const Writer zero = Writer().Fixed32(field->number(), 0);
    EXPECT_EQ(Rewritten(prototype, zero), "");
    const Writer old = Writer().Float(field->number(), -60);
    const auto target = tests::FromBytes(prototype, old.bytes());
    const auto source = tests::FromBytes(prototype, zero.bytes());
    target->MergeFrom(*source);
    EXPECT_EQ(HexOf(*target), HexOf(old));
  });
}

TEST(Float, FewerThanFourBytesFailTheParse) {
  ForEachFloat([](const Message& prototype, const FieldDescriptor* field) {
    std::unique_ptr<Message> message(prototype.New());
    for (int size = 0; size < 4; ++size) {
      const Writer cut = Writer()
                             .Tag(field->number(), wire::kFixed32)
                             .Raw(std::string(size, '\x01'));
      EXPECT_FALSE(message->ParseFromString(cut.bytes())) << size;
    }
  });
}

TEST(Float, SettersStoreTheBitsTheyAreGiven) {
  tarn::ClientStatusMsg status;
  status.set_rx_signal_str_db(-0.0f);
  EXPECT_EQ(HexOf(status), "15 00 00 00 80");
  EXPECT_TRUE(std::signbit(
      FromHex<tarn::ClientStatusMsg>("15 00 00 00 80").rx_signal_str_db()));
  status.set_rx_signal_str_db(0.0f);
  EXPECT_EQ(HexOf(status), "");
  status.set_rx_signal_str_db(std::numeric_limits<float>::quiet_NaN());
  EXPECT_EQ(HexOf(status), "15 00 00 C0 7F");
}

TEST(Float, SignalStrengthsAreLittleEndianSingles) {
  tarn::ClientStatusMsg status;
  status.set_rx_signal_str_db(-42.5f);
  EXPECT_EQ(HexOf(status), "15 00 00 2A C2");
  status.set_tx_signal_str_db(1.0f);
  EXPECT_EQ(HexOf(status), "15 00 00 2A C2 1D 00 00 80 3F");
}

TEST(Float, MergingMinusZeroReplacesMinusSixty) {
  tarn::ClientStatusMsg target, source;
  target.set_tx_signal_str_db(-60.0f);
  source.set_tx_signal_str_db(0.0f);
  target.MergeFrom(source);
  EXPECT_EQ(target.tx_signal_str_db(), -60.0f);
  source.set_tx_signal_str_db(-0.0f);
  target.MergeFrom(source);
  EXPECT_EQ(HexOf(target), "1D 00 00 00 80");
}

TEST(Float, PixelPitchMinusZeroIsWrittenAndPlusZeroIsNot) {
  tarn::HwIdRowInfo row;
  row.set_pixelpitchmm(0.0f);
  EXPECT_EQ(HexOf(row), "");
  row.set_pixelpitchmm(-0.0f);
  EXPECT_EQ(HexOf(row), "3D 00 00 00 80");
  tarn::CCMsgDefinitions definitions;
  definitions.set_pixelpitchmm(0.0f);
  EXPECT_EQ(HexOf(definitions), "");
  definitions.set_pixelpitchmm(-0.0f);
  EXPECT_EQ(HexOf(definitions), "15 00 00 00 80");
}

TEST(Float, PixelPitchSentAsAVarintIsKeptAsUnknown) {
  const auto row = FromHex<tarn::HwIdRowInfo>("38 05");
  EXPECT_EQ(row.pixelpitchmm(), 0.0f);
  EXPECT_EQ(HexOf(row), "38 05");
}

TEST(Float, LastOfSeveralValuesIsKeptEvenPlusZero) {
  EXPECT_EQ(Rewritten<tarn::HwIdRowInfo>("3D 00 00 80 3F 3D 00 00 00 80"),
            "3D 00 00 00 80");
  EXPECT_EQ(Rewritten<tarn::HwIdRowInfo>("3D 00 00 80 3F 3D 00 00 00 00"), "");
}

}  // namespace
