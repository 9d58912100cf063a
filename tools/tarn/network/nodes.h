// The nodes of a sign network, taken out of any message that holds some.
#ifndef TOOLS_TARN_NODES_H_
#define TOOLS_TARN_NODES_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "json_writer.h"
#include "status_words.h"

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
  // Where and why the message breaks off inside of this node, but not inside of
  // one below it; else empty.
  std::string broken;
  std::vector<Node> children;
};

// How many of some nodes, and of those below them, have each status, and how
// many report an error.
struct NodeTotals {
  StatusTally statuses;
  int errors = 0;
};
NodeTotals TotalsOf(const std::vector<Node>& nodes);

// Whether status and error flag of a node say that all is well.
bool IsWell(const Node& node);

// Whether messages of the type can hold nodes, or are nodes themselves.
bool HoldsNodes(const google::protobuf::Descriptor& type);

// How many nodes are around a place in a message, one in the other. `types` are
// those of the messages around it, the outermost first.
int NodesAround(const std::vector<const google::protobuf::Descriptor*>& types);

// The top nodes of a message, each with those below it. They refer to the
// message.
std::vector<Node> NodesOf(const google::protobuf::Message& message);

// How many nodes of each kind there are.
using Counts = std::map<std::string, int>;
Counts CountNodes(const std::vector<Node>& nodes);

// "1 server, 2 clients"; empty for none.
std::string InWords(const Counts& counts);
// The same as a member of a JSON object.
void WriteCounts(const char* key, const Counts& counts, JsonWriter* json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_NODES_H_
