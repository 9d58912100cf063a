// The printers write the same as the runtime prints for the parsed message.
#include "printer.h"

#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "encoding.h"
#include "reference/corpus_files.h"
#include "reference/fill.h"
#include "reference/wire.h"

namespace tarn::tool {
namespace {

using wire::Writer;

// What a function writes to standard output.
std::string Captured(const std::function<void(Output*)>& print) {
  testing::internal::CaptureStdout();
  Output output("never");
  print(&output);
  output.Flush();
  return testing::internal::GetCapturedStdout();
}

// How many records are inside one another.
int DepthOf(const Type& type, const std::string& bytes) {
  struct Depth : WalkVisitor {
    void Enter(const Stack& stack, const Item&) {
      deepest = std::max(deepest, stack.depth() + 1);
    }
    int deepest = 0;
  } visitor;
  Walk(type, bytes, visitor);
  return visitor.deepest;
}

class PrinterTest : public testing::Test {
 protected:
  std::string Json(const Type& type, const std::string& bytes,
                   bool pretty = false) {
    return Captured([&](Output* output) {
      PrintJson(type, bytes, SurveyMessage(type, bytes), {pretty, true},
                output);
    });
  }
  std::string Text(const Type& type, const std::string& bytes) {
    return Captured([&](Output* output) {
      PrintText(type, bytes, SurveyMessage(type, bytes), {false, true}, output);
    });
  }

  // Several messages of each type, some of them with their fields in disorder
  // and twice.
  void ForMessages(
      const std::function<void(const Type&, const std::string&)>& check) {
    tests::Random random(3);
    tests::EdgeValues values(&random);
    for (const auto* descriptor : schema_.Messages()) {
      const Type& type = schema_.Table(*descriptor);
      for (int i = 0; i < 12; ++i) {
        const auto message = NewMessage(type);
        tests::Fill(message.get(), &values, 4);
        std::string bytes = message->SerializeAsString();
        if (i % 3 == 0) {
          message->Clear();
          tests::Fill(message.get(), &values, 2);
          bytes += message->SerializeAsString();
        }
        check(type, bytes);
      }
    }
  }

  Schema schema_;
};

// Without "@unknown", which the runtime cannot know of, and in its way with
// negative zeros, which it does not read back as such, and with the largest
// float, which others do not read.
std::string FieldsOf(std::string json) {
  for (size_t at; (at = json.find(":-0.0")) != json.npos;)
    json.erase(at + 3, 2);
  constexpr std::string_view kLargest = "3.4028234663852886e+38";
  for (size_t at; (at = json.find(kLargest)) != json.npos;)
    json.replace(at, kLargest.size(), "3.40282347e+38");
  const size_t at = json.find("\"@unknown\":[{");
  if (at == json.npos) return json;
  return json.substr(0, at - (json[at - 1] == ',')) + "}\n";
}

TEST_F(PrinterTest, JsonIsTheRuntimesToTheByteButForTheOrderOfMaps) {
  int compared = 0;
  ForMessages([&](const Type& type, const std::string& bytes) {
    const auto message = NewMessage(type);
    ASSERT_TRUE(message->ParseFromString(bytes));
    std::string json;
    ASSERT_TRUE(
        google::protobuf::util::MessageToJsonString(*message, &json).ok());
    const std::string ours = FieldsOf(Json(type, bytes));
    if (type.descriptor->name() != "NetworkStatusReport") {
      EXPECT_EQ(ours, json + "\n") << wire::ToHex(bytes);
      ++compared;
      return;
    }
    const auto again = NewMessage(type);
    ASSERT_TRUE(
        google::protobuf::util::JsonStringToMessage(ours, again.get()).ok())
        << ours;
    EXPECT_EQ(Canonical(*again), Canonical(*message)) << ours;
  });
  EXPECT_GT(compared, 500);
}

TEST_F(PrinterTest, PrettyJsonHasTheSameContent) {
  ForMessages([&](const Type& type, const std::string& bytes) {
    const auto message = NewMessage(type);
    const std::string json = Json(type, bytes, true);
    const bool odd = json.find("\"@unknown\"") != json.npos;
    if (odd) return;
    ASSERT_TRUE(
        google::protobuf::util::JsonStringToMessage(json, message.get()).ok())
        << json;
    EXPECT_EQ(Canonical(*message), Canonical(type, bytes)) << json;
  });
}

TEST_F(PrinterTest, TextIsReadBackByTheRuntimeAsTheSameMessage) {
  ForMessages([&](const Type& type, const std::string& bytes) {
    const auto message = NewMessage(type);
    const std::string text = Text(type, bytes);
    ASSERT_TRUE(
        google::protobuf::TextFormat::ParseFromString(text, message.get()))
        << text;
    EXPECT_EQ(Canonical(*message), Canonical(type, bytes)) << text;
  });
}

// What decode writes, encode reads back: for each accepted message of the
// corpus that has nothing unknown in it.
TEST_F(PrinterTest, TextAndJsonOfTheCorpusEncodeToCanonicalBytes) {
  int files = 0;
  for (const auto& [path, name, bytes] :
       tests::CorpusFiles(CORPUS, {"valid", "accepted"}, ".binpb")) {
    const Type& type = schema_.Find(name);
    if (SurveyMessage(type, bytes).unknown) continue;
    // Neither form can say which NaN it is.
    if (path.stem().string().find("nan") != std::string::npos) continue;
    const std::string canonical = Canonical(type, bytes);
    EXPECT_EQ(EncodeText(type, Text(type, bytes), ""), canonical) << path;
    ++files;
    if (DepthOf(type, bytes) > 99) continue;  // the most that JSON can have
    EXPECT_EQ(EncodeJson(type, Json(type, bytes), ""), canonical) << path;
  }
  EXPECT_GT(files, 500);
}

TEST_F(PrinterTest, TextAndJsonOfRandomMessagesEncodeToCanonicalBytes) {
  tests::Random random(11);
  tests::AnyValues values(&random);
  for (const auto* descriptor : schema_.Messages()) {
    const Type& type = schema_.Table(*descriptor);
    for (int i = 0; i < 100; ++i) {
      const auto message = NewMessage(type);
      tests::Fill(message.get(), &values, 4);
      const std::string bytes = Canonical(*message);
      EXPECT_EQ(EncodeText(type, Text(type, bytes), ""), bytes)
          << Text(type, bytes);
      for (const bool pretty : {false, true}) {
        EXPECT_EQ(EncodeJson(type, Json(type, bytes, pretty), ""), bytes)
            << Json(type, bytes, pretty);
      }
    }
  }
}

TEST_F(PrinterTest, UnknownFieldsAreCommentsInText) {
  const Writer odd = Writer()
                         .Bytes(1, "a")
                         .Int(2, 99)
                         .Uint(15, 150)
                         .Fixed32(16, 7)
                         .Bytes(17, "x\n")
                         .Group(18, Writer().Uint(1, 2));
  EXPECT_EQ(Text(schema_.Find("Server"), odd.bytes()),
            "name: \"a\"\n"
            "status: 99  # not declared in tarn.StatusCodes\n"
            "# 15: 150\n"
            "# 16: 7\n"
            "# 17: \"x\\n\"\n"
            "# 18 {\n"
            "  # 1: 2\n"
            "# }\n");
}

TEST_F(PrinterTest, UnknownFieldsStandApartInJson) {
  const Writer odd = Writer()
                         .Int(2, 99)
                         .Message(7, Writer().Uint(15, 150))
                         .Bytes(17, "xyz")
                         .Group(18, Writer().Uint(1, 2));
  EXPECT_EQ(Json(schema_.Find("Server"), odd.bytes()),
            "{\"status\":99,\"children\":[{}],\"@unknown\":["
            "{\"path\":\"status\",\"offset\":0,\"enum\":\"tarn.StatusCodes\","
            "\"value\":99},"
            "{\"path\":\"children[0].15\",\"offset\":4,\"wireType\":\"varint\","
            "\"value\":\"150\"},"
            "{\"path\":\"17\",\"offset\":7,\"wireType\":\"length\","
            "\"base64\":\"eHl6\"},"
            "{\"path\":\"18\",\"offset\":13,\"wireType\":\"group\"},"
            "{\"path\":\"18.1\",\"offset\":15,\"wireType\":\"varint\","
            "\"value\":\"2\"}]}\n");
}

TEST_F(PrinterTest, AnEmptyMessageIsNothingAndAnEmptyObject) {
  EXPECT_EQ(Text(schema_.Find("Server"), ""), "");
  EXPECT_EQ(Json(schema_.Find("Server"), ""), "{}\n");
  EXPECT_EQ(Json(schema_.Find("Server"), "", true), "{}\n");
}

TEST_F(PrinterTest, APassPhraseShowsOnlyWhenAskedFor) {
  const Type& type = schema_.Find("Wifi");
  const std::string bytes = Writer().Bytes(1, "net").Bytes(2, "key").bytes();
  const std::string hidden = Captured([&](Output* output) {
    PrintJson(type, bytes, SurveyMessage(type, bytes), {}, output);
    PrintText(type, bytes, SurveyMessage(type, bytes), {}, output);
  });
  EXPECT_EQ(hidden,
            "{\"ssid\":\"net\",\"pass\":\"***\"}\n"
            "ssid: \"net\"\npass: \"***\"\n");
  EXPECT_EQ(Text(type, bytes), "ssid: \"net\"\npass: \"key\"\n");
}

}  // namespace
}  // namespace tarn::tool
