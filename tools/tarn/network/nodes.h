// The nodes of a sign network, taken out of any message that holds some.
#ifndef TOOLS_TARN_NODES_H_
#define TOOLS_TARN_NODES_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tarn::tool {

struct Node {
  // The Server, Client, ... itself; null: a ChildTypes with no kind.
  const google::protobuf::Message* message = nullptr;
  // As ChildTypes names its members; empty: no kind.
  std::string kind;
  const google::protobuf::Message* wrapper = nullptr;  // its ChildTypes
  std::string holder;  // of a top node: the field that it is in
  std::string name;
  std::string uuid;
  int32_t status = 0;
  bool has_status = false;  // whether this kind of node has one
  bool error = false;
  std::vector<Node> children;
};

// A singular field of text or number in words: the beginning of a long text,
// and nothing for zero or where there is no such field.
std::string ShortText(const google::protobuf::Message& message,
                      const char* name);

// Whether messages of the type can hold nodes, or are nodes themselves.
bool HoldsNodes(const google::protobuf::Descriptor& type);

// The top nodes of a message, each with those below it. They refer to the
// message.
std::vector<Node> NodesOf(const google::protobuf::Message& message);

// What is set of the fields that tell where a node is, as {"port", "ttyS0"} or
// {"nodeAddr", "12"}.
std::vector<std::pair<std::string, std::string>> AddressOf(const Node& node);

// Nodes of each kind among these and below them.
using Counts = std::map<std::string, int>;
Counts CountNodes(const std::vector<Node>& nodes);

// "1 server, 2 clients"; empty for none.
std::string InWords(const Counts& counts);

// A word for the kind of a node.
std::string KindWord(const std::string& kind);

// A node by its kind and what tells it from its neighbours: `client "North"`.
// Safe to print; of a long name the beginning.
std::string LabelOf(const Node& node);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_NODES_H_
