// Compares nodes and list entries that are matched, field by field.
#include "difference.h"

#include <google/protobuf/unknown_field_set.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>

#include "entry_match.h"
#include "node_match.h"
#include "node_way.h"
#include "same_value.h"
#include "schema.h"
#include "status_words.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::UnknownFieldSet;
using Report = std::function<void(const Difference&)>;
using Text = Difference::Text;

void Mask(const TextSink& write) { write(kMask); }

Text ValueOf(const Message& message, const FieldDescriptor& field,
             int index = -1) {
  return [&message, &field, index](const TextSink& write) {
    WriteValue(message, field, index, write);
  };
}

// Of the last node of the way. Empty for the message itself.
NodeParent ParentOf(const Above& above, const Way& way) {
  NodeParent parent;
  if (above.node == nullptr) {
    parent.field = *above.field;
    return parent;
  }
  parent.node = NameOfItem(*above.node);
  parent.above = NodesAbove(way);
  if (!parent.above.empty()) parent.above.erase(parent.above.begin());
  return parent;
}

// Compares messages, but not the nodes in them.
class Comparison {
 public:
  Comparison(bool show_secrets, const Report& report)
      : show_secrets_(show_secrets), report_(report) {}

  void Messages(const Message& a, const Message& b) { Fields(a, b); }

  // `way` leads to b.
  void Nodes(const NodeItem& a, const NodeItem& b, const Way& way) {
    node_ = &a;
    way_ = &way;
    const NodeParts in_a = PartsOf(a);
    const NodeParts in_b = PartsOf(b);
    if (in_a.message != nullptr) Fields(*in_a.message, *in_b.message);
    if (in_a.wrapper != nullptr) Unknown(a, b);
  }

 private:
  // Adds a step to the path, and removes it when destroyed.
  class PathStep {
   public:
    PathStep(std::string* path, std::string_view step)
        : path_(*path), size_(path->size()) {
      if (size_ > 0 && step.front() != '[') path_ += '.';
      path_ += step;
    }
    ~PathStep() { path_.resize(size_); }
    PathStep(const PathStep&) = delete;
    PathStep& operator=(const PathStep&) = delete;

   private:
    std::string& path_;
    const size_t size_;
  };

  void Add(Difference difference) {
    NodeName name;
    if (node_ != nullptr) {
      name = NameOfItem(*node_);
      difference.node = &name;
      difference.node_path = PathOf(*way_);
      difference.above = NodesAbove(*way_);
    }
    difference.path = path_;
    report_(difference);
  }
  void Add(Difference::Change change, Text before, Text after) {
    Difference difference{change};
    difference.before = std::move(before);
    difference.after = std::move(after);
    Add(std::move(difference));
  }
  void Removed(Text before) {
    Add(Difference::kRemoved, std::move(before), nullptr);
  }
  void Added(Text after) { Add(Difference::kAdded, nullptr, std::move(after)); }
  void Changed(Text before, Text after, std::string words = "") {
    Difference difference{Difference::kChanged};
    difference.before = std::move(before);
    difference.after = std::move(after);
    difference.words = std::move(words);
    Add(std::move(difference));
  }
  // The words for a status; nothing for other values.
  static std::string WordsFor(const Message& message,
                              const FieldDescriptor& field) {
    if (field.enum_type() != tarn::StatusCodes_descriptor()) return "";
    return WordsBesideName(
        message.GetReflection()->GetEnumValue(message, &field));
  }

  void Unknown(const Message& a, const Message& b) {
    const UnknownFieldSet& in_a = a.GetReflection()->GetUnknownFields(a);
    const UnknownFieldSet& in_b = b.GetReflection()->GetUnknownFields(b);
    if (SameUnknown(in_a, in_b)) return;
    Difference difference{Difference::kChanged};
    difference.unknown_fields = true;
    difference.before = [&](const TextSink& write) {
      WriteUnknown(in_a, write);
    };
    difference.after = [&](const TextSink& write) {
      WriteUnknown(in_b, write);
    };
    Add(std::move(difference));
  }

  static bool HoldsOtherNodes(const FieldDescriptor& field) {
    // The record of a module is part of it, not a node below it.
    return field.message_type() != nullptr &&
           field.containing_type() != tarn::Module::descriptor() &&
           HoldsNodes(*field.message_type());
  }

  void Fields(const Message& a, const Message& b) {
    const Descriptor& type = *a.GetDescriptor();
    for (int i = 0; i < type.field_count(); ++i) {
      const FieldDescriptor& field = *type.field(i);
      const PathStep step(&path_, field.name());
      if (field.is_map()) {
        MapEntries(MapOf(a, field), MapOf(b, field), field);
      } else if (HoldsOtherNodes(field)) {
        Holders(a, b, field);
      } else if (!field.is_repeated()) {
        Singular(a, b, field);
      } else if (field.message_type() != nullptr) {
        Entries(a, b, field);
      } else {
        Values(a, b, field);
      }
    }
    Unknown(a, b);
  }

  // Compares messages that hold lists of nodes. The nodes themselves are
  // compared elsewhere.
  void Holders(const Message& a, const Message& b,
               const FieldDescriptor& field) {
    if (!field.is_repeated() ||
        field.message_type() == tarn::ChildTypes::descriptor()) {
      return;
    }
    const int size_a = a.GetReflection()->FieldSize(a, &field);
    const int size_b = b.GetReflection()->FieldSize(b, &field);
    if (size_a != size_b) {
      Difference difference{Difference::kResized};
      difference.size_before = size_a;
      difference.size_after = size_b;
      Add(std::move(difference));
    }
    for (int i = 0; i < std::min(size_a, size_b); ++i) {
      const PathStep step(&path_, "[" + std::to_string(i) + "]");
      Fields(a.GetReflection()->GetRepeatedMessage(a, &field, i),
             b.GetReflection()->GetRepeatedMessage(b, &field, i));
    }
  }

  void Singular(const Message& a, const Message& b,
                const FieldDescriptor& field) {
    if (field.message_type() == nullptr) {
      if (SameValue(a, b, field, -1)) return;
      const bool masked = !show_secrets_ && IsSecret(field);
      return Changed(masked ? Text(Mask) : ValueOf(a, field),
                     masked ? Text(Mask) : ValueOf(b, field),
                     WordsFor(b, field));
    }
    const bool in_a = a.GetReflection()->HasField(a, &field);
    const bool in_b = b.GetReflection()->HasField(b, &field);
    if (in_a && in_b) {
      Fields(a.GetReflection()->GetMessage(a, &field),
             b.GetReflection()->GetMessage(b, &field));
    } else if (in_a) {
      Removed(ValueOf(a, field));
    } else if (in_b) {
      Added(ValueOf(b, field));
    }
  }

  void Values(const Message& a, const Message& b,
              const FieldDescriptor& field) {
    const int size_a = a.GetReflection()->FieldSize(a, &field);
    const int size_b = b.GetReflection()->FieldSize(b, &field);
    for (int i = 0; i < std::max(size_a, size_b); ++i) {
      if (i < size_a && i < size_b && SameValue(a, b, field, i)) continue;
      const PathStep step(&path_, "[" + std::to_string(i) + "]");
      if (i >= size_b) {
        Removed(ValueOf(a, field, i));
      } else if (i >= size_a) {
        Added(ValueOf(b, field, i));
      } else {
        Changed(ValueOf(a, field, i), ValueOf(b, field, i));
      }
    }
  }

  void MapEntries(const NumberMap& a, const NumberMap& b,
                  const FieldDescriptor& field) {
    const auto& type = *field.message_type()->map_value()->enum_type();
    const auto text = [&](int number) {
      return [&type, number](const TextSink& write) {
        const auto* value = type.FindValueByNumber(number);
        write(value != nullptr ? value->name() : std::to_string(number));
      };
    };
    for (const auto* entry : EntriesNotIn(b, a)) {
      const PathStep step(&path_, NameOfKey(entry->first));
      const auto other = b.find(entry->first);
      if (other == b.end()) {
        Removed(text(entry->second));
      } else {
        Changed(text(entry->second), text(other->second),
                WordsBesideName(other->second));
      }
    }
    for (const auto* entry : EntriesNotIn(a, b)) {
      if (a.contains(entry->first)) continue;
      const PathStep step(&path_, NameOfKey(entry->first));
      Added(text(entry->second));
    }
  }

  void Entries(const Message& a, const Message& b,
               const FieldDescriptor& field) {
    const EntryMatch match(a, b, field);
    for (int i = 0; i < match.size_before(); ++i) {
      const PathStep step(&path_, match.NameBefore(i));
      const int partner = match.PartnerOfBefore(i);
      if (partner < 0) {
        Removed(ValueOf(a, field, i));
      } else {
        Fields(a.GetReflection()->GetRepeatedMessage(a, &field, i),
               b.GetReflection()->GetRepeatedMessage(b, &field, partner));
      }
    }
    for (int i = 0; i < match.size_after(); ++i) {
      if (match.IsMatchedAfter(i)) continue;
      const PathStep step(&path_, match.NameAfter(i));
      Added(ValueOf(b, field, i));
    }
    if (!match.in_order()) Add(Difference{Difference::kReordered});
  }

  const bool show_secrets_;
  const Report& report_;
  const NodeItem* node_ = nullptr;
  const Way* way_ = nullptr;  // to the node
  std::string path_;
};

// Reports the nodes that only one side has. Those below such a node are counted
// with it.
class UnmatchedReporter : public NodeMatch::Visitor {
 public:
  UnmatchedReporter(Difference::Change change, const Report& report)
      : change_(change), report_(report) {}

  void Enter(const NodeItem& item, const NodeMatch::Pairing& pairing) override {
    way_.push_back({&item, pairing.place});
    Open open;
    if (pairing.partner == nullptr) {
      if (!open_.empty() && open_.back().top >= 0) {
        open.top = open_.back().top;
        const NodeParts parts = PartsOf(item);
        ++open_[open.top]
              .along[parts.member != nullptr ? parts.member->name() : ""];
      } else {
        open.top = static_cast<int>(open_.size());
        open.item = &item;
        open.parent = ParentOf(pairing.above, way_);
      }
    }
    open_.push_back(std::move(open));
  }

  void Leave() override {
    const Open open = std::move(open_.back());
    open_.pop_back();
    const std::string path = open.item == nullptr ? "" : PathOf(way_);
    way_.pop_back();
    if (open.item == nullptr) return;
    const NodeName name = NameOfItem(*open.item);
    Difference difference{change_, &name, path};
    (change_ == Difference::kAdded ? difference.to : difference.from) =
        open.parent;
    difference.along = open.along;
    report_(difference);
  }

 private:
  // A node whose children are being visited.
  struct Open {
    int top = -1;  // where in `open_` the node is that it went with; -1: stayed
    const NodeItem* item = nullptr;  // that is to be reported
    NodeParent parent;
    Counts along;
  };

  const Difference::Change change_;
  const Report& report_;
  std::vector<Open> open_;
  Way way_;
};

// Visits the nodes of the message after.
class MatchedReporter : public NodeMatch::Visitor {
 public:
  MatchedReporter(const Moved& moved, Comparison* comparison,
                  const Report& report)
      : moved_(moved), comparison_(*comparison), report_(report) {}

  void Enter(const NodeItem& item, const NodeMatch::Pairing& pairing) override {
    way_.push_back({&item, pairing.place});
    if (pairing.partner == nullptr) return;
    if (pairing.moved) {
      const NodeName name = NameOfItem(item);
      Difference difference{Difference::kMoved, &name, PathOf(way_)};
      const auto found = moved_.find(pairing.partner);
      const Way before = found == moved_.end() ? Way() : found->second;
      difference.path_before = PathOf(before);
      difference.from = ParentOf(pairing.partner_above, before);
      difference.to = ParentOf(pairing.above, way_);
      report_(difference);
    }
    comparison_.Nodes(*pairing.partner, item, way_);
  }
  void Leave() override { way_.pop_back(); }

 private:
  const Moved& moved_;
  Comparison& comparison_;
  const Report& report_;
  Way way_;
};

}  // namespace

void Compare(const Message& before, const Message& after, bool show_secrets,
             const std::function<void(const Difference&)>& report) {
  Comparison comparison(show_secrets, report);
  const NodeMatch match(before, after);
  if (!match.IsNodeItself()) comparison.Messages(before, after);
  UnmatchedReporter removed(Difference::kRemoved, report);
  match.Visit(kBefore, &removed);
  UnmatchedReporter added(Difference::kAdded, report);
  match.Visit(kAfter, &added);
  const Moved moved = MovedIn(match);
  MatchedReporter matched(moved, &comparison, report);
  match.Visit(kAfter, &matched);
}

}  // namespace tarn::tool
