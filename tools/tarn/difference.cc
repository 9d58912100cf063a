// Matches nodes and list entries, and compares what is matched field by field.
#include "difference.h"

#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/unknown_field_set.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <cstring>

#include "output.h"

namespace inspector {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// The field by which entries of a list are matched; null: by position.
const FieldDescriptor* KeyOf(const Descriptor& entry) {
  if (entry.options().map_entry()) return entry.map_key();
  const std::pair<const Descriptor*, int> kKeys[] = {
      {tarn::Product::descriptor(), tarn::Product::kIdFieldNumber},
      {tarn::Price::descriptor(), tarn::Price::kLineNumFieldNumber},
      {tarn::ERTDConnection::descriptor(),
       tarn::ERTDConnection::kNameFieldNumber},
      {tarn::Frame::descriptor(), tarn::Frame::kNumberFieldNumber},
      {tarn::FrameContent::descriptor(), tarn::FrameContent::kFrameFieldNumber},
      {tarn::HwIdRowInfo::descriptor(), tarn::HwIdRowInfo::kHwIdFieldNumber},
      {tarn::HwIdColInfo::descriptor(), tarn::HwIdColInfo::kHwIdFieldNumber},
      {tarn::DisplaySizeRef::descriptor(),
       tarn::DisplaySizeRef::kAssyIdFieldNumber},
  };
  for (const auto& [type, number] : kKeys) {
    if (type == &entry) return entry.FindFieldByNumber(number);
  }
  return nullptr;
}

std::string Quoted(std::string_view text) { return InQuotes(text); }

std::string TextOf(const Message& message) {
  google::protobuf::TextFormat::Printer printer;
  printer.SetSingleLineMode(true);
  printer.SetUseUtf8StringEscaping(true);
  std::string text;
  printer.PrintToString(message, &text);
  // The printer has escaped quotes and backslashes.
  return Escaped("{ " + text + "}", "");
}

// The value of a field, or of an element of a list.
std::string ValueOf(const Message& message, const FieldDescriptor& field,
                    int index) {
  const auto& reflection = *message.GetReflection();
  if (field.message_type() != nullptr) {
    return TextOf(index < 0
                      ? reflection.GetMessage(message, &field)
                      : reflection.GetRepeatedMessage(message, &field, index));
  }
  if (field.cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
    std::string scratch;
    return Quoted(index < 0
                      ? reflection.GetStringReference(message, &field, &scratch)
                      : reflection.GetRepeatedStringReference(message, &field,
                                                              index, &scratch));
  }
  std::string text;
  google::protobuf::TextFormat::PrintFieldValueToString(message, &field, index,
                                                        &text);
  return text;
}

// An entry of a list; of a map only the value, since its key names the place.
std::string TextOfEntry(const Message& entry) {
  const Descriptor& type = *entry.GetDescriptor();
  return type.options().map_entry() ? ValueOf(entry, *type.map_value(), -1)
                                    : TextOf(entry);
}

// Whether two values are the same; a float is when all its bits are.
bool SameValue(const Message& a, const Message& b,
               const FieldDescriptor& field) {
  if (field.cpp_type() != FieldDescriptor::CPPTYPE_FLOAT) {
    return ValueOf(a, field, -1) == ValueOf(b, field, -1);
  }
  const float x = a.GetReflection()->GetFloat(a, &field);
  const float y = b.GetReflection()->GetFloat(b, &field);
  return std::memcmp(&x, &y, sizeof x) == 0;
}

// The name of a key: a text without its quotes, since brackets are around it.
std::string NameOfKey(const Message& entry, const FieldDescriptor& key) {
  if (key.cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
    return Escaped(entry.GetReflection()->GetString(entry, &key));
  }
  return key.name() + " " + ValueOf(entry, key, -1);
}

class Comparison {
 public:
  Comparison(bool show_secrets, std::vector<Difference>* differences)
      : show_secrets_(show_secrets), differences_(*differences) {}

  // Compares all but the nodes that a message holds, which are compared on
  // their own.
  void Messages(const Message& a, const Message& b, const std::string& path,
                const Node* node) {
    node_ = node;
    Fields(a, b, path);
  }
  void Nodes(const Node& a, const Node& b) {
    if (a.message != nullptr) Messages(*a.message, *b.message, "", &a);
    node_ = &a;
    if (a.wrapper != nullptr && b.wrapper != nullptr) {
      Unknown(*a.wrapper, *b.wrapper, "");
    }
  }

 private:
  void Add(Difference::Change change, const std::string& path,
           const std::string& before, const std::string& after) {
    differences_.push_back({change, node_, path, before, after, {}});
  }

  void Unknown(const Message& a, const Message& b, const std::string& path) {
    const auto bytes = [](const Message& message) {
      std::string text;
      message.GetReflection()->GetUnknownFields(message).SerializeToString(
          &text);
      return text;
    };
    const std::string in_a = bytes(a);
    const std::string in_b = bytes(b);
    if (in_a == in_b) return;
    Add(Difference::kChanged,
        path + (path.empty() ? "" : ".") + "unknown fields", Quoted(in_a),
        Quoted(in_b));
  }

  static bool HoldsOtherNodes(const FieldDescriptor& field) {
    // The record of a module is part of it, not a node below it.
    return field.message_type() != nullptr &&
           field.containing_type() != tarn::Module::descriptor() &&
           HoldsNodes(*field.message_type());
  }

  void Fields(const Message& a, const Message& b, const std::string& path) {
    const Descriptor& type = *a.GetDescriptor();
    for (int i = 0; i < type.field_count(); ++i) {
      const FieldDescriptor& field = *type.field(i);
      const std::string at =
          path.empty() ? field.name() : path + "." + field.name();
      if (HoldsOtherNodes(field)) {
        Holders(a, b, field, at);
      } else if (!field.is_repeated()) {
        Singular(a, b, field, at);
      } else if (field.message_type() != nullptr) {
        Entries(a, b, field, at);
      } else {
        Values(a, b, field, at);
      }
    }
    Unknown(a, b, path);
  }

  // Lists of lists of nodes: the nodes are compared elsewhere.
  void Holders(const Message& a, const Message& b, const FieldDescriptor& field,
               const std::string& at) {
    if (!field.is_repeated() ||
        field.message_type() == tarn::ChildTypes::descriptor()) {
      return;
    }
    const int size_a = a.GetReflection()->FieldSize(a, &field);
    const int size_b = b.GetReflection()->FieldSize(b, &field);
    if (size_a != size_b) {
      Add(Difference::kChanged, at, std::to_string(size_a) + " entries",
          std::to_string(size_b) + " entries");
    }
    for (int i = 0; i < std::min(size_a, size_b); ++i) {
      Fields(a.GetReflection()->GetRepeatedMessage(a, &field, i),
             b.GetReflection()->GetRepeatedMessage(b, &field, i),
             at + "[" + std::to_string(i) + "]");
    }
  }

  void Singular(const Message& a, const Message& b,
                const FieldDescriptor& field, const std::string& at) {
    if (field.message_type() == nullptr) {
      if (SameValue(a, b, field)) return;
      const bool masked =
          !show_secrets_ && field.full_name() == "tarn.Wifi.pass";
      return Add(Difference::kChanged, at,
                 masked ? "***" : ValueOf(a, field, -1),
                 masked ? "***" : ValueOf(b, field, -1));
    }
    const bool in_a = a.GetReflection()->HasField(a, &field);
    const bool in_b = b.GetReflection()->HasField(b, &field);
    if (in_a && in_b) {
      Fields(a.GetReflection()->GetMessage(a, &field),
             b.GetReflection()->GetMessage(b, &field), at);
    } else if (in_a) {
      Add(Difference::kRemoved, at, ValueOf(a, field, -1), "");
    } else if (in_b) {
      Add(Difference::kAdded, at, "", ValueOf(b, field, -1));
    }
  }

  void Values(const Message& a, const Message& b, const FieldDescriptor& field,
              const std::string& at) {
    const int size_a = a.GetReflection()->FieldSize(a, &field);
    const int size_b = b.GetReflection()->FieldSize(b, &field);
    for (int i = 0; i < std::max(size_a, size_b); ++i) {
      const std::string value_a = i < size_a ? ValueOf(a, field, i) : "";
      const std::string value_b = i < size_b ? ValueOf(b, field, i) : "";
      if (value_a == value_b) continue;
      Add(value_a.empty()   ? Difference::kAdded
          : value_b.empty() ? Difference::kRemoved
                            : Difference::kChanged,
          at + "[" + std::to_string(i) + "]", value_a, value_b);
    }
  }

  // The entries of a list by what matches them. Of several with one key the
  // second is matched with the second.
  struct Entry {
    std::string name;
    const Message* message;
  };
  static std::vector<Entry> EntriesOf(const Message& message,
                                      const FieldDescriptor& field) {
    std::vector<Entry> entries;
    std::map<std::string, int> met;
    const FieldDescriptor* key = KeyOf(*field.message_type());
    for (int i = 0; i < message.GetReflection()->FieldSize(message, &field);
         ++i) {
      const Message& entry =
          message.GetReflection()->GetRepeatedMessage(message, &field, i);
      std::string name = std::to_string(i);
      if (key != nullptr) {
        name = NameOfKey(entry, *key);
        const int times = ++met[name];
        if (times > 1) name += " again, " + std::to_string(times);
      }
      entries.push_back({name, &entry});
    }
    if (field.is_map()) {
      std::sort(entries.begin(), entries.end(),
                [](const Entry& x, const Entry& y) { return x.name < y.name; });
    }
    return entries;
  }

  void Entries(const Message& a, const Message& b, const FieldDescriptor& field,
               const std::string& at) {
    const std::vector<Entry> entries_a = EntriesOf(a, field);
    const std::vector<Entry> entries_b = EntriesOf(b, field);
    std::map<std::string, size_t> index_in_b;
    for (size_t i = 0; i < entries_b.size(); ++i) {
      index_in_b[entries_b[i].name] = i;
    }
    std::vector<bool> matched(entries_b.size());
    std::vector<size_t> order;
    for (const Entry& entry : entries_a) {
      const std::string here = at + "[" + entry.name + "]";
      const auto found = index_in_b.find(entry.name);
      if (found == index_in_b.end()) {
        Add(Difference::kRemoved, here, TextOfEntry(*entry.message), "");
        continue;
      }
      matched[found->second] = true;
      order.push_back(found->second);
      const Message& other = *entries_b[found->second].message;
      if (field.is_map()) {
        Singular(*entry.message, other, *field.message_type()->map_value(),
                 here);
      } else {
        Fields(*entry.message, other, here);
      }
    }
    for (size_t i = 0; i < entries_b.size(); ++i) {
      if (matched[i]) continue;
      Add(Difference::kAdded, at + "[" + entries_b[i].name + "]", "",
          TextOfEntry(*entries_b[i].message));
    }
    if (!field.is_map() && !std::is_sorted(order.begin(), order.end())) {
      Add(Difference::kChanged, at, "", "in another order");
    }
  }

  bool show_secrets_;
  std::vector<Difference>& differences_;
  const Node* node_ = nullptr;
};

// A node with its key and that of what is above it: a node, or the field that
// holds the top nodes.
struct Place {
  const Node* node;
  std::string key;
  std::string above;
  std::string above_in_words;
};

// All nodes of a message, from the top down. A node without a uuid is known by
// its place among its like.
class Places {
 public:
  explicit Places(const std::vector<Node>& nodes) {
    for (const Node& node : nodes) Enter(node, node.holder, node.holder);
  }
  const std::vector<Place>& all() const { return all_; }
  const Place* Find(const std::string& key) const {
    const auto found = by_key_.find(key);
    return found == by_key_.end() ? nullptr : &all_[found->second];
  }

 private:
  void Enter(const Node& node, const std::string& above,
             const std::string& above_in_words) {
    std::string key = node.kind + ' ' + node.uuid;
    // The message itself is matched with the message, whatever its uuid.
    if (above.empty()) key = node.kind;
    if (node.uuid.empty()) key = above + '/' + key;
    const int times = ++met_[key];
    key += '#' + std::to_string(times);
    by_key_[key] = all_.size();
    all_.push_back({&node, key, above, above_in_words});
    for (const Node& child : node.children) Enter(child, key, NameOf(node));
  }

  std::vector<Place> all_;
  std::map<std::string, size_t> by_key_;
  std::map<std::string, int> met_;
};

// Reports the nodes that only one side has. Those below such a node count as
// gone along with it.
void Unmatched(const Places& here, const Places& there,
               Difference::Change change,
               std::vector<Difference>* differences) {
  std::map<std::string, size_t> reported;
  for (const Place& place : here.all()) {
    if (there.Find(place.key) != nullptr) continue;
    const auto with = reported.find(place.above);
    if (with != reported.end()) {
      ++(*differences)[with->second].along[place.node->kind];
      reported[place.key] = with->second;
      continue;
    }
    reported[place.key] = differences->size();
    Difference difference{change, place.node, "", "", "", {}};
    (change == Difference::kAdded ? difference.after : difference.before) =
        place.above_in_words;
    differences->push_back(difference);
  }
}

}  // namespace

std::vector<Difference> Compare(const Pair& pair, bool show_secrets) {
  std::vector<Difference> differences;
  Comparison comparison(show_secrets, &differences);
  const bool is_node =
      pair.nodes_before.size() == 1 && pair.nodes_before.front().holder.empty();
  if (!is_node) comparison.Messages(pair.before, pair.after, "", nullptr);
  const Places before(pair.nodes_before);
  const Places after(pair.nodes_after);
  Unmatched(before, after, Difference::kRemoved, &differences);
  Unmatched(after, before, Difference::kAdded, &differences);
  for (const Place& place : before.all()) {
    const Place* other = after.Find(place.key);
    if (other == nullptr) continue;
    if (other->above != place.above) {
      differences.push_back({Difference::kMoved,
                             place.node,
                             "",
                             place.above_in_words,
                             other->above_in_words,
                             {}});
    }
    comparison.Nodes(*place.node, *other->node);
  }
  return differences;
}

std::string NameOf(const Node& node) {
  std::string name = LabelOf(node);
  if (node.name.empty() && !node.uuid.empty() && node.message != nullptr) {
    const std::string uuid = Escaped(node.uuid);
    if (name.find(uuid) == name.npos) name += ' ' + uuid;
  }
  if (!node.uuid.empty()) return name;
  for (const auto& [field, value] : AddressOf(node)) {
    name += ' ' + field + ' ' + Escaped(value);
  }
  return name;
}

}  // namespace inspector
