// Every message of the corpus is read without --from as what it is: as bytes,
// and in the forms in which people keep those.
#include "reading.h"

#include <gmock/gmock.h>
#include <google/protobuf/stubs/strutil.h>

#include <cstdio>

#include "failure.h"
#include "reference/corpus_files.h"

namespace {

using tarn::tool::Failure;
using tarn::tool::InputOptions;
using tarn::tool::Reading;
using tarn::tool::Schema;

std::string Format(const char* format, unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string Binary(const std::string& bytes) { return bytes; }

std::string Hex(const std::string& bytes) {
  std::string text;
  for (const unsigned char byte : bytes) text += Format("%02x", byte);
  return text + '\n';
}

std::string Base64(const std::string& bytes) {
  std::string text;
  google::protobuf::Base64Escape(bytes, &text);
  return text + '\n';
}

// As xxd prints it, with `mark` before each line.
std::string MarkedDump(const std::string& bytes, const char* mark) {
  std::string text;
  for (size_t at = 0; at < bytes.size(); at += 16) {
    const std::string row = bytes.substr(at, 16);
    text += mark + Format("%08x:", at);
    std::string shown;
    for (size_t i = 0; i < 16; ++i) {
      if (i % 2 == 0) text += ' ';
      if (i >= row.size()) {
        text += "  ";
        continue;
      }
      const unsigned char byte = row[i];
      text += Format("%02x", byte);
      shown += byte >= 0x20 && byte < 0x7F ? row[i] : '.';
    }
    text += "  " + shown + '\n';
  }
  return text;
}

std::string Dump(const std::string& bytes) { return MarkedDump(bytes, ""); }

std::string Quoted(const std::string& bytes) { return MarkedDump(bytes, "> "); }

std::string Array(const std::string& bytes) {
  std::string text = "{";
  for (const unsigned char byte : bytes) text += Format("0x%02x, ", byte);
  return text + "}\n";
}

TEST(Reading, EveryMessageOfTheCorpusIsReadAsWhatItIs) {
  Schema schema;
  int files = 0;
  int asked = 0;
  for (const auto& [path, name, bytes] :
       tests::CorpusFiles(CORPUS, {"valid", "accepted"}, ".binpb")) {
    SCOPED_TRACE(path.string());
    ++files;
    const auto& type = schema.Find(name);
    for (const auto write : {Binary, Hex, Base64, Dump, Quoted, Array}) {
      // An empty message has no digits at all.
      if (bytes.empty() && write != Binary) continue;
      const std::string text = write(bytes);
      try {
        const Reading reading = Read(InputOptions(), "", {&type}, text);
        EXPECT_EQ(reading.binary(), write == Binary) << text;
        EXPECT_EQ(reading.binary() ? text : reading.bytes, bytes) << text;
      } catch (const Failure& failure) {
        EXPECT_NE(write, Binary) << failure.what();
        EXPECT_EQ(failure.code(), tarn::tool::kUsage) << failure.what();
        ++asked;
      }
    }
  }
  EXPECT_GT(files, 500);
  // Few are two messages at once, of which one is digits.
  EXPECT_LE(asked, files / 100);
}

}  // namespace
