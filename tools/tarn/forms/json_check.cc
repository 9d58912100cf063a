// A JSON reader that keeps only its position.
#include "json_check.h"

#include <algorithm>
#include <vector>

#include "secrets.h"

namespace tarn::tool {
namespace {

// How deep objects may be nested for the runtime to read them.
constexpr size_t kMostOpenObjects = 99;
constexpr std::string_view kUnknown = "@unknown";

class JsonChecker {
 public:
  JsonChecker(const Type* type, std::string_view json,
              const JsonValueTest& test)
      : json_(json), test_(test) {
    expected_ = {type, nullptr};
  }

  JsonFindings Run() {
    Document();
    return findings_;
  }

 private:
  // What a value must be: a message of a type, or a value of a field of that
  // type. If neither is set, it can be anything.
  struct Wanted {
    const Type* type = nullptr;
    const Field* field = nullptr;
  };
  // An object or a list that is open.
  struct Level {
    bool list = false;
    bool map = false;
    Wanted inside;  // of an object: its type; of a list or map: each element
    size_t unknown = std::string_view::npos;  // where "@unknown" begins
    size_t comma = std::string_view::npos;    // the comma before it
    uint64_t seen = 0;                        // fields, a bit each
    uint64_t set = 0;                         // those that are not null
  };

  bool Fail(size_t offset, const Refusal& reason) {
    findings_.problem = LineAndColumn(json_, offset) + ": " + reason.words;
    findings_.reason = reason;
    return false;
  }
  bool Fail(size_t offset, const std::string& reason) {
    return Fail(offset, Refusal{reason});
  }
  // Something else follows, or nothing at all.
  bool Expected(const std::string& what) {
    const bool ends = at_ >= json_.size();
    Refusal reason;
    reason.words = (ends ? "the input ends here, before " : "expected ") + what;
    reason.ends = ends;
    return Fail(at_, reason);
  }

  void Space() {
    while (at_ < json_.size() && std::string_view(" \t\r\n").find(json_[at_]) !=
                                     std::string_view::npos) {
      ++at_;
    }
  }
  char Next() {
    Space();
    return at_ < json_.size() ? json_[at_] : '\0';
  }

  // Reads a string; `text` is the part between the quotes.
  bool String(std::string_view* text) {
    const size_t begin = at_++;
    while (at_ < json_.size() && json_[at_] != '"') {
      if (static_cast<unsigned char>(json_[at_]) < 0x20) {
        return Fail(at_, "control character in a string");
      }
      at_ += json_[at_] == '\\' ? 2 : 1;
    }
    if (at_ >= json_.size()) {
      Refusal reason;
      reason.words = "the input ends inside this string";
      reason.ends = true;
      return Fail(begin, reason);
    }
    *text = json_.substr(begin + 1, at_ - begin - 1);
    ++at_;
    return true;
  }

  bool Document() {
    if (Next() != '{') return Expected("{");
    if (!Value()) return false;
    while (!levels_.empty()) {
      if (!Step()) return false;
    }
    Space();
    return at_ == json_.size() || Fail(at_, "nothing can follow the message");
  }

  // Continues in the innermost level, after a bracket or a value.
  bool Step() {
    Level& level = levels_.back();
    const char close = level.list ? ']' : '}';
    const char c = Next();
    if (c == close) {
      ++at_;
      CloseUnknown(at_ - 1);
      levels_.pop_back();
      first_ = false;
      return true;
    }
    size_t comma = std::string_view::npos;
    if (!first_) {
      if (c != ',') {
        return Expected(std::string(", or ") + close);
      }
      CloseUnknown(at_ + 1);
      comma = at_++;
      Next();
    }
    first_ = false;
    expected_ = level.inside;
    if (!level.list && !Member(comma)) return false;
    return Value();
  }

  // Reads a name and its colon, and sets what must follow them.
  bool Member(size_t comma) {
    Level& level = levels_.back();
    if (Next() != '"') return Expected("a name in quotes");
    const size_t begin = at_;
    std::string_view name;
    if (!String(&name)) return false;
    if (Next() != ':') return Expected(":");
    ++at_;
    if (level.map || level.inside.type == nullptr) return true;
    expected_ = {};
    if (levels_.size() == 1 && name == kUnknown) {
      level.unknown = begin;
      level.comma = comma;
      return true;
    }
    if (name.find('\\') != name.npos) return true;
    const Type& type = *level.inside.type;
    for (const Field& field : type.fields) {
      if (field.kind == Kind::kNone) continue;
      if (name == field.name || name == field.descriptor->json_name()) {
        expected_ = {&type, &field};
        return Once(field, begin) && (AtNull() || Alone(field, begin));
      }
    }
    std::vector<std::string> names;
    for (const Field& field : type.fields) {
      if (field.kind == Kind::kNone) continue;
      names.push_back(field.descriptor->json_name());
    }
    return Fail(begin, NoSuchField(type, name, names));
  }

  // Reports a field that is there twice.
  bool Once(const Field& field, size_t begin) {
    uint64_t& seen = levels_.back().seen;
    const uint64_t bit = uint64_t{1} << field.number;
    if ((seen & bit) != 0) {
      return Fail(begin, FieldTwice(field));
    }
    seen |= bit;
    return true;
  }

  // Reports a second member of a oneof.
  bool Alone(const Field& field, size_t begin) {
    uint64_t& set = levels_.back().set;
    if ((set & field.other_members) != 0) {
      return Fail(begin, OtherMemberIsSet(field));
    }
    set |= uint64_t{1} << field.number;
    return true;
  }

  // Whether a null follows. It counts as no member.
  bool AtNull() {
    Space();
    const size_t after = at_ + 4;
    return json_.substr(at_, 4) == "null" &&
           (after >= json_.size() ||
            std::string_view(" \t\r\n,}").find(json_[after]) !=
                std::string_view::npos);
  }

  // If the member "@unknown" ends here, notes where it can be cut out.
  void CloseUnknown(size_t next) {
    Level& level = levels_.back();
    if (level.unknown == std::string_view::npos) return;
    const bool last = json_[next - 1] != ',';
    findings_.unknown_begin = last && level.comma != std::string_view::npos
                                  ? level.comma
                                  : level.unknown;
    findings_.unknown_end = next;
    level.unknown = std::string_view::npos;
  }

  bool Value() {
    const char c = Next();
    const size_t begin = at_;
    if (c == '{' || c == '[') return Open(c);
    std::string_view text;
    if (c == '"') {
      if (!String(&text)) return false;
    } else {
      while (at_ < json_.size() &&
             std::string_view(" \t\r\n,:{}[]\"").find(json_[at_]) ==
                 std::string_view::npos) {
        ++at_;
      }
      if (at_ == begin) return Expected("a value");
    }
    const std::string_view value = json_.substr(begin, at_ - begin);
    if (expected_.field == nullptr) return true;
    if (value == "null") return true;
    if (value == "-0" && expected_.field->kind == Kind::kFloat) {
      findings_.negative_zeros.push_back(at_);
    }
    if (expected_.field->maskable && value == "\"***\"") {
      return Fail(begin,
                  MaskedReason(expected_.field->descriptor->full_name()));
    }
    if (test_ != nullptr && !test_(*expected_.type, *expected_.field, value)) {
      return Fail(begin, NoValueOf(*expected_.field, value));
    }
    return true;
  }

  bool Open(char bracket) {
    Level level;
    level.list = bracket == '[';
    const Field* field = expected_.field;
    const bool element =
        !levels_.empty() && (levels_.back().list || levels_.back().map);
    if (field == nullptr) {
      // The message itself, or a value that is not checked.
      if (levels_.empty()) level.inside = expected_;
    } else if (field->repeated && !element) {
      if (level.list == field->map) {
        return Fail(at_,
                    field->descriptor->full_name() + " is a " +
                        (field->map ? "map: expected {" : "list: expected ["));
      }
      level.map = field->map;
      level.inside =
          field->map ? Wanted{field->type, field->type->Find(2)} : expected_;
    } else if (field->kind != Kind::kMessage || level.list) {
      return Fail(at_, std::string(1, bracket) + " cannot begin a value of " +
                           field->descriptor->full_name());
    } else {
      level.inside = {field->type, nullptr};
    }
    size_t objects = 0;
    for (const Level& open : levels_) objects += !open.list;
    if (objects > kMostOpenObjects || levels_.size() > 3 * kMostOpenObjects) {
      return Fail(at_, "nested deeper than " +
                           std::to_string(kMostOpenObjects) +
                           ", the most that is read from JSON");
    }
    ++at_;
    first_ = true;
    levels_.push_back(level);
    return true;
  }

  const std::string_view json_;
  const JsonValueTest& test_;
  size_t at_ = 0;
  bool first_ = false;  // whether the innermost level is still empty
  Wanted expected_;
  std::vector<Level> levels_;
  JsonFindings findings_;
};

}  // namespace

JsonFindings CheckJson(const Type& type, std::string_view json,
                       const JsonValueTest& test) {
  return JsonChecker(&type, json, test).Run();
}

std::string FindJsonProblem(std::string_view json) {
  return JsonChecker(nullptr, json, nullptr).Run().problem;
}

std::string LineAndColumn(std::string_view text, size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const size_t line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::string_view row = before.substr(before.rfind('\n') + 1);
  const size_t column =
      std::count_if(row.begin(), row.end(),
                    [](char c) { return (c & 0xC0) != 0x80; }) +
      1;
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

}  // namespace tarn::tool
