// Chooses among the messages that a text can hold.
#include "read_inside.h"

#include <algorithm>

#include "failure.h"
#include "line_messages.h"
#include "quality.h"

namespace tarn::tool {
namespace {

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

// Ends the command for a text with several messages in it, which begin in these
// lines; of many, the first ones. `part`: the lines of the first message, as
// sed takes them, if these hold no other.
[[noreturn]] void RefuseSeveral(const std::string& name, size_t count,
                                const std::string& what,
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
                name + "text with " + std::to_string(count) + ' ' + what +
                    " in it, in lines " + places + ": cut one out",
                {}, nullptr, part.empty() ? "" : "sed -n " + part + 'p');
}

constexpr size_t kLinesShown = 3;

// Ends the command for a text with several messages inside of it.
[[noreturn]] void RefuseFound(const std::string& name, std::string_view input,
                              const std::string& what,
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
  RefuseSeveral(name, found.size(), what, lines, part);
}

bool HasDigits(std::string_view line) {
  return std::any_of(line.begin(), line.end(), [](unsigned char c) {
    return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z');
  });
}

// The messages among forms in the order of their places.
std::vector<Form> FindMessages(const std::string& name,
                               const std::vector<const Type*>& types,
                               const std::vector<Form>& forms) {
  std::vector<Form> found;
  size_t end = 0;  // of the message before
  for (const Form& form : forms) {
    if (form.embedded_at < end) continue;
    if (!form.problem.empty()) {
      throw NotRead(kMalformed,
                    name + "text with a dump inside: " + form.problem,
                    {form.name});
    }
    if (QualityOf(types, form.bytes, form.cut) != Quality::kClean ||
        IsSeveral(types, forms, form) ||
        FindLineMessages(types, form).count > 0) {
      continue;
    }
    end = form.embedded_at + form.embedded_size;
    found.push_back(form);
  }
  return found;
}

// The dumps among them, whatever they hold.
std::vector<Form> FindDumps(const std::vector<Form>& forms) {
  std::vector<Form> found;
  size_t end = 0;
  for (const Form& form : forms) {
    if (form.embedded_at < end || !form.certain ||
        form.layout.substr(0, 6) != "a dump") {
      continue;
    }
    end = form.embedded_at + form.embedded_size;
    found.push_back(form);
  }
  return found;
}

}  // namespace

size_t LineAt(std::string_view input, size_t offset) {
  return 1 + std::count(input.begin(), input.begin() + offset, '\n');
}

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
  RefuseSeveral(name, found.count, "messages", lines,
                std::to_string(lines.front()));
}

bool ReadInside(const std::string& name, const std::vector<const Type*>& types,
                std::string_view input, Reading* reading) {
  std::vector<Form> forms = FormsInside(input);
  std::stable_sort(forms.begin(), forms.end(),
                   [](const Form& a, const Form& b) {
                     return a.embedded_at < b.embedded_at;
                   });
  std::vector<Form> found = FindMessages(name, types, forms);
  const std::string what = found.empty() ? "dump" : "message";
  if (found.empty()) found = FindDumps(forms);
  if (found.empty()) return false;
  if (found.size() > 1) RefuseFound(name, input, what + 's', found);
  Form& form = found.front();
  const std::string place = std::to_string(form.embedded_at);
  reading->form = form.name;
  reading->layout = "inside other text, at byte " + place;
  reading->note = name + "text with one " + what + " in it: the " +
                  reading->form + " at byte " + place + " is read";
  if (form.cut) {
    reading->layout += ", cut off at its end";
    reading->note +=
        ", and cut off after " + std::to_string(form.bytes.size()) + " bytes";
  }
  reading->cut = form.cut;
  reading->bytes = std::move(form.bytes);
  return true;
}

}  // namespace tarn::tool
