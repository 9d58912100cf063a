// Tries the forms that a text can have, and decides which one it has.
#include "reading.h"

#include <algorithm>

#include "failure.h"
#include "forms.h"
#include "ranking.h"
#include "written.h"

namespace tarn::tool {
namespace {

// How well a type fits a reading.
enum class Quality {
  kNone,     // no message
  kForeign,  // nothing but unknown fields
  kOdd,
  kClean,  // fields, and nothing odd about them
};

Quality QualityOf(const std::vector<const Type*>& types,
                  std::string_view bytes) {
  Quality best = Quality::kNone;
  for (const Type* type : types) {
    const Evidence evidence = Weigh(*type, bytes);
    if (IsClean(evidence) && evidence.fields > 0) return Quality::kClean;
    if (!evidence.accepted) continue;
    best =
        std::max(best, evidence.fields > 0 ? Quality::kOdd : Quality::kForeign);
  }
  return best;
}

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

Attempt Try(Form&& form, const std::string& name,
            const std::vector<const Type*>& types) {
  Attempt attempt;
  if (form.name == "text" || form.name == "json") {
    attempt = TryWritten(form.name, name, types, form.text);
  } else {
    attempt.form = form.name;
    attempt.quality = QualityOf(types, form.bytes);
    attempt.reading.bytes = std::move(form.bytes);
  }
  attempt.reading.form = attempt.form;
  attempt.reading.layout = form.layout;
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

// Whether the lines of a block are messages of their own: those of the forms
// after it that are pieces of it and messages make up all of its bytes.
bool IsSeveral(const std::vector<const Type*>& types,
               const std::vector<Form>& forms, const Form& block) {
  if (!block.joined) return false;
  size_t end = block.embedded_at;
  size_t bytes = 0;
  for (size_t i = &block - forms.data() + 1; i < forms.size(); ++i) {
    const Form& form = forms[i];
    if (form.embedded_at >= block.embedded_at + block.embedded_size) break;
    if (form.embedded_at < end || form.bytes.size() >= block.bytes.size() ||
        QualityOf(types, form.bytes) != Quality::kClean) {
      continue;
    }
    end = form.embedded_at + form.embedded_size;
    bytes += form.bytes.size();
  }
  return bytes == block.bytes.size();
}

size_t LineAt(std::string_view input, size_t offset) {
  return 1 + std::count(input.begin(), input.begin() + offset, '\n');
}

// Ends the command for a text with several messages in it.
[[noreturn]] void RefuseSeveral(const std::string& name, std::string_view input,
                                const std::vector<Form>& found) {
  constexpr size_t kShown = 3;
  const size_t shown = std::min(found.size(), kShown);
  std::string places;
  for (size_t i = 0; i < shown; ++i) {
    const bool last = i + 1 == found.size();
    places += i == 0 ? "" : last ? " and " : ", ";
    places += std::to_string(LineAt(input, found[i].embedded_at));
  }
  if (shown < found.size()) {
    places += " and " + std::to_string(found.size() - shown) + " more";
  }
  const Form& first = found.front();
  const size_t end = first.embedded_at + first.embedded_size;
  const size_t line = LineAt(input, first.embedded_at);
  const size_t last = LineAt(input, end - 1);
  std::string lines = std::to_string(line);
  if (last > line) lines += ',' + std::to_string(last);
  if (LineAt(input, found[1].embedded_at) <= last) lines.clear();
  throw NotRead(kMalformed,
                name + "text with " + std::to_string(found.size()) +
                    " messages in it, in lines " + places + ": cut one out",
                {}, nullptr, lines);
}

// Reads a message inside other text. Returns false if there is none.
bool ReadInside(const std::string& name, const std::vector<const Type*>& types,
                std::string_view input, Reading* reading) {
  std::vector<Form> found;
  std::vector<Form> forms = FormsInside(input);
  std::stable_sort(forms.begin(), forms.end(),
                   [](const Form& a, const Form& b) {
                     return a.embedded_at < b.embedded_at;
                   });
  size_t end = 0;  // of the message before
  for (Form& form : forms) {
    if (form.embedded_at < end ||
        QualityOf(types, form.bytes) != Quality::kClean ||
        IsSeveral(types, forms, form)) {
      continue;
    }
    end = form.embedded_at + form.embedded_size;
    found.push_back(std::move(form));
  }
  if (found.empty()) return false;
  if (found.size() > 1) RefuseSeveral(name, input, found);
  const std::string place = std::to_string(found.front().embedded_at);
  reading->form = found.front().name;
  reading->layout = "inside other text, at byte " + place;
  reading->note = name + "text with one message in it: the " + reading->form +
                  " at byte " + place + " is read";
  reading->bytes = std::move(found.front().bytes);
  return true;
}

// Ends the command for a text that no type takes.
[[noreturn]] void Refuse(const Attempt& attempt, std::string_view input) {
  const size_t line = LineAt(input, Trim(input).data() - input.data());
  throw NotRead(kMalformed, attempt.refused.complaint, {attempt.form},
                attempt.refused.likeliest,
                attempt.refused.several ? std::to_string(line) : "");
}

Reading ReadAs(const InputOptions& options, const std::string& name,
               const std::vector<const Type*>& types, std::string_view input) {
  Reading reading;
  if (options.from == "text" || options.from == "json") {
    Attempt attempt = TryWritten(options.from, name, types, input);
    if (!attempt.refused.complaint.empty()) Refuse(attempt, input);
    return std::move(attempt.reading);
  }
  if (!FromForm(options.from, input, options.max_size, &reading.bytes)) {
    throw NotRead(kMalformed, name + WhyNoForm(options.from, input),
                  {options.from});
  }
  return reading;
}

// Leaves the reading as it is if the input is binary, or at least has no other
// form.
void ReadAuto(const InputOptions& options, const std::string& name,
              const std::vector<const Type*>& types, std::string_view input,
              Reading* reading) {
  std::vector<Attempt> attempts;
  std::string problem;
  std::vector<Form> forms = FormsOf(input, options.max_size);
  for (Form& form : forms) {
    if (form.problem.empty()) {
      attempts.push_back(Try(std::move(form), name, types));
    } else if (problem.empty()) {
      problem = form.problem;
    }
  }
  if (forms.empty() && !IsText(input)) return;
  PreferWords(&attempts);
  Attempt binary;
  binary.quality = QualityOf(types, input);
  // Digits that are clearly some, but cannot be read, are nothing else.
  if (attempts.empty() && !forms.empty() && forms.front().certain &&
      binary.quality != Quality::kClean) {
    throw NotRead(kMalformed, name + problem, {forms.front().name});
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
    throw NotRead(kMalformed, name + problem, {forms.back().name});
  }
  if (attempts.empty()) return;
  Attempt& likeliest = attempts.front();
  if (!likeliest.refused.complaint.empty()) Refuse(likeliest, input);
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
