// tarn guess: the types that some bytes can be, the likeliest first.
#include <algorithm>
#include <tuple>

#include "command.h"
#include "command_line.h"
#include "input.h"
#include "output.h"
#include "salvage.h"
#include "walker.h"

namespace inspector {
namespace {

// Types shown unless all are asked for.
constexpr size_t kShown = 5;

// What speaks for and against a type.
struct Evidence {
  bool accepted = false;
  uint64_t explained = 0;  // bytes up to the first error, if there is one
  int fields = 0;          // with a name
  int unknown = 0;
  int undeclared = 0;
  int strange_texts = 0;  // with control characters
  int uuids = 0;          // where a uuid belongs
  int no_uuids = 0;       // another text where a uuid belongs
  int disorder = 0;       // fields that no sender writes so
};

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

class Gatherer : public WalkVisitor {
 public:
  explicit Gatherer(std::string_view bytes) : bytes_(bytes) {}

  void Value(const Stack& stack, const Item& item) {
    Named(stack, item);
    Number(item);
    const Field& field = *item.field;
    // A sender leaves zero and nothing out, but not in map entries.
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
    evidence_.strange_texts += IsStrange(item.bytes());
    if (item.data == item.end || !BelongsUuid(field)) return;
    ++(IsUuid(item.bytes()) ? evidence_.uuids : evidence_.no_uuids);
  }
  void Packed(const Stack& stack, const Item& item) { Named(stack, item); }
  void Element(const Stack&, const Item& item) { Number(item); }
  void Enter(const Stack& stack, const Item& item) {
    if (item.field == nullptr) {
      ++evidence_.unknown;
    } else {
      Named(stack, item);
    }
  }
  void Unknown(const Stack&, const Item&) { ++evidence_.unknown; }
  bool Fail(const Stack&, const Error& error) {
    evidence_.explained = error.at - bytes_.data();
    return false;
  }

  Evidence Take(const Type& type) {
    evidence_.accepted = Walk(type, bytes_, *this);
    if (evidence_.accepted) evidence_.explained = bytes_.size();
    return evidence_;
  }

 private:
  void Named(const Stack& stack, const Item& item) {
    ++evidence_.fields;
    const uint64_t met = stack.top().seen >> item.field->number;
    evidence_.disorder += met > (item.field->repeated ? 1u : 0u);
  }
  void Number(const Item& item) {
    evidence_.undeclared +=
        item.field->kind == Kind::kEnum &&
        item.field->enumeration->Name(item.number_value).empty();
  }

  std::string_view bytes_;
  Evidence evidence_;
};

// Smaller is likelier. What parses stands before what does not; then what
// leaves least unexplained.
auto Rank(const Evidence& e) {
  return std::make_tuple(!e.accepted,
                         e.accepted ? 0 : -static_cast<int64_t>(e.explained),
                         e.unknown, e.undeclared + e.strange_texts, e.no_uuids,
                         e.disorder, -e.uuids);
}

struct Candidate {
  const Type* type;
  Evidence evidence;
};

std::string Count(int count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string Reasons(const Candidate& candidate, std::string_view bytes) {
  const Evidence& e = candidate.evidence;
  std::string text;
  if (e.accepted) {
    text = "parses fully, " + Count(e.fields, "field");
  } else {
    const Damage damage = Assess(*candidate.type, bytes, 0);
    text = "broken at byte " + std::to_string(damage.offset) + ": " +
           damage.reason;
  }
  if (e.unknown > 0) text += ", " + Count(e.unknown, "unknown field");
  if (e.undeclared > 0) {
    text += ", " + Count(e.undeclared, "undeclared enum number");
  }
  if (e.uuids > 0) text += ", " + Count(e.uuids, "uuid") + " in place";
  if (e.no_uuids > 0) {
    text += ", " + Count(e.no_uuids, "text") + " where a uuid belongs";
  }
  if (e.strange_texts > 0) {
    text += ", " + Count(e.strange_texts, "text") + " with control characters";
  }
  if (e.disorder > 0) {
    text += ", " + Count(e.disorder, "field") + " as no sender writes them";
  }
  return text;
}

// Candidates that the evidence cannot tell apart have the same rank.
void Print(const std::vector<Candidate>& candidates, std::string_view bytes,
           bool all, Output* output) {
  size_t width = 0;
  for (const Candidate& candidate : candidates) {
    width = std::max(width, candidate.type->descriptor->name().size());
  }
  size_t rank = 0;
  for (size_t i = 0; i < candidates.size(); ++i) {
    const Candidate& candidate = candidates[i];
    if (i == 0 ||
        Rank(candidate.evidence) != Rank(candidates[i - 1].evidence)) {
      rank = i + 1;
    }
    // All that can be it are shown, whatever their number.
    const bool level = rank == 1 && candidate.evidence.accepted;
    if (!all && !level && i >= kShown) {
      output->Write("     ");
      output->Number(candidates.size() - i);
      output->Write(" more types: see --all\n");
      return;
    }
    const std::string number = std::to_string(rank);
    output->Spaces(3 - std::min<size_t>(3, number.size()));
    output->Write(number);
    output->Write("  ");
    output->Paint(candidate.evidence.accepted ? Color::kGreen : Color::kNone);
    output->Write(candidate.type->descriptor->name());
    output->Paint(Color::kNone);
    output->Spaces(width + 2 - candidate.type->descriptor->name().size());
    output->Write(Reasons(candidate, bytes));
    output->Write('\n');
  }
}

ExitCode Guess(const InputOptions& input, const Record& record, bool all,
               Schema* schema, Output* output) {
  if (record.number > 1) output->Write('\n');
  if (record.bytes.empty()) {
    output->Write("no bytes: an empty message of any type\n");
    return kFine;
  }
  std::vector<Candidate> candidates;
  for (const auto* descriptor : schema->Messages()) {
    const Type& type = schema->Table(*descriptor);
    candidates.push_back({&type, Gatherer(record.bytes).Take(type)});
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Candidate& a, const Candidate& b) {
                     return Rank(a.evidence) < Rank(b.evidence);
                   });
  Print(candidates, record.bytes, all, output);
  if (candidates.front().evidence.accepted) return kFine;
  output->Flush();
  Complain(Place(input, record, 0) + "no message type parses these bytes");
  return kMalformed;
}

}  // namespace

ExitCode RunGuess(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  InputOptions input;
  line.Input(&input);
  bool all = false;
  line.app().add_flag("--all", all, "Show every type, not only the likeliest");
  OutputOptions options;
  line.Color(&options);
  line.Parse();

  Schema schema;
  Output output(options.color);
  const ExitCode status =
      ForEachRecord(input, nullptr, [&](const Record& record) {
        return Guess(input, record, all, &schema, &output);
      });
  output.Flush();
  return status;
}

}  // namespace inspector
