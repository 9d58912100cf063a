// Tries the forms that a text can have, and decides which one it has.
#include "reading.h"

#include <algorithm>

#include "envelope.h"
#include "failure.h"
#include "forms.h"
#include "only_comments.h"
#include "quality.h"
#include "read_inside.h"
#include "written.h"

namespace tarn::tool {
namespace {

struct Attempt {
  std::string form = "binary";
  bool certain = false;
  Quality quality = Quality::kNone;
  Reading reading;
  Refused refused;  // of text and JSON that no type takes
};

// A message as text or JSON, for every type that takes it.
Attempt TryWritten(const std::string& form, const std::string& name,
                   const std::vector<const Type*>& types,
                   std::string_view text) {
  Attempt attempt;
  attempt.form = form;
  for (const Type* type : types) {
    try {
      std::string bytes = EncodeWritten(form, *type, text, name);
      attempt.reading.written.push_back({type, std::move(bytes)});
    } catch (const Failure& failure) {
      if (failure.code() != kMalformed) throw;
    }
  }
  if (attempt.reading.written.empty()) {
    attempt.refused = ExplainWritten(form, name, types, text);
    return attempt;
  }
  attempt.reading.bytes = attempt.reading.written.front().bytes;
  attempt.quality =
      attempt.reading.bytes.empty() ? Quality::kOdd : Quality::kClean;
  return attempt;
}

// Says that a dump has lost its beginning, or another form its end.
std::string NoteOn(const Form& form, const std::string& name) {
  if (form.cut && !form.text.empty()) {
    return name + (form.name == "json" ? "the JSON" : "the text") +
           " is cut off: the rest is missing";
  }
  if (form.cut) {
    return name + "the " + form.name + " is cut off after " +
           std::to_string(form.bytes.size()) + " bytes: the rest is missing";
  }
  if (form.skipped == 0) return "";
  const std::string skipped = std::to_string(form.skipped);
  return name + "the dump begins at byte " + skipped + ": the " + skipped +
         " bytes before are missing";
}

Attempt Try(Form&& form, const std::string& name,
            const std::vector<const Type*>& types) {
  Attempt attempt;
  std::string note = NoteOn(form, name);
  if (form.name == "text" || form.name == "json") {
    if (form.name == "text" && !form.cut)
      note = NoteOnComments(form.text, name);
    attempt = TryWritten(form.name, name, types, form.text);
  } else {
    attempt.form = form.name;
    attempt.quality = QualityOf(types, form.bytes, form.cut);
    attempt.reading.bytes = std::move(form.bytes);
  }
  attempt.reading.cut = form.cut;
  attempt.reading.form = attempt.form;
  attempt.reading.layout = form.layout;
  attempt.reading.note = std::move(note);
  attempt.certain = form.certain;
  return attempt;
}

// The attempts that are as good as the best one.
std::vector<Attempt*> Best(std::vector<Attempt>* attempts, bool certain) {
  std::vector<Attempt*> best;
  for (const Quality quality :
       {Quality::kClean, Quality::kOdd, Quality::kForeign}) {
    for (Attempt& attempt : *attempts) {
      if (attempt.quality == quality && (attempt.certain || !certain)) {
        best.push_back(&attempt);
      }
    }
    if (!best.empty()) break;
  }
  return best;
}

bool IsDump(const Attempt& attempt) {
  return attempt.certain && attempt.reading.layout.substr(0, 6) == "a dump";
}

// Of a dump whose groups can be words or bytes, keeps the words alone, unless
// the bytes are a sound message.
void PreferWords(std::vector<Attempt>* attempts) {
  if (attempts->size() == 2 && IsDump(attempts->front()) &&
      attempts->front().form == "words" &&
      attempts->back().quality != Quality::kClean) {
    attempts->pop_back();
  }
}

// The readings that the input leaves open; a single one needs no choice. An
// input that ends like a line, and has no known field as binary, is taken for a
// line that a person wrote, not for binary.
std::vector<Attempt*> Choices(std::vector<Attempt>* attempts, Attempt* binary,
                              bool line) {
  std::vector<Attempt*> choices = Best(attempts, true);
  if (!choices.empty()) return choices;
  // A dump is one even if its message is broken.
  if (!attempts->empty() && IsDump(attempts->front()) &&
      binary->quality != Quality::kClean) {
    return {&attempts->front()};
  }
  choices = Best(attempts, false);
  // Names of fields are no accident.
  if (binary->quality == Quality::kForeign && !attempts->empty() &&
      attempts->front().refused.likeliest != nullptr) {
    return choices;
  }
  if (binary->quality == Quality::kNone ||
      (binary->quality == Quality::kForeign && line && !choices.empty())) {
    return choices;
  }
  if (choices.empty() || choices.front()->quality != Quality::kClean) {
    return {binary};
  }
  choices.insert(choices.begin(), binary);
  return choices;
}

[[noreturn]] void AskForForm(const std::string& name,
                             const std::vector<Attempt*>& choices) {
  std::string words;
  std::vector<std::string> forms;
  for (const Attempt* choice : choices) {
    if (choice != choices.front())
      words += choice == choices.back() ? " and as " : ", as ";
    words += choice->form;
    forms.push_back(choice->form);
  }
  throw NotRead(
      kUsage,
      name + "can be read as " + words + ": say with --from which it is",
      forms);
}

// Ends the command for a text that no type takes.
[[noreturn]] void Refuse(const Attempt& attempt, const std::string& name,
                         const std::vector<const Type*>& types,
                         std::string_view input) {
  if (attempt.form == "json" && !attempt.refused.several &&
      (attempt.refused.likeliest == nullptr || attempt.refused.strange)) {
    const Enclosed found = FindEnclosed(types, Trim(input));
    if (!found.words.empty()) {
      throw NotRead(kMalformed, name + found.words, {attempt.form}, nullptr,
                    found.filter);
    }
  }
  const std::string line =
      std::to_string(LineAt(input, Trim(input).data() - input.data()));
  throw NotRead(kMalformed, attempt.refused.complaint, {attempt.form},
                attempt.refused.likeliest,
                attempt.refused.several ? "sed -n " + line + 'p' : "");
}

Reading ReadAs(const InputOptions& options, const std::string& name,
               const std::vector<const Type*>& types, std::string_view input) {
  Reading reading;
  input = WithoutMark(input);
  if (options.from == "text" || options.from == "json") {
    Attempt attempt = TryWritten(options.from, name, types, input);
    if (!attempt.refused.complaint.empty()) Refuse(attempt, name, types, input);
    if (options.from == "text") {
      attempt.reading.note = NoteOnComments(input, name);
    }
    return std::move(attempt.reading);
  }
  if (!FromForm(options.from, input, options.max_size, &reading.bytes)) {
    throw NotRead(kMalformed, name + WhyNoForm(options.from, input),
                  {options.from});
  }
  if (options.frame != "none") return reading;
  for (const Form& form : FormsOf(input, options.max_size)) {
    if (form.name != options.from) continue;
    RefuseLines(name, types, input, form);
    reading.note = NoteOn(form, name);
  }
  return reading;
}

// Leaves the reading as it is if the input is binary, or at least has no other
// form.
void ReadAuto(const InputOptions& options, const std::string& name,
              const std::vector<const Type*>& types, std::string_view input,
              Reading* reading) {
  std::vector<Attempt> attempts;
  std::string problem, remedy;
  std::vector<Form> forms = FormsOf(input, options.max_size);
  if (forms.empty() && !IsText(input)) return;
  Attempt binary;
  binary.quality = QualityOf(types, input);
  for (Form& form : forms) {
    if (options.frame == "none" &&
        (form.certain || binary.quality != Quality::kClean)) {
      RefuseLines(name, types, input, form);
    }
    if (form.problem.empty()) {
      attempts.push_back(Try(std::move(form), name, types));
    } else if (problem.empty()) {
      problem = form.problem;
      remedy = form.remedy;
    }
  }
  PreferWords(&attempts);
  // Digits that are clearly some, but cannot be read, are nothing else.
  if (attempts.empty() && !forms.empty() && forms.front().certain &&
      binary.quality != Quality::kClean) {
    throw NotRead(kMalformed, name + problem, {forms.front().name}, nullptr,
                  remedy);
  }
  const std::vector<Attempt*> choices =
      Choices(&attempts, &binary, input.back() == '\n');
  if (choices.size() > 1) AskForForm(name, choices);
  if (!choices.empty()) {
    if (choices.front() != &binary) {
      *reading = std::move(choices.front()->reading);
    }
    return;
  }
  if (ReadInside(name, types, input, reading)) return;
  if (!problem.empty()) {
    throw NotRead(kMalformed, name + problem, {forms.back().name}, nullptr,
                  remedy);
  }
  if (attempts.empty()) return;
  Attempt& likeliest = attempts.front();
  if (!likeliest.refused.complaint.empty())
    Refuse(likeliest, name, types, input);
  *reading = std::move(likeliest.reading);
}

}  // namespace

Reading Read(const InputOptions& options, const std::string& name,
             const std::vector<const Type*>& types, std::string_view input) {
  Reading reading;
  if (options.from == "binary" || input.empty()) return reading;
  if (options.from == "auto") {
    ReadAuto(options, name, types, input, &reading);
  } else {
    reading = ReadAs(options, name, types, input);
    reading.form = options.from;
  }
  return reading;
}

}  // namespace tarn::tool
