// Goes through the values of JSON and tries each object as a message.
#include "envelope.h"

#include <algorithm>

#include "encoding.h"
#include "forms.h"
#include "json_check.h"

namespace tarn::tool {
namespace {

constexpr size_t kMostDepth = 4;
constexpr size_t kMostValues = 64;

// A value of the JSON.
struct Value {
  std::string path;   // as jq has it: ".payload", ".[0].data"
  bool list = false;  // whether an element of a list
  size_t begin = 0;
  size_t end = 0;
};

// Whether a name can stand in a path without quotes.
bool IsPlain(std::string_view name) {
  return !name.empty() && !(name.front() >= '0' && name.front() <= '9') &&
         std::all_of(name.begin(), name.end(), [](char c) {
           return (c >= '0' && c <= '9') || c == '_' ||
                  ((c | 0x20) >= 'a' && (c | 0x20) <= 'z');
         });
}

// Collects the objects and the strings of sound JSON, but for those deep
// inside.
class Values {
 public:
  explicit Values(std::string_view json) : json_(json) {}

  std::vector<Value> Take() {
    while (at_ < json_.size() && found_.size() < kMostValues) Step();
    return std::move(found_);
  }

 private:
  struct Level {
    bool list;
    std::string path;
    size_t count;  // of the elements before
    size_t value;  // the number of its value; npos: none
    std::string_view name;
  };

  void Step() {
    const char c = json_[at_];
    if (c == '{' || c == '[') return Open(c == '[');
    if (c == '}' || c == ']') return Close();
    if (c == ',' && !levels_.empty()) {
      ++levels_.back().count;
      name_next_ = !levels_.back().list;
    }
    if (c == '"') return String();
    ++at_;
  }

  // The path of the value that begins here; empty if it is no use.
  std::string Path() const {
    if (levels_.empty() || levels_.size() > kMostDepth) return "";
    const Level& level = levels_.back();
    if (level.path.empty()) return "";
    const std::string before = level.path == "." ? "" : level.path;
    if (level.list) {
      return (before.empty() ? "." : before) + '[' +
             std::to_string(level.count) + ']';
    }
    return IsPlain(level.name) ? before + '.' + std::string(level.name) : "";
  }

  size_t Note(const std::string& path, size_t begin, size_t end) {
    if (path.empty()) return std::string_view::npos;
    found_.push_back({path, levels_.back().list, begin, end});
    return found_.size() - 1;
  }

  void Open(bool list) {
    const std::string path = levels_.empty() ? "." : Path();
    const size_t value =
        list || levels_.empty() ? std::string_view::npos : Note(path, at_, 0);
    levels_.push_back({list, path, 0, value, {}});
    name_next_ = !list;
    ++at_;
  }

  void Close() {
    ++at_;
    if (levels_.empty()) return;
    const size_t value = levels_.back().value;
    if (value != std::string_view::npos) found_[value].end = at_;
    levels_.pop_back();
  }

  void String() {
    const size_t begin = at_++;
    while (at_ < json_.size() && json_[at_] != '"') {
      at_ += json_[at_] == '\\' ? 2 : 1;
    }
    at_ = std::min(at_ + 1, json_.size());
    if (!name_next_) {
      Note(Path(), begin, at_);
    } else if (!levels_.empty()) {
      levels_.back().name = json_.substr(begin + 1, at_ - begin - 2);
      name_next_ = false;
    }
  }

  std::string_view json_;
  size_t at_ = 0;
  bool name_next_ = false;
  std::vector<Level> levels_;
  std::vector<Value> found_;
};

bool IsMessage(const std::vector<const Type*>& types, std::string_view json) {
  return std::any_of(types.begin(), types.end(), [&](const Type* type) {
    try {
      return !EncodeJson(*type, json, "").empty();
    } catch (const NotEncoded&) {
      return false;
    }
  });
}

// The JSON that a string holds, with quotation marks and backslashes as they
// were before; empty if it holds none.
std::string JsonInString(std::string_view text) {
  std::string plain;
  for (size_t i = 1; i + 1 < text.size(); ++i) {
    if (text[i] == '\\' && i + 2 < text.size()) {
      const char c = text[++i];
      plain += c == 'n' || c == 't' || c == 'r' ? ' ' : c;
    } else {
      plain += text[i];
    }
  }
  return plain.substr(0, 1) == "{" ? plain : "";
}

}  // namespace

Enclosed FindEnclosed(const std::vector<const Type*>& types,
                      std::string_view json) {
  Enclosed found;
  // A list is sound if an object with it is.
  if (json.size() > kMostText ||
      !FindJsonProblem("{\"\":" + std::string(json) + "}").empty()) {
    return found;
  }
  size_t count = 0;
  size_t end = 0;
  std::string first;
  for (const Value& value : Values(json).Take()) {
    if (value.begin < end || value.end <= value.begin) continue;
    const std::string_view text =
        json.substr(value.begin, value.end - value.begin);
    const bool string = text.front() == '"';
    const std::string inside = string ? JsonInString(text) : "";
    if (string ? inside.empty() || !IsMessage(types, inside)
               : !IsMessage(types, text)) {
      continue;
    }
    end = value.end;
    if (count++ > 0) continue;
    first = value.path;
    found.filter =
        std::string(string ? "jq -r" : "jq") + " '" + value.path + "'";
  }
  if (count == 0) return found;
  found.words =
      json.front() == '[' ? "a list in JSON" : "JSON around a message";
  found.words += ": the first message in it is " + first;
  return found;
}

}  // namespace tarn::tool
