// Counts and compares the records of a stream.
#include "what_stream.h"

#include <tarn/Network.pb.h>

#include <algorithm>

#include "candidates.h"
#include "difference.h"
#include "encoding.h"
#include "salvage.h"
#include "what_content.h"
#include "what_page.h"

namespace tarn::tool {
namespace {

// Broken records, groups and differences that are listed.
constexpr size_t kBroken = 8;
constexpr size_t kGroups = 5;
constexpr size_t kDifferences = 5;
// Groups that are kept. Records of further groups are counted together.
constexpr size_t kMostGroups = 64;
// The largest message that is compared with the next.
constexpr size_t kMostCompared = 1 << 20;

// Whether each message of the type shows a network as a whole.
bool ShowsNetwork(const google::protobuf::Descriptor& type) {
  if (&type == tarn::NetworkStatusReport::descriptor()) return true;
  if (type.FindFieldByName("uuid") != nullptr) return false;
  for (int i = 0; i < type.field_count(); ++i) {
    const auto& field = *type.field(i);
    if (field.is_repeated() &&
        field.message_type() == tarn::ChildTypes::descriptor()) {
      return true;
    }
  }
  return false;
}

bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() &&
         text.substr(text.size() - end.size()) == end;
}

// Whether a difference is a node that came, went or moved, or a condition.
bool IsCondition(const Difference& difference) {
  const std::string_view path = difference.path;
  if (difference.unknown_fields) return false;
  return path.empty() || EndsWith(path, "status") || EndsWith(path, "error") ||
         path.find("status_packet[") != path.npos ||
         path == "network_price_lifecycle";
}

std::unique_ptr<google::protobuf::Message> Parse(const Type& type,
                                                 std::string_view bytes) {
  auto message = NewMessage(type);
  if (!message->ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) {
    message.reset();
  }
  return message;
}

std::string WordsOf(const std::vector<const Type*>& types) {
  constexpr size_t kMostNames = 3;
  if (types.empty()) return "further types";
  if (types.size() <= kMostNames) return NamesOf(types);
  return "one of " + std::to_string(types.size()) + " types";
}

}  // namespace

// Whether the bytes are a record of the usual types without any oddity. No type
// can be likelier then: only a uuid could tell for one, and there is none
// without a dash. This spares the look at all types.
bool StreamSummary::IsUsual(std::string_view bytes) const {
  if (most_ == nullptr || most_->types.empty() || bytes.empty() ||
      bytes.find('-') != bytes.npos) {
    return false;
  }
  return std::all_of(most_->types.begin(), most_->types.end(),
                     [&](const Type* type) {
                       const Evidence evidence = Weigh(*type, bytes);
                       return IsClean(evidence) && evidence.no_uuids == 0 &&
                              evidence.disorder == 0;
                     });
}

// A record that can be of the type of most others is taken for one.
std::vector<const Type*> StreamSummary::TypesOf(const Record& record,
                                                bool* odd) {
  if (given_ != nullptr) {
    const Evidence evidence = Weigh(*given_, record.bytes);
    if (!evidence.accepted) return {};
    *odd = !IsClean(evidence);
    if (*odd) NoteOdd(record);
    return {given_};
  }
  if (IsUsual(record.bytes)) return most_->types;
  const std::vector<Candidate> ranked = Rank(types_, record.bytes);
  const std::vector<const Type*> verdict = Verdict(ranked);
  *odd = !IsClean(ranked.front().evidence);
  const bool usual =
      most_ != nullptr && !most_->types.empty() &&
      std::all_of(most_->types.begin(), most_->types.end(),
                  [&](const Type* type) {
                    return std::find(verdict.begin(), verdict.end(), type) !=
                           verdict.end();
                  });
  return usual ? most_->types : verdict;
}

bool StreamSummary::IsBetterThan(const StreamSummary& other) const {
  if (MostRecords() != other.MostRecords()) {
    return MostRecords() > other.MostRecords();
  }
  return groups_.size() < other.groups_.size() && broken_ <= other.broken_;
}

bool StreamSummary::LastIsWell() const {
  return most_ == nullptr || most_->latest == nullptr ||
         ContentOf(*most_->latest).well;
}

bool StreamSummary::IsMixed() const {
  return groups_.size() > 1 &&
         std::count_if(groups_.begin(), groups_.end(), [](const auto& named) {
           return named.second.records > 1;
         }) > 1;
}

bool StreamSummary::HasNodes() const {
  return std::any_of(groups_.begin(), groups_.end(), [](const auto& named) {
    const std::vector<const Type*>& types = named.second.types;
    return !types.empty() && HoldsNodes(*types.front()->descriptor);
  });
}

ExitCode StreamSummary::Add(const Record& record) {
  ++records_;
  bool odd = false;
  const std::vector<const Type*> types = TypesOf(record, &odd);
  if (types.empty()) {
    Explain(record);
    return kMalformed;
  }
  std::string key = NamesOf(types);
  const bool kept =
      groups_.size() < kMostGroups || groups_.find(key) != groups_.end();
  Group& group = groups_[kept ? key : ""];
  if (kept) group.types = types;
  if (group.records++ == 0) group.first = record.number;
  group.last = record.number;
  if (kept && ShowsNetwork(*types.front()->descriptor)) {
    FollowChanges(record, &group);
  }
  if (most_ == nullptr || group.records > most_->records) most_ = &group;
  return odd ? kFindings : kFine;
}

// A record that the given type accepts, but does not explain.
void StreamSummary::NoteOdd(const Record& record) {
  if (odd_++ > 0) return;
  first_odd_ = record.number;
  const std::vector<Candidate> ranked = Rank(types_, record.bytes);
  if (IsClean(ranked.front().evidence)) likelier_ = WordsOf(Verdict(ranked));
}

void StreamSummary::Fail(const Record& record, const std::string& reason) {
  // The record after it was read from a wrong place, and is read again.
  if (last_broken_ > record.number) {
    if (broken_-- <= shown_.size()) shown_.pop_back();
    last_broken_ = shown_.empty() ? 0 : shown_.back().record;
  }
  records_ = record.number;
  AddBroken({record.number, record.offset, "", reason});
}

// Of one record, the last error stands: it explains those before it.
void StreamSummary::AddBroken(const Broken& broken) {
  const bool again = broken_ > 0 && broken.record == last_broken_;
  last_broken_ = broken.record;
  if (!again) ++broken_;
  if (broken_ > kBroken) return;
  if (again) shown_.pop_back();
  shown_.push_back(broken);
}

// Says where a record is broken, as a message of the usual type if it is broken
// as such.
void StreamSummary::Explain(const Record& record) {
  const Type* type = given_;
  if (type == nullptr && !MostTypes().empty() &&
      !Weigh(*MostTypes().front(), record.bytes).accepted) {
    type = MostTypes().front();
  }
  if (type == nullptr) type = Rank(types_, record.bytes).front().type;
  if (Weigh(*type, record.bytes).accepted) {
    return AddBroken({record.number, record.offset, "",
                      "no message type explains these bytes well"});
  }
  const Damage damage = FindDamage(*type, record.bytes, record.offset);
  AddBroken({record.number, record.offset + damage.offset, damage.path,
             damage.reason});
}

void StreamSummary::FollowChanges(const Record& record, Group* group) {
  if (record.bytes.size() > kMostCompared) return;
  auto message = Parse(*group->types.front(), record.bytes);
  if (message == nullptr) return;
  if (group->latest == nullptr) {
    group->beginning = record.bytes;
  } else {
    uint64_t changes = 0;
    Compare(*group->latest, *message, false,
            [&](const Difference&) { ++changes; });
    group->changes += changes;
    group->changed += changes > 0;
  }
  group->latest = std::move(message);
}

const std::vector<const Type*>& StreamSummary::MostTypes() const {
  static const std::vector<const Type*> none;
  return most_ == nullptr ? none : most_->types;
}

std::vector<const StreamSummary::Group*> StreamSummary::InOrder() const {
  std::vector<const Group*> groups;
  for (const auto& [name, group] : groups_) groups.push_back(&group);
  std::sort(groups.begin(), groups.end(), [](const Group* a, const Group* b) {
    return a->records != b->records ? a->records > b->records
                                    : a->first < b->first;
  });
  return groups;
}

void StreamSummary::PrintChanges(const Group& group, Output* output) const {
  if (group.latest == nullptr || group.records == 1) return;
  BeginLine("Changes", output);
  output->Write(WordsOf(group.types) + ": ");
  if (group.changes == 0) {
    output->Write("none from one record to the next\n");
    return;
  }
  output->Write(Count(group.changes, "difference") + " in " +
                Count(group.changed, "record") +
                ", each against the one before");
  const auto first = Parse(*group.types.front(), group.beginning);
  size_t listed = 0;
  size_t more = 0;
  Compare(*first, *group.latest, false, [&](const Difference& difference) {
    if (listed == kDifferences || !IsCondition(difference)) {
      ++more;
      return;
    }
    if (listed++ == 0) output->Write("; from first to last:\n");
    BeginLine("", output);
    DifferencePrinter printer(false, output);
    printer.Print(difference);
    printer.End();
  });
  if (listed == 0) output->Write('\n');
  if (more == 0) return;
  BeginLine("", output);
  output->Write(Count(more, listed > 0 ? "other difference" : "difference") +
                " from first to last\n");
}

void StreamSummary::PrintBroken(Output* output) const {
  BeginLine("Problems", output);
  if (broken_ == 0) output->Write("no broken record\n");
  for (const Broken& broken : shown_) {
    if (&broken != &shown_.front()) BeginLine("", output);
    output->Untrusted("record " + std::to_string(broken.record) + ": byte " +
                      std::to_string(broken.offset) + ": " +
                      (broken.path.empty() ? "" : broken.path + ": ") +
                      broken.reason);
    output->Write('\n');
  }
  if (broken_ == shown_.size()) return;
  BeginLine("", output);
  output->Write(Count(broken_ - shown_.size(), "more broken record") + '\n');
}

void StreamSummary::Print(Output* output) const {
  const std::vector<const Group*> groups = InOrder();
  const size_t listed = std::min(kGroups, groups.size());
  BeginLine("Types", output);
  if (groups.empty()) output->Write("none: no record is a message\n");
  for (size_t i = 0; i < listed; ++i) {
    const Group& group = *groups[i];
    if (i > 0) BeginLine("", output);
    output->Painted(Color::kGreen, WordsOf(group.types));
    output->Write(": " + Count(group.records, "record") + ", number " +
                  std::to_string(group.first));
    if (group.records > 1) output->Write(" to " + std::to_string(group.last));
    output->Write('\n');
  }
  if (groups.size() > listed) {
    BeginLine("", output);
    output->Write(Count(groups.size() - listed, "further type") + '\n');
  }
  if (odd_ > 0) {
    BeginLine("", output);
    output->Write(Count(odd_, "record") +
                  " with unknown or undeclared parts, the first is number " +
                  std::to_string(first_odd_) +
                  (likelier_.empty() ? "" : ", more like " + likelier_) + '\n');
  }
  PrintBroken(output);
  for (size_t i = 0; i < listed; ++i) PrintChanges(*groups[i], output);
}

void StreamSummary::Write(JsonWriter* json) const {
  json->Key("records").Number(records_);
  json->Key("broken").Number(broken_);
  json->Key("errors").BeginList();
  for (const Broken& broken : shown_) {
    json->BeginObject();
    json->Key("record").Number(broken.record);
    json->Key("offset").Number(broken.offset);
    if (!broken.path.empty()) json->Key("path").String(broken.path);
    json->EndObject();
  }
  json->EndList();
  json->Key("groups").BeginList();
  for (const Group* group : InOrder()) {
    json->BeginObject();
    json->Key("types").BeginList();
    for (const Type* type : group->types) {
      json->String(type->descriptor->full_name());
    }
    json->EndList();
    json->Key("count").Number(group->records);
    json->Key("first").Number(group->first);
    json->Key("last").Number(group->last);
    if (group->latest != nullptr) {
      json->Key("changes").Number(group->changes);
      json->Key("changed").Number(group->changed);
    }
    json->EndObject();
  }
  json->EndList();
}

}  // namespace tarn::tool
