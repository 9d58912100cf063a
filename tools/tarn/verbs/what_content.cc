// Counts the nodes of a message, or the parts of a status report.
#include "what_content.h"

#include <tarn/Network.pb.h>

#include <algorithm>
#include <vector>

#include "candidates.h"
#include "nodes.h"

namespace tarn::tool {
namespace {

bool AreWell(const StatusTally& tally) {
  return std::all_of(tally.begin(), tally.end(),
                     [](const auto& entry) { return IsWell(entry.first); });
}

}  // namespace

Content ContentOf(const google::protobuf::Message& message) {
  Content content;
  if (const auto* report =
          dynamic_cast<const tarn::NetworkStatusReport*>(&message)) {
    content.words = Count(report->status_packet_size(), "part");
    content.statuses = TallyOf(report->status_packet());
    content.updates = TallyOf(report->price_sync_status_packet());
    content.well = AreWell(content.statuses) && AreWell(content.updates) &&
                   IsWell(report->network_price_lifecycle());
    return content;
  }
  const std::vector<Node> nodes = NodesOf(message);
  const NodeTotals totals = TotalsOf(nodes);
  content.words = InWords(CountNodes(nodes));
  content.statuses = totals.statuses;
  content.well = totals.errors == 0 && AreWell(content.statuses);
  return content;
}

void PrintContent(const Content& content, Output* output) {
  output->Write(content.words);
  if (!content.statuses.empty()) {
    output->Write("; status: ");
    PrintTally(content.statuses, output);
  }
  if (!content.updates.empty()) {
    output->Write("; price update: ");
    PrintTally(content.updates, output);
  }
}

}  // namespace tarn::tool
