// Fuzzes what the inspector shows, with messages that are changed by their
// descriptors and cut off: its JSON is JSON, and nothing shows a pass phrase.
// The first byte of the input chooses the message type, the second how many
// bytes are cut off; the rest is the message.
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include "difference.h"
#include "encoding.h"
#include "finding.h"
#include "json_check.h"
#include "node_name.h"
#include "printer.h"
#include "salvage.h"
#include "span_json.h"
#include "span_table.h"
#include "status_report.h"
#include "target.h"
#include "tree.h"

namespace fuzz {
namespace {

using google::protobuf::Message;
using tarn::tool::JsonWriter;
using tarn::tool::Output;
using tarn::tool::Record;
using tarn::tool::Type;

// In the place of each pass phrase. No input has it by chance.
constexpr char kPass[] = "tE9_pass";
constexpr char kPassInHex[] = "7445395f70617373";

void CheckText(const Type& type, const std::string& text) {
  Expect(text.find(kPass) == text.npos && text.find(kPassInHex) == text.npos,
         type, "no pass phrase is shown");
}

void CheckJson(const Type& type, const std::string& json) {
  CheckText(type, json);
  const std::string problem = tarn::tool::FindJsonProblem(json);
  // The deepest messages are shown, but not read.
  Expect(problem.empty() || problem.find("99") != problem.npos, type,
         "JSON is JSON");
}

// What `write` writes as the members of an object.
template <class Write>
std::string Object(Write write) {
  return Printed([&](Output* output) {
    JsonWriter json(output);
    json.BeginObject();
    write(&json);
    json.EndObject();
    json.EndLine();
  });
}

// Each byte of the message is in one span.
class Tiles {
 public:
  Tiles(const Type& type, const Record& record)
      : type_(type), end_(record.bytes.data()) {}

  void Draw(const tarn::tool::Stack&, const tarn::tool::Span& span) {
    Expect(span.begin == end_ && span.end >= span.begin, type_,
           "each byte is in one span");
    end_ = span.end;
  }
  const char* end() const { return end_; }

 private:
  const Type& type_;
  const char* end_;
};

template <class Sink>
void Annotate(const Type& type, const Record& record, Sink* sink) {
  const tarn::tool::InputOptions options;
  tarn::tool::SpanFinder<Sink> finder(options, false, type, record, sink);
  tarn::tool::Walk(type, record.bytes, finder);
  for (const std::string& error : finder.errors()) CheckText(type, error);
}

void CheckSpans(const Type& type, const Record& record) {
  Tiles tiles(type, record);
  Annotate(type, record, &tiles);
  Expect(tiles.end() == record.bytes.data() + record.bytes.size(), type,
         "the last byte is in a span");
  CheckText(type, Printed([&](Output* output) {
              tarn::tool::SpanTable table(record, output);
              Annotate(type, record, &table);
            }));
  CheckJson(type, Object([&](JsonWriter* json) {
              json->Key("spans").BeginList();
              tarn::tool::SpanJson spans(record, json);
              Annotate(type, record, &spans);
              json->EndList();
            }));
}

void CheckFindings(const Type& type, std::string_view bytes) {
  tarn::tool::MessageChecker checker(0, nullptr);
  std::string text;
  const std::string json = Object([&](JsonWriter* out) {
    out->Key("findings").BeginList();
    checker.Check(type, bytes, 0, [&](const tarn::tool::Finding& finding) {
      text += finding.path + finding.text;
      tarn::tool::WriteFinding(finding, out);
    });
    out->EndList();
  });
  CheckText(type, text);
  CheckJson(type, json);
}

void CheckNodes(const Type& type, const Message& message) {
  tarn::tool::Tree tree;
  tree.nodes = tarn::tool::NodesOf(message);
  tree.branches = tarn::tool::SelectBranches(tree.nodes, {});
  CheckText(type, Printed([&](Output* output) {
              tarn::tool::PrintTreeText(tree, output);
              tarn::tool::PrintTreeDot(tree, output);
            }));
  CheckJson(type, Object([&](JsonWriter* json) {
              tarn::tool::WriteTree(tree, json);
            }));
  if (message.GetDescriptor() != tarn::NetworkStatusReport::descriptor()) {
    return;
  }
  const auto& report = static_cast<const tarn::NetworkStatusReport&>(message);
  Printed([&](Output* output) {
    tarn::tool::PrintReport(report, false, 0, output);
  });
  CheckJson(type, Object([&](JsonWriter* json) {
              tarn::tool::WriteReport(report, false, json);
            }));
}

void CheckDifferences(const Type& type, const Message& before,
                      const Message& after) {
  CheckJson(type, Object([&](JsonWriter* json) {
              json->Key("differences").BeginList();
              tarn::tool::Compare(before, after, false,
                                  [&](const tarn::tool::Difference& found) {
                                    tarn::tool::WriteDifference(found, false,
                                                                json);
                                  });
              json->EndList();
            }));
}

// The canonical bytes with another pass phrase.
std::string WithPass(Message* message) {
  if (message->GetDescriptor() == tarn::Wifi::descriptor()) {
    static_cast<tarn::Wifi*>(message)->set_pass(kPass);
  }
  return message->SerializeAsString();
}

}  // namespace

const size_t kOptions = 2;

void Try(std::string_view input) {
  if (input.size() < kOptions || input.find(kPass) != input.npos) return;
  const Type& type = TypeOf(input);
  const auto message = Parsed(type, input.substr(kOptions));
  if (message == nullptr) return;
  std::string bytes = WithPass(message.get());
  const size_t cut = static_cast<unsigned char>(input[1]);
  bytes.resize(bytes.size() - std::min(cut, bytes.size()));
  Record record;
  record.bytes = bytes;
  CheckSpans(type, record);
  CheckFindings(type, bytes);
  const tarn::tool::Survey survey = tarn::tool::SurveyMessage(type, bytes);
  if (!survey.accepted) {
    const auto damage = tarn::tool::FindDamage(type, bytes, 0);
    CheckText(type, damage.path + damage.reason);
    bytes = damage.salvaged;
  }
  const auto rest = Parsed(type, bytes);
  Expect(rest != nullptr, type, "what is salvaged parses");
  CheckNodes(type, *rest);
  CheckDifferences(type, *message, *rest);
  if (!survey.accepted) return;
  CheckText(type, Printed([&](Output* output) {
              tarn::tool::PrintText(type, bytes, survey, {}, output);
            }));
  CheckJson(type, Printed([&](Output* output) {
              tarn::tool::PrintJson(type, bytes, survey, {}, output);
            }));
}

}  // namespace fuzz
