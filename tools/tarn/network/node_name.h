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
// `client "North"`. Safe to print; of a long name the beginning.
std::string LabelOf(const std::string& kind,
                    const google::protobuf::Message* node);

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
