// What is written and what is left out: defaults, presence, clearing.
#include <google/protobuf/util/message_differencer.h>

#include "reference/messages.h"
#include "reference/schema_counts.h"

namespace {

using google::protobuf::Reflection;
using google::protobuf::util::MessageDifferencer;
using tests::FieldDescriptor;
using tests::ForEachField;
using tests::ForEachMessage;
using tests::FromHex;
using tests::HexOf;
using tests::Message;
using tests::Rewritten;

// Sets a field that has no presence to its default, by its setter.
void SetToDefault(Message* message, const FieldDescriptor* field) {
  const Reflection* reflection = message->GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return reflection->SetInt32(message, field, 0);
    case FieldDescriptor::CPPTYPE_UINT32:
      return reflection->SetUInt32(message, field, 0);
    case FieldDescriptor::CPPTYPE_FLOAT:
      return reflection->SetFloat(message, field, 0);
    case FieldDescriptor::CPPTYPE_BOOL:
      return reflection->SetBool(message, field, false);
    case FieldDescriptor::CPPTYPE_ENUM:
      return reflection->SetEnumValue(message, field, 0);
    default:
      return reflection->SetString(message, field, "");
  }
}

bool IsPlain(const FieldDescriptor* field) {
  return !field->is_repeated() && !field->has_presence();
}

TEST(Presence, FreshMessageSerializesToZeroBytes) {
  ForEachMessage([](const Message& prototype) {
    std::unique_ptr<Message> message(prototype.New());
    EXPECT_EQ(HexOf(*message), "");
    EXPECT_EQ(message->ByteSizeLong(), 0u);
    EXPECT_EQ(HexOf(prototype), "");
  });
}

TEST(Presence, ZeroBytesParseToTheDefaultInstance) {
  ForEachMessage([](const Message& prototype) {
    const auto message = tests::Filled(prototype);
    ASSERT_TRUE(message->ParseFromString(""));
    EXPECT_TRUE(MessageDifferencer::Equals(*message, prototype));
    std::vector<const FieldDescriptor*> present;
    message->GetReflection()->ListFields(*message, &present);
    EXPECT_TRUE(present.empty());
  });
}

TEST(Presence, FieldSetBackToItsDefaultIsNotWritten) {
  ForEachField([](const Message& prototype, const FieldDescriptor* field) {
    if (!IsPlain(field)) return;
    std::unique_ptr<Message> message(prototype.New());
    SetToDefault(message.get(), field);
    EXPECT_EQ(HexOf(*message), "");
    tests::EveryField values(1);
    tests::FillField(message.get(), field, &values, 0);
    EXPECT_NE(HexOf(*message), "");
    EXPECT_TRUE(message->GetReflection()->HasField(*message, field));
    SetToDefault(message.get(), field);
    EXPECT_EQ(HexOf(*message), "");
    EXPECT_FALSE(message->GetReflection()->HasField(*message, field));
  });
}

TEST(Presence, DefaultOnTheWireOverwritesAndIsNotWrittenBack) {
  EXPECT_EQ(Rewritten<tarn::Err>("08 00 12 00"), "");
  EXPECT_EQ(Rewritten<tarn::Err>("08 05 12 01 61 08 00 12 00"), "");
  EXPECT_EQ(Rewritten<tarn::AppSettings>("08 01 10 01 10 00"), "08 01");
}

TEST(Presence, EmptyStringCannotBeToldFromOneNeverSet) {
  tarn::Price price;
  price.set_product_id("");
  price.set_line_num(0);
  EXPECT_EQ(HexOf(price), "");
  const auto reread = tests::FromBytes<tarn::Price>(tests::BytesOf(price));
  EXPECT_TRUE(MessageDifferencer::Equals(reread, tarn::Price()));
}

TEST(Presence, EmptySubmessageIsWrittenAndPresentAfterTheRoundTrip) {
  int fields = 0;
  ForEachField([&](const Message& prototype, const FieldDescriptor* field) {
    if (field->is_repeated() || !field->has_presence()) return;
    ++fields;
    std::unique_ptr<Message> message(prototype.New());
    EXPECT_FALSE(message->GetReflection()->HasField(*message, field));
    message->GetReflection()->MutableMessage(message.get(), field);
    const auto expected = wire::Writer().Bytes(field->number(), "");
    EXPECT_EQ(HexOf(*message), HexOf(expected));
    const auto reread = tests::FromBytes(prototype, expected.bytes());
    EXPECT_TRUE(reread->GetReflection()->HasField(*reread, field));
    EXPECT_EQ(HexOf(*reread), HexOf(expected));
    reread->GetReflection()->ClearField(reread.get(), field);
    EXPECT_EQ(HexOf(*reread), "");
  });
  EXPECT_EQ(fields, schema_counts::kFieldsWithPresence);
}

TEST(Presence, DimmingConfigLeftAtDefaultsIsWrittenAsTwoBytes) {
  tarn::GetStatusModule status;
  EXPECT_FALSE(status.has_dimmingconfig());
  status.mutable_dimmingconfig();
  EXPECT_EQ(HexOf(status), "5A 00");
  EXPECT_TRUE(FromHex<tarn::GetStatusModule>("5A 00").has_dimmingconfig());
}

TEST(Presence, AbsentSubmessageReadsAsTheDefaultInstance) {
  const tarn::GetStatusModule status;
  EXPECT_EQ(&status.dimmingconfig(), &tarn::DimmingValues::default_instance());
  EXPECT_EQ(&tarn::Module().extstatus(),
            &tarn::GetStatusModule::default_instance());
  EXPECT_EQ(&tarn::Display().assyconfig(),
            &tarn::CabinetAssemblyConfiguration::default_instance());
  EXPECT_EQ(&tarn::DisplayConfigMsg().display(),
            &tarn::Display::default_instance());
}

TEST(Presence, EmptyElementsOfAListAreWritten) {
  ForEachField([](const Message& prototype, const FieldDescriptor* field) {
    const bool own_records = field->cpp_type() == field->CPPTYPE_MESSAGE ||
                             field->cpp_type() == field->CPPTYPE_STRING;
    if (!field->is_repeated() || field->is_map() || !own_records) return;
    const auto bytes =
        wire::Writer().Bytes(field->number(), "").Bytes(field->number(), "");
    const auto message = tests::FromBytes(prototype, bytes.bytes());
    EXPECT_EQ(message->GetReflection()->FieldSize(*message, field), 2);
    EXPECT_EQ(HexOf(*message), HexOf(bytes));
  });
}

TEST(Presence, FramesWithOneDefaultFrameTakesTwoBytes) {
  tarn::Frames frames;
  frames.add_frames();
  EXPECT_EQ(HexOf(frames), "0A 00");
  EXPECT_EQ(FromHex<tarn::Frames>("0A 00").frames_size(), 1);
}

TEST(Presence, DisplayMsgKeepsAnEmptyTextBeforeAnother) {
  tarn::DisplayMsg texts;
  texts.add_messages("");
  texts.add_messages("OPEN");
  EXPECT_EQ(HexOf(texts), "0A 00 0A 04 4F 50 45 4E");
  const auto reread = FromHex<tarn::DisplayMsg>("0A 00 0A 04 4F 50 45 4E");
  ASSERT_EQ(reread.messages_size(), 2);
  EXPECT_EQ(reread.messages(0), "");
  EXPECT_EQ(reread.messages(1), "OPEN");
}

TEST(Presence, NegativeOffsetFlagIsKeptWithoutAnAmount) {
  tarn::Product product;
  product.set_neg_offset(true);
  EXPECT_EQ(HexOf(product), "20 01");
  EXPECT_TRUE(FromHex<tarn::Product>("20 01").neg_offset());
}

TEST(Presence, TextZeroIsWrittenWhileNumberZeroIsNot) {
  tarn::Price price;
  price.set_line_num(0);
  price.set_set_price("0");
  EXPECT_EQ(HexOf(price), "1A 01 30");
  EXPECT_EQ(FromHex<tarn::Price>("1A 01 30").line_num(), 0);
}

TEST(Presence, OnlyTheSwitchThatIsOnIsWritten) {
  tarn::AppSettings settings;
  settings.set_ertd_support(false);
  EXPECT_EQ(HexOf(settings), "");
  settings.set_sso_support(true);
  EXPECT_EQ(HexOf(settings), "18 01");
}

TEST(Presence, BaseMsgAtItsDefaultsIsNothingOnTheWire) {
  tarn::BaseMsg reply;
  reply.set_command("");
  reply.set_value(0);
  reply.set_description("");
  reply.set_status(false);
  EXPECT_EQ(HexOf(reply), "");
  EXPECT_TRUE(MessageDifferencer::Equals(FromHex<tarn::BaseMsg>(""), reply));
}

TEST(Presence, SettingStyleToUnknownRemovesIt) {
  auto font = FromHex<tarn::Font>("08 04");
  font.set_style(tarn::Font::Unknown);
  EXPECT_EQ(HexOf(font), "");
}

TEST(Presence, EmptyFileCannotBeToldFromAnAbsentOne) {
  tarn::FileMessage file;
  file.set_filename("a");
  file.set_filedata("");
  EXPECT_EQ(HexOf(file), "0A 01 61");
  EXPECT_EQ(FromHex<tarn::FileMessage>("0A 01 61").filedata(), "");
  EXPECT_EQ(Rewritten<tarn::FileMessage>("0A 01 61 12 00"), "0A 01 61");
}

TEST(Presence, FrameCountIsKeptApartFromTheFrames) {
  tarn::GetStatusModule status;
  status.set_framecount(3);
  status.add_frameconfig();
  status.add_frameconfig();
  EXPECT_EQ(HexOf(status), "50 03 62 00 62 00");
  const auto reread = FromHex<tarn::GetStatusModule>("50 03 62 00 62 00");
  EXPECT_EQ(reread.framecount(), 3);
  EXPECT_EQ(reread.frameconfig_size(), 2);
}

TEST(Presence, ReportWithEmptyMapsSerializesToZeroBytes) {
  tarn::NetworkStatusReport report;
  report.mutable_status_packet();
  report.mutable_price_sync_status_packet();
  report.set_network_price_lifecycle(tarn::unused);
  EXPECT_EQ(HexOf(report), "");
}

TEST(Presence, IsInitializedIsTrueInEveryState) {
  ForEachMessage([](const Message& prototype) {
    EXPECT_TRUE(prototype.IsInitialized());
    const auto message = tests::Filled(prototype);
    EXPECT_TRUE(message->IsInitialized());
    EXPECT_EQ(message->InitializationErrorString(), "");
    EXPECT_FALSE(message->ParseFromString("\x0A"));
    EXPECT_TRUE(message->IsInitialized());
    message->Clear();
    EXPECT_TRUE(message->IsInitialized());
  });
}

TEST(Presence, ClearResetsEveryFieldAndDropsUnknownOnes) {
  ForEachMessage([](const Message& prototype) {
    const auto message = tests::Filled(prototype);
    message->GetReflection()
        ->MutableUnknownFields(message.get())
        ->AddVarint(1000, 1);
    EXPECT_NE(HexOf(*message), "");
    message->Clear();
    EXPECT_EQ(HexOf(*message), "");
    EXPECT_TRUE(MessageDifferencer::Equals(*message, prototype));
  });
}

TEST(Presence, ClearedModuleStatusHasNoFramesAndNoDimmingConfig) {
  tarn::GetStatusModule status;
  tests::FillEveryField(&status);
  ASSERT_TRUE(status.has_dimmingconfig());
  status.Clear();
  EXPECT_EQ(status.frameconfig_size(), 0);
  EXPECT_EQ(status.hwid(), "");
  EXPECT_FALSE(status.has_dimmingconfig());
  EXPECT_EQ(status.fwrev(), 0);
  EXPECT_EQ(status.errorflags(), 0);
  EXPECT_FALSE(status.statusretrieved());
}

template <class M, class List>
void ExpectClearKeepsCapacity(List* (M::*edit)()) {
  M message;
  List* list = (message.*edit)();
  for (int i = 0; i < 10; ++i) list->Add();
  const int capacity = list->Capacity();
  EXPECT_GE(capacity, 10);
  message.Clear();
  EXPECT_EQ(list->size(), 0);
  EXPECT_EQ(list->Capacity(), capacity);
}

TEST(Presence, ClearKeepsTheCapacityOfEveryList) {
  int lists = 0;
#define CLEAR_SINGULAR(M, x)
#define CLEAR_ONEOF(M, x)
#define CLEAR_MAP(M, x)
#define CLEAR_REPEATED(M, x)                         \
  {                                                  \
    SCOPED_TRACE(#M "." #x);                         \
    ExpectClearKeepsCapacity(&tarn::M::mutable_##x); \
    ++lists;                                         \
  }
#define SCHEMA_FIELD(M, number, name, stem, constant, label, kind, type) \
  CLEAR_##label(M, stem)
#include "reference/schema_table.inc"
  EXPECT_EQ(lists, schema_counts::FieldsWith(schema_counts::REPEATED));
}

TEST(Presence, ClearKeepsTheElementsOfAListForTheNextOnes) {
  tarn::Prices prices;
  const tarn::Price* const element = prices.add_prices();
  prices.Clear();
  // If it had been freed, one of these would now have its place.
  std::vector<std::unique_ptr<tarn::Price>> others(100);
  for (auto& other : others) other = std::make_unique<tarn::Price>();
  EXPECT_EQ(prices.add_prices(), element);
}

}  // namespace
