// Compares nodes and list entries that are matched, field by field.
#include "difference.h"

#include <google/protobuf/unknown_field_set.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <cstring>

#include "entry_match.h"
#include "node_match.h"
#include "output.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::UnknownFieldSet;
using Report = std::function<void(const Difference&)>;
using Text = Difference::Text;

Text Words(std::string words) {
  return [words](const TextSink& write) { write(words); };
}

Text ValueOf(const Message& message, const FieldDescriptor& field,
             int index = -1) {
  return [&message, &field, index](const TextSink& write) {
    WriteValue(message, field, index, write);
  };
}

// A number, or the bits of a float, of a field or of an element of a list.
uint64_t NumberOf(const Message& message, const FieldDescriptor& field,
                  int index) {
  const auto& get = *message.GetReflection();
  const bool one = index < 0;
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return one ? get.GetInt32(message, &field)
                 : get.GetRepeatedInt32(message, &field, index);
    case FieldDescriptor::CPPTYPE_UINT32:
      return one ? get.GetUInt32(message, &field)
                 : get.GetRepeatedUInt32(message, &field, index);
    case FieldDescriptor::CPPTYPE_BOOL:
      return one ? get.GetBool(message, &field)
                 : get.GetRepeatedBool(message, &field, index);
    case FieldDescriptor::CPPTYPE_ENUM:
      return one ? get.GetEnumValue(message, &field)
                 : get.GetRepeatedEnumValue(message, &field, index);
    case FieldDescriptor::CPPTYPE_FLOAT: {
      const float value = one ? get.GetFloat(message, &field)
                              : get.GetRepeatedFloat(message, &field, index);
      uint32_t bits;
      std::memcpy(&bits, &value, sizeof bits);
      return bits;
    }
    default:
      GOOGLE_LOG(FATAL) << field.full_name() << ": a type not compared";
  }
  return 0;
}

bool SameValue(const Message& a, const Message& b, const FieldDescriptor& field,
               int index) {
  if (field.cpp_type() != FieldDescriptor::CPPTYPE_STRING) {
    return NumberOf(a, field, index) == NumberOf(b, field, index);
  }
  const auto& get = *a.GetReflection();
  std::string scratch_a, scratch_b;
  return index < 0
             ? get.GetStringReference(a, &field, &scratch_a) ==
                   get.GetStringReference(b, &field, &scratch_b)
             : get.GetRepeatedStringReference(a, &field, index, &scratch_a) ==
                   get.GetRepeatedStringReference(b, &field, index, &scratch_b);
}

bool SameUnknown(const UnknownFieldSet& a, const UnknownFieldSet& b) {
  using google::protobuf::UnknownField;
  if (a.field_count() != b.field_count()) return false;
  for (int i = 0; i < a.field_count(); ++i) {
    const UnknownField& x = a.field(i);
    const UnknownField& y = b.field(i);
    if (x.number() != y.number() || x.type() != y.type()) return false;
    switch (x.type()) {
      case UnknownField::TYPE_VARINT:
        if (x.varint() != y.varint()) return false;
        break;
      case UnknownField::TYPE_FIXED32:
        if (x.fixed32() != y.fixed32()) return false;
        break;
      case UnknownField::TYPE_FIXED64:
        if (x.fixed64() != y.fixed64()) return false;
        break;
      case UnknownField::TYPE_LENGTH_DELIMITED:
        if (x.length_delimited() != y.length_delimited()) return false;
        break;
      case UnknownField::TYPE_GROUP:
        if (!SameUnknown(x.group(), y.group())) return false;
    }
  }
  return true;
}

NodeName NameOf(const NodeItem& item) {
  const NodeParts parts = PartsOf(item);
  NodeName name;
  if (parts.member != nullptr) name.kind = parts.member->name();
  name.label = KindWord(name.kind);
  if (parts.message == nullptr) return name;
  name.name = ShortText(*parts.message, "name");
  name.uuid = ShortText(*parts.message, "uuid");
  const std::string hardware = ShortText(*parts.message, "hwId");
  if (!name.name.empty()) {
    name.label += ' ' + InQuotes(name.name);
  } else {
    if (!hardware.empty()) name.label += ' ' + Escaped(hardware);
    if (!name.uuid.empty()) name.label += ' ' + Escaped(name.uuid);
  }
  if (!name.uuid.empty()) return name;
  Node node;
  node.message = parts.message;
  for (const auto& [field, value] : AddressOf(node)) {
    name.label += ' ' + field + ' ' + Escaped(value);
  }
  return name;
}

std::string NameOf(const Above& above) {
  return above.node != nullptr ? NameOf(*above.node).label : *above.field;
}

// Compares messages, but not the nodes in them.
class Comparison {
 public:
  Comparison(bool show_secrets, const Report& report)
      : show_secrets_(show_secrets), report_(report) {}

  void Messages(const Message& a, const Message& b) { Fields(a, b); }

  void Nodes(const NodeItem& a, const NodeItem& b) {
    node_ = &a;
    const NodeParts in_a = PartsOf(a);
    const NodeParts in_b = PartsOf(b);
    if (in_a.message != nullptr) Fields(*in_a.message, *in_b.message);
    if (in_a.wrapper != nullptr) Unknown(a, b);
  }

 private:
  // Adds to the path while it lives.
  class Step {
   public:
    Step(std::string* path, std::string_view step)
        : path_(*path), size_(path->size()) {
      if (size_ > 0 && step.front() != '[') path_ += '.';
      path_ += step;
    }
    ~Step() { path_.resize(size_); }
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;

   private:
    std::string& path_;
    const size_t size_;
  };

  void Add(Difference::Change change, Text before, Text after) {
    NodeName name;
    if (node_ != nullptr) name = NameOf(*node_);
    report_({change,
             node_ != nullptr ? &name : nullptr,
             path_,
             std::move(before),
             std::move(after),
             {}});
  }
  void Removed(Text before) {
    Add(Difference::kRemoved, std::move(before), nullptr);
  }
  void Added(Text after) { Add(Difference::kAdded, nullptr, std::move(after)); }
  void Changed(Text before, Text after) {
    Add(Difference::kChanged, std::move(before), std::move(after));
  }

  void Unknown(const Message& a, const Message& b) {
    const UnknownFieldSet& in_a = a.GetReflection()->GetUnknownFields(a);
    const UnknownFieldSet& in_b = b.GetReflection()->GetUnknownFields(b);
    if (SameUnknown(in_a, in_b)) return;
    const Step step(&path_, "unknown fields");
    Changed([&](const TextSink& write) { WriteUnknown(in_a, write); },
            [&](const TextSink& write) { WriteUnknown(in_b, write); });
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
      const Step step(&path_, field.name());
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

  // Lists of lists of nodes: the nodes are compared elsewhere.
  void Holders(const Message& a, const Message& b,
               const FieldDescriptor& field) {
    if (!field.is_repeated() ||
        field.message_type() == tarn::ChildTypes::descriptor()) {
      return;
    }
    const int size_a = a.GetReflection()->FieldSize(a, &field);
    const int size_b = b.GetReflection()->FieldSize(b, &field);
    if (size_a != size_b) {
      Changed(Words(std::to_string(size_a) + " entries"),
              Words(std::to_string(size_b) + " entries"));
    }
    for (int i = 0; i < std::min(size_a, size_b); ++i) {
      const Step step(&path_, "[" + std::to_string(i) + "]");
      Fields(a.GetReflection()->GetRepeatedMessage(a, &field, i),
             b.GetReflection()->GetRepeatedMessage(b, &field, i));
    }
  }

  void Singular(const Message& a, const Message& b,
                const FieldDescriptor& field) {
    if (field.message_type() == nullptr) {
      if (SameValue(a, b, field, -1)) return;
      const bool masked =
          !show_secrets_ && field.full_name() == "tarn.Wifi.pass";
      return Changed(masked ? Words("***") : ValueOf(a, field),
                     masked ? Words("***") : ValueOf(b, field));
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
      const Step step(&path_, "[" + std::to_string(i) + "]");
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
      const Step step(&path_, NameOfKey(entry->first));
      const auto other = b.find(entry->first);
      if (other == b.end()) {
        Removed(text(entry->second));
      } else {
        Changed(text(entry->second), text(other->second));
      }
    }
    for (const auto* entry : EntriesNotIn(a, b)) {
      if (a.contains(entry->first)) continue;
      const Step step(&path_, NameOfKey(entry->first));
      Added(text(entry->second));
    }
  }

  void Entries(const Message& a, const Message& b,
               const FieldDescriptor& field) {
    const EntryMatch match(a, b, field);
    for (int i = 0; i < match.size_before(); ++i) {
      const Step step(&path_, match.NameBefore(i));
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
      const Step step(&path_, match.NameAfter(i));
      Added(ValueOf(b, field, i));
    }
    if (!match.in_order()) Changed(nullptr, Words("in another order"));
  }

  const bool show_secrets_;
  const Report& report_;
  const NodeItem* node_ = nullptr;
  std::string path_;
};

// Reports the nodes that only one side has. Those below such a node count as
// gone along with it.
class Unmatched : public NodeMatch::Visitor {
 public:
  Unmatched(Difference::Change change, const Report& report)
      : change_(change), report_(report) {}

  void Enter(const NodeItem& item, const NodeMatch::Place& place) override {
    Open open;
    if (place.partner == nullptr) {
      if (!open_.empty() && open_.back().top >= 0) {
        open.top = open_.back().top;
        const NodeParts parts = PartsOf(item);
        ++open_[open.top]
              .along[parts.member != nullptr ? parts.member->name() : ""];
      } else {
        open.top = static_cast<int>(open_.size());
        open.item = &item;
        open.above = NameOf(place.above);
      }
    }
    open_.push_back(std::move(open));
  }

  void Leave() override {
    const Open open = std::move(open_.back());
    open_.pop_back();
    if (open.item == nullptr) return;
    const NodeName name = NameOf(*open.item);
    Difference difference{change_, &name, "", nullptr, nullptr, open.along};
    if (!open.above.empty()) {
      (change_ == Difference::kAdded ? difference.after : difference.before) =
          Words(open.above);
    }
    report_(difference);
  }

 private:
  // A node whose children are being visited.
  struct Open {
    int top = -1;  // where in `open_` the node is that it went with; -1: stayed
    const NodeItem* item = nullptr;  // that is to be reported
    std::string above;
    Counts along;
  };

  const Difference::Change change_;
  const Report& report_;
  std::vector<Open> open_;
};

class Matched : public NodeMatch::Visitor {
 public:
  Matched(Comparison* comparison, const Report& report)
      : comparison_(*comparison), report_(report) {}

  void Enter(const NodeItem& item, const NodeMatch::Place& place) override {
    if (place.partner == nullptr) return;
    if (place.moved) {
      const NodeName name = NameOf(item);
      report_({Difference::kMoved,
               &name,
               "",
               Words(NameOf(place.above)),
               Words(NameOf(place.partner_above)),
               {}});
    }
    comparison_.Nodes(item, *place.partner);
  }

 private:
  Comparison& comparison_;
  const Report& report_;
};

}  // namespace

void Compare(const Message& before, const Message& after, bool show_secrets,
             const std::function<void(const Difference&)>& report) {
  Comparison comparison(show_secrets, report);
  const NodeMatch match(before, after);
  if (!match.IsNodeItself()) comparison.Messages(before, after);
  Unmatched removed(Difference::kRemoved, report);
  match.Visit(kBefore, &removed);
  Unmatched added(Difference::kAdded, report);
  match.Visit(kAfter, &added);
  Matched matched(&comparison, report);
  match.Visit(kBefore, &matched);
}

}  // namespace tarn::tool
