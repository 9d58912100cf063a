// Walks down to nodes, and keeps what is above them.
#include "node_way.h"

#include <utility>

namespace tarn::tool {
namespace {

class MovedCollector : public NodeMatch::Visitor {
 public:
  void Enter(const NodeItem& item, const NodeMatch::Pairing& pairing) override {
    way_.push_back({&item, pairing.place});
    if (pairing.moved) moved.emplace(&item, way_);
  }
  void Leave() override { way_.pop_back(); }

  Moved moved;

 private:
  Way way_;
};

}  // namespace

NodeName NameOfItem(const NodeItem& item) {
  const NodeParts parts = PartsOf(item);
  return NameNode(parts.member != nullptr ? parts.member->name() : "",
                  parts.message);
}

std::string PathOf(const Way& way) {
  std::string path;
  for (const Step& step : way) AppendPlace(step.place, &path);
  return path;
}

std::vector<NodeName> NodesAbove(const Way& way) {
  std::vector<NodeName> above;
  for (size_t i = way.size(); i > 1; --i) {
    above.push_back(NameOfItem(*way[i - 2].item));
  }
  return above;
}

Moved MovedIn(const NodeMatch& match) {
  MovedCollector collector;
  match.Visit(kBefore, &collector);
  return std::move(collector.moved);
}

}  // namespace tarn::tool
