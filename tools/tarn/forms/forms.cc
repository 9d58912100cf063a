// Recognizes forms: removes what mail, editors and programs put around a
// message, then tries each form on the rest.
#include "forms.h"

#include <algorithm>
#include <charconv>

#include "broken_digits.h"
#include "cut_text.h"
#include "dump.h"
#include "dump_kind.h"
#include "dump_rows.h"
#include "log_line.h"
#include "utf8.h"

namespace tarn::tool {
namespace {

bool IsWord(char c) {
  return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') ||
         c == '_';
}

// Whether a text begins like the text format: with a comment, or with the name
// of a field and the sign that must follow it.
bool LooksLikeText(std::string_view text) {
  text = Trim(text);
  if (text.empty()) return false;
  if (text.front() == '#') return true;
  size_t i = 0;
  while (i < text.size() && IsWord(text[i])) ++i;
  if (i == 0 || (text[0] >= '0' && text[0] <= '9')) return false;
  while (i < text.size() && IsSpace(text[i])) ++i;
  return i < text.size() && (text[i] == ':' || text[i] == '{');
}

bool LooksLikeJson(std::string_view text) {
  text = Trim(text);
  // A list holds messages, which can be told.
  if (text.substr(0, 1) == "[") text = Trim(text.substr(1));
  if (text.size() < 2 || text.front() != '{') return false;
  const std::string_view inside = Trim(text.substr(1));
  return inside.front() == '"' || inside == "}";
}

// Removes the marks of a quotation in a mail. Returns false if there are none.
bool Unquote(std::string_view text, std::string* plain) {
  plain->clear();
  bool any = false;
  while (!text.empty()) {
    const std::string_view line = TakeLine(&text);
    if (!Trim(line).empty() && line.front() != '>') return false;
    any = any || line.substr(0, 1) == ">";
    plain->append(Unquoted(line));
    *plain += '\n';
  }
  return any;
}

// Removes line numbers, as cat -n or grep -n write them. Returns false if the
// numbers do not follow one another.
bool Unnumber(std::string_view text, std::string* plain) {
  plain->clear();
  uint64_t last = 0;
  while (!text.empty()) {
    std::string_view line = TakeLine(&text);
    const std::string_view trimmed = Trim(line);
    if (trimmed.empty()) continue;
    const bool padded = trimmed.data() != line.data();
    uint64_t number = 0;
    const char* end = trimmed.data() + trimmed.size();
    const auto [p, error] = std::from_chars(trimmed.data(), end, number);
    if (error != std::errc() || p == end || trimmed.front() == '0' ||
        number != (last == 0 ? number : last + 1)) {
      return false;
    }
    constexpr std::string_view kMarks = "\t:|).";
    const bool marked = kMarks.find(*p) != kMarks.npos;
    if (!marked && !(*p == ' ' && (padded || number < 10))) return false;
    last = number;
    plain->append(p + 1, end);
    *plain += '\n';
  }
  return last != 0;
}

// Removes quotation marks, brackets and the like around digits.
std::string_view Unwrap(std::string_view text) {
  constexpr std::pair<std::string_view, std::string_view> kWraps[] = {
      {"<Buffer", ">"}, {"X'", "'"}, {"x'", "'"}, {"\"", "\""}, {"'", "'"},
      {"`", "`"},       {"[", "]"},  {"<", ">"},  {"(", ")"}};
  text = Trim(text);
  for (const auto& [open, close] : kWraps) {
    if (text.size() > open.size() && text.substr(0, open.size()) == open &&
        text.substr(text.size() - 1) == close) {
      return Trim(text.substr(open.size(), text.size() - open.size() - 1));
    }
  }
  return text;
}

// "data:application/x-protobuf;base64,CgE="
void AddDataUri(std::string_view text, std::vector<Form>* forms) {
  if (text.substr(0, 5) != "data:") return;
  const size_t comma = text.find(',');
  if (comma == text.npos) return;
  Form form;
  form.name = "base64";
  form.layout = "a data address";
  form.certain = true;
  const std::string_view head = text.substr(0, comma);
  if (head.size() < 7 || head.substr(head.size() - 7) != ";base64") {
    form.problem = "a data address that is not in base64";
  } else if (!FromBase64(text.substr(comma + 1), &form.bytes)) {
    form.problem = "a data address whose base64 is broken";
  }
  forms->push_back(form);
}

void AddDump(std::string_view text, uint64_t max_size,
             std::vector<Form>* forms) {
  constexpr std::pair<DumpUnit, const char*> kUnits[] = {
      {DumpUnit::kHexBytes, "hex"},
      {DumpUnit::kHexWords, "words"},
      {DumpUnit::kOctalBytes, "octal"},
      {DumpUnit::kOctalWords, "octal"}};
  Dump dump;
  Dump furthest;
  bool bytes_verified = false;
  for (const auto& [unit, name] : kUnits) {
    if (!ReadDump(text, unit, max_size, &dump)) {
      if (GotFurther(dump, furthest)) furthest = std::move(dump);
      continue;
    }
    const bool words = unit == DumpUnit::kHexWords && !forms->empty();
    if (words) {
      // Groups after a colon are bytes, unless the characters show that they
      // are words.
      if (bytes_verified || (!dump.ambiguous && !dump.verified)) continue;
      if (dump.verified) forms->clear();
    }
    bytes_verified = dump.verified;
    Form form;
    form.name = name;
    form.layout = "a dump";
    form.skipped = dump.skipped;
    if (form.skipped > 0) {
      form.layout +=
          " without its first " + std::to_string(form.skipped) + " bytes";
    }
    form.bytes = std::move(dump.bytes);
    form.certain = dump.certain;
    // Without a colon, groups are likelier words.
    forms->insert(words ? forms->begin() : forms->end(), std::move(form));
  }
  if (!forms->empty()) return;
  const DumpRows rows = RowsOf(text);
  const bool gap = furthest.gap_end > 0;
  if (!gap && !rows.regular && !LooksLikeDump(text)) return;
  Form form;
  form.name = "hex";
  form.certain = true;
  if (gap || rows.regular) form.layout = "a dump";
  form.problem = gap ? "" : rows.regular ? rows.problem : WhyUnreadable(text);
  if (form.problem.empty()) form.problem = WhyNoDump(furthest);
  if (!gap && rows.sortable) form.remedy = "sort";
  forms->push_back(form);
}

std::vector<Form> Within(const char* layout, std::vector<Form> forms) {
  for (Form& form : forms) {
    form.layout += (form.layout.empty() ? "" : ", ") + std::string(layout);
    form.remedy.clear();  // it is for what is inside
  }
  return forms;
}

// Keeps the digits of several lines, which can be messages of their own.
void KeepLines(std::string_view digits, Form* form) {
  if (digits.find('\n') != digits.npos) form->digits = std::string(digits);
}

// Text or JSON up to a mark that the rest is left out.
std::string_view WithoutEnd(std::string_view text) {
  const std::string_view line = text.substr(text.rfind('\n') + 1);
  return text.back() == '}' || line.find('#') != line.npos
             ? text
             : WithoutCutMark(text);
}

// The forms of a text that has nothing else around it.
std::vector<Form> PlainForms(std::string_view text, uint64_t max_size) {
  std::vector<Form> forms;
  const auto add = [&](const char* name, bool certain, std::string bytes,
                       const char* layout = "") {
    Form form;
    form.name = name;
    form.layout = layout;
    form.certain = certain;
    form.bytes = std::move(bytes);
    forms.push_back(std::move(form));
  };
  const std::string_view whole = text;
  text = Trim(text);
  AddDataUri(text, &forms);
  if (forms.empty()) AddDump(whole, max_size, &forms);
  if (!forms.empty() && forms.front().certain) return forms;
  std::string bytes;
  if (FromArray(text, &bytes)) {
    add("source", true, bytes, "an array");
    return forms;
  }
  const bool numbers = FromNumbers(text, &bytes);
  if (numbers) {
    add("source", text.front() == '[', bytes, "numbers");
    KeepLines(text, &forms.back());
  }
  const bool json = LooksLikeJson(text);
  if (json || LooksLikeText(text)) {
    add(json ? "json" : "text", json, "");
    forms.back().text = std::string(WithoutEnd(text));
    forms.back().cut = forms.back().text.size() < text.size();
  }
  const std::string_view digits = Unwrap(text);
  if (const std::string odd = OddDigits(digits); !odd.empty()) {
    add("hex", true, "");
    forms.back().problem = odd;
    return forms;
  }
  if (const std::string wrong = WrongDigit(whole, digits); !wrong.empty()) {
    add("hex", true, "");
    forms.back().problem = wrong;
    return forms;
  }
  if (LooksScanned(digits)) {
    add("hex", false, "");
    forms.back().problem =
        "hexadecimal digits with letters among them that look like 0 or 1";
    return forms;
  }
  bytes.clear();
  bool long_hex = false;
  if (digits.substr(0, 2) == "\\x" && FromHexDigits(digits.substr(2), &bytes)) {
    add("hex", false, bytes);
  }
  bytes.clear();
  if (FromEscapes(text, &bytes))
    add("source", bytes.size() > 1, bytes, "strings with escapes");
  bytes.clear();
  if (FromHexDigits(digits, &bytes) && !bytes.empty()) {
    add("hex", ArePairs(digits), bytes);
    KeepLines(digits, &forms.back());
    long_hex = bytes.size() >= 8;
  }
  // Many digits that are all hexadecimal are hardly base64.
  if (!long_hex && !numbers && FromBase64(digits, &bytes)) {
    add("base64", false, bytes);
    KeepLines(digits, &forms.back());
  }
  return forms;
}

bool FromPlainForm(std::string_view name, std::string_view text,
                   uint64_t max_size, std::string* bytes) {
  const auto dump = [&](DumpUnit unit) {
    Dump read;
    if (!ReadDump(text, unit, max_size, &read)) return false;
    *bytes = std::move(read.bytes);
    return true;
  };
  bytes->clear();
  text = Trim(text);
  if (name == "words") return dump(DumpUnit::kHexWords);
  if (name == "octal") {
    return dump(DumpUnit::kOctalBytes) || dump(DumpUnit::kOctalWords);
  }
  if (name == "source")
    return FromArray(text, bytes) || FromNumbers(text, bytes) ||
           FromEscapes(text, bytes);
  if (name == "hex") {
    if (dump(DumpUnit::kHexBytes)) return true;
    std::string_view digits = Unwrap(text);
    if (digits.substr(0, 2) == "\\x") digits.remove_prefix(2);
    return FromHexDigits(digits, bytes);
  }
  std::vector<Form> forms;
  AddDataUri(text, &forms);
  if (forms.empty()) return FromBase64(Unwrap(text), bytes);
  *bytes = std::move(forms.front().bytes);
  return forms.front().problem.empty();
}

}  // namespace

bool FromForm(std::string_view name, std::string_view input, uint64_t max_size,
              std::string* bytes) {
  if (FromPlainForm(name, input, max_size, bytes)) return true;
  std::string plain;
  if (Unquote(input, &plain)) return FromForm(name, plain, max_size, bytes);
  // Only once: a line can go on like a line of a log again and again.
  return (Unlog(input, &plain) || Unnumber(input, &plain)) &&
         FromPlainForm(name, plain, max_size, bytes);
}

bool IsText(std::string_view input) {
  for (const char c : input) {
    const unsigned char byte = c;
    if ((byte < 0x20 && !IsSpace(c)) || byte == 0x7F) return false;
  }
  return FindInvalidUtf8(input.data(), input.data() + input.size()) == nullptr;
}

std::string_view WithoutMark(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  const bool marked = text.substr(0, kMark.size()) == kMark;
  return text.substr(marked ? kMark.size() : 0);
}

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view TakeLine(std::string_view* text) {
  const size_t size = std::min(text->find('\n'), text->size());
  const std::string_view line = text->substr(0, size);
  text->remove_prefix(std::min(size + 1, text->size()));
  return line;
}

std::string_view Unquoted(std::string_view line) {
  size_t mark;
  while ((mark = line.find_first_not_of(' ')) != line.npos &&
         line[mark] == '>') {
    line.remove_prefix(mark + 1);
  }
  if (!line.empty() && line.front() == ' ') line.remove_prefix(1);
  return line;
}

namespace {

// The forms of an input without a look at a mark at its end.
std::vector<Form> WholeForms(std::string_view input, uint64_t max_size) {
  input = WithoutMark(input);
  if (!IsText(input) || Trim(input).empty()) return {};
  std::string plain;
  if (Unquote(input, &plain))
    return Within("quoted as in a mail", WholeForms(plain, max_size));
  // JSON goes on over lines; words of several lines are no digits.
  if (Unlog(input, &plain) && LooksLikeJson(plain)) {
    return Within("in a log", PlainForms(plain, max_size));
  }
  std::vector<Form> forms = PlainForms(input, max_size);
  if ((forms.empty() || !forms.front().certain ||
       !forms.front().problem.empty()) &&
      Unnumber(input, &plain)) {
    for (Form& form : Within("numbered", PlainForms(plain, max_size))) {
      forms.push_back(std::move(form));
    }
  }
  // A form that cannot be read is reported only if no other form can be read.
  std::stable_partition(forms.begin(), forms.end(),
                        [](const Form& form) { return form.problem.empty(); });
  return forms;
}

// The forms of digits with a mark after them that the rest is left out. The
// last digit can be a part of a byte.
std::vector<Form> CutForms(std::string_view input, uint64_t max_size) {
  constexpr size_t kLeast = 8;
  const size_t size = WithoutCutMark(input).size();
  if (size == input.size()) return {};
  std::string_view line = input.substr(input.substr(0, size).rfind('\n') + 1);
  // The characters of a dump can be dots.
  if (line = TakeLine(&line); line.size() + line.data() > input.data() + size &&
                              IsDumpLine(Trim(line))) {
    return {};
  }
  for (const size_t part : {size, size - std::min<size_t>(1, size)}) {
    const std::string_view text = Trim(input.substr(0, part));
    std::vector<Form> forms = WholeForms(text, max_size);
    forms.erase(
        std::remove_if(forms.begin(), forms.end(),
                       [&](const Form& form) {
                         return form.bytes.size() < kLeast ||
                                (form.name == "base64" && IsProse(text));
                       }),
        forms.end());
    for (Form& form : forms) form.cut = true;
    if (!forms.empty()) return Within("cut off at its end", std::move(forms));
  }
  return {};
}

}  // namespace

std::vector<Form> FormsOf(std::string_view input, uint64_t max_size) {
  std::vector<Form> forms = WholeForms(input, max_size);
  if (!forms.empty() && forms.front().problem.empty()) return forms;
  std::vector<Form> cut = CutForms(input, max_size);
  return cut.empty() ? forms : cut;
}

}  // namespace tarn::tool
