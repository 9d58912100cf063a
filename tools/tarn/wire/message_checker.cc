// Checks a message in one walk over its bytes.
#include <array>
#include <unordered_map>

#include "bounds_checker.h"
#include "finding.h"
#include "walker.h"

namespace tarn::tool {
namespace {

// How deep messages may be nested for the runtime to print them as JSON.
constexpr int kMaxJsonDepth = 64;

// What is expected of the fields of a type. A number is that of the field; 0:
// there is none.
struct TypeRules {
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

TypeRules RulesOf(const Type& type) {
  constexpr const char* kProducts[][3] = {
      {"panels", "numPanelsHigh", "numPanelsWide"},
      {"numPanels", "numPanelsHigh", "numPanelsWide"},
      {"pixels", "pixelRows", "pixelColumns"}};
  TypeRules rules;
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

// A record that the walk is inside of.
struct OpenRecord {
  const TypeRules* rules = nullptr;
  const char* begin = nullptr;
  std::string_view uuid;
  int32_t numbers[64];  // of the fields that were seen
};

}  // namespace

struct MessageChecker::Expectations {
  // Returns null if there are no rules for the type.
  const TypeRules* For(const Type& type) {
    if (rules.size() <= type.index) rules.resize(type.index + 1);
    std::unique_ptr<TypeRules>& place = rules[type.index];
    if (place == nullptr) place = std::make_unique<TypeRules>(RulesOf(type));
    return place->any ? place.get() : nullptr;
  }

  std::vector<std::unique_ptr<TypeRules>> rules;  // by the type's index
  std::array<OpenRecord, kMaxDepth + 1> records;

  class FindingVisitor;
};

class MessageChecker::Expectations::FindingVisitor : public WalkVisitor {
 public:
  FindingVisitor(std::string_view bytes, uint64_t offset, Expectations* rules,
                 const Profile* profile,
                 const std::function<void(const Finding&)>& report)
      : bytes_(bytes),
        offset_(offset),
        rules_(*rules),
        records_(rules->records),
        report_(report),
        bounds_(profile, [this](Finding finding, const char* at) {
          finding.offset = At(at);
          Report(finding);
        }) {}

  // To be called before the walk.
  void Start(const Type& type) { Begin(0, &type, bytes_.data()); }

  bool malformed() const { return malformed_; }

  void Value(const Stack& stack, const Item& item) {
    const Field& field = *item.field;
    bounds_.Meet(stack, item);
    EnumValue(stack, item);
    OpenRecord& record = records_[stack.depth()];
    if (record.rules == nullptr) return;
    if (field.kind == Kind::kInt32) {
      record.numbers[field.number] = static_cast<int32_t>(item.number_value);
    } else if (field.number == record.rules->uuid) {
      if (record.uuid.empty()) {
        Uuid(stack, record.begin, item);
      } else if (stack.depth() == 0 && record.uuid == item.bytes()) {
        Again(stack, item);
      }
      record.uuid = item.bytes();
    }
  }
  void Element(const Stack& stack, const Item& item) {
    bounds_.Meet(stack, item);
    EnumValue(stack, item);
  }
  void Enter(const Stack& stack, const Item& item) {
    if (item.field == nullptr) {
      Report({Finding::kUnknownGroup, Severity::kWarning, At(item.begin),
              stack.Path(nullptr, item.number()), "unknown group"});
      Begin(stack.depth() + 1, nullptr, item.begin);
      return;
    }
    bounds_.Meet(stack, item);
    if (stack.depth() == kMaxJsonDepth && !too_deep_for_json_) {
      too_deep_for_json_ = true;
      Report({Finding::kTooDeepForJson, Severity::kWarning, At(item.begin),
              stack.Path(item.field, item.number()),
              "nested deeper than " + std::to_string(kMaxJsonDepth) +
                  ", too deep to be printed as JSON"});
    }
    Begin(stack.depth() + 1, item.field->type, item.begin);
  }
  void Leave(const Stack& stack, const char*) { End(stack); }
  void Unknown(const Stack& stack, const Item& item) {
    const Frame& frame = stack.top();
    const bool known =
        frame.type != nullptr && frame.type->Find(item.number()) != nullptr;
    Report({known ? Finding::kWrongWireType : Finding::kUnknownField,
            Severity::kWarning, At(item.begin),
            stack.Path(nullptr, item.number()),
            known ? "wrong wire type, kept as an unknown field"
                  : "unknown field"});
  }
  bool Fail(const Stack& stack, const Error& error) {
    malformed_ = true;
    // The rules do not hold for records that are incomplete.
    for (int i = 0; i <= stack.depth(); ++i) records_[i].rules = nullptr;
    Finding finding{Finding::kMalformed, Severity::kError, At(error.at),
                    ErrorPath(error, stack),
                    Reason(error, stack, bytes_.data(), offset_)};
    finding.problem = ProblemName(error.problem);
    Report(finding);
    return true;
  }

  // Checks the record that ends.
  void End(const Stack& stack) {
    bounds_.End(stack);
    OpenRecord& record = records_[stack.depth()];
    if (record.rules == nullptr) return;
    const TypeRules& rules = *record.rules;
    if (rules.node && stack.top().seen == 0) {
      Report(Advice(stack, Finding::kNoNodeKind, "a node without a kind"));
    }
    if (rules.uuid != 0 && record.uuid.empty()) {
      Report(Advice(stack, Finding::kNoUuid, "no uuid"));
    }
    if (rules.product != 0) Product(stack, rules);
    if (rules.list != nullptr) Count(stack, rules);
    if (rules.minimum != 0) Limits(stack, rules);
  }

 private:
  uint64_t At(const char* at) const { return offset_ + (at - bytes_.data()); }

  void Begin(size_t depth, const Type* type, const char* begin) {
    OpenRecord& record = records_[depth];
    record.begin = begin;
    record.uuid = {};
    record.rules = type == nullptr ? nullptr : rules_.For(*type);
  }

  // The value of a number field of the record that ends.
  int64_t NumberIn(const Stack& stack, uint32_t field) const {
    return stack.top().seen >> field & 1
               ? records_[stack.depth()].numbers[field]
               : 0;
  }
  static std::string NameIn(const Stack& stack, uint32_t field) {
    return std::string(stack.top().type->Find(field)->name);
  }

  Finding Advice(const Stack& stack, Finding::Kind kind,
                 const std::string& text) const {
    return {kind, Severity::kAdvice, At(records_[stack.depth()].begin),
            stack.Path(nullptr, 0), text};
  }
  // That a field has a value, and should have another one.
  void WrongNumber(const Stack& stack, Finding::Kind kind, uint32_t field,
                   int64_t expected, const std::string& why) {
    const int64_t value = NumberIn(stack, field);
    const std::string name = NameIn(stack, field);
    Finding finding = Advice(stack, kind,
                             name + " is " + std::to_string(value) + ", " +
                                 why + std::to_string(expected));
    finding.field = name;
    finding.has_value = finding.has_expected = true;
    finding.value = value;
    finding.expected = expected;
    Report(finding);
  }

  void Product(const Stack& stack, const TypeRules& rules) {
    const int64_t expected =
        NumberIn(stack, rules.factors[0]) * NumberIn(stack, rules.factors[1]);
    if (NumberIn(stack, rules.product) == expected) return;
    WrongNumber(stack, Finding::kWrongProduct, rules.product, expected,
                "but " + NameIn(stack, rules.factors[0]) + " times " +
                    NameIn(stack, rules.factors[1]) + " is ");
  }

  void Count(const Stack& stack, const TypeRules& rules) {
    const int64_t expected = stack.Count(*rules.list);
    if (NumberIn(stack, rules.count) == expected) return;
    WrongNumber(stack, Finding::kWrongCount, rules.count, expected,
                "but " + std::string(rules.list->name) + " has ");
  }

  void Limits(const Stack& stack, const TypeRules& rules) {
    const int64_t maximum = NumberIn(stack, rules.maximum);
    if (NumberIn(stack, rules.minimum) <= maximum) return;
    WrongNumber(stack, Finding::kMinimumAboveMaximum, rules.minimum, maximum,
                "above " + NameIn(stack, rules.maximum) + " ");
  }

  void EnumValue(const Stack& stack, const Item& item) {
    if (item.field->kind != Kind::kEnum) return;
    const Enum& enumeration = *item.field->enumeration;
    const int32_t number = static_cast<int32_t>(item.number_value);
    if (!enumeration.Name(number).empty()) return;
    const std::string& name = enumeration.descriptor->full_name();
    Finding finding{Finding::kUndeclaredValue, Severity::kWarning,
                    At(item.begin), stack.Path(item.field, item.number()),
                    std::to_string(number) + " is not declared in " + name};
    finding.enumeration = name;
    finding.has_value = true;
    finding.value = number;
    Report(finding);
  }

  void Uuid(const Stack& stack, const char* node, const Item& item) {
    const std::string_view uuid = item.bytes();
    if (uuid.empty() || two_messages_) return;
    if (uuids_.empty()) {
      root_ = uuid;
      root_depth_ = stack.depth();
    }
    const auto [first, fresh] = uuids_.try_emplace(uuid, node);
    if (fresh) return;
    if (uuid == root_ && stack.depth() == root_depth_) {
      return Again(stack, item);
    }
    Finding finding =
        Advice(stack, Finding::kRepeatedUuid,
               "uuid " + std::string(uuid) + " again, as of the node at byte " +
                   std::to_string(At(first->second)));
    finding.uuid = uuid;
    finding.has_first_offset = true;
    finding.first_offset = At(first->second);
    Report(finding);
  }

  // Reports that the first node of the message comes again. All nodes below it
  // do, too: they are not reported.
  void Again(const Stack& stack, const Item& item) {
    if (two_messages_) return;
    two_messages_ = true;
    const char* begin = stack.depth() == 0 ? item.begin : records_[1].begin;
    Finding finding = Advice(
        stack, Finding::kTwoMessages,
        "uuid " + std::string(item.bytes()) +
            " again, as of the first node: these can be two messages, one "
            "after the other without a length between them");
    finding.severity = Severity::kWarning;
    finding.offset = At(begin);
    finding.uuid = item.bytes();
    Report(finding);
  }

  void Report(const Finding& finding) { report_(finding); }

  const std::string_view bytes_;
  const uint64_t offset_;
  Expectations& rules_;
  std::array<OpenRecord, kMaxDepth + 1>& records_;
  const std::function<void(const Finding&)>& report_;
  BoundsChecker bounds_;
  std::unordered_map<std::string_view, const char*> uuids_;
  std::string_view root_;  // uuid of the first node
  int root_depth_ = 0;
  bool two_messages_ = false;
  bool malformed_ = false;
  bool too_deep_for_json_ = false;
};

MessageChecker::MessageChecker(uint64_t budget, const Profile* profile)
    : budget_(budget),
      profile_(profile),
      expectations_(std::make_unique<Expectations>()) {}
MessageChecker::~MessageChecker() = default;

bool MessageChecker::Check(const Type& type, std::string_view bytes,
                           uint64_t offset,
                           const std::function<void(const Finding&)>& report) {
  if (budget_ != 0 && bytes.size() > budget_) {
    Finding finding{Finding::kOverBudget, Severity::kError, offset, "",
                    std::to_string(bytes.size()) +
                        " bytes, more than the budget of " +
                        std::to_string(budget_)};
    finding.has_value = finding.has_expected = true;
    finding.value = static_cast<int64_t>(bytes.size());
    finding.expected = static_cast<int64_t>(budget_);
    report(finding);
  }
  Expectations::FindingVisitor visitor(bytes, offset, expectations_.get(),
                                       profile_, report);
  visitor.Start(type);
  Walker<Expectations::FindingVisitor> walker(type, bytes, visitor);
  walker.Run();
  visitor.End(walker.stack());
  return !visitor.malformed();
}

}  // namespace tarn::tool
