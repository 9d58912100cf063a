// Puts together what other verbs know, for one screen.
#include "what_message.h"

#include <algorithm>

#include "candidates.h"
#include "encoding.h"
#include "forms.h"
#include "input.h"
#include "known_format.h"
#include "nodes.h"
#include "salvage.h"
#include "what_page.h"
#include "what_secrets.h"

namespace tarn::tool {
namespace {

// Findings that are shown.
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

// What is in a message, or in the part of it before an error.
Content ContentOfAnswer(const Answer& answer) {
  const auto message = NewMessage(*answer.type);
  std::string salvaged;
  std::string_view bytes = answer.bytes;
  if (!IsAlmostCertain(answer) || bytes.size() > kMostCounted) return {};
  if (!answer.accepted) {
    salvaged = FindDamage(*answer.type, bytes, 0).salvaged;
    bytes = salvaged;
  }
  if (!message->ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) {
    return {};
  }
  return ContentOf(*message);
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
      FirstCandidates(answer.candidates, std::min(kShownTypes, most));
  const size_t width = WidthOf(answer.candidates, shown.size());
  output->WrapLines(kPageColumn + kCandidateIndent);
  for (const RankedCandidate& candidate : shown) {
    BeginLine("", output);
    PrintCandidate(candidate, answer.bytes, width, output);
  }
  output->WrapLines(kPageIndent);
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
  PrintCandidates(answer, kShownTypes, output);
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
    const bool none = answer.more_findings == 0;
    const bool well = answer.content.well;
    output->Write(!none        ? "only advice: see tarn check"
                  : answer.cut ? "none in the bytes that are there"
                  : well       ? "none"
                               : "none in the bytes");
    output->Write(well ? "\n" : "; not all of the network is well\n");
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

}  // namespace

Answer AnswerFor(const Capture& capture, const std::vector<const Type*>& types,
                 const Type* given) {
  Answer answer;
  answer.given = given;
  answer.cut = capture.cut;
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
  answer.accepted = Weigh(*answer.type, answer.bytes).accepted;
  if (answer.verdict.empty()) {
    answer.status = kMalformed;
    const KnownFormat format = KnownFormatOf(answer.bytes);
    answer.format = WordsOf(format);
    if (capture.form == "binary") answer.filter = format.filter;
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
  answer.content = ContentOfAnswer(answer);
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
  if (!answer.filter.empty()) steps.AddFiltered(answer.filter);
  if (!answer.format.empty()) return steps;
  const std::string& name = answer.type->descriptor->name();
  const bool broken = !answer.accepted;
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
    if (!answer.content.well) steps.AddDrawing(*answer.type, " --errors");
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
  if (!answer.content.words.empty()) {
    BeginLine("Content", output);
    PrintContent(answer.content, output);
    output->Write(answer.accepted ? "\n" : ", before the error\n");
  }
  PrintProblems(answer, output);
  PrintSecrets(SecretsOf(answer), output);
}

void WriteAnswer(const Answer& answer, JsonWriter* json) {
  json->Key("size").Number(answer.bytes.size());
  json->Key("types").BeginList();
  for (const Type* type : answer.verdict) {
    json->String(type->descriptor->full_name());
  }
  json->EndList();
  const std::vector<RankedCandidate> shown =
      FirstCandidates(answer.candidates, kShownTypes);
  WriteCandidates(shown, answer.candidates.size() - shown.size(), answer.bytes,
                  0, json);
  json->Key("findings").BeginList();
  for (const Finding& finding : answer.findings) WriteFinding(finding, json);
  json->EndList();
  WriteSecrets(SecretsOf(answer), json);
}

}  // namespace tarn::tool
