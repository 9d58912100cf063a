// Tries the forms that a text can have, and decides which one it has.
#include "reading.h"

#include <algorithm>

#include "failure.h"
#include "forms.h"
#include "line_messages.h"
#include "only_comments.h"
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

// Says that a dump has lost its beginning.
std::string NoteOn(const Form& form, const std::string& name) {
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
    if (form.name == "text") note = NoteOnComments(form.text, name);
    attempt = TryWritten(form.name, name, types, form.text);
  } else {
    attempt.form = form.name;
    attempt.quality = QualityOf(types, form.bytes);
    attempt.reading.bytes = std::move(form.bytes);
  }
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

// Ends the command for a text with several messages in it, which begin in these
// lines; of many, the first ones. `part`: the lines of the first message.
[[noreturn]] void RefuseSeveral(const std::string& name, size_t count,
                                const std::vector<size_t>& lines,
                                const std::string& part) {
  std::string places;
  for (size_t i = 0; i < lines.size(); ++i) {
    const bool last = i + 1 == count;
    places += i == 0 ? "" : last ? " and " : ", ";
    places += std::to_string(lines[i]);
  }
  if (lines.size() < count) {
    places += " and " + std::to_string(count - lines.size()) + " more";
  }
  throw NotRead(kMalformed,
                name + "text with " + std::to_string(count) +
                    " messages in it, in lines " + places + ": cut one out",
                {}, nullptr, part);
}

constexpr size_t kLinesShown = 3;

// Ends the command for a text with several messages inside of it.
[[noreturn]] void RefuseFound(const std::string& name, std::string_view input,
                              const std::vector<Form>& found) {
  std::vector<size_t> lines;
  for (const Form& form : found) {
    if (lines.size() == kLinesShown) break;
    lines.push_back(LineAt(input, form.embedded_at));
  }
  const Form& first = found.front();
  const size_t end = first.embedded_at + first.embedded_size;
  const size_t last = LineAt(input, end - 1);
  std::string part = std::to_string(lines.front());
  if (last > lines.front()) part += ',' + std::to_string(last);
  if (lines[1] <= last) part.clear();
  RefuseSeveral(name, found.size(), lines, part);
}

bool HasDigits(std::string_view line) {
  return std::any_of(line.begin(), line.end(), [](unsigned char c) {
    return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z');
  });
}

// Ends the command for digits whose lines are messages of their own.
void RefuseLines(const std::string& name, const std::vector<const Type*>& types,
                 std::string_view input, const Form& form) {
  const LineMessages found = FindLineMessages(types, form);
  if (found.count == 0) return;
  if (found.can_be_one) {
    throw NotRead(kMalformed,
                  name + form.name + " in " + std::to_string(found.count) +
                      " lines, which can be one message or one in each line: "
                      "join the lines, or cut one out",
                  {});
  }
  std::vector<size_t> lines;
  std::string_view rest = input;
  for (size_t line = 1; !rest.empty() && lines.size() < kLinesShown; ++line) {
    if (HasDigits(TakeLine(&rest))) lines.push_back(line);
  }
  RefuseSeveral(name, found.count, lines, std::to_string(lines.front()));
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
        IsSeveral(types, forms, form) ||
        FindLineMessages(types, form).count > 0) {
      continue;
    }
    end = form.embedded_at + form.embedded_size;
    found.push_back(std::move(form));
  }
  if (found.empty()) return false;
  if (found.size() > 1) RefuseFound(name, input, found);
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
  std::string problem;
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
    }
  }
  PreferWords(&attempts);
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
