// Nodes as messages hold them: their kinds, keys, parts and children.
#ifndef TOOLS_TARN_NODE_ITEM_H_
#define TOOLS_TARN_NODE_ITEM_H_

#include <google/protobuf/message.h>

#include <string_view>
#include <tuple>

namespace tarn::tool {

// A node, given by its ChildTypes, or by the Server, Client, ... itself if it
// is in no ChildTypes.
using NodeItem = google::protobuf::Message;

// What a NodeItem holds.
struct NodeParts {
  const google::protobuf::FieldDescriptor* member = nullptr;  // null: no kind
  const google::protobuf::Message* message = nullptr;         // null: no kind
  const google::protobuf::Message* wrapper = nullptr;  // null: none around it
};
NodeParts PartsOf(const NodeItem& item);

// The nodes that a field of a message holds, or the message alone.
struct NodeList {
  const google::protobuf::Message* message = nullptr;  // null: no nodes
  const google::protobuf::FieldDescriptor* field = nullptr;

  int size() const;
  const NodeItem& at(int i) const;
};
// The nodes below a node.
NodeList ChildrenOf(const NodeItem& item);

// Whether messages of a type are nodes, with a ChildTypes around them or not.
bool IsNode(const google::protobuf::Descriptor& type);

// Nodes with the same key can be matched.
struct NodeKey {
  int kind;  // the number of the member of ChildTypes; 0: no kind
  std::string_view uuid;

  bool operator==(const NodeKey& other) const {
    return kind == other.kind && uuid == other.uuid;
  }
  bool operator<(const NodeKey& other) const {
    return std::tie(kind, uuid) < std::tie(other.kind, other.uuid);
  }
};

NodeKey KeyOf(const NodeItem& item);
int KindOf(const NodeItem& item);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_NODE_ITEM_H_
