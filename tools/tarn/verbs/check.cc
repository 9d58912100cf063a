// tarn check: what would trouble the other side, or a person who looks closely.
#include <array>
#include <memory>
#include <unordered_map>
#include <vector>

#include "command.h"
#include "command_line.h"
#include "input.h"
#include "output.h"
#include "walker.h"

namespace tarn::tool {
namespace {

// Messages inside one another that the runtime prints as JSON.
constexpr int kMaxJsonDepth = 64;

enum class Severity { kAdvice, kWarning, kError };
constexpr const char* kSeverityNames[] = {"advice", "warning", "error"};

struct Options {
  InputOptions input;
  OutputOptions output;
  std::string type;
  std::string fail_on = "warning";
  uint64_t budget = 0;  // 0: none
};

// What the fields of a type are expected to keep to. A number is that of the
// field; 0: there is none.
struct Rules {
  bool node = false;  // a oneof of which one member should be there
  uint32_t uuid = 0;
  // product = factors[0] * factors[1]
  uint32_t product = 0;
  uint32_t factors[2] = {0, 0};
  // count = size of the list
  uint32_t count = 0;
  const Field* list = nullptr;
  // minimum <= maximum
  uint32_t minimum = 0;
  uint32_t maximum = 0;
  bool any = false;
};

uint32_t NumberOf(const Type& type, const char* name) {
  const auto* field = type.descriptor->FindFieldByName(name);
  return field == nullptr ? 0 : field->number();
}

Rules RulesOf(const Type& type) {
  constexpr const char* kProducts[][3] = {
      {"panels", "numPanelsHigh", "numPanelsWide"},
      {"numPanels", "numPanelsHigh", "numPanelsWide"},
      {"pixels", "pixelRows", "pixelColumns"}};
  Rules rules;
  rules.node = type.descriptor->oneof_decl_count() > 0;
  rules.uuid = NumberOf(type, "uuid");
  for (const auto& [product, a, b] : kProducts) {
    if (NumberOf(type, product) == 0) continue;
    rules.product = NumberOf(type, product);
    rules.factors[0] = NumberOf(type, a);
    rules.factors[1] = NumberOf(type, b);
  }
  rules.count = NumberOf(type, "frameCount");
  if (rules.count != 0) rules.list = type.Find(NumberOf(type, "frameConfig"));
  rules.minimum = NumberOf(type, "minimumDimming");
  rules.maximum = NumberOf(type, "maximumDimming");
  rules.any = rules.node || rules.uuid != 0 || rules.product != 0 ||
              rules.count != 0 || rules.minimum != 0;
  return rules;
}

// A record that is open.
struct Level {
  const Rules* rules = nullptr;
  const char* begin = nullptr;
  std::string_view uuid;
  int32_t numbers[64];  // of the fields that were seen
};

// What one message after another is checked with.
struct RuleBook {
  // Null: nothing is expected of the type.
  const Rules* For(const Type& type) {
    if (rules.size() <= type.index) rules.resize(type.index + 1);
    std::unique_ptr<Rules>& place = rules[type.index];
    if (place == nullptr) place = std::make_unique<Rules>(RulesOf(type));
    return place->any ? place.get() : nullptr;
  }

  std::vector<std::unique_ptr<Rules>> rules;  // by the type's index
  std::array<Level, kMaxDepth + 1> levels;
};

class Checker : public WalkVisitor {
 public:
  Checker(const Options& options, const Record& record, RuleBook* book,
          Output* output)
      : options_(options),
        record_(record),
        book_(*book),
        out_(*output),
        levels_(book->levels) {}

  // To be called in front of the walk.
  void Start(const Type& type) { Begin(0, &type, record_.bytes.data()); }

  bool malformed() const { return malformed_; }
  Severity worst() const { return worst_; }
  bool any() const { return any_; }

  void Value(const Stack& stack, const Item& item) {
    const Field& field = *item.field;
    Number(stack, item);
    Level& level = levels_[stack.depth()];
    if (level.rules == nullptr) return;
    if (field.kind == Kind::kInt32) {
      level.numbers[field.number] = static_cast<int32_t>(item.number_value);
    } else if (field.number == level.rules->uuid) {
      if (level.uuid.empty()) Uuid(stack, level.begin, item.bytes());
      level.uuid = item.bytes();
    }
  }
  void Element(const Stack& stack, const Item& item) { Number(stack, item); }
  void Enter(const Stack& stack, const Item& item) {
    if (item.field == nullptr) {
      Find(Severity::kWarning, item.begin, stack.Path(nullptr, item.number()),
           "unknown group");
      Begin(stack.depth() + 1, nullptr, item.begin);
      return;
    }
    if (stack.depth() == kMaxJsonDepth && !too_deep_for_json_) {
      too_deep_for_json_ = true;
      Find(Severity::kWarning, item.begin,
           stack.Path(item.field, item.number()),
           "nested deeper than " + std::to_string(kMaxJsonDepth) +
               ", too deep to be printed as JSON");
    }
    Begin(stack.depth() + 1, item.field->type, item.begin);
  }
  void Leave(const Stack& stack, const char*) { End(stack); }
  void Unknown(const Stack& stack, const Item& item) {
    const Frame& frame = stack.top();
    const bool known =
        frame.type != nullptr && frame.type->Find(item.number()) != nullptr;
    Find(Severity::kWarning, item.begin, stack.Path(nullptr, item.number()),
         known ? "wrong wire type, kept as an unknown field" : "unknown field");
  }
  bool Fail(const Stack& stack, const Error& error) {
    malformed_ = true;
    // Nothing can be expected of records that are not whole.
    for (int i = 0; i <= stack.depth(); ++i) levels_[i].rules = nullptr;
    Find(Severity::kError, error.at, ErrorPath(error, stack),
         Reason(error, stack, record_.bytes.data(), record_.offset));
    return true;
  }

  // The rules of the record that ends, and what is expected of the message.
  void End(const Stack& stack) {
    Level& level = levels_[stack.depth()];
    if (level.rules == nullptr) return;
    const Rules& rules = *level.rules;
    const uint64_t seen = stack.top().seen;
    const auto number = [&](uint32_t field) -> int64_t {
      return seen >> field & 1 ? level.numbers[field] : 0;
    };
    if (rules.node && seen == 0) Advise(stack, "a node without a kind");
    if (rules.uuid != 0 && level.uuid.empty()) Advise(stack, "no uuid");
    if (rules.product != 0) {
      const int64_t a = number(rules.factors[0]);
      const int64_t b = number(rules.factors[1]);
      const Type& type = *stack.top().type;
      if (number(rules.product) != a * b) {
        Advise(stack, Name(type, rules.product) + " is " +
                          std::to_string(number(rules.product)) + ", but " +
                          Name(type, rules.factors[0]) + " times " +
                          Name(type, rules.factors[1]) + " is " +
                          std::to_string(a * b));
      }
    }
    if (rules.list != nullptr &&
        number(rules.count) != int64_t{stack.Count(*rules.list)}) {
      Advise(stack, "frameCount is " + std::to_string(number(rules.count)) +
                        ", but frameConfig has " +
                        std::to_string(stack.Count(*rules.list)));
    }
    if (rules.minimum != 0 && number(rules.minimum) > number(rules.maximum)) {
      Advise(stack, "minimumDimming is " +
                        std::to_string(number(rules.minimum)) +
                        ", above maximumDimming " +
                        std::to_string(number(rules.maximum)));
    }
  }

  void Find(Severity severity, const char* at, const std::string& path,
            const std::string& text) {
    any_ = true;
    worst_ = std::max(worst_, severity);
    out_.Untrusted(Place(options_.input, record_, at - record_.bytes.data()));
    if (!path.empty()) {
      out_.Write(path);
      out_.Write(": ");
    }
    constexpr Color kColors[] = {Color::kCyan, Color::kYellow, Color::kRed};
    out_.Paint(kColors[static_cast<int>(severity)]);
    out_.Write(kSeverityNames[static_cast<int>(severity)]);
    out_.Paint(Color::kNone);
    out_.Write(": ");
    out_.Untrusted(text);
    out_.Write('\n');
  }

 private:
  static std::string Name(const Type& type, uint32_t number) {
    return std::string(type.Find(number)->name);
  }

  void Begin(size_t depth, const Type* type, const char* begin) {
    Level& level = levels_[depth];
    level.begin = begin;
    level.uuid = {};
    level.rules = type == nullptr ? nullptr : book_.For(*type);
  }

  void Number(const Stack& stack, const Item& item) {
    if (item.field->kind != Kind::kEnum) return;
    const Enum& enumeration = *item.field->enumeration;
    const int32_t number = static_cast<int32_t>(item.number_value);
    if (!enumeration.Name(number).empty()) return;
    Find(Severity::kWarning, item.begin, stack.Path(item.field, item.number()),
         std::to_string(number) + " is not declared in " +
             enumeration.descriptor->full_name());
  }

  void Uuid(const Stack& stack, const char* node, std::string_view uuid) {
    if (uuid.empty()) return;
    const auto [first, fresh] = uuids_.try_emplace(uuid, node);
    if (fresh) return;
    Advise(stack, "uuid " + std::string(uuid) +
                      " again, as of the node at byte " +
                      std::to_string(record_.offset +
                                     (first->second - record_.bytes.data())));
  }

  void Advise(const Stack& stack, const std::string& text) {
    Find(Severity::kAdvice, levels_[stack.depth()].begin,
         stack.Path(nullptr, 0), text);
  }

  const Options& options_;
  const Record& record_;
  RuleBook& book_;
  Output& out_;
  std::array<Level, kMaxDepth + 1>& levels_;
  std::unordered_map<std::string_view, const char*> uuids_;
  Severity worst_ = Severity::kAdvice;
  bool any_ = false;
  bool malformed_ = false;
  bool too_deep_for_json_ = false;
};

ExitCode Check(const Options& options, const Type& type, const Record& record,
               RuleBook* book, Output* output) {
  Checker checker(options, record, book, output);
  if (options.budget != 0 && record.bytes.size() > options.budget) {
    checker.Find(Severity::kError, record.bytes.data(), "",
                 std::to_string(record.bytes.size()) +
                     " bytes, more than the budget of " +
                     std::to_string(options.budget));
  }
  checker.Start(type);
  Walker<Checker> walker(type, record.bytes, checker);
  walker.Run();
  checker.End(walker.stack());
  if (checker.malformed()) return kMalformed;
  if (!checker.any()) return kFine;
  const std::string_view worst =
      kSeverityNames[static_cast<int>(checker.worst())];
  const bool fails = worst == "error" || options.fail_on == "advice" ||
                     options.fail_on == worst;
  return fails ? kFindings : kFine;
}

}  // namespace

ExitCode RunCheck(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  options.input.to_the_end = true;
  line.Type(&options.type);
  line.Input(&options.input);
  line.app()
      .add_option("--budget", options.budget,
                  "Largest size that the receiver takes, as 500, 4K or 1M")
      ->transform(SizeValue(1))
      ->type_name("SIZE");
  line.app()
      .add_option("--fail-on", options.fail_on,
                  "Least severity that makes the exit status 1; warning if not "
                  "given")
      ->check(CLI::IsMember({"advice", "warning", "error"}))
      ->type_name("SEVERITY");
  line.Color(&options.output);
  line.Parse();

  Schema schema;
  const Type& type = schema.Find(options.type);
  Output output(options.output.color);
  RuleBook book;
  const ExitCode status =
      ForEachRecord(options.input, {&type}, [&](const Record& record) {
        return Check(options, type, record, &book, &output);
      });
  output.Flush();
  return status;
}

}  // namespace tarn::tool
