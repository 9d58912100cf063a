// Collects the evidence for each type in one walk, and compares it.
#include "ranking.h"

#include <algorithm>
#include <tuple>

#include "walker.h"

namespace tarn::tool {
namespace {

bool IsUuid(std::string_view text) {
  if (text.size() != 36) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    const bool digit =
        (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f');
    if (dash ? c != '-' : !digit) return false;
  }
  return true;
}

bool BelongsUuid(const Field& field) {
  const std::string_view name = field.name;
  return name.size() >= 4 && name.substr(name.size() - 4) == "uuid";
}

bool IsStrange(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](unsigned char c) {
    return c < 0x20 && c != '\n' && c != '\r' && c != '\t';
  });
}

class EvidenceCollector : public WalkVisitor {
 public:
  EvidenceCollector(std::string_view bytes, bool cut)
      : bytes_(bytes), cut_(cut) {}

  void Value(const Stack& stack, const Item& item) {
    Named(stack, item);
    Number(item);
    const Field& field = *item.field;
    // A sender leaves out zero and empty values, except in map entries.
    const Frame& frame = stack.top();
    const bool entry = frame.field != nullptr && frame.field->map;
    if (!field.repeated && !entry &&
        (item.wire() == 2 ? item.data == item.end : item.number_value == 0)) {
      ++evidence_.disorder;
    }
    if (field.kind == Kind::kBool && item.number_value > 1) {
      ++evidence_.disorder;
    }
    if (field.kind != Kind::kString) return;
    Text(item.begin, item.bytes());
    if (item.data == item.end || !BelongsUuid(field)) return;
    ++(IsUuid(item.bytes()) ? evidence_.uuids : evidence_.no_uuids);
  }
  void Packed(const Stack& stack, const Item& item) { Named(stack, item); }
  void Element(const Stack&, const Item& item) { Number(item); }
  void Enter(const Stack& stack, const Item& item) {
    if (item.field == nullptr) {
      ++evidence_.unknown;
      if (group_ == nullptr) group_ = item.begin;
    } else {
      Named(stack, item);
    }
  }
  void Leave(const Stack& stack, const char* tail) {
    const Frame& frame = stack.top();
    if (frame.field != nullptr || frame.begin != group_) return;
    evidence_.unexplained += tail - group_;
    group_ = nullptr;
  }
  void Unknown(const Stack& stack, const Item& item) {
    const Type* type = stack.top().type;
    ++evidence_.unknown;
    evidence_.misplaced +=
        type != nullptr && type->Find(item.number()) != nullptr;
    if (group_ == nullptr) evidence_.unexplained += item.end - item.begin;
  }
  bool Fail(const Stack&, const Error& error) {
    evidence_.explained = error.at - bytes_.data();
    evidence_.unexplained += bytes_.size() - evidence_.explained;
    evidence_.bad_utf8 = error.problem == Problem::kBadUtf8;
    ends_ = cut_ && error.problem == Problem::kCutOff;
    if (error.problem == Problem::kCutOff) CutOff(error.item, error.at);
    return false;
  }

  Evidence Take(const Type& type) {
    evidence_.size = bytes_.size();
    evidence_.accepted = Walk(type, bytes_, *this) || ends_;
    if (evidence_.accepted) evidence_.explained = bytes_.size();
    return evidence_;
  }

 private:
  void Text(const char* begin, std::string_view text) {
    if (!IsStrange(text)) return;
    ++evidence_.strange_texts;
    evidence_.unexplained += text.data() + text.size() - begin;
  }
  // What is there of a field tells as much as a whole one.
  void CutOff(const Item& item, const char* end) {
    if (item.field == nullptr) {
      evidence_.unexplained += end - item.begin;
    } else if (item.field->kind == Kind::kString && item.data != nullptr) {
      Text(item.begin, {item.data, static_cast<size_t>(end - item.data)});
    } else if (item.wire() == 2 && item.field->kind != Kind::kBytes) {
      evidence_.unexplained += end - item.begin;  // a list with no values yet
    }
  }
  void Named(const Stack& stack, const Item& item) {
    ++evidence_.fields;
    const uint64_t met = stack.top().seen >> item.field->number;
    evidence_.disorder += met > (item.field->repeated ? 1u : 0u);
  }
  void Number(const Item& item) {
    if (item.field->kind != Kind::kEnum ||
        !item.field->enumeration->Name(item.number_value).empty()) {
      return;
    }
    ++evidence_.undeclared;
    evidence_.unexplained += item.end - item.begin;
  }

  std::string_view bytes_;
  const bool cut_;
  bool ends_ = false;  // where it was cut, and nowhere else
  Evidence evidence_;
  const char* group_ = nullptr;  // outermost unknown group that is open
};

// Smaller is likelier. A type without any oddity comes first, whatever other
// types parse. Then the number of unexplained bytes counts.
auto Order(const Evidence& e) {
  return std::make_tuple(!IsClean(e), e.unexplained, !e.accepted, e.unknown,
                         e.undeclared + e.strange_texts, e.no_uuids, e.disorder,
                         -e.uuids);
}

}  // namespace

Evidence Weigh(const Type& type, std::string_view bytes, bool cut) {
  return EvidenceCollector(bytes, cut).Take(type);
}

bool IsClean(const Evidence& e) {
  return e.accepted && e.unknown == 0 && e.undeclared == 0 &&
         e.strange_texts == 0;
}

void Sort(std::vector<Candidate>* candidates) {
  std::stable_sort(candidates->begin(), candidates->end(),
                   [](const Candidate& a, const Candidate& b) {
                     return Order(a.evidence) < Order(b.evidence);
                   });
}

std::vector<Candidate> Rank(const std::vector<const Type*>& types,
                            std::string_view bytes, bool cut) {
  std::vector<Candidate> candidates;
  for (const Type* type : types) {
    candidates.push_back({type, Weigh(*type, bytes, cut)});
  }
  Sort(&candidates);
  return candidates;
}

bool EquallyLikely(const Candidate& a, const Candidate& b) {
  return Order(a.evidence) == Order(b.evidence);
}

std::vector<const Type*> Verdict(const std::vector<Candidate>& ranked) {
  std::vector<const Type*> types;
  const Evidence& best = ranked.front().evidence;
  // Fields and numbers of a newer sender are odd, but they are few, and none of
  // them is a known field.
  if (!best.accepted || best.strange_texts > 0 || best.misplaced > 0 ||
      best.unexplained > best.size / 4) {
    return types;
  }
  for (const Candidate& candidate : ranked) {
    if (!EquallyLikely(candidate, ranked.front())) break;
    types.push_back(candidate.type);
  }
  return types;
}

std::vector<const Type*> AllTypes(Schema* schema) {
  std::vector<const Type*> types;
  for (const auto* message : schema->Messages()) {
    types.push_back(&schema->Table(*message));
  }
  return types;
}

std::string NamesOf(const std::vector<const Type*>& types) {
  std::string names;
  for (const Type* type : types) {
    if (type != types.front()) names += type == types.back() ? " or " : ", ";
    names += type->descriptor->name();
  }
  return names;
}

}  // namespace tarn::tool
