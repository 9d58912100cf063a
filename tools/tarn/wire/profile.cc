// Reads files of options for nanopb.
#include "profile.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <string>
#include <vector>

#include "failure.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;

constexpr size_t kLongestLine = 200;
constexpr std::string_view kBlanks = " \t\r";

// What the lines say of one field or message; 0: nothing.
struct Settings {
  uint32_t max_size = 0;
  uint32_t max_count = 0;
  bool callback = false;

  bool any() const { return max_size != 0 || max_count != 0 || callback; }
};

struct Line {
  std::string_view mask;
  Settings settings;
};

// Takes the next word, which ends at a blank.
std::string_view TakeWord(std::string_view* rest) {
  rest->remove_prefix(std::min(rest->find_first_not_of(kBlanks), rest->size()));
  const std::string_view word = rest->substr(0, rest->find_first_of(kBlanks));
  rest->remove_prefix(word.size());
  return word;
}

// Whether a name is what a mask says, in which * stands for any characters.
bool Matches(std::string_view mask, std::string_view name) {
  size_t m = 0, n = 0, star = mask.npos, resume = 0;
  while (n < name.size()) {
    if (m < mask.size() && mask[m] == '*') {
      star = m++;
      resume = n;
    } else if (m < mask.size() && mask[m] == name[n]) {
      ++m;
      ++n;
    } else if (star != mask.npos) {
      m = star + 1;
      n = ++resume;
    } else {
      return false;
    }
  }
  return mask.find_first_not_of('*', m) == mask.npos;
}

bool IsMask(std::string_view word) {
  return word.find_first_not_of(
             "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
             "0123456789_.*") == word.npos;
}

// Reads "max_size:32" and the like. Returns what is wrong, or an empty text.
std::string ReadOption(std::string_view word, Settings* settings) {
  const std::string quoted = '"' + std::string(word) + '"';
  const size_t colon = word.find(':');
  const std::string_view key = word.substr(0, colon);
  const std::string_view value =
      colon == word.npos ? word.substr(word.size()) : word.substr(colon + 1);
  if (key == "type") {
    if (value != "FT_CALLBACK") return quoted + " is no type known here";
    if (settings->callback) return "type is there twice";
    settings->callback = true;
    return "";
  }
  if (key != "max_size" && key != "max_count") {
    return quoted + " is not max_size:N, max_count:N or type:FT_CALLBACK";
  }
  uint32_t& number =
      key == "max_size" ? settings->max_size : settings->max_count;
  if (number != 0) return std::string(key) + " is there twice";
  const auto [end, error] =
      std::from_chars(value.data(), value.data() + value.size(), number);
  // A number that begins with 0 is octal to nanopb.
  if (error != std::errc() || end != value.data() + value.size() ||
      value[0] == '0' || number > INT32_MAX) {
    return quoted + " has no whole number from 1 to 2147483647";
  }
  return "";
}

// Calls `use` for each field of both files, those of map entries included.
template <typename Use>
void ForEachField(const Schema& schema, const Use& use) {
  for (const Descriptor* message : schema.Messages()) {
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor* field = message->field(i);
      use(field);
      if (!field->is_map()) continue;
      for (int j = 0; j < field->message_type()->field_count(); ++j) {
        use(field->message_type()->field(j));
      }
    }
  }
}

class OptionsReader {
 public:
  OptionsReader(const std::string& name, const Schema& schema) : name_(name) {
    ForEachField(schema, [this](const FieldDescriptor* field) {
      const std::string& message = field->containing_type()->full_name();
      if (field->index() == 0) names_.push_back(message);
      names_.push_back(field->full_name());
    });
  }

  std::vector<Line> Read(std::string_view text) {
    std::vector<Line> lines;
    for (bool more = true; more; ++number_) {
      const size_t end = text.find('\n');
      more = end != text.npos;
      ReadLine(text.substr(0, end), &lines);
      text.remove_prefix(more ? end + 1 : text.size());
    }
    return lines;
  }

 private:
  void ReadLine(std::string_view text, std::vector<Line>* lines) const {
    text = text.substr(0, text.find('#'));
    if (text.size() > kLongestLine) {
      Fail(kMalformed,
           "more than " + std::to_string(kLongestLine) + " characters");
    }
    if (text.find('\0') != text.npos) Fail(kMalformed, "a zero byte");
    Line line;
    line.mask = TakeWord(&text);
    if (line.mask.empty()) return;
    const std::string quoted = '"' + std::string(line.mask) + '"';
    if (!IsMask(line.mask)) {
      Fail(kMalformed, quoted +
                           " is not the name of a field, in which * can "
                           "stand for any characters");
    }
    std::string_view word = TakeWord(&text);
    if (word.empty()) Fail(kMalformed, quoted + " has no option");
    for (; !word.empty(); word = TakeWord(&text)) {
      const std::string problem = ReadOption(word, &line.settings);
      if (!problem.empty()) Fail(kMalformed, problem);
    }
    MustMatch(line.mask);
    lines->push_back(line);
  }

  void MustMatch(std::string_view mask) const {
    for (const std::string& name : names_) {
      if (Matches(mask, name)) return;
    }
    Fail(kUnknownName, "no field or message is named \"" + std::string(mask) +
                           '"' + DidYouMean(mask, names_));
  }

  [[noreturn]] void Fail(ExitCode code, const std::string& why) const {
    throw Failure(code,
                  name_ + ": line " + std::to_string(number_) + ": " + why);
  }

  const std::string name_;
  std::vector<std::string> names_;
  uint64_t number_ = 1;
};

// Takes what the lines say of a name. A later line replaces an earlier one.
void Apply(const std::vector<Line>& lines, const std::string& name,
           Settings* settings) {
  for (const Line& line : lines) {
    if (!Matches(line.mask, name)) continue;
    const Settings& said = line.settings;
    if (said.max_size != 0) settings->max_size = said.max_size;
    if (said.max_count != 0) settings->max_count = said.max_count;
    settings->callback = settings->callback || said.callback;
  }
}

bool IsText(const FieldDescriptor& field) {
  return field.cpp_type() == FieldDescriptor::CPPTYPE_STRING;
}

// The bounds that nanopb makes of the settings: a text without a size, or a
// list without a count, is left to a callback as a whole.
Bounds BoundsOf(const FieldDescriptor& field, const Settings& settings) {
  Bounds bounds;
  if (settings.callback || (IsText(field) && settings.max_size == 0) ||
      (field.is_repeated() && settings.max_count == 0)) {
    return bounds;
  }
  if (IsText(field)) bounds.size = settings.max_size;
  if (field.is_repeated()) bounds.count = settings.max_count;
  return bounds;
}

}  // namespace

Profile::Profile(const std::string& name, std::string_view text,
                 const Schema& schema)
    : name_(name) {
  const std::vector<Line> lines = OptionsReader(name, schema).Read(text);
  // What is said of a file or a message holds for its fields.
  std::unordered_map<std::string, Settings> outer;
  const auto inherited = [&](const std::string& around) {
    const auto [place, fresh] = outer.try_emplace(around);
    if (fresh) Apply(lines, around, &place->second);
    return place->second;
  };
  ForEachField(schema, [&](const FieldDescriptor* field) {
    Settings settings = inherited(field->file()->name());
    Apply(lines, field->containing_type()->full_name(), &settings);
    Apply(lines, field->full_name(), &settings);
    if (settings.any()) bounds_.emplace(field, BoundsOf(*field, settings));
  });
}

void Profile::MustKnow(const Type& type) const {
  std::set<const Descriptor*> seen = {type.descriptor};
  std::vector<const Descriptor*> open(seen.begin(), seen.end());
  bool wanted = false;
  while (!open.empty()) {
    const Descriptor* message = open.back();
    open.pop_back();
    for (int i = 0; i < message->field_count(); ++i) {
      const FieldDescriptor* field = message->field(i);
      if (bounds_.count(field) != 0) return;
      wanted = wanted || field->is_repeated() || IsText(*field);
      const Descriptor* inner = field->message_type();
      if (inner != nullptr && seen.insert(inner).second) open.push_back(inner);
    }
  }
  if (!wanted) return;
  throw Failure(kUsage, name_ + " is about no text and no list of " +
                            type.descriptor->full_name());
}

}  // namespace tarn::tool
