// Finds nodes by reflection, so that a new kind of node in the schema is drawn
// like the others.
#include "nodes.h"

#include <tarn/Network.pb.h>

#include <set>

#include "node_name.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// The member of ChildTypes for nodes of the type; null if the type is not a
// node.
const FieldDescriptor* MemberFor(const Descriptor& type) {
  const Descriptor& node = *tarn::ChildTypes::descriptor();
  for (int i = 0; i < node.field_count(); ++i) {
    if (node.field(i)->message_type() == &type) return node.field(i);
  }
  return nullptr;
}

void Collect(const Message& message, const std::string& holder,
             std::vector<Node>* nodes);

// Adds the nodes that a message field holds. `holder` is the path of the
// message.
void CollectField(const Message& message, const FieldDescriptor& field,
                  const std::string& holder, std::vector<Node>* nodes) {
  const auto& reflection = *message.GetReflection();
  const std::string path =
      holder.empty() ? field.name() : holder + "." + field.name();
  if (!field.is_repeated()) {
    if (!reflection.HasField(message, &field)) return;
    return Collect(reflection.GetMessage(message, &field), path, nodes);
  }
  const bool lists = field.message_type() != tarn::ChildTypes::descriptor();
  const int size = reflection.FieldSize(message, &field);
  if (nodes->empty()) nodes->reserve(size);
  for (int i = 0; i < size; ++i) {
    Collect(reflection.GetRepeatedMessage(message, &field, i),
            lists ? path + "[" + std::to_string(i) + "]" : path, nodes);
  }
}

Node MakeNode(const Message& message, const FieldDescriptor& member) {
  Node node;
  node.message = &message;
  node.kind = member.name();
  node.name = TextField(message, "name");
  node.uuid = TextField(message, "uuid");
  const Descriptor& type = *message.GetDescriptor();
  const auto& reflection = *message.GetReflection();
  if (const auto* status = type.FindFieldByName("status")) {
    node.has_status = true;
    node.status = reflection.GetEnumValue(message, status);
  }
  if (const auto* error = type.FindFieldByName("error")) {
    node.error = reflection.GetBool(message, error);
  } else if (const auto* flags = type.FindFieldByName("errorFlags")) {
    node.error = reflection.GetInt32(message, flags) != 0;
  }
  if (const auto* children = type.FindFieldByName("children")) {
    CollectField(message, *children, "", &node.children);
  }
  return node;
}

void Collect(const Message& message, const std::string& holder,
             std::vector<Node>* nodes) {
  const Descriptor& type = *message.GetDescriptor();
  if (const FieldDescriptor* member = MemberFor(type)) {
    nodes->push_back(MakeNode(message, *member));
    nodes->back().holder = holder;
    return;
  }
  if (&type == tarn::ChildTypes::descriptor()) {
    const FieldDescriptor* member =
        message.GetReflection()->GetOneofFieldDescriptor(message,
                                                         type.oneof_decl(0));
    nodes->push_back(
        member == nullptr
            ? Node()
            : MakeNode(message.GetReflection()->GetMessage(message, member),
                       *member));
    nodes->back().wrapper = &message;
    nodes->back().holder = holder;
    return;
  }
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor* field = type.field(i);
    if (field->message_type() != nullptr &&
        HoldsNodes(*field->message_type())) {
      CollectField(message, *field, holder, nodes);
    }
  }
}

bool Reaches(const Descriptor& type, std::set<const Descriptor*>* met) {
  if (MemberFor(type) != nullptr) return true;
  if (!met->insert(&type).second) return false;
  for (int i = 0; i < type.field_count(); ++i) {
    const Descriptor* held = type.field(i)->message_type();
    if (held != nullptr && Reaches(*held, met)) return true;
  }
  return false;
}

void AddTotals(const std::vector<Node>& nodes, NodeTotals* totals) {
  for (const Node& node : nodes) {
    if (node.has_status) ++totals->statuses[node.status];
    totals->errors += node.error ? 1 : 0;
    AddTotals(node.children, totals);
  }
}

}  // namespace

NodeTotals TotalsOf(const std::vector<Node>& nodes) {
  NodeTotals totals;
  AddTotals(nodes, &totals);
  return totals;
}

bool IsWell(const Node& node) {
  return node.broken.empty() && !node.error &&
         (!node.has_status || IsWell(node.status));
}

bool HoldsNodes(const Descriptor& type) {
  std::set<const Descriptor*> met;
  return Reaches(type, &met);
}

int NodesAround(const std::vector<const Descriptor*>& types) {
  const Descriptor* const wrapper = tarn::ChildTypes::descriptor();
  int nodes = 0;
  for (const Descriptor* type : types) {
    // Inside of a ChildTypes is the same node, and the record of a module is
    // part of it.
    const bool bare = nodes == 0 && MemberFor(*type) != nullptr;
    if (type == wrapper || bare) ++nodes;
  }
  return nodes;
}

std::vector<Node> NodesOf(const Message& message) {
  std::vector<Node> nodes;
  Collect(message, "", &nodes);
  return nodes;
}

Counts CountNodes(const std::vector<Node>& nodes) {
  Counts counts;
  for (const Node& node : nodes) {
    ++counts[node.kind];
    for (const auto& [kind, count] : CountNodes(node.children)) {
      counts[kind] += count;
    }
  }
  return counts;
}

std::string InWords(const Counts& counts) {
  std::string words;
  const auto add = [&](const std::string& kind) {
    const auto found = counts.find(kind);
    if (found == counts.end()) return;
    if (!words.empty()) words += ", ";
    words += std::to_string(found->second) + " " + KindWord(kind);
    if (found->second != 1) words += "s";
  };
  const Descriptor& node = *tarn::ChildTypes::descriptor();
  for (int i = 0; i < node.field_count(); ++i) add(node.field(i)->name());
  add("");
  return words;
}

void WriteCounts(const char* key, const Counts& counts, JsonWriter* json) {
  json->Key(key).BeginObject();
  for (const auto& [kind, count] : counts) {
    json->Key(KindName(kind)).Number(count);
  }
  json->EndObject();
}

}  // namespace tarn::tool
