// Reads comments as what they can have been before somebody put a # before each
// line.
#include "only_comments.h"

#include <algorithm>

#include "forms.h"
#include "reading.h"

namespace tarn::tool {
namespace {

// Whether a line shows an unknown field, as tarn prints it: "15: 150".
bool IsUnknownField(std::string_view line) {
  const size_t end =
      std::min(line.find_first_not_of("0123456789"), line.size());
  return end > 0 && line.front() != '0' &&
         (line.substr(end, 2) == ": " || line.substr(end, 2) == " {");
}

// Whether a form is more than a word or a number that a person wrote.
bool IsMessage(const Form& form, std::string_view text) {
  constexpr size_t kLeast = 4;
  if (!form.text.empty() || !form.problem.empty()) return false;
  if (form.name == "base64") {
    return form.bytes.size() >= 3 * kLeast && text.find(' ') == text.npos;
  }
  return form.certain || form.bytes.size() >= kLeast;
}

// Takes the # off each line. Returns false if a line has none.
bool Uncomment(std::string_view text, std::string* plain) {
  while (!text.empty()) {
    std::string_view line = Trim(TakeLine(&text));
    if (line.empty()) continue;
    if (line.front() != '#') return false;
    line.remove_prefix(line.substr(0, 2) == "# " ? 2 : 1);
    plain->append(line);
    *plain += '\n';
  }
  return !plain->empty();
}

}  // namespace

std::string NoteOnComments(std::string_view text, const std::string& name) {
  std::string plain;
  if (!Uncomment(text, &plain)) return "";
  const std::string note = name + "nothing but comments";
  if (IsUnknownField(plain)) return note + ": an empty message";
  for (const Form& form : FormsOf(plain, text.size())) {
    if (!IsMessage(form, Trim(plain))) continue;
    throw NotRead(kMalformed,
                  note + ", which hold " +
                      (form.layout.empty() ? form.name : form.layout) +
                      ": take the # off each line",
                  {});
  }
  return note + ": an empty message";
}

}  // namespace tarn::tool
