// Counts judgements, and prints them for people and as JSON.
#include "conform_report.h"

#include <sys/wait.h>

#include <string>
#include <utility>

#include "candidates.h"
#include "json_writer.h"

namespace tarn::tool {
namespace {

// By Judgement::Kind.
constexpr struct {
  const char* code;
  const char* heading;
} kKinds[] = {
    {"value", "Changes values: data is lost"},
    {"unknownFields", "Drops or changes unknown fields: data is lost"},
    {"unreadable", "Writes what cannot be read: data is lost"},
    {"refused", "Refuses what must be read: data is lost"},
    {"accepted", "Reads what must be refused"},
    {"died", "Ends and leaves a question unanswered"},
    {"hung", "Does not answer in time"},
    {"flooded", "Writes a line of more than 1 MiB"},
    {"wrongIdentifier", "Answers another question"},
    {"garbage", "Writes what is no answer"},
    {"form", "Writes the same message in other bytes: nothing is lost"},
};

std::string WordsForEnd(const Judgement& judgement) {
  if (judgement.status < 0) return "closed its output";
  if (WIFSIGNALED(judgement.status)) {
    return "signal " + std::to_string(WTERMSIG(judgement.status));
  }
  return "exit status " + std::to_string(WEXITSTATUS(judgement.status));
}

std::string WordsForForm(const Judgement& judgement) {
  return judgement.size == judgement.right_size
             ? "in another order"
             : Count(judgement.size, "byte") + " instead of " +
                   std::to_string(judgement.right_size);
}

std::string WordsForValue(const Judgement& judgement) {
  std::string words = judgement.node;
  if (!words.empty() && !judgement.field.empty()) words += ' ';
  words += judgement.field;
  if (words.empty()) return "nodes in another order";
  if (judgement.before.empty() && judgement.after.empty()) {
    constexpr const char* kChanges[] = {
        " is added", " is removed",          " has moved",
        " differs",  " is in another order", " has another size"};
    return words + kChanges[judgement.change];
  }
  return words + ": " +
         (judgement.before.empty() ? "absent" : judgement.before) + " → " +
         (judgement.after.empty() ? "absent" : judgement.after);
}

// What else is known, safe to print.
std::string WordsFor(const Judgement& judgement) {
  std::string words = judgement.said;
  if (judgement.kind == Judgement::kValue) words = WordsForValue(judgement);
  if (judgement.kind == Judgement::kForm) words = WordsForForm(judgement);
  if (judgement.kind == Judgement::kDied) words = WordsForEnd(judgement);
  if (!judgement.reason.empty()) words = Escaped(judgement.reason);
  if (judgement.complaint.empty()) return words;
  return words + (words.empty() ? "" : "; ") +
         "it says: " + judgement.complaint;
}

void PrintLine(const Judgement& judgement, Output* output) {
  const std::string_view operation =
      kOperationNames[static_cast<int>(judgement.operation)];
  output->Write("  ");
  output->Write(operation);
  output->SpacesUpTo(operation.size(), 11);
  output->Untrusted(judgement.name);
  if (!judgement.limit.empty()) {
    output->Write(std::string(" (") + Escaped(judgement.limit) +
                  "): " + kKinds[judgement.kind].code);
  }
  const std::string words = WordsFor(judgement);
  if (!words.empty()) output->Write(": " + words);
  output->Write('\n');
}

void PrintCount(const char* what, size_t count, bool always, Output* output) {
  if (count == 0 && !always) return;
  const std::string_view text = what;
  output->Write(text);
  output->SpacesUpTo(text.size(), 16);
  output->Number(count);
  output->Write('\n');
}

void WriteText(const char* key, const std::string& text, JsonWriter* json) {
  if (!text.empty()) json->Key(key).String(text);
}

void WriteJudgement(const Judgement& judgement, JsonWriter* json) {
  json->BeginObject();
  json->Key("case").String(Escaped(judgement.name));
  json->Key("type").String(judgement.type->descriptor->full_name());
  json->Key("operation")
      .Word(kOperationNames[static_cast<int>(judgement.operation)]);
  json->Key("problem").Word(kKinds[judgement.kind].code);
  json->Key("losesData").Bool(LosesData(judgement.kind));
  WriteText("limit", Escaped(judgement.limit), json);
  WriteText("path", judgement.node, json);
  WriteText("field", judgement.field, json);
  WriteText("before", judgement.before, json);
  WriteText("after", judgement.after, json);
  if (judgement.kind == Judgement::kAccepted) {
    WriteText("reason", Escaped(judgement.reason), json);
  }
  if (judgement.kind == Judgement::kForm) {
    json->Key("size").Number(judgement.size);
    json->Key("expected").Number(judgement.right_size);
  }
  WriteText("said", judgement.said, json);
  WriteText("standardError", judgement.complaint, json);
  if (judgement.kind == Judgement::kDied && judgement.status >= 0) {
    const bool killed = WIFSIGNALED(judgement.status);
    json->Key(killed ? "signal" : "exitStatus")
        .Number(killed ? WTERMSIG(judgement.status)
                       : WEXITSTATUS(judgement.status));
  }
  json->EndObject();
}

}  // namespace

void ConformReport::Add(Judgement judgement) {
  ++asked_;
  if (judgement.kind == Judgement::kAgrees) {
    ++agree_;
    return;
  }
  if (judgement.kind == Judgement::kUnsupported) {
    ++unsupported_;
    return;
  }
  if (IsFailure(judgement.kind)) ++failures_;
  if (!judgement.limit.empty()) {
    ++at_limits_;
  } else if (judgement.kind == Judgement::kForm && !canonical_) {
    ++other_form_;
  } else {
    ++differ_;
  }
  judgements_.push_back(std::move(judgement));
}

ExitCode ConformReport::status() const {
  return differ_ == 0 && not_asked() == 0 && !NothingSupported() ? kFine
                                                                 : kFindings;
}

void ConformReport::Print(Output* output) const {
  const auto section = [&](const char* heading, const auto& belongs) {
    bool begun = false;
    for (const Judgement& judgement : judgements_) {
      if (!belongs(judgement)) continue;
      if (!begun) output->Painted(Color::kBold, heading);
      if (!begun) output->Write('\n');
      begun = true;
      PrintLine(judgement, output);
    }
    if (begun) output->Write('\n');
  };
  for (int kind = 0; kind < static_cast<int>(std::size(kKinds)); ++kind) {
    section(kKinds[kind].heading, [kind](const Judgement& judgement) {
      return judgement.kind == kind && judgement.limit.empty();
    });
  }
  section("At limits of the C++ runtime, where every answer is right",
          [](const Judgement& judgement) { return !judgement.limit.empty(); });
  PrintCount("questions", questions_, true, output);
  PrintCount("agree", agree_, true, output);
  PrintCount("differ", differ_, true, output);
  PrintCount("in other bytes", other_form_, false, output);
  PrintCount("at limits", at_limits_, false, output);
  PrintCount("unsupported", unsupported_, false, output);
  PrintCount("not asked", not_asked(), false, output);
}

void ConformReport::Write(Output* output) const {
  JsonWriter json(output);
  json.BeginObject();
  json.Key("questions").Number(questions_);
  json.Key("agree").Number(agree_);
  json.Key("differ").Number(differ_);
  json.Key("otherForm").Number(other_form_);
  json.Key("atLimits").Number(at_limits_);
  json.Key("unsupported").Number(unsupported_);
  json.Key("notAsked").Number(not_asked());
  json.Key("differences").BeginList();
  for (const Judgement& judgement : judgements_)
    WriteJudgement(judgement, &json);
  json.EndList();
  json.EndObject();
  json.EndLine();
}

}  // namespace tarn::tool
