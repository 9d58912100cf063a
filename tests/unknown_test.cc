// Fields that the schema does not know, or knows with another wire type, are
// kept, passed on and written back with the same bytes, except for keys,
// lengths and numbers that came in more bytes than necessary.
#include <google/protobuf/unknown_field_set.h>

#include "reference/messages.h"
#include "reference/schema_counts.h"

namespace {

using tests::FieldDescriptor;
using tests::Filled;
using tests::ForEachField;
using tests::ForEachMessage;
using tests::FromBytes;
using tests::FromHex;
using tests::HexOf;
using tests::Message;
using tests::Rewritten;
using wire::Writer;

const int kLastNumber = (1 << 29) - 1;

// One field of each wire type under a number that no message knows.
std::vector<Writer> UnknownFields(int number) {
  return {Writer().Uint(number, 0),
          Writer().Uint(number, ~uint64_t{}),
          Writer().Fixed64(number, 0x0102030405060708),
          Writer().Bytes(number, ""),
          Writer().Bytes(number, wire::Hex("C3 28 00")),
          Writer().Group(number, {}),
          Writer().Group(number, Writer().Uint(1, 5).Group(7, {})),
          Writer().Fixed32(number, 0xFFFFFFFF)};
}

Writer AllUnknownFields() {
  Writer all;
  for (int number : {1000, 500, 1000, kLastNumber}) {
    for (const Writer& field : UnknownFields(number)) all.Raw(field.bytes());
  }
  return all;
}

TEST(Unknown, FieldsOfEveryWireTypeAreKeptInOrder) {
  ForEachMessage([](const Message& prototype) {
    for (const Writer& field : UnknownFields(1000)) {
      EXPECT_EQ(Rewritten(prototype, field), HexOf(field));
    }
    EXPECT_EQ(Rewritten(prototype, AllUnknownFields()),
              HexOf(AllUnknownFields()));
  });
}

TEST(Unknown, FieldsAreWrittenAfterTheKnownOnes) {
  ForEachMessage([](const Message& prototype) {
    const Writer known = Writer().Raw(tests::BytesOf(*Filled(prototype)));
    const Writer unknown = AllUnknownFields();
    EXPECT_EQ(Rewritten(prototype, Writer(unknown).Raw(known.bytes())),
              HexOf(Writer(known).Raw(unknown.bytes())));
  });
}

TEST(Unknown, NumberAboveTheLastKnownOneIsKept) {
  ForEachMessage([](const Message& prototype) {
    const auto* descriptor = prototype.GetDescriptor();
    const int next =
        descriptor->field(descriptor->field_count() - 1)->number() + 1;
    for (const Writer& field : UnknownFields(next)) {
      EXPECT_EQ(Rewritten(prototype, field), HexOf(field));
    }
  });
  EXPECT_EQ(Rewritten<tarn::GetStatusModule>("A0 01 01"), "A0 01 01");
}

TEST(Unknown, FieldsSurviveCopyMergeAndSwap) {
  ForEachMessage([](const Message& prototype) {
    const Writer unknown = AllUnknownFields();
    const auto source = FromBytes(prototype, unknown.bytes());
    std::unique_ptr<Message> copy(prototype.New());
    copy->CopyFrom(*source);
    EXPECT_EQ(HexOf(*copy), HexOf(unknown));
    copy->MergeFrom(*source);
    EXPECT_EQ(HexOf(*copy), HexOf(Writer(unknown).Raw(unknown.bytes())));
    std::unique_ptr<Message> other(prototype.New());
    other->GetReflection()->Swap(other.get(), source.get());
    EXPECT_EQ(HexOf(*other), HexOf(unknown));
    EXPECT_EQ(HexOf(*source), "");
  });
}

TEST(Unknown, ClearAndDiscardDropThem) {
  ForEachMessage([](const Message& prototype) {
    const auto cleared = FromBytes(prototype, AllUnknownFields().bytes());
    cleared->Clear();
    EXPECT_EQ(HexOf(*cleared), "");
    const auto kept = Filled(prototype);
    const std::string known = HexOf(*kept);
    ASSERT_TRUE(kept->MergeFromString(AllUnknownFields().bytes()));
    ASSERT_NE(HexOf(*kept), known);
    kept->DiscardUnknownFields();
    EXPECT_EQ(HexOf(*kept), known);
    EXPECT_TRUE(kept->GetReflection()->GetUnknownFields(*kept).empty());
  });
}

TEST(Unknown, DiscardReachesEveryLevelOfATree) {
  const auto tree = [](const Writer& extra) {
    const auto add = [&](Writer writer) { return writer.Raw(extra.bytes()); };
    const Writer module = Writer().Message(4, add(Writer().Uint(3, 1)));
    const Writer server = Writer().Message(1, Writer().Message(7, add(module)));
    return add(Writer().Message(1, add(server)));
  };
  auto message =
      FromBytes<tarn::ModsConfigured>(tree(Writer().Uint(99, 1)).bytes());
  message.DiscardUnknownFields();
  EXPECT_EQ(HexOf(message), HexOf(tree({})));
}

TEST(Unknown, FieldsDeepInATreeAreKeptWhereTheyWere) {
  const Writer module = Writer().Message(4, Writer().Uint(100, 1)).Uint(50, 2);
  const Writer server =
      Writer().Message(1, Writer().Message(7, module).Uint(100, 3)).Uint(51, 4);
  const Writer tree = Writer().Message(1, server).Uint(52, 5);
  EXPECT_EQ(Rewritten(tarn::ModsAvailable::default_instance(), tree),
            HexOf(tree));
}

TEST(Unknown, KeysLengthsAndNumbersComeBackInTheirShortestForm) {
  EXPECT_EQ(Rewritten<tarn::Err>("B8 BE 80 00 05"), "B8 3E 05");
  EXPECT_EQ(Rewritten<tarn::Err>("BA 3E 82 80 00 61 62"), "BA 3E 02 61 62");
  EXPECT_EQ(Rewritten<tarn::Err>("B8 3E 85 80 00"), "B8 3E 05");
  EXPECT_EQ(Rewritten<tarn::Err>("BB 3E 88 00 85 00 BC BE 00"),
            "BB 3E 08 05 BC 3E");
}

TEST(Unknown, RuntimeShowsThemByNumberAndType) {
  const auto message =
      FromBytes<tarn::POS>(Writer()
                               .Uint(1000, 5)
                               .Fixed32(1001, 6)
                               .Fixed64(1002, 7)
                               .Bytes(1003, "abc")
                               .Group(1004, Writer().Uint(1, 8))
                               .bytes());
  const auto& fields = message.GetReflection()->GetUnknownFields(message);
  ASSERT_EQ(fields.field_count(), 5);
  EXPECT_EQ(fields.field(0).number(), 1000);
  EXPECT_EQ(fields.field(0).varint(), 5u);
  EXPECT_EQ(fields.field(1).fixed32(), 6u);
  EXPECT_EQ(fields.field(2).fixed64(), 7u);
  EXPECT_EQ(fields.field(3).length_delimited(), "abc");
  EXPECT_EQ(fields.field(4).group().field(0).varint(), 8u);
}

// The wire types under which a field's own reader takes it.
bool Accepts(const FieldDescriptor* field, wire::Type type) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_STRING:
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return type == wire::kLength;
    case FieldDescriptor::CPPTYPE_FLOAT:
      return type == wire::kFixed32;
    default:
      return type == wire::kVarint ||
             (field->is_repeated() && type == wire::kLength);
  }
}

TEST(Unknown, EveryOtherWireTypeOfEveryFieldIsKeptAsUnknown) {
  int cases = 0;
  ForEachField([&](const Message& prototype, const FieldDescriptor* field) {
    const int number = field->number();
    const std::pair<wire::Type, Writer> forms[] = {
        {wire::kVarint, Writer().Uint(number, 1)},
        {wire::kFixed64, Writer().Fixed64(number, 1)},
        {wire::kLength, Writer().Bytes(number, "\x08\x01")},
        {wire::kStart, Writer().Group(number, Writer().Uint(1, 1))},
        {wire::kFixed32, Writer().Fixed32(number, 1)}};
    for (const auto& [type, bytes] : forms) {
      if (Accepts(field, type)) continue;
      ++cases;
      const auto message = FromBytes(prototype, bytes.bytes());
      const auto* reflection = message->GetReflection();
      std::vector<const FieldDescriptor*> known;
      reflection->ListFields(*message, &known);
      EXPECT_TRUE(known.empty()) << type;
      EXPECT_EQ(reflection->GetUnknownFields(*message).field_count(), 1);
      EXPECT_EQ(HexOf(*message), HexOf(bytes));
    }
  });
  // Five wire types, less that of the field and that of a packed list.
  EXPECT_EQ(cases, schema_counts::kFields * 4 - schema_counts::kPackedFields);
}

TEST(Unknown, OtherWireTypeLeavesTheValueOfTheField) {
  ForEachField([](const Message& prototype, const FieldDescriptor* field) {
    const auto message = Filled(prototype);
    const std::string before = HexOf(*message);
    const Writer other = Writer().Fixed64(field->number(), 1);
    ASSERT_TRUE(message->MergeFromString(other.bytes()));
    EXPECT_EQ(HexOf(*message), before + " " + HexOf(other));
  });
}

TEST(Unknown, OtherWireTypesNamedOneByOne) {
  // A line number as text, a signal strength as a varint, a frame number and a
  // channel as fixed32, an identifier as a varint, a tree node as a varint.
  EXPECT_EQ(FromHex<tarn::Price>("0A 01 31").line_num(), 0);
  EXPECT_EQ(Rewritten<tarn::Price>("0A 01 31"), "0A 01 31");
  EXPECT_EQ(Rewritten<tarn::ClientStatusMsg>("10 05"), "10 05");
  EXPECT_EQ(FromHex<tarn::Frame>("0D 01 00 00 00").number(), 0);
  EXPECT_EQ(Rewritten<tarn::Frame>("0D 01 00 00 00"), "0D 01 00 00 00");
  EXPECT_EQ(Rewritten<tarn::ClientRadioConfigMsg>("1D 01 00 00 00"),
            "1D 01 00 00 00");
  EXPECT_EQ(Rewritten<tarn::HwIdRowInfo>("08 05"), "08 05");
  EXPECT_EQ(Rewritten<tarn::ChildTypes>("08 05"), "08 05");
  // The tag of field 18 with a length: its low byte tells it from the varint.
  EXPECT_EQ(FromHex<tarn::GetStatusModule>("92 01 01 05").errorflags(), 0);
  EXPECT_EQ(Rewritten<tarn::GetStatusModule>("92 01 01 05"), "92 01 01 05");
}

TEST(Unknown, VersionOfAKt4ListIsKeptByAKt2List) {
  tarn::KT4Products newer;
  newer.set_schema_version(7);
  EXPECT_EQ(HexOf(newer), "10 07");
  const auto older = FromHex<tarn::ProductMappingKT2>("10 07");
  EXPECT_EQ(older.products_size(), 0);
  EXPECT_EQ(HexOf(older), "10 07");
}

TEST(Unknown, Kt2ListReadsAsAKt4ListOfVersionZero) {
  const char bytes[] = "0A 03 0A 01 61 0A 02 20 01";
  const auto older = FromHex<tarn::ProductMappingKT2>(bytes);
  const auto newer = FromHex<tarn::KT4Products>(bytes);
  ASSERT_EQ(newer.products_size(), 2);
  EXPECT_EQ(newer.schema_version(), 0u);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(HexOf(newer.products(i)), HexOf(older.products(i)));
  }
  EXPECT_EQ(HexOf(newer), bytes);
}

TEST(Unknown, EveryMessagePassesThroughOneThatKnowsNoneOfIt) {
  ForEachMessage([](const Message& prototype) {
    // The whole message is in fields with numbers above the known ones.
    const std::string inner = tests::BytesOf(*Filled(prototype));
    const Writer outer = Writer().Bytes(100, inner);
    const auto carrier = FromBytes<tarn::Format>(outer.bytes());
    EXPECT_EQ(HexOf(carrier), HexOf(outer));
  });
}

}  // namespace
