// Puts together what other verbs know, for one screen.
#include "what_message.h"

#include <tarn/Network.pb.h>

#include <algorithm>

#include "candidates.h"
#include "encoding.h"
#include "forms.h"
#include "input.h"
#include "nodes.h"
#include "salvage.h"
#include "status_words.h"
#include "walker.h"
#include "what_page.h"

namespace tarn::tool {
namespace {

// Types and findings that are shown.
constexpr size_t kTypes = 5;
constexpr size_t kMostFindings = 5;
// The largest message whose nodes and statuses are counted.
constexpr size_t kMostCounted = 4 << 20;

// Whether the type that fits best explains so little that it says nothing.
bool IsStrange(const Evidence& best) {
  constexpr int kFew = 3;
  return best.fields == 0 ||
         (best.fields < kFew && best.unexplained > best.size / 2);
}

// Whether bytes are text that begins as text does: many messages begin with a
// line feed, the tag of the first field.
bool IsSentence(std::string_view bytes) {
  return IsText(bytes) && !bytes.empty() && !IsSpace(bytes.front());
}

// Whether so few types are left that one of them can stand for all.
bool IsAlmostCertain(const Answer& answer) {
  constexpr size_t kFew = 3;
  return !answer.bytes.empty() && !answer.strange &&
         (answer.given != nullptr || CountLevel(answer.candidates) <= kFew);
}

// What the schema says that a message of the type represents.
std::string MeaningOf(const Type& type, Schema* schema) {
  constexpr std::string_view kStart = "Represents ";
  const std::string comment = schema->Comment(*type.descriptor);
  std::string_view sentence = FirstSentence(comment);
  if (sentence.substr(0, kStart.size()) == kStart) {
    sentence.remove_prefix(kStart.size());
  }
  return std::string(sentence);
}

// Prints what is in a message, or in the part of it before an error.
void PrintContent(const Answer& answer, Output* output) {
  const auto message = NewMessage(*answer.type);
  std::string salvaged;
  std::string_view bytes = answer.bytes;
  if (!IsAlmostCertain(answer) || bytes.size() > kMostCounted) return;
  if (!Weigh(*answer.type, bytes).accepted) {
    salvaged = FindDamage(*answer.type, bytes, 0).salvaged;
    bytes = salvaged;
  }
  if (!message->ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) {
    return;
  }
  const std::vector<Node> nodes = NodesOf(*message);
  StatusTally tally = TotalsOf(nodes).statuses;
  std::string words = InWords(CountNodes(nodes));
  if (const auto* report =
          dynamic_cast<const tarn::NetworkStatusReport*>(message.get())) {
    tally = TallyOf(report->status_packet());
    words = Count(report->status_packet_size(), "part");
  }
  if (words.empty()) return;
  BeginLine("Content", output);
  output->Write(words);
  if (!tally.empty()) {
    output->Write("; status: ");
    PrintTally(tally, output);
  }
  output->Write(salvaged.empty() ? "\n" : ", before the error\n");
}

// How many candidates are likelier than the given type, or as likely: with
// itself.
size_t CountAsLikely(const Answer& answer) {
  const auto& candidates = answer.candidates;
  const auto given =
      std::find_if(candidates.begin(), candidates.end(),
                   [&](const Candidate& c) { return c.type == answer.given; });
  return std::find_if(given, candidates.end(),
                      [&](const Candidate& candidate) {
                        return !EquallyLikely(candidate, *given);
                      }) -
         candidates.begin();
}

// The first candidates, with the evidence.
void PrintCandidates(const Answer& answer, size_t most, Output* output) {
  const std::vector<RankedCandidate> shown =
      FirstCandidates(answer.candidates, std::min(kTypes, most));
  const size_t width = WidthOf(answer.candidates, shown.size());
  for (const RankedCandidate& candidate : shown) {
    BeginLine("", output);
    PrintCandidate(candidate, answer.bytes, width, output);
  }
}

void PrintTypes(const Answer& answer, Output* output) {
  BeginLine("Type", output);
  if (answer.given != nullptr) {
    output->Write(answer.given->descriptor->name() + ", as --type says\n");
    if (answer.candidates.front().type == answer.given) return;
    BeginLine("", output);
    output->Write("likelier or as likely:\n");
    PrintCandidates(answer, CountAsLikely(answer), output);
    return;
  } else if (answer.bytes.empty()) {
    output->Write("any: no bytes are an empty message\n");
    return;
  } else if (!answer.format.empty()) {
    output->Write("none: this looks like something else, ");
    output->Write(answer.format);
    output->Write('\n');
    return;
  } else if (answer.strange) {
    output->Write("none: nothing fits these bytes well\n");
    BeginLine("", output);
    output->Write("could be:\n");
  } else if (answer.verdict.empty()) {
    output->Write("none explains these bytes well; the likeliest:\n");
  } else if (answer.verdict.size() > 1) {
    output->Write("not certain: nothing tells the first " +
                  std::to_string(answer.verdict.size()) + " apart\n");
  } else {
    output->Write(answer.type->descriptor->name() + '\n');
  }
  PrintCandidates(answer, kTypes, output);
}

void PrintMeanings(const Answer& answer, Schema* schema, Output* output) {
  if (!IsAlmostCertain(answer)) return;
  for (const Type* type : answer.verdict) {
    BeginLine(type == answer.verdict.front() ? "Meaning" : "", output);
    output->Write(type->descriptor->name() + ": " + MeaningOf(*type, schema));
    output->Write('\n');
  }
}

void PrintProblems(const Answer& answer, Output* output) {
  if (answer.bytes.empty() || !answer.format.empty() || answer.strange) return;
  BeginLine("Problems", output);
  if (answer.findings.empty()) {
    output->Write(answer.more_findings == 0 ? "none"
                                            : "only advice: see tarn check");
    output->Write('\n');
    return;
  }
  const std::string as = answer.verdict.size() == 1
                             ? ""
                             : "as " + answer.type->descriptor->name() + ", ";
  for (const Finding& finding : answer.findings) {
    if (&finding != &answer.findings.front()) BeginLine("", output);
    output->Write(as + "byte " + std::to_string(finding.offset) + ": ");
    PrintFinding(finding, output);
  }
  if (answer.more_findings == 0) return;
  BeginLine("", output);
  output->Write(std::to_string(answer.more_findings) +
                " more: see tarn check\n");
}

// Whether bytes, read as a type, hold a pass phrase: all of one, or the part
// before an error. Types that explain less than half of the fields do not
// count.
bool HoldsSecret(const Candidate& candidate, std::string_view bytes) {
  const Evidence& evidence = candidate.evidence;
  if (!candidate.type->secret || 2 * evidence.unknown > evidence.fields) {
    return false;
  }
  const auto message = NewMessage(*candidate.type);
  const auto* descriptor = candidate.type->descriptor;
  std::string path;
  if (evidence.accepted) {
    message->ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
  } else {
    path = FindDamage(*candidate.type, bytes, 0).path;
  }
  for (int i = 0; i < descriptor->field_count(); ++i) {
    const auto& field = *descriptor->field(i);
    if (IsSecret(field) &&
        (path == field.name() ||
         message->GetReflection()->HasField(*message, &field))) {
      return true;
    }
  }
  return false;
}

// Finds the first unknown field whose bytes are a message with a pass phrase.
class UnknownSecret : public WalkVisitor {
 public:
  explicit UnknownSecret(const Answer& answer) : answer_(answer) {}

  void Unknown(const Stack& stack, const Item& item) {
    if (item.wire() != 2 || !words.empty()) return;
    for (const Candidate& candidate : answer_.candidates) {
      const Type& type = *candidate.type;
      if (!type.secret) continue;
      const Candidate inner{&type, Weigh(type, item.bytes())};
      if (!IsClean(inner.evidence) || !HoldsSecret(inner, item.bytes())) {
        continue;
      }
      words = "unknown field " + stack.Path(nullptr, item.number()) +
              " at byte " + std::to_string(item.begin - answer_.bytes.data()) +
              " can be a " + type.descriptor->name() +
              " with a pass phrase, which commands show";
    }
  }
  bool Fail(const Stack&, const Error&) { return true; }

  std::string words;  // empty: there is none

 private:
  const Answer& answer_;
};

// Whether the type is certain, and the candidate is not near it.
bool IsRuledOut(const Answer& answer, const Candidate& candidate) {
  if (answer.given != nullptr || answer.verdict.size() != 1 ||
      !IsClean(answer.candidates.front().evidence)) {
    return false;
  }
  const auto shown = FirstCandidates(answer.candidates, kTypes);
  return std::none_of(shown.begin(), shown.end(), [&](const auto& near) {
    return near.candidate->type == candidate.type;
  });
}

// Commands for the type that has it do not show a pass phrase; others do.
void PrintSecrets(const Answer& answer, Output* output) {
  for (const Candidate& candidate : answer.candidates) {
    if (candidate.type == answer.type || IsRuledOut(answer, candidate) ||
        !HoldsSecret(candidate, answer.bytes)) {
      continue;
    }
    BeginLine("Secret", output);
    output->Write(
        "as " + candidate.type->descriptor->name() +
        ", these bytes can hold a pass phrase, which commands for other "
        "types show\n");
  }
  UnknownSecret unknown(answer);
  Walk(*answer.type, answer.bytes, unknown);
  if (unknown.words.empty()) return;
  BeginLine("Secret", output);
  output->Write(unknown.words + '\n');
}

}  // namespace

Answer AnswerFor(const Capture& capture, const std::vector<const Type*>& types,
                 const Type* given) {
  Answer answer;
  answer.given = given;
  Record record;
  record.bytes = capture.bytes;
  if (!capture.written.empty()) record.written = &capture.written;
  answer.candidates = RankRecord(types, record);
  answer.verdict = given != nullptr ? std::vector<const Type*>{given}
                                    : Verdict(answer.candidates);
  answer.type = given != nullptr ? given : answer.candidates.front().type;
  answer.bytes = capture.bytes;
  for (const Written& message : capture.written) {
    if (message.type == answer.type) answer.bytes = message.bytes;
  }
  if (answer.verdict.empty()) {
    answer.status = kMalformed;
    answer.format = KnownFormat(answer.bytes);
    if (answer.format.empty() && capture.form == "binary" &&
        IsSentence(answer.bytes)) {
      answer.format =
          answer.bytes.size() > kMostText
              ? "text too long to look for a message in it; cut one out"
              : "text without a message that can be read; cut it out if there "
                "is one";
    }
    answer.strange = IsStrange(answer.candidates.front().evidence);
    if (!answer.format.empty() || answer.strange) return answer;
  }
  // What else is wrong depends on the type.
  const size_t most = IsAlmostCertain(answer) ? kMostFindings : 1;
  MessageChecker checker(0, nullptr);
  const bool accepted =
      checker.Check(*answer.type, answer.bytes, 0, [&](const Finding& finding) {
        if (finding.severity != Severity::kAdvice &&
            answer.findings.size() < most) {
          answer.findings.push_back(finding);
        } else {
          ++answer.more_findings;
        }
      });
  if (!accepted) {
    answer.status = kMalformed;
  } else if (!answer.findings.empty()) {
    answer.status = std::max(answer.status, ExitCode::kFindings);
  }
  return answer;
}

Steps StepsFor(const Capture& capture, const Answer& answer) {
  Steps steps(capture);
  if (!answer.format.empty()) return steps;
  const std::string& name = answer.type->descriptor->name();
  const bool broken = !Weigh(*answer.type, answer.bytes).accepted;
  if (!capture.other_frame.empty()) {
    steps.AddAgain("--frame " + capture.other_frame);
  }
  if (answer.bytes.empty()) {
    steps.AddPlain("list");
    return steps;
  }
  if (!IsAlmostCertain(answer)) {
    steps.Add("guess --all");
    if (answer.strange || !answer.verdict.empty()) return steps;
  }
  if (answer.verdict.size() > 1) steps.AddTypes(answer.verdict);
  const Candidate& first = answer.candidates.front();
  if (answer.given != nullptr && first.type != answer.given &&
      IsClean(first.evidence)) {
    steps.AddAgain("");
  }
  steps.Add((broken ? "annotate " : "decode ") + name);
  if (broken) {
    steps.Add("decode " + name + " --partial");
    if (HoldsNodes(*answer.type->descriptor)) {
      steps.Add("tree --type " + name + " --partial");
    }
  } else {
    steps.AddDrawing(*answer.type, "");
  }
  if (!answer.findings.empty() || answer.more_findings > 0) {
    steps.Add("check " + name);
  }
  steps.AddPlain("describe " + name);
  return steps;
}

void PrintAnswer(const Answer& answer, Schema* schema, Output* output) {
  PrintTypes(answer, output);
  PrintMeanings(answer, schema, output);
  PrintContent(answer, output);
  PrintProblems(answer, output);
  PrintSecrets(answer, output);
}

void WriteAnswer(const Answer& answer, JsonWriter* json) {
  json->Key("size").Number(answer.bytes.size());
  json->Key("types").BeginList();
  for (const Type* type : answer.verdict) {
    json->String(type->descriptor->full_name());
  }
  json->EndList();
  const std::vector<RankedCandidate> shown =
      FirstCandidates(answer.candidates, kTypes);
  WriteCandidates(shown, answer.candidates.size() - shown.size(), answer.bytes,
                  0, json);
  json->Key("findings").BeginList();
  for (const Finding& finding : answer.findings) WriteFinding(finding, json);
  json->EndList();
}

}  // namespace tarn::tool
