// Sends prices to a site, and waits for the answer of its signs.
#include <tarn/Network.pb.h>

#include <chrono>
#include <iostream>
#include <map>

#include "installation.h"
#include "json_writer.h"
#include "office.h"

namespace fleet {
namespace {

using Clock = std::chrono::steady_clock;
using Statuses = std::map<std::string, tarn::StatusCodes>;

std::string Name(tarn::StatusCodes status) {
  const std::string& name = tarn::StatusCodes_Name(status);
  return name.empty() ? std::to_string(status) : name;
}

struct Order {
  uint64_t sequence = 0;
  bool pending = false;  // whether the site has said that it has the order
  Statuses displays;
  tarn::StatusCodes outcome = tarn::unused;
};

// Takes over what a report says of the order. Throws a Failure if the site has
// gone on to a later one. Numbers begin again where the stream is made anew,
// and a site repeats what it answered before: an answer begins with pending.
void Take(const tarn::NetworkStatusReport& report, Order* order) {
  const std::string key = OrderKey(order->sequence);
  const std::string prefix = "prices-";
  const auto& updates = report.price_sync_status_packet();
  for (const auto& [other, status] : updates) {
    if (status == tarn::price_sync_pending &&
        other.compare(0, prefix.size(), prefix) == 0 &&
        std::strtoull(other.c_str() + prefix.size(), nullptr, 10) >
            order->sequence) {
      throw Failure(kDifferent, "later prices have taken the place of these");
    }
  }
  const auto own = updates.find(key);
  if (own == updates.end()) return;
  const bool pending = own->second == tarn::price_sync_pending;
  order->pending = order->pending || pending;
  if (!order->pending) return;
  for (const auto& [uuid, status] : updates) {
    if (uuid != key) order->displays[uuid] = status;
  }
  if (!pending) order->outcome = own->second;
}

// Sends the order until it is kept. Returns its sequence.
uint64_t Send(jsCtx* context, const std::string& site,
              const std::string& bytes) {
  uint64_t sequence = 0;
  jsErrCode code = {};
  const std::string subject = PriceSubject(site);
  const std::string id =
      "prices-" + site + "-" +
      std::to_string(
          std::chrono::system_clock::now().time_since_epoch().count());
  natsStatus status = NATS_OK;
  for (int i = 0; i < 3; ++i) {
    status = PublishOnce(context, subject, bytes, id, &sequence, &code);
    if (status == NATS_OK) return sequence;
  }
  throw Failure(kInputOutput,
                "no server has said that it keeps the prices; it may keep "
                "them all the same: " +
                    Explain(status, code));
}

// The name of a display where the database knows it, otherwise its uuid.
std::string NameOf(const std::string& uuid, Database* database) {
  if (database == nullptr) return uuid;
  Statement find(database->get(),
                 "SELECT name, max(time) FROM node WHERE uuid = ?");
  find.Bind(uuid).Step();
  return find.Text(0).empty() ? uuid : std::string(find.Text(0));
}

void PrintAnswer(const std::string& site, const Order& order, bool json,
                 Database* database) {
  if (!json) {
    std::multimap<std::string, tarn::StatusCodes> lines;
    for (const auto& [uuid, status] : order.displays) {
      lines.emplace(tarn::tool::Clipped(NameOf(uuid, database)), status);
    }
    for (const auto& [name, status] : lines) {
      std::cout << Name(status) << "  " << name << '\n';
    }
    std::cout << "prices for " << site << ": " << Name(order.outcome) << '\n';
    return;
  }
  tarn::tool::Output output;
  tarn::tool::JsonWriter writer(&output);
  writer.BeginObject();
  writer.Key("site").String(site);
  writer.Key("order").Number(order.sequence);
  writer.Key("answer").String(Name(order.outcome));
  writer.Key("displays").BeginObject();
  for (const auto& [uuid, status] : order.displays) {
    writer.Value();
    output.JsonString(uuid);
    output.Write(':');
    output.JsonString(Name(status));
  }
  writer.EndObject();
  writer.EndObject();
  writer.EndLine();
  output.Flush();
}

}  // namespace

int SendPrices(const Server& server, const std::string& site,
               const std::string& path, int seconds, bool json,
               Database* database) {
  if (!IsSiteName(site)) {
    throw Failure(kUsage, "a site's name has 1 to 64 letters, digits, - and _");
  }
  Messages messages;
  ReadFile(path, &messages);
  if (messages.count("Prices") == 0) {
    throw Failure(kUsage, path + " holds no tarn.Prices");
  }
  const Connection connection = Connect(server, "prices", /*patient=*/false);
  const Context context = Streams(connection.get());
  natsSubscription* reports = nullptr;
  if (natsConnection_SubscribeSync(
          &reports, connection.get(),
          Subject(site, "NetworkStatusReport").c_str()) != NATS_OK) {
    throw Failure(kInputOutput, Explain(NATS_NO_MEMORY));
  }
  const Subscription subscription(reports);
  Order order;
  order.sequence = Send(context.get(), site, messages["Prices"]);
  std::cerr << "prices for " << site << ": kept as order " << order.sequence
            << ", waiting for the signs\n";
  const auto end = Clock::now() + std::chrono::seconds(seconds);
  while (order.outcome == tarn::unused && Clock::now() < end) {
    ExpectOpen(connection.get());
    natsMsg* got = nullptr;
    if (natsSubscription_NextMsg(&got, reports, 1000) != NATS_OK) continue;
    const Msg message(got);
    tarn::NetworkStatusReport report;
    if (!report.ParseFromArray(natsMsg_GetData(got),
                               natsMsg_GetDataLength(got))) {
      continue;
    }
    const bool before = order.pending;
    Take(report, &order);
    if (order.pending && !before) {
      std::cerr << "prices for " << site << ": the site has them\n";
    }
  }
  if (order.outcome == tarn::unused) {
    throw Failure(kDifferent, "no answer in " + std::to_string(seconds) +
                                  " s; the order stands, and the site takes it "
                                  "when it is back");
  }
  PrintAnswer(site, order, json, database);
  return order.outcome == tarn::price_update_ok ? kFine : kDifferent;
}

}  // namespace fleet
