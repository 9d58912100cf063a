// What the tool says of a wrong text is about a text that the runtime refuses.
#include "text_check.h"

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "encoding.h"
#include "ignore_errors.h"
#include "reference/corpus_files.h"
#include "walker.h"

namespace tarn::tool {
namespace {

bool RuntimeTakes(const Type& type, const std::string& text) {
  IgnoreErrors errors;
  google::protobuf::TextFormat::Parser parser;
  parser.RecordErrorsTo(&errors);
  parser.SetRecursionLimit(kMaxDepth);
  return parser.ParseFromString(text, NewMessage(type).get());
}

std::string ProblemIn(const std::string& type, const std::string& text) {
  Schema schema;
  const TextProblem problem =
      FindTextProblem(schema.Find(type), text, text.size());
  return problem.reason.words.empty()
             ? ""
             : std::to_string(problem.offset) + ": " + problem.reason.words;
}

TEST(TextCheck, NamesAndValuesAreFoundWhereTheyStand) {
  EXPECT_EQ(ProblemIn("Server", "name: 'a' nme: 'b'"),
            "10: tarn.Server has no field nme, did you mean name?");
  EXPECT_EQ(ProblemIn("Server", "name: 'a'\nname: 'b'"),
            "10: tarn.Server.name is there twice");
  EXPECT_EQ(ProblemIn("Server", "status: okay"),
            "8: okay is no value for tarn.Server.status, did you mean ok?");
  EXPECT_EQ(ProblemIn("Server", "networkId: -3000000000"),
            "11: -3000000000 is no value for tarn.Server.networkId");
  EXPECT_EQ(ProblemIn("Server", "children { client { nme: 'b' } }"),
            "20: tarn.Client has no field nme, did you mean name?");
  EXPECT_EQ(ProblemIn("ChildTypes", "client { } module { }"),
            "11: another member of tarn.ChildTypes.types is there already");
  EXPECT_EQ(ProblemIn("Server", "\tname: 3"),
            "7: 3 is no value for tarn.Server.name");
}

TEST(TextCheck, NothingOfASecretIsQuoted) {
  EXPECT_EQ(ProblemIn("Wifi", "secret_word: 'x'"),
            "0: tarn.Wifi has no such field");
  EXPECT_EQ(ProblemIn("Wifi", "pass: 4711"),
            "6: this is no value for tarn.Wifi.pass");
}

// Every text of the corpus, and each with bytes changed here and there.
TEST(TextCheck, NothingIsWrongInTextThatTheRuntimeTakes) {
  Schema schema;
  std::mt19937 random(1);
  int taken = 0;
  int refused = 0;
  for (const auto& [path, name, whole] :
       tests::CorpusFiles(CORPUS, {"valid"}, ".txtpb")) {
    if (whole.size() > 2000) continue;
    const Type& type = schema.Find(name);
    for (int turn = 0; turn < 20; ++turn) {
      std::string text = whole;
      for (int i = 0; i < turn % 4 && !text.empty(); ++i) {
        constexpr std::string_view kBytes = "{}[]<>:;,\"'-#.1x \n";
        const size_t at = random() % text.size();
        if (random() % 2 == 0) text.erase(at, 1 + random() % 3);
        if (random() % 2 == 0) {
          text.insert(std::min(at, text.size()), 1,
                      kBytes[random() % kBytes.size()]);
        }
      }
      const bool takes = RuntimeTakes(type, text);
      ++(takes ? taken : refused);
      if (!takes) continue;
      EXPECT_EQ(FindTextProblem(type, text, text.size()).reason.words, "")
          << path << ":\n"
          << text;
    }
  }
  EXPECT_GT(taken, 2000);
  EXPECT_GT(refused, 2000);
}

}  // namespace
}  // namespace tarn::tool
