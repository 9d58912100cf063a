// What a node is called.
#ifndef TOOLS_TARN_NODE_NAME_H_
#define TOOLS_TARN_NODE_NAME_H_

#include <google/protobuf/message.h>

#include <string>
#include <utility>
#include <vector>

#include "json_writer.h"

namespace tarn::tool {

// In all of these the kind of a node is the name of its member of ChildTypes,
// empty where there is none, and `node` is the Server, Client, ... itself, null
// where there is none.

// The names of a node, long ones cut off.
struct NodeName {
  std::string kind;
  std::string name;
  std::string uuid;
  // For people: enough of the others that the node can be found by it.
  std::string label;
};
NodeName NameNode(const std::string& kind,
                  const google::protobuf::Message* node);
// Writes "kind", and "name" and "uuid" where there is one.
void WriteName(const NodeName& name, JsonWriter* json);

// The kind and one name, for where the node is shown at its place:
// `client "North"`. Safe to print; of a name that takes more than `columns` the
// beginning.
std::string LabelOf(const std::string& kind,
                    const google::protobuf::Message* node, size_t columns);

// Makes the path of a node of that of the node above, which is empty above a
// top node. A path is the way from the top of the message, such as 0.3.2: the
// place of each node among its siblings, from 0.
void AppendPlace(int place, std::string* path);
// Throws a Failure where the text is no such path.
std::vector<int> ParsePath(const std::string& path);

// What is set of the fields that tell where a node is, as {"port", "ttyS0"} or
// {"nodeAddr", "12"}. Long texts are cut off.
std::vector<std::pair<std::string, std::string>> AddressOf(
    const google::protobuf::Message* node);

// The kind in words for people, and in JSON, where it is never empty.
std::string KindWord(const std::string& kind);
std::string KindName(const std::string& kind);

// A field of text; empty where the message has no such field.
std::string TextField(const google::protobuf::Message& message,
                      const char* name);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_NODE_NAME_H_
