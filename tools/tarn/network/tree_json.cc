// The tree as members of a JSON object.
#include "node_name.h"
#include "status_words.h"
#include "tree.h"

namespace tarn::tool {
namespace {

using google::protobuf::FieldDescriptor;

void WriteAddress(const Node& node, JsonWriter* json) {
  json->Key("address").BeginObject();
  for (const auto& [name, value] : AddressOf(node.message)) {
    const auto* field = node.message->GetDescriptor()->FindFieldByName(name);
    json->Key(name);
    if (field->type() == FieldDescriptor::TYPE_STRING) {
      json->String(
          node.message->GetReflection()->GetString(*node.message, field));
    } else {
      json->Value().Write(value);
    }
  }
  json->EndObject();
}

void WriteBranches(const std::vector<Branch>& branches, JsonWriter* json) {
  json->Key("children").BeginList();
  for (const Branch& branch : branches) {
    const Node& node = *branch.node;
    json->BeginObject();
    json->Key("kind").String(KindName(node.kind));
    json->Key("name").String(node.name);
    json->Key("uuid").String(node.uuid);
    if (node.has_status) WriteStatus("status", node.status, json);
    json->Key("error").Bool(node.error);
    WriteAddress(node, json);
    WriteCounts("below", CountNodes(node.children), json);
    WriteBranches(branch.branches, json);
    json->EndObject();
  }
  json->EndList();
}

}  // namespace

void WriteTree(const std::vector<Node>& nodes,
               const std::vector<Branch>& branches, JsonWriter* json) {
  WriteCounts("below", CountNodes(nodes), json);
  WriteBranches(branches, json);
}

}  // namespace tarn::tool
