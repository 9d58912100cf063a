// Enums: their functions and constants, and fields that carry any number.
#include <set>

#include "reference/messages.h"
#include "reference/schema_counts.h"

namespace {

using tests::FieldDescriptor;
using tests::ForEachField;
using tests::FromHex;
using tests::HexOf;
using tests::Message;
using tests::Rewritten;
using wire::Writer;

struct Value {
  const char* name;
  int number;
};

// One enum of the schema with the functions that stand beside it.
struct Enum {
  const char* type;
  const char* full_name;
  bool (*is_valid)(int);
  const google::protobuf::EnumDescriptor* (*descriptor)();
  std::string (*name)(int);
  bool (*parse)(const std::string&, int*);
  int min, max, array_size;
  std::vector<Value> values;
};

// Without the "", clang-format takes the first line for a directive.
#define ENUM(type, full_name, prefix)                                     \
  Enum {                                                                  \
    "" #type, full_name, tarn::type##_IsValid, tarn::type##_descriptor,   \
        [](int number) { return tarn::type##_Name(number); },             \
        [](const std::string& name, int* number) {                        \
          auto value = static_cast<tarn::type>(*number);                  \
          const bool parsed = tarn::type##_Parse(name, &value);           \
          *number = value;                                                \
          return parsed;                                                  \
        },                                                                \
        tarn::prefix##_MIN, tarn::prefix##_MAX, tarn::prefix##_ARRAYSIZE, \
        std::vector<Value>()                                              \
  }

std::vector<Enum> Enums() {
  std::vector<Enum> enums = {
      ENUM(AppState, "tarn.AppState", AppState),
      ENUM(StatusCodes, "tarn.StatusCodes", StatusCodes),
      ENUM(DisplaySubtypes, "tarn.DisplaySubtypes", DisplaySubtypes),
      ENUM(Font_Style, "tarn.Font.Style", Font_Style_Style)};
  const auto add = [&](const std::string& type, const Value& value) {
    for (Enum& each : enums) {
      if (each.type == type) each.values.push_back(value);
    }
  };
#define SCHEMA_VALUE(type, name, number) add(#type, {#name, number});
#include "reference/schema_table.inc"
  return enums;
}

TEST(Enum, IsValidIsTrueExactlyForTheDeclaredNumbers) {
  for (const Enum& each : Enums()) {
    SCOPED_TRACE(each.type);
    std::set<int> declared;
    for (const Value& value : each.values) declared.insert(value.number);
    for (int number = -300; number <= 1100; ++number) {
      EXPECT_EQ(each.is_valid(number), declared.count(number) == 1) << number;
    }
    EXPECT_FALSE(each.is_valid(std::numeric_limits<int>::min()));
    EXPECT_FALSE(each.is_valid(std::numeric_limits<int>::max()));
  }
}

TEST(Enum, NameAndParseAreInverse) {
  for (const Enum& each : Enums()) {
    SCOPED_TRACE(each.type);
    for (const Value& value : each.values) {
      EXPECT_EQ(each.name(value.number), value.name);
      int number = -1;
      EXPECT_TRUE(each.parse(value.name, &number));
      EXPECT_EQ(number, value.number);
    }
  }
}

TEST(Enum, NameOfAnUnknownNumberIsEmpty) {
  for (const Enum& each : Enums()) {
    EXPECT_EQ(each.name(-1), "") << each.type;
    EXPECT_EQ(each.name(each.max + 1), "") << each.type;
  }
}

TEST(Enum, ParseOfAnUnknownNameFailsAndLeavesTheValue) {
  for (const Enum& each : Enums()) {
    SCOPED_TRACE(each.type);
    const std::string first = each.values[0].name;
    for (const std::string& name :
         {std::string("no_such_value"), std::string(), first + " ", "x" + first,
          std::string("0"), std::string("OK"), std::string("Price")}) {
      int number = 7;
      EXPECT_FALSE(each.parse(name, &number)) << name;
      EXPECT_EQ(number, 7);
    }
  }
}

TEST(Enum, DescriptorIsTheOneInThePool) {
  const auto* pool = google::protobuf::DescriptorPool::generated_pool();
  for (const Enum& each : Enums()) {
    SCOPED_TRACE(each.type);
    const auto* descriptor = each.descriptor();
    EXPECT_EQ(descriptor->full_name(), each.full_name);
    EXPECT_EQ(descriptor, pool->FindEnumTypeByName(each.full_name));
    EXPECT_EQ(descriptor, each.descriptor());
    EXPECT_EQ(descriptor->value_count(), static_cast<int>(each.values.size()));
  }
  EXPECT_EQ(google::protobuf::GetEnumDescriptor<tarn::StatusCodes>(),
            tarn::StatusCodes_descriptor());
}

TEST(Enum, RangeConstantsSpanTheDeclaredNumbers) {
  for (const Enum& each : Enums()) {
    EXPECT_EQ(each.min, each.values.front().number) << each.type;
    EXPECT_EQ(each.max, each.values.back().number) << each.type;
    EXPECT_EQ(each.array_size, each.max + 1) << each.type;
  }
  static_assert(tarn::AppState_MIN == tarn::reserved0);
  static_assert(tarn::AppState_MAX == tarn::ModFirmwareUpdate);
  static_assert(tarn::AppState_ARRAYSIZE == 9);
  static_assert(tarn::StatusCodes_MIN == tarn::unused);
  static_assert(tarn::StatusCodes_MAX == tarn::price_update_ok);
  static_assert(tarn::StatusCodes_ARRAYSIZE == 12);
  static_assert(tarn::DisplaySubtypes_MIN == tarn::price);
  static_assert(tarn::DisplaySubtypes_MAX == tarn::message);
  static_assert(tarn::DisplaySubtypes_ARRAYSIZE == 2);
  static_assert(tarn::Font::Style_MIN == tarn::Font::Unknown);
  static_assert(tarn::Font::Style_MAX == tarn::Font::Bold);
  static_assert(tarn::Font::Style_ARRAYSIZE == 6);
}

TEST(Enum, ValuesOfTopLevelEnumsAreConstantsOfTheNamespace) {
#define TOP_LEVEL_AppState(name, number) EXPECT_EQ(tarn::name, number);
#define TOP_LEVEL_StatusCodes(name, number) EXPECT_EQ(tarn::name, number);
#define TOP_LEVEL_DisplaySubtypes(name, number) EXPECT_EQ(tarn::name, number);
#define TOP_LEVEL_Font_Style(name, number)
#define SCHEMA_VALUE(type, name, number) TOP_LEVEL_##type(name, number)
#include "reference/schema_table.inc"
  static_assert(std::is_same_v<decltype(tarn::Startup), tarn::AppState>);
  static_assert(std::is_same_v<decltype(tarn::ok), tarn::StatusCodes>);
  static_assert(std::is_same_v<decltype(tarn::price), tarn::DisplaySubtypes>);
}

TEST(Enum, StylesArePrefixedAndReachableInsideFont) {
#define NESTED_AppState(name, number)
#define NESTED_StatusCodes(name, number)
#define NESTED_DisplaySubtypes(name, number)
#define NESTED_Font_Style(name, number)       \
  EXPECT_EQ(tarn::Font_Style_##name, number); \
  EXPECT_EQ(tarn::Font::name, tarn::Font_Style_##name);
#define SCHEMA_VALUE(type, name, number) NESTED_##type(name, number)
#include "reference/schema_table.inc"
  static_assert(std::is_same_v<tarn::Font::Style, tarn::Font_Style>);
  EXPECT_TRUE(tarn::Font::Style_IsValid(5));
  EXPECT_FALSE(tarn::Font::Style_IsValid(6));
  EXPECT_EQ(tarn::Font::Style_descriptor(), tarn::Font_Style_descriptor());
  EXPECT_EQ(tarn::Font::Style_Name(tarn::Font::Script), "Script");
  tarn::Font::Style style;
  EXPECT_TRUE(tarn::Font::Style_Parse("Block", &style));
  EXPECT_EQ(style, tarn::Font_Style_Block);
}

TEST(Enum, NamesOfThePackageAreUnique) {
  std::multiset<std::string> names;
#define SCHEMA_MESSAGE(file, index, name) names.insert(#name);
#define SCHEMA_ENUM(file, type, full_name) names.insert(#type);
#define SCHEMA_VALUE(type, name, number)                                \
  names.insert(std::string(#type) == "Font_Style" ? "Font_Style_" #name \
                                                  : #name);
#include "reference/schema_table.inc"
  for (const std::string& name : names)
    EXPECT_EQ(names.count(name), 1u) << name;
}

TEST(Enum, EveryEnumFieldKeepsAnyNumber) {
  int fields = 0;
  ForEachField([&](const Message& prototype, const FieldDescriptor* field) {
    if (field->type() != FieldDescriptor::TYPE_ENUM) return;
    ++fields;
    for (int number : {1000, -1, 12, 99, 2147483647, -2147483647 - 1}) {
      const Writer bytes = field->is_repeated()
                               ? Writer().Packed(field->number(), {number})
                               : Writer().Int(field->number(), number);
      const auto message = tests::FromBytes(prototype, bytes.bytes());
      const auto* reflection = message->GetReflection();
      EXPECT_EQ(field->is_repeated()
                    ? reflection->GetRepeatedEnumValue(*message, field, 0)
                    : reflection->GetEnumValue(*message, field),
                number);
      EXPECT_TRUE(reflection->GetUnknownFields(*message).empty());
      EXPECT_EQ(HexOf(*message), HexOf(bytes));
    }
  });
  EXPECT_EQ(fields, schema_counts::kEnumFields);
}

TEST(Enum, EveryEnumFieldKeepsTheLowThirtyTwoBits) {
  ForEachField([](const Message& prototype, const FieldDescriptor* field) {
    if (field->type() != FieldDescriptor::TYPE_ENUM || field->is_repeated()) {
      return;
    }
    const Writer high = Writer().Uint(field->number(), 0x100000005);
    EXPECT_EQ(Rewritten(prototype, high),
              HexOf(Writer().Int(field->number(), 5)));
  });
}

TEST(Enum, ThousandIsHeldAndWrittenBackThoughNotValid) {
  const auto server = FromHex<tarn::Server>("10 E8 07");
  EXPECT_EQ(static_cast<int>(server.status()), 1000);
  EXPECT_FALSE(tarn::StatusCodes_IsValid(1000));
  EXPECT_EQ(HexOf(server), "10 E8 07");
}

TEST(Enum, StatusTwelveIsKeptThoughNotValid) {
  EXPECT_FALSE(tarn::StatusCodes_IsValid(12));
  EXPECT_EQ(static_cast<int>(FromHex<tarn::Module>("18 0C").status()), 12);
  EXPECT_EQ(Rewritten<tarn::Module>("18 0C"), "18 0C");
  EXPECT_EQ(Rewritten<tarn::NetworkStatusReport>("18 0C"), "18 0C");
}

TEST(Enum, StyleSevenIsKeptThoughNotValid) {
  EXPECT_EQ(static_cast<int>(FromHex<tarn::Font>("08 07").style()), 7);
  EXPECT_FALSE(tarn::Font_Style_IsValid(7));
  EXPECT_EQ(Rewritten<tarn::Font>("08 07"), "08 07");
}

TEST(Enum, StyleMinusOneTakesElevenBytes) {
  const char bytes[] = "08 FF FF FF FF FF FF FF FF FF 01";
  const auto font = FromHex<tarn::Font>(bytes);
  EXPECT_EQ(static_cast<int>(font.style()), -1);
  EXPECT_EQ(HexOf(font), bytes);
}

TEST(Enum, SetterStoresTheNumberUnchecked) {
  tarn::Font font;
  font.set_style(static_cast<tarn::Font_Style>(200));
  EXPECT_EQ(HexOf(font), "08 C8 01");
  font.set_style(tarn::Font::Digital);
  EXPECT_EQ(HexOf(font), "08 04");
}

TEST(Enum, WindowTypeFiveIsReportedAndWrittenBack) {
  const auto frame = FromHex<tarn::FrameData>("18 05");
  EXPECT_EQ(static_cast<int>(frame.windowtype()), 5);
  EXPECT_EQ(HexOf(frame), "18 05");
}

}  // namespace
