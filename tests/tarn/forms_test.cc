// The forms in which people keep bytes: each form gives the original bytes
// back, and other text is not read as that form.
#include "forms.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <random>

namespace {

using tarn::tool::Form;
using tarn::tool::FormsOf;
using tarn::tool::FromForm;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint64_t kMost = 64 << 20;

std::string Format(const char* format, unsigned value) {
  char text[32];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

// Lines of 16 bytes as a format has them: `offset` in front, `group` for each
// `size` bytes (the lowest last), and the offset of the end where `end` is set.
struct Layout {
  const char* form;
  const char* offset;
  const char* group;
  int size;
  bool characters;
  bool end;
};

std::string Write(const Layout& layout, const std::string& bytes) {
  std::string text;
  for (size_t i = 0; i < bytes.size(); i += 16) {
    text += Format(layout.offset, i);
    const std::string row = bytes.substr(i, 16);
    for (size_t j = 0; j < row.size(); j += layout.size) {
      unsigned value = 0;
      for (int k = layout.size - 1; k >= 0; --k) {
        value =
            value << 8 |
            (j + k < row.size() ? static_cast<unsigned char>(row[j + k]) : 0);
      }
      text += Format(layout.group, value);
    }
    if (layout.characters) {
      text += "  ";
      for (const char c : row) text += c >= 0x20 && c < 0x7F ? c : '.';
    }
    text += '\n';
  }
  return layout.end ? text + Format(layout.offset, bytes.size()) + '\n' : text;
}

std::string RandomBytes(size_t size, std::mt19937* random) {
  std::string bytes(size, '\0');
  // Many characters that look like digits, for the columns to be told apart.
  for (char& c : bytes)
    c = (*random)() % 3 == 0 ? "ab10 ."[(*random)() % 6] : (*random)();
  return bytes;
}

constexpr Layout kLayouts[] = {
    {"hex", "%08x:", " %02x", 1, true, false},  // xxd -g1
    {"hex", "%08x ", " %02x", 1, false, true},  // hexdump -C
    {"hex", "\t0x%04x: ", " %02x", 1, true, false},
    {"hex", "%07o", " %02x", 1, false, true},     // od -t x1
    {"hex", "%07d", " %02x", 1, false, true},     // od -A d -t x1
    {"hex", "%06x", " %02x", 1, false, true},     // od -A x -t x1
    {"words", "%07x", " %04x", 2, false, true},   // hexdump
    {"words", "%07o", " %04x", 2, false, true},   // od -x
    {"words", "%07o", " %08x", 4, false, true},   // od -t x4
    {"octal", "%07o", " %03o", 1, false, true},   // od -b
    {"octal", "%07o", " %06o", 2, false, true}};  // od

TEST(Dumps, EveryLayoutIsReadBack) {
  std::mt19937 random(1);
  for (const Layout& layout : kLayouts) {
    for (size_t size = 1; size < 70; ++size) {
      const std::string bytes = RandomBytes(size, &random);
      const std::string text = Write(layout, bytes);
      std::string read;
      if (layout.size == 4 && size % 4 != 0) continue;
      ASSERT_TRUE(FromForm(layout.form, text, kMost, &read)) << text;
      EXPECT_EQ(read, bytes) << text;
      bool offered = false;
      for (const Form& form : FormsOf(text, kMost)) {
        offered = offered || (form.name == layout.form && form.bytes == bytes);
      }
      EXPECT_TRUE(offered) << text;
    }
  }
}

TEST(Dumps, QuotedAndNumberedLinesAreReadBack) {
  std::mt19937 random(2);
  for (const Layout& layout : kLayouts) {
    const std::string bytes = RandomBytes(44, &random);
    const std::string text = Write(layout, bytes);
    std::string quoted;
    std::string numbered;
    std::string_view rest = text;
    for (int number = 1; !rest.empty(); ++number) {
      const std::string line(tarn::tool::TakeLine(&rest));
      quoted += "> > " + line + "\r\n";
      numbered += Format("%6d\t", number) + line + '\n';
    }
    std::string read;
    ASSERT_TRUE(FromForm(layout.form, quoted, kMost, &read)) << quoted;
    EXPECT_EQ(read, bytes);
    ASSERT_TRUE(FromForm(layout.form, numbered, kMost, &read)) << numbered;
    EXPECT_EQ(read, bytes);
  }
}

TEST(Dumps, StarStandsForLinesLikeTheLast) {
  std::string read;
  ASSERT_TRUE(FromForm("hex",
                       "00000000  61 61 61 61 61 61 61 61  61 61 61 61 61 61 "
                       "61 61  |aaaaaaaaaaaaaaaa|\n*\n00000030  62\n00000031\n",
                       kMost, &read));
  EXPECT_EQ(read, std::string(48, 'a') + "b");
}

TEST(Dumps, StarIsHeldToTheLargestSize) {
  std::string read;
  EXPECT_FALSE(
      FromForm("hex", "00000000: 61\n*\n7fffffff: 62\n", kMost, &read));
}

TEST(Dumps, MissingLineIsNoDumpAndIsNamed) {
  const auto forms = FormsOf("00000000: 0a06\n00000010: 01\n", kMost);
  ASSERT_FALSE(forms.empty());
  EXPECT_NE(forms.front().problem, "");
}

TEST(Dumps, WordsWithoutTheLengthAtTheEndMayHaveOneByteTooMany) {
  std::string read;
  EXPECT_FALSE(FromForm("words", "0000000 060a 0061\n", kMost, &read));
  EXPECT_TRUE(FromForm("words", "0000000 060a 0061\n0000003\n", kMost, &read));
  EXPECT_EQ(read,
            "\n\x06"
            "a");
}

struct Sample {
  const char* form;
  const char* text;
};

TEST(Forms, WhatPeoplePasteIsRead) {
  const std::string bytes = "\n\003Ab\"\020\001";
  for (const Sample& sample :
       {Sample{"hex", "0a03416222 1001"},
        {"hex", "0x0a034162221001"},
        {"hex", "\\x0a034162221001"},
        {"hex", "X'0a034162221001'"},
        {"hex", "<Buffer 0a 03 41 62 22 10 01>"},
        {"hex", "\"0A034162221001\""},
        {"hex", "0a:03:41:62:22:10:01"},
        {"base64", "CgNBYiIQAQ=="},
        {"base64", "\"CgNBYiIQAQ\""},
        {"base64", "data:application/octet-stream;base64,CgNBYiIQAQ=="},
        {"source",
         "unsigned char a_bin[] = {\n  0x0a, 0x03, 0x41, 0x62, 0x22,\n"
         "  0x10, 0x01\n};\nunsigned int a_bin_len = 7;\n"},
        {"source", "[10, 3, 65, 98, 34, 16, 1]"},
        {"source", "new byte[] {10, 3, 65, 98, 34, 16, 1};"},
        {"source", "\"\\x0a\\x03\\x41\\x62\\\"\\x10\\x01\""},
        {"source", "\\x0a\\x03Ab\\\"\\x10\\x01"},
        {"source", "b'\\n\\x03Ab\"\\x10\\x01'"},
        {"source", "const char a[] = \"\\n\\003Ab\\\"\"\n  \"\\020\\001\";"}}) {
    std::string read;
    ASSERT_TRUE(FromForm(sample.form, sample.text, kMost, &read))
        << sample.text;
    EXPECT_EQ(read, bytes) << sample.text;
    bool offered = false;
    for (const Form& form : FormsOf(sample.text, kMost)) {
      offered = offered || (form.name == sample.form && form.bytes == bytes);
    }
    EXPECT_TRUE(offered) << sample.text;
  }
}

TEST(Forms, WhatIsBrokenIsNotRead) {
  for (const Sample& sample :
       {Sample{"source", "{0x0a, 0x100}"},
        {"source", "{10, -129}"},
        {"source", "x[] = {0x0a, 0x01};\nunsigned int x_len = 3;"},
        {"source", "\"\\x1\""},
        {"source", "\"\\400\""},
        {"source", "\"\\u000a\""},
        {"source", "\"\\x0a"},
        {"hex", "0a0"},
        {"hex", "0g"},
        {"base64", "A"},
        {"base64", "Cg=A"},
        {"octal", "0000000 400\n"},
        {"words", "0000000 123\n"}}) {
    std::string read;
    EXPECT_FALSE(FromForm(sample.form, sample.text, kMost, &read))
        << sample.text;
  }
}

TEST(Forms, MarksOfManyQuotationsAreTakenAwayAtOnce) {
  std::string marks;
  for (int i = 0; i < 100000; ++i) marks += ">  ";
  std::string read;
  ASSERT_TRUE(FromForm("hex", marks + "0a 03\n", kMost, &read));
  EXPECT_EQ(read, "\n\003");
}

TEST(Forms, WhatNoKeyboardTypesIsNoText) {
  EXPECT_THAT(FormsOf("\x08\x01", kMost), IsEmpty());
  EXPECT_THAT(FormsOf("0a\xff", kMost), IsEmpty());
}

TEST(Forms, LineNumbersAreNotDigits) {
  // Bytes that look like offsets.
  std::string read;
  ASSERT_TRUE(FromForm("hex", "01 0a\n02 0b\n", kMost, &read));
  EXPECT_EQ(read, "\x01\n\x02\v");
}

// The bytes in hexadecimal that are found at a place.
std::vector<std::string> HexAt(const std::string& text, size_t place) {
  std::vector<std::string> read;
  for (const Form& form : tarn::tool::FormsInside(text)) {
    if (form.name == "hex" && form.embedded_at == place) {
      read.push_back(form.bytes);
    }
  }
  return read;
}

TEST(FormsInside, PiecesOfALineAreFound) {
  std::vector<std::string> pieces;
  for (const Form& form : tarn::tool::FormsInside(
           "12:00 rx from=10.0.0.1 data=CgNBYiIQAQ== (0a 03 41 62 22 10 01)")) {
    pieces.push_back(form.bytes);
  }
  EXPECT_EQ(std::count(pieces.begin(), pieces.end(), "\n\003Ab\"\020\001"), 2);
}

TEST(FormsInside, LinesThatBelongTogetherAreRead) {
  const std::string text =
      "Hello,\n> 0a 0b 0c 0d\n> 0e 0f\n> face\nnow\n"
      "0000: 0a 0b 0c 0d\n0004: 0e 0f\n";
  // The word below the digits can be digits, too.
  EXPECT_THAT(HexAt(text, text.find('>')),
              ElementsAre("\n\v\f\r\016\017\xFA\xCE", "\n\v\f\r\016\017"));
  EXPECT_THAT(HexAt(text, text.find("0000:")), ElementsAre("\n\v\f\r\016\017"));
}

TEST(FormsInside, LinesOfWordsAreNoDigits) {
  const std::string text = "it is\n0a 0b 0c\n0d 0e\nso do we\n";
  EXPECT_THAT(HexAt(text, text.find("0a")), ElementsAre("\n\v\f\r\016"));
  EXPECT_THAT(HexAt(text, 0), IsEmpty());
}

TEST(FormsInside, LinesOfALogBelongTogetherIfTheirSenderIsTheSame) {
  for (const char* time :
       {"Nov 22 12:00:01", "Nov  2 12:00:01",
        "2026-11-22T12:00:01.123456+01:00", "<13>2026-11-22 12:00:01"}) {
    const std::string start = time + std::string(" gate relay[42]: ");
    const std::string text =
        start + "received\n" + start + "0a 0b 0c 0d\n" + start + "0e 0f\n";
    EXPECT_THAT(HexAt(text, text.find('\n') + 1),
                ElementsAre("\n\v\f\r\016\017"))
        << text;
    const std::string other =
        start + "0a 0b 0c 0d\n" + time + " gate clock[43]: 0e 0f 10 11\n";
    EXPECT_THAT(HexAt(other, 0), IsEmpty()) << other;
  }
}

TEST(FormsInside, WordsOfALogAreNotJoined) {
  const std::string start = "Nov 22 12:00:01 gate relay[42]: ";
  for (const Form& form : tarn::tool::FormsInside(
           start + "started\n" + start + "decade\n" + start + "face\n")) {
    EXPECT_LT(form.embedded_size, start.size()) << form.bytes;
  }
}

TEST(Forms, ALineOfALogInsideOfAnotherIsNotTakenApart) {
  std::string text;
  for (int i = 0; i < 50000; ++i) text += "Nov 22 12:00:01 gate relay[42]: ";
  std::string bytes;
  EXPECT_FALSE(tarn::tool::FromForm("hex", text, 1 << 20, &bytes));
  EXPECT_TRUE(tarn::tool::FromForm("hex", text.substr(0, 32) + "0a 0b", 1 << 20,
                                   &bytes));
}

}  // namespace
