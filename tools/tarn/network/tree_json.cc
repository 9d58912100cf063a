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

// `path`: of the node above; the same again afterwards.
void WriteBranches(const std::vector<Branch>& branches, std::string* path,
                   JsonWriter* json) {
  const size_t above = path->size();
  json->Key("children").BeginList();
  for (const Branch& branch : branches) {
    const Node& node = *branch.node;
    AppendPlace(branch.place, path);
    json->BeginObject();
    json->Key("path").Word(*path);
    json->Key("kind").String(KindName(node.kind));
    json->Key("name").String(node.name);
    json->Key("uuid").String(node.uuid);
    if (node.has_status) WriteStatus("status", node.status, json);
    json->Key("error").Bool(node.error);
    if (!node.broken.empty()) json->Key("broken").Bool(true);
    WriteAddress(node, json);
    WriteCounts("below", CountNodes(node.children), json);
    WriteBranches(branch.branches, path, json);
    path->resize(above);
    json->EndObject();
  }
  json->EndList();
}

}  // namespace

void WriteTree(const Tree& tree, JsonWriter* json) {
  WriteCounts("below", CountNodes(tree.nodes), json);
  std::string path;
  WriteBranches(tree.branches, &path, json);
}

}  // namespace tarn::tool
