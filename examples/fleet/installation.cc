// What a site knows of its installation: messages from files, and the report on
// its network.
#include "installation.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "fleet.h"

namespace fleet {
namespace {

using google::protobuf::Message;
using Nodes = google::protobuf::RepeatedPtrField<tarn::ChildTypes>;
using Statuses = google::protobuf::Map<std::string, tarn::StatusCodes>;

std::vector<std::filesystem::path> Files(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  std::error_code error;
  std::filesystem::directory_iterator entry(folder, error), end;
  for (; !error && entry != end; entry.increment(error)) {
    if (entry->path().extension() == ".txtpb") files.push_back(entry->path());
  }
  if (error) throw Failure(kInputOutput, folder + ": " + error.message());
  std::sort(files.begin(), files.end());
  return files;
}

// Keeps the first error of the text parser, with its place in the file.
class FirstError : public google::protobuf::io::ErrorCollector {
 public:
  void AddError(int line, int column, const std::string& what) override {
    if (!text.empty()) return;
    text = std::to_string(line + 1) + ":" + std::to_string(column + 1) + ": " +
           what;
  }
  std::string text;
};

const Nodes& Children(const tarn::ChildTypes& node) {
  if (node.has_server()) return node.server().children();
  if (node.has_client()) return node.client().children();
  if (node.has_direct()) return node.direct().children();
  return node.display().children();
}

// Calls visit() for every node, those above before those below.
template <typename Visit>
void Walk(const Nodes& nodes, const Visit& visit) {
  for (const tarn::ChildTypes& node : nodes) {
    visit(node);
    Walk(Children(node), visit);
  }
}

bool OutOfReach(tarn::StatusCodes status) {
  return status == tarn::comm_error || status == tarn::power_outage;
}

// How far the price update of a display is, as far as its status tells.
tarn::StatusCodes PriceStatus(tarn::StatusCodes display) {
  switch (display) {
    case tarn::ok:
      return tarn::price_update_ok;
    case tarn::price_update_failure:
    case tarn::price_update_uninitialized:
    case tarn::price_update_ok:
      return display;
    default:
      return tarn::price_sync_pending;
  }
}

void AddChanges(const Statuses& before, const Statuses& now,
                Statuses* changes) {
  for (const auto& [key, status] : now) {
    const auto old = before.find(key);
    if (old == before.end() || old->second != status) (*changes)[key] = status;
  }
}

}  // namespace

void ReadFile(const std::string& path, Messages* messages) {
  std::ifstream file(path);
  std::string text;
  char piece[4096];
  while (file.read(piece, sizeof piece), file.gcount() > 0) {
    text.append(piece, static_cast<size_t>(file.gcount()));
  }
  if (!file.is_open() || file.bad()) {
    throw Failure(kInputOutput, path + " cannot be read");
  }
  const std::string label = "# proto-message: tarn.";
  const size_t line = text.find(label);
  if (line == std::string::npos) {
    throw Failure(kMalformed, path + ": add a line \"" + label + "TYPE\"");
  }
  const size_t begin = line + label.size();
  const std::string type = text.substr(begin, text.find('\n', begin) - begin);
  const std::unique_ptr<Message> message(NewMessage(type, nullptr));
  if (message == nullptr) {
    throw Failure(kUnknownType, path + ": no message type is called " + type);
  }
  google::protobuf::TextFormat::Parser parser;
  FirstError error;
  parser.RecordErrorsTo(&error);
  parser.SetRecursionLimit(100);  // as deep as the binary form can be
  if (!parser.ParseFromString(text, message.get())) {
    throw Failure(kMalformed, path + ":" + error.text);
  }
  // Text can hold what the binary form does not allow, such as bad UTF-8.
  (*messages)[type] = message->SerializeAsString();
  if (!message->ParseFromString((*messages)[type])) {
    throw Failure(kMalformed, path + ": a text in it is not UTF-8");
  }
}

Messages ReadInstallation(const std::string& folder) {
  Messages messages;
  for (const auto& path : Files(folder)) ReadFile(path, &messages);
  if (messages.empty()) {
    throw Failure(kUsage, folder +
                              " holds no *.txtpb: name the folder of an "
                              "installation");
  }
  return messages;
}

std::string InstallationStamp(const std::string& folder) {
  std::string stamp;
  std::error_code error;
  for (const auto& path : Files(folder)) {
    const auto time = std::filesystem::last_write_time(path, error);
    stamp += path.string() + std::to_string(time.time_since_epoch().count());
  }
  return stamp;
}

tarn::NetworkStatusReport Report(const tarn::ModsConfigured& network) {
  tarn::NetworkStatusReport report;
  auto& status = *report.mutable_status_packet();
  auto& updates = *report.mutable_price_sync_status_packet();
  Walk(network.modsconfigured(), [&](const tarn::ChildTypes& node) {
    if (node.has_server())
      status[node.server().uuid()] = node.server().status();
    if (node.has_client())
      status[node.client().uuid()] = node.client().status();
    if (node.has_direct())
      status[node.direct().uuid()] = node.direct().status();
    if (node.has_module())
      status[node.module().uuid()] = node.module().status();
    if (!node.has_display()) return;
    const tarn::Display& display = node.display();
    status[display.uuid()] = display.status();
    if (display.subtype() == tarn::price) {
      updates[display.uuid()] = PriceStatus(display.status());
    }
  });
  return report;
}

Answers Show(const tarn::Prices& prices, const tarn::ModsConfigured& network,
             std::set<std::string>* shown, std::set<int>* missed) {
  std::set<int> lines;
  for (const tarn::Price& price : prices.prices()) {
    lines.insert(price.line_num());
  }
  Answers answers;
  Walk(network.modsconfigured(), [&](const tarn::ChildTypes& node) {
    if (!node.has_display() || node.display().subtype() != tarn::price) return;
    const tarn::Display& display = node.display();
    const auto& frames = display.frameselect();
    if (std::none_of(frames.begin(), frames.end(), [&](const auto& frame) {
          return lines.count(frame.price()) != 0;
        })) {
      return;
    }
    bool reached = !OutOfReach(display.status());
    for (const tarn::ChildTypes& child : display.children()) {
      reached = reached && !OutOfReach(child.module().status());
    }
    if (reached) shown->insert(display.uuid());
    if (shown->count(display.uuid()) != 0) {
      answers[display.uuid()] = tarn::price_update_ok;
      return;
    }
    answers[display.uuid()] = tarn::price_update_failure;
    for (const auto& frame : frames) missed->insert(frame.price());
  });
  return answers;
}

void Merge(const tarn::Prices& news, const std::set<int>& missed,
           tarn::Prices* prices) {
  std::map<int, tarn::Price*> lines;
  for (tarn::Price& price : *prices->mutable_prices()) {
    lines.emplace(price.line_num(), &price);
  }
  for (const tarn::Price& price : news.prices()) {
    if (missed.count(price.line_num()) != 0) continue;
    tarn::Price*& line = lines[price.line_num()];
    if (line == nullptr) line = prices->add_prices();
    *line = price;
  }
}

tarn::NetworkStatusReport Changes(const tarn::NetworkStatusReport& before,
                                  const tarn::NetworkStatusReport& now) {
  tarn::NetworkStatusReport changes;
  AddChanges(before.status_packet(), now.status_packet(),
             changes.mutable_status_packet());
  AddChanges(before.price_sync_status_packet(), now.price_sync_status_packet(),
             changes.mutable_price_sync_status_packet());
  if (before.network_price_lifecycle() != now.network_price_lifecycle()) {
    changes.set_network_price_lifecycle(now.network_price_lifecycle());
  }
  return changes;
}

bool SameNodes(const tarn::NetworkStatusReport& a,
               const tarn::NetworkStatusReport& b) {
  const Statuses &nodes = a.status_packet(), &others = b.status_packet();
  return nodes.size() == others.size() &&
         std::all_of(nodes.begin(), nodes.end(), [&](const auto& node) {
           return others.count(node.first) != 0;
         });
}

}  // namespace fleet
