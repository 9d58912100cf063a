// How two messages of a type differ in meaning.
#ifndef TOOLS_TARN_DIFFERENCE_H_
#define TOOLS_TARN_DIFFERENCE_H_

#include <google/protobuf/message.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "json_writer.h"
#include "node_name.h"
#include "nodes.h"
#include "value_text.h"

namespace tarn::tool {

// What is above a node: a node, or the field of the message that holds the top
// nodes. Both are empty where the message is the node.
struct NodeParent {
  NodeName node;
  std::string field;
  std::vector<NodeName> above = {};  // of that node, the nearest first
};

struct Difference {
  enum Change {
    kAdded,
    kRemoved,
    kMoved,      // a node, from one parent to another
    kChanged,    // a value
    kReordered,  // entries of a list that have a key
    kResized,    // a list of lists of nodes
  };
  using Text = std::function<void(const TextSink& write)>;

  Change change = kChanged;
  // The node that the difference is about, on the side that has it; null if it
  // is about none.
  const NodeName* node = nullptr;
  // Of that node: its path, as AppendPlace() makes it, in the message after, or
  // in the one before if it was removed. If it moved, its path before. For
  // changes within it the nodes above, the nearest first.
  std::string node_path = {};
  std::string path_before = {};
  std::vector<NodeName> above = {};
  // Of what has changed within the node or the message.
  std::string_view path = {};
  // What has changed are the unknown fields of the message that `path` names.
  bool unknown_fields = false;
  // Write values in the text format. Null where there is none.
  Text before = {};
  Text after = {};
  // For people: of the value after, if it is a status whose name does not say
  // the same.
  std::string words = {};
  // Of a node that came, went or moved: its parents.
  std::optional<NodeParent> from = {};
  std::optional<NodeParent> to = {};
  // The nodes that were added or removed together with this one.
  Counts along = {};
  // Of a list that was resized.
  int size_before = 0;
  int size_after = 0;
};

// Reports what differs: first fields outside of nodes, then nodes that were
// removed and that were added, then the others from the top down, in the order
// of the message after. There is no report if and only if both messages have
// the same canonical bytes once the lists of nodes are ordered by kind and
// uuid; nodes of one kind and uuid, or without a uuid, keep their order. Nodes
// are matched as node_match.h says. Entries of lists that have a key, such as
// the `id` of a Product, are matched by it, and other entries by position. Pass
// phrases are masked.
void Compare(const google::protobuf::Message& before,
             const google::protobuf::Message& after, bool show_secrets,
             const std::function<void(const Difference&)>& report);

// Prints differences for people, a line each; those of status and error flag of
// one node share a line. `mask_values`: no value is shown, since a pass phrase
// can be in any of them.
class DifferencePrinter {
 public:
  DifferencePrinter(bool mask_values, Output* output)
      : mask_values_(mask_values), out_(*output) {}

  void Print(const Difference& difference);
  // Ends the last line.
  void End();

 private:
  void PrintValues(const Difference& difference);

  const bool mask_values_;
  Output& out_;
  std::string open_;  // path of the node whose line can go on; empty: none
};

// Writes a difference as a JSON object.
void WriteDifference(const Difference& difference, bool mask_values,
                     JsonWriter* json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_DIFFERENCE_H_
