// Walks through both trees together, without copying either.
#include "node_match.h"

#include <algorithm>
#include <numeric>

#include "nodes.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// Most nodes of one side for which a match is looked for in the whole tree. If
// there are more, none is looked for: they count as removed from one place and
// added in another.
constexpr size_t kMostStrays = 500000;
constexpr uint32_t kNone = ~uint32_t{0};

// Indices of nodes, sorted by the keys of the nodes and then by index. `item`
// gives the node of an index.
template <class Item>
void SortByKey(const Item& item, std::vector<uint32_t>* indices) {
  std::sort(indices->begin(), indices->end(), [&](uint32_t x, uint32_t y) {
    const NodeKey key_x = KeyOf(item(x));
    const NodeKey key_y = KeyOf(item(y));
    return key_x == key_y ? x < y : key_x < key_y;
  });
}

// Calls `match` for the first entry of each key in both lists, then for the
// second, and so on. Both lists are sorted.
template <class ItemA, class ItemB, class Match>
void MatchSorted(const std::vector<uint32_t>& a, const ItemA& item_a,
                 const std::vector<uint32_t>& b, const ItemB& item_b,
                 const Match& match) {
  size_t j = 0;
  for (const uint32_t i : a) {
    const NodeKey key = KeyOf(item_a(i));
    while (j < b.size() && KeyOf(item_b(b[j])) < key) ++j;
    if (j == b.size()) return;
    if (KeyOf(item_b(b[j])) == key) match(i, b[j++]);
  }
}

// Partners among two lists at the same pairing.
class Siblings {
 public:
  Siblings(const NodeList& here, const NodeList& there, bool root, bool strays)
      : here_(here), there_(there) {
    if (strays) return;
    const int most = std::min(here.size(), there.size());
    if (root) {
      same_ = most == 1 && KindOf(here.at(0)) == KindOf(there.at(0));
      return;
    }
    while (same_ < most && KeyOf(here.at(same_)) == KeyOf(there.at(same_))) {
      ++same_;
    }
    next_without_uuid_.fill(same_);
    if (same_ < most) MatchRest();
  }

  // The match of the node at i; null if there is none. Must be called for each
  // node in turn.
  const NodeItem* PartnerOf(int i) {
    if (i < same_) return &there_.at(i);
    const NodeKey key = KeyOf(here_.at(i));
    if (key.uuid.empty()) return NextWithoutUuid(key);
    if (next_ == partners_.size()) return nullptr;
    const uint32_t partner = partners_[next_++];
    return partner == kNone ? nullptr : &there_.at(partner);
  }

 private:
  static std::vector<uint32_t> WithUuid(const NodeList& list, int from) {
    std::vector<uint32_t> indices;
    for (int i = from; i < list.size(); ++i) {
      if (!KeyOf(list.at(i)).uuid.empty()) indices.push_back(i);
    }
    return indices;
  }

  void MatchRest() {
    partners_ = WithUuid(here_, same_);
    std::vector<uint32_t> order(partners_.size());
    std::iota(order.begin(), order.end(), 0);
    const auto here = [&](uint32_t i) -> const NodeItem& {
      return here_.at(partners_[i]);
    };
    const auto there = [&](uint32_t i) -> const NodeItem& {
      return there_.at(i);
    };
    SortByKey(here, &order);
    std::vector<uint32_t> others = WithUuid(there_, same_);
    SortByKey(there, &others);
    std::vector<uint32_t> found(partners_.size(), kNone);
    MatchSorted(order, here, others, there,
                [&](uint32_t i, uint32_t j) { found[i] = j; });
    partners_.swap(found);
  }

  const NodeItem* NextWithoutUuid(const NodeKey& key) {
    for (int& i = next_without_uuid_[key.kind]; i < there_.size();) {
      const NodeItem& item = there_.at(i++);
      if (KeyOf(item) == key) return &item;
    }
    return nullptr;
  }

  const NodeList& here_;
  const NodeList& there_;
  int same_ = 0;  // nodes at the beginning with equal keys on both sides
  std::vector<uint32_t> partners_;  // of those after them that have a uuid
  size_t next_ = 0;
  std::array<int, 64> next_without_uuid_{};  // by kind
};

}  // namespace

// Lists the strays of one side in the order in which they are met.
class NodeMatch::Collector : public Visitor {
 public:
  Collector(std::set<std::string>* fields, std::vector<Stray>* strays)
      : fields_(*fields), strays_(*strays) {}

  void Enter(const NodeItem& item, const Pairing& pairing) override {
    const bool root =
        pairing.above.node == nullptr && pairing.above.field->empty();
    if (pairing.partner != nullptr || root || KeyOf(item).uuid.empty()) return;
    too_many_ |= strays_.size() == kMostStrays;
    if (too_many_) return;
    Above above = pairing.above;
    if (above.field != nullptr)
      above.field = &*fields_.insert(*above.field).first;
    strays_.push_back({&item, above, nullptr, {}});
  }
  bool too_many() const { return too_many_; }

 private:
  std::set<std::string>& fields_;
  std::vector<Stray>& strays_;
  bool too_many_ = false;
};

NodeMatch::NodeMatch(const Message& before, const Message& after)
    : before_(before), after_(after) {
  std::array<std::vector<Stray>, 2> found;
  for (const Side side : {kBefore, kAfter}) {
    Collector collector(&fields_, &found[side]);
    Visit(side, &collector);
    if (collector.too_many()) return;
  }
  MatchStrays(&found[kBefore], &found[kAfter]);
  for (std::vector<Stray>& strays : found) {
    std::sort(strays.begin(), strays.end(),
              [](const Stray& x, const Stray& y) { return x.item < y.item; });
  }
  strays_ = std::move(found);
}

void NodeMatch::MatchStrays(std::vector<Stray>* before,
                            std::vector<Stray>* after) {
  const auto in_before = [&](uint32_t i) -> const NodeItem& {
    return *(*before)[i].item;
  };
  const auto in_after = [&](uint32_t i) -> const NodeItem& {
    return *(*after)[i].item;
  };
  std::vector<uint32_t> order_before(before->size());
  std::iota(order_before.begin(), order_before.end(), 0);
  SortByKey(in_before, &order_before);
  std::vector<uint32_t> order_after(after->size());
  std::iota(order_after.begin(), order_after.end(), 0);
  SortByKey(in_after, &order_after);
  MatchSorted(order_before, in_before, order_after, in_after,
              [&](uint32_t i, uint32_t j) {
                Stray& a = (*before)[i];
                Stray& b = (*after)[j];
                a.partner = b.item;
                a.partner_above = b.above;
                b.partner = a.item;
                b.partner_above = a.above;
              });
}

const NodeMatch::Stray* NodeMatch::FindStray(Side side,
                                             const NodeItem& item) const {
  const std::vector<Stray>& strays = strays_[side];
  const auto found = std::lower_bound(
      strays.begin(), strays.end(), &item,
      [](const Stray& stray, const NodeItem* at) { return stray.item < at; });
  return found != strays.end() && found->item == &item ? &*found : nullptr;
}

bool NodeMatch::IsNodeItself() const {
  return IsNode(*before_.GetDescriptor());
}

void NodeMatch::Visit(Side side, Visitor* visitor) const {
  const Message& here = side == kBefore ? before_ : after_;
  const Message& there = side == kBefore ? after_ : before_;
  int top_nodes = 0;
  VisitHolder(side, here, &there, "", &top_nodes, visitor);
}

// Finds the top nodes of a message; `there` is the matching message of the
// other side, or null. Adds to the number of top nodes.
void NodeMatch::VisitHolder(Side side, const Message& here,
                            const Message* there, const std::string& path,
                            int* top_nodes, Visitor* visitor) const {
  const Descriptor& type = *here.GetDescriptor();
  if (IsNode(type)) {
    return VisitLists(side, {{&here}, {there}, {nullptr, &path}, {}, false},
                      visitor);
  }
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& field = *type.field(i);
    if (field.message_type() == nullptr) continue;
    const std::string at =
        path.empty() ? field.name() : path + "." + field.name();
    if (IsNode(*field.message_type())) {
      VisitLists(side,
                 {{&here, &field},
                  {there, &field},
                  {nullptr, &at},
                  {},
                  false,
                  *top_nodes},
                 visitor);
      *top_nodes += NodeList{&here, &field}.size();
    } else if (field.is_repeated() && HoldsNodes(*field.message_type())) {
      const auto& reflection = *here.GetReflection();
      const int others =
          there == nullptr ? 0 : reflection.FieldSize(*there, &field);
      for (int j = 0; j < reflection.FieldSize(here, &field); ++j) {
        VisitHolder(side, reflection.GetRepeatedMessage(here, &field, j),
                    j < others
                        ? &reflection.GetRepeatedMessage(*there, &field, j)
                        : nullptr,
                    at + "[" + std::to_string(j) + "]", top_nodes, visitor);
      }
    }
  }
}

void NodeMatch::VisitLists(Side side, const Lists& lists,
                           Visitor* visitor) const {
  const bool root = lists.above.field != nullptr && lists.above.field->empty();
  Siblings siblings(lists.here, lists.there, root, lists.strays);
  for (int i = 0; i < lists.here.size(); ++i) {
    const NodeItem& item = lists.here.at(i);
    Pairing pairing;
    pairing.above = lists.above;
    pairing.place = lists.first + i;
    pairing.partner = siblings.PartnerOf(i);
    bool strays = lists.strays;
    if (pairing.partner != nullptr) {
      pairing.partner_above = lists.above_there;
    } else if (const Stray* stray = FindStray(side, item)) {
      strays = true;
      pairing.partner = stray->partner;
      pairing.partner_above = stray->partner_above;
      // Strays at the top are below different fields.
      pairing.moved = pairing.partner != nullptr &&
                      (pairing.partner_above.node == nullptr ||
                       pairing.partner_above.node != lists.above_there.node);
    }
    VisitNode(side, item, pairing, strays, visitor);
  }
}

void NodeMatch::VisitNode(Side side, const NodeItem& item,
                          const Pairing& pairing, bool strays,
                          Visitor* visitor) const {
  visitor->Enter(item, pairing);
  const NodeList there =
      pairing.partner == nullptr ? NodeList() : ChildrenOf(*pairing.partner);
  VisitLists(side,
             {ChildrenOf(item), there, {&item}, {pairing.partner}, strays},
             visitor);
  visitor->Leave();
}

}  // namespace tarn::tool
