// Text is UTF-8. Other bytes fail the parse and are logged with the full name
// of the field; a serialize logs them and writes them all the same.
#include <gmock/gmock.h>

#include <set>

#include "reference/captured_log.h"
#include "reference/messages.h"
#include "reference/reference.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using tests::CapturedLog;
using tests::FieldDescriptor;
using tests::ForEachField;
using tests::FromHex;
using tests::HexOf;
using tests::Message;
using tests::Parses;
using wire::Writer;

// Every text of the schema, by the full name under which the log must report
// it: from the table, not from the schema.
std::multiset<std::string> Texts() {
  std::multiset<std::string> texts;
  for (const reference::Type& type : reference::Types()) {
    for (const reference::Field& field : type.fields) {
      if (field.kind == reference::Kind::STRING ||
          field.label == reference::Label::MAP) {
        texts.insert(field.full_name);
      }
    }
  }
  return texts;
}

const char* const kBroken[] = {
    "C3 28",        // A start byte without the byte it announces.
    "80",           // A continuation with no start.
    "FF",           // A byte that UTF-8 never has.
    "C0 80",        // U+0000 in two bytes, overlong.
    "C1 BF",        // U+007F in two bytes, overlong.
    "E0 80 80",     // U+0000 in three bytes, overlong.
    "E0 9F BF",     // U+07FF in three bytes, overlong.
    "F0 8F BF BF",  // U+FFFF in four bytes, overlong.
    "ED A0 80",     // U+D800, the first surrogate.
    "ED BF BF",     // U+DFFF, the last surrogate.
    "F4 90 80 80",  // U+110000, one above the last character.
    "F5 80 80 80",  // A start byte above that.
    "E2 82",        // A character of three bytes that ends after two.
    "61 F0 9F 98",  // A character of four bytes that ends after three.
};

const char* const kWhole[] = {
    "",
    "00",           // U+0000
    "61 00 62",     // U+0000 between letters
    "7F",           // U+007F
    "C2 80",        // U+0080
    "DF BF",        // U+07FF
    "E0 A0 80",     // U+0800
    "ED 9F BF",     // U+D7FF, below the surrogates
    "EE 80 80",     // U+E000, above the surrogates
    "EF BF BF",     // U+FFFF
    "F0 90 80 80",  // U+10000
    "F4 8F BF BF",  // U+10FFFF, the last character
};

// Calls visit(default instance, full name of the text, bytes of a message that
// holds `text` there) for every string and every key of a map.
template <class Visitor>
void ForEachText(const std::string& text, Visitor visit) {
  ForEachField([&](const Message& prototype, const FieldDescriptor* field) {
    const int number = field->number();
    if (field->is_map()) {
      const auto* key = field->message_type()->map_key();
      visit(prototype, key->full_name(),
            Writer().Message(number, Writer().Bytes(1, text).Uint(2, 1)));
    } else if (field->type() == FieldDescriptor::TYPE_STRING) {
      visit(prototype, field->full_name(), Writer().Bytes(number, text));
    }
  });
}

// A line of the log that names the text in quotes, and what was being done.
auto Names(const std::string& text, const char* action) {
  return AllOf(HasSubstr("'" + text + "'"), HasSubstr("UTF-8"),
               HasSubstr(action));
}

TEST(Utf8, TheTableNamesEveryTextOfTheSchema) {
  std::multiset<std::string> texts;
  ForEachText("", [&](const Message&, const std::string& name, const Writer&) {
    texts.insert(name);
  });
  EXPECT_EQ(texts, Texts());
}

TEST(Utf8, BrokenTextFailsTheParseAndIsLoggedByItsFullName) {
  for (const char* broken : kBroken) {
    SCOPED_TRACE(broken);
    std::set<std::string> reported;
    ForEachText(wire::Hex(broken),
                [&](const Message& prototype, const std::string& name,
                    const Writer& bytes) {
                  CapturedLog log;
                  std::unique_ptr<Message> message(prototype.New());
                  EXPECT_FALSE(message->ParseFromString(bytes.bytes())) << name;
                  EXPECT_THAT(log.lines(), ElementsAre(Names(name, "parsing")));
                  reported.insert(name);
                });
    EXPECT_EQ(reported.size(), Texts().size());
  }
}

TEST(Utf8, BrokenTextIsLoggedAndWrittenAllTheSame) {
  ForEachText("good", [](const Message& prototype, const std::string& name,
                         const Writer& good) {
    // A setter does not check, so reflection replaces the good text.
    const auto message = tests::FromBytes(prototype, good.bytes());
    const auto* reflection = message->GetReflection();
    std::vector<const FieldDescriptor*> fields;
    reflection->ListFields(*message, &fields);
    ASSERT_THAT(fields, SizeIs(1));
    const std::string broken = wire::Hex("C3 28");
    Writer expected;
    if (fields[0]->is_map()) {
      auto* report = static_cast<tarn::NetworkStatusReport*>(message.get());
      auto* map = fields[0]->number() == 1
                      ? report->mutable_status_packet()
                      : report->mutable_price_sync_status_packet();
      map->clear();
      (*map)[broken] = tarn::ok;
      expected.Message(fields[0]->number(),
                       Writer().Bytes(1, broken).Uint(2, 1));
    } else {
      if (fields[0]->is_repeated()) {
        reflection->SetRepeatedString(message.get(), fields[0], 0, broken);
      } else {
        reflection->SetString(message.get(), fields[0], broken);
      }
      expected.Bytes(fields[0]->number(), broken);
    }
    CapturedLog log;
    std::string bytes;
    EXPECT_TRUE(message->SerializeToString(&bytes));
    EXPECT_EQ(wire::ToHex(bytes), HexOf(expected));
    EXPECT_THAT(log.lines(), ElementsAre(Names(name, "serializing")));
  });
}

TEST(Utf8, WholeTextPassesInEveryField) {
  for (const char* whole : kWhole) {
    SCOPED_TRACE(whole);
    ForEachText(
        wire::Hex(whole), [&](const Message& prototype, const std::string& name,
                              const Writer& bytes) {
          CapturedLog log;
          const auto message = tests::FromBytes(prototype, bytes.bytes());
          // Only an empty text that is neither key nor element goes.
          const auto* field =
              prototype.GetDescriptor()->file()->pool()->FindFieldByName(name);
          const bool goes = *whole == '\0' && !field->is_repeated() &&
                            field->containing_type()->map_key() == nullptr;
          EXPECT_EQ(HexOf(*message), goes ? "" : HexOf(bytes)) << name;
          EXPECT_THAT(log.lines(), IsEmpty());
        });
  }
}

TEST(Utf8, EveryElementOfAListIsCheckedOnParsing) {
  EXPECT_TRUE(Parses<tarn::DisplayMsg>("0A 01 61 0A 01 62"));
  CapturedLog log;
  EXPECT_FALSE(Parses<tarn::DisplayMsg>("0A 01 61 0A 02 C3 28"));
  EXPECT_FALSE(Parses<tarn::DisplayMsg>("0A 02 C3 28 0A 01 61"));
  EXPECT_FALSE(Parses<tarn::CCMsgDefinitions>("1A 01 61 1A 00 1A 02 C3 28"));
  EXPECT_THAT(log.lines(),
              ElementsAre(Names("tarn.DisplayMsg.messages", "parsing"),
                          Names("tarn.DisplayMsg.messages", "parsing"),
                          Names("tarn.CCMsgDefinitions.messages", "parsing")));
}

TEST(Utf8, EveryElementOfAListIsCheckedOnSerializing) {
  tarn::DisplayMsg texts;
  texts.add_messages("\xFF");
  texts.add_messages("good");
  texts.add_messages("\xC3\x28");
  CapturedLog log;
  EXPECT_EQ(HexOf(texts), "0A 01 FF 0A 04 67 6F 6F 64 0A 02 C3 28");
  EXPECT_THAT(log.lines(),
              ElementsAre(Names("tarn.DisplayMsg.messages", "serializing"),
                          Names("tarn.DisplayMsg.messages", "serializing")));
}

TEST(Utf8, BadNameFailsTheWholeParse) {
  const Writer module = Writer().Message(4, Writer().Bytes(1, "\xC3\x28"));
  const Writer display = Writer().Message(3, Writer().Message(7, module));
  const Writer server = Writer().Message(1, Writer().Message(7, display));
  CapturedLog log;
  tarn::ModsConfigured tree;
  EXPECT_FALSE(tree.ParseFromString(Writer().Message(1, server).bytes()));
  EXPECT_THAT(log.lines(), ElementsAre(Names("tarn.Module.uuid", "parsing")));
}

TEST(Utf8, BadElementFailsTheListThatEmbedsIt) {
  CapturedLog log;
  EXPECT_FALSE(Parses<tarn::ERTDConfiguration>("0A 02 08 01 0A 03 0A 01 FF"));
  EXPECT_FALSE(Parses<tarn::ProductMappingKT2>("0A 00 0A 03 0A 01 FF"));
  EXPECT_FALSE(Parses<tarn::KT4Products>("10 07 0A 03 12 01 FF"));
  EXPECT_THAT(log.lines(),
              ElementsAre(Names("tarn.ERTDConnection.name", "parsing"),
                          Names("tarn.Product.id", "parsing"),
                          Names("tarn.Product.name", "parsing")));
}

TEST(Utf8, FailedParseLeavesTheMessagePartlyFilled) {
  CapturedLog log;
  tarn::Price price;
  EXPECT_FALSE(price.ParseFromString(wire::Hex("08 05 12 01 FF 1A 01 61")));
  EXPECT_EQ(price.line_num(), 5);
  EXPECT_EQ(price.set_price(), "");
}

TEST(Utf8, DimmingModeOfByteFFFailsToParse) {
  CapturedLog log;
  EXPECT_FALSE(Parses<tarn::Dimming>("0A 01 FF"));
  EXPECT_THAT(log.lines(), ElementsAre(Names("tarn.Dimming.mode", "parsing")));
}

TEST(Utf8, BytesAreExempt) {
  for (const char* broken : kBroken) {
    const std::string data = wire::Hex(broken);
    const Writer bytes = Writer().Bytes(2, data);
    CapturedLog log;
    const auto file = tests::FromBytes<tarn::FileMessage>(bytes.bytes());
    EXPECT_EQ(file.filedata(), data);
    EXPECT_EQ(HexOf(file), HexOf(bytes));
    EXPECT_THAT(log.lines(), IsEmpty());
  }
}

TEST(Utf8, SameBytesPassAsFileDataAndFailAsFileName) {
  CapturedLog log;
  EXPECT_EQ(tests::Rewritten<tarn::FileMessage>("12 03 FF FE 00"),
            "12 03 FF FE 00");
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_FALSE(Parses<tarn::FileMessage>("0A 03 FF FE 00"));
  EXPECT_THAT(log.lines(),
              ElementsAre(Names("tarn.FileMessage.fileName", "parsing")));
}

TEST(Utf8, UnknownFieldsAreExempt) {
  CapturedLog log;
  EXPECT_EQ(tests::Rewritten<tarn::Err>("9A 06 02 C3 28"), "9A 06 02 C3 28");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Utf8, AnyWellFormedTextIsAccepted) {
  for (const char* text : {"1.234", "abc", "", "-5.00", "0", " ",
                           "12,50 \u20AC", "not a number", "65536", "::1"}) {
    const std::string field = Writer().Bytes(3, text).bytes();
    EXPECT_EQ(tests::FromBytes<tarn::Price>(field).set_price(), text);
    EXPECT_EQ(tests::FromBytes<tarn::Product>(field).offset(), text);
    EXPECT_EQ(tests::FromBytes<tarn::ERTDConnection>(field).port(), text);
  }
}

TEST(Utf8, NumericServerPortStaysText) {
  EXPECT_EQ(FromHex<tarn::RenameRadio>("22 04 38 30 38 30").server_port(),
            "8080");
  tarn::RenameRadio rename;
  rename.set_server_port("08080");
  EXPECT_EQ(HexOf(rename), "22 05 30 38 30 38 30");
}

}  // namespace
