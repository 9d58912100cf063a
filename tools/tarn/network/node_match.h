// Matches the nodes of two messages.
//
// Nodes of the same kind and uuid are the same node. A match is looked for
// first below the same node, in any order, and then anywhere. Nodes without a
// uuid are matched by their position among nodes of the same kind. If several
// nodes have the same uuid, the first is matched with the first, and so on.
#ifndef TOOLS_TARN_NODE_MATCH_H_
#define TOOLS_TARN_NODE_MATCH_H_

#include <google/protobuf/message.h>

#include <array>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "node_item.h"

namespace tarn::tool {

// What holds a node: another node, or the field with the top nodes, which is
// empty for the message itself.
struct Above {
  const NodeItem* node = nullptr;
  const std::string* field = nullptr;
};

enum Side { kBefore, kAfter };

class NodeMatch {
 public:
  NodeMatch(const google::protobuf::Message& before,
            const google::protobuf::Message& after);

  // A node of one side and its partner on the other.
  struct Pairing {
    const NodeItem* partner = nullptr;  // null: there is none
    Above above;                        // of the node
    Above partner_above;
    bool moved = false;  // whether the partner is elsewhere
    int place = 0;       // of the node among its siblings, from 0
  };
  class Visitor {
   public:
    virtual ~Visitor() = default;
    virtual void Enter(const NodeItem& item, const Pairing& pairing) = 0;
    virtual void Leave() {}
  };

  // Whether the messages are nodes themselves.
  bool IsNodeItself() const;

  // Visits all nodes of one side, each before those below it.
  void Visit(Side side, Visitor* visitor) const;

 private:
  // Two lists of nodes at the same place; the first is of the side that is
  // visited.
  struct Lists {
    NodeList here, there;
    Above above, above_there;
    bool strays = false;  // all nodes with a uuid in these lists are strays
    int first = 0;        // place of the first node of the list that is visited
  };
  // A node that has a uuid, and no partner below the same node.
  struct Stray {
    const NodeItem* item;
    Above above;
    const NodeItem* partner;
    Above partner_above;
  };
  class Collector;

  static void MatchStrays(std::vector<Stray>* before,
                          std::vector<Stray>* after);
  const Stray* FindStray(Side side, const NodeItem& item) const;
  void VisitHolder(Side side, const google::protobuf::Message& here,
                   const google::protobuf::Message* there,
                   const std::string& path, int* top_nodes,
                   Visitor* visitor) const;
  void VisitLists(Side side, const Lists& lists, Visitor* visitor) const;
  void VisitNode(Side side, const NodeItem& item, const Pairing& pairing,
                 bool strays, Visitor* visitor) const;

  const google::protobuf::Message& before_;
  const google::protobuf::Message& after_;
  std::set<std::string> fields_;  // that hold strays
  // By side; sorted by the addresses of their items.
  std::array<std::vector<Stray>, 2> strays_;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_NODE_MATCH_H_
