// Publishes what an installation is and how it does, and shows the prices that
// an office orders. Ends on SIGINT or SIGTERM.
#include <getopt.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <new>

#include "fleet.h"
#include "signs.h"

namespace fleet {
namespace {

using Clock = std::chrono::steady_clock;

const char kHelp[] =
    "Usage: site --name NAME [OPTION...] FOLDER\n"
    "Publishes the messages in FOLDER/*.txtpb for the site NAME, and what\n"
    "changes in these files; shows the prices that an office orders.\n"
    "  --name NAME            1 to 64 letters, digits, - and _\n"
    "  --ledger FILE          adds a line for each acknowledged message\n"
    "                         (sequence, subject, bytes in hex), for\n"
    "                         \"office compare\"\n";

volatile std::sig_atomic_t ending = 0;

class Site {
 public:
  Site(const Server& server, const std::string& name, const std::string& folder,
       const std::string& ledger);
  void Run();

 private:
  void TakeOrder();
  bool PublishCurrent();
  bool Publish(const std::string& type, const std::string& bytes);

  struct Attempt {
    std::string bytes, id;
  };

  const std::string name_, start_;
  Signs signs_;
  std::ofstream ledger_;
  Connection connection_;
  Context stream_;
  Subscription hints_;
  uint64_t order_sequence_ = 0;  // of the last order that was taken
  int64_t order_time_ = 0;
  int ask_ = 0;  // rounds in which to ask for an order
  // What has been acknowledged on this connection.
  uint64_t reconnects_ = 0;
  Clock::time_point whole_;
  Messages acknowledged_;
  tarn::NetworkStatusReport reported_;
  std::map<std::string, Attempt> attempts_;  // by type, not acknowledged yet
  int64_t ids_ = 0, sent_ = 0, acknowledged_count_ = 0;
  Notices notices_{"site"};
};

Site::Site(const Server& server, const std::string& name,
           const std::string& folder, const std::string& ledger)
    : name_(name),
      start_(std::to_string(
          std::chrono::system_clock::now().time_since_epoch().count())),
      signs_(folder) {
  if (!ledger.empty()) {
    ledger_.open(ledger, std::ios::app);
    if (!ledger_) throw Failure(kInputOutput, ledger + " cannot be written");
  }
  connection_ = Connect(server, name.c_str(), /*patient=*/true);
  stream_ = Streams(connection_.get());
  natsSubscription* hints = nullptr;
  if (natsConnection_SubscribeSync(&hints, connection_.get(),
                                   PriceSubject(name).c_str()) != NATS_OK) {
    throw Failure(kInputOutput, Explain(NATS_NO_MEMORY));
  }
  hints_.reset(hints);
}

// Takes the last order for this site, unless it has been taken before.
void Site::TakeOrder() {
  Msg message;
  const natsStatus status = LastOrder(stream_.get(), name_, &message);
  if (status == NATS_NOT_FOUND) return;
  if (status != NATS_OK) return notices_.Say("orders: " + Explain(status));
  natsMsg* const got = message.get();
  // A server of a cluster may lag and answer with an older order. Sequences
  // begin again where the stream is made anew, and clocks can differ: an order
  // that is behind in both is older.
  const uint64_t sequence = natsMsg_GetSequence(got);
  const int64_t time = natsMsg_GetTime(got);
  if (sequence <= order_sequence_ && time <= order_time_) return;
  order_sequence_ = sequence;
  order_time_ = time;
  signs_.Take(sequence, {natsMsg_GetData(got),
                         static_cast<size_t>(natsMsg_GetDataLength(got))});
}

// Publishes what has not been acknowledged as it is now: on a new connection,
// and once a day, everything. True: the report is acknowledged.
bool Site::PublishCurrent() {
  uint64_t reconnects = 0;
  natsStatistics* statistics = nullptr;
  natsStatistics_Create(&statistics);
  natsConnection_GetStats(connection_.get(), statistics);
  natsStatistics_GetCounts(statistics, nullptr, nullptr, nullptr, nullptr,
                           &reconnects);
  natsStatistics_Destroy(statistics);
  if (natsConnection_Status(connection_.get()) != NATS_CONN_STATUS_CONNECTED) {
    notices_.Say(Trouble(connection_.get()));
    return false;
  }
  const tarn::NetworkStatusReport report = signs_.Report();
  const auto day = std::chrono::hours(24);
  if (reconnects != reconnects_ || Clock::now() - whole_ > day) {
    acknowledged_.clear();
  }
  if (acknowledged_.empty()) {
    reconnects_ = reconnects;
    ask_ = 3;
    whole_ = Clock::now();
  }
  // While the nodes stay, the changes of the report say enough about the tree.
  const bool same = SameNodes(report, reported_);
  for (const auto& [type, bytes] : signs_.messages()) {
    const auto before = acknowledged_.find(type);
    if (before != acknowledged_.end() &&
        (before->second == bytes || (same && type == "ModsConfigured"))) {
      continue;
    }
    // One that was not acknowledged can have been kept all the same. So what
    // the server has of it is not known, and it is sent whole the next time.
    if (Publish(type, bytes)) {
      acknowledged_[type] = bytes;
    } else {
      acknowledged_.erase(type);
    }
  }
  const std::string type = "NetworkStatusReport";
  const std::string bytes =
      (acknowledged_.count(type) == 0 ? report : Changes(reported_, report))
          .SerializeAsString();
  if (bytes.empty()) return true;
  if (!Publish(type, bytes)) {
    acknowledged_.erase(type);
    return false;
  }
  acknowledged_[type];
  reported_ = report;
  return true;
}

// A repeated message has the id that it had before, by which the server knows
// it again where only its acknowledgement was lost.
bool Site::Publish(const std::string& type, const std::string& bytes) {
  Attempt& attempt = attempts_[type];
  if (attempt.id.empty()) ++sent_;
  if (attempt.id.empty() || attempt.bytes != bytes) {
    attempt = {bytes, name_ + "-" + start_ + "-" + std::to_string(++ids_)};
  }
  uint64_t sequence = 0;
  jsErrCode code = {};
  const std::string subject = Subject(name_, type);
  const natsStatus status =
      PublishOnce(stream_.get(), subject, bytes, attempt.id, &sequence, &code);
  if (status != NATS_OK) {
    notices_.Say(Explain(status, code), type);
    return false;
  }
  if (ledger_.is_open()) {
    ledger_ << sequence << ' ' << subject << ' ' << Hex(bytes) << ' '
            << attempt.id << std::endl;
    if (!ledger_) throw Failure(kInputOutput, "the ledger cannot be written");
  }
  attempt = {};
  ++acknowledged_count_;
  notices_.Forget();
  return true;
}

void Site::Run() {
  constexpr int kRoundMs = 1000, kRoundsBetweenAsking = 30;
  for (int round = 1; !ending; ++round) {
    ExpectOpen(connection_.get());
    try {
      signs_.Update();
    } catch (const Failure& failure) {
      notices_.Say(failure.what() +
                   std::string("; going on with what was there"));
    }
    if (round % kRoundsBetweenAsking == 0) ask_ = 1;
    if (PublishCurrent() && ask_ > 0) {
      --ask_;
      TakeOrder();
    }
    if (PublishCurrent() && signs_.pending()) {
      signs_.Apply();
      continue;
    }
    natsMsg* hint = nullptr;
    if (natsSubscription_NextMsg(&hint, hints_.get(), kRoundMs) == NATS_OK) {
      natsMsg_Destroy(hint);
      ask_ = 3;  // the hint may come before the order is kept
    }
  }
  std::cout << "sent             " << sent_ << "\nacknowledged     "
            << acknowledged_count_ << std::endl;
  if (!std::cout) throw Failure(kInputOutput, "the counts cannot be written");
}

}  // namespace
}  // namespace fleet

int main(int argc, char** argv) {
  std::set_new_handler([] {
    std::fputs("site: out of memory\n", stderr);
    std::_Exit(fleet::kInputOutput);
  });
  const option options[] = {{"name", required_argument, nullptr, 0},
                            {"ledger", required_argument, nullptr, 0},
                            {"server", required_argument, nullptr, 0},
                            {"creds", required_argument, nullptr, 0},
                            {"nkey", required_argument, nullptr, 0},
                            {"tls-ca", required_argument, nullptr, 0},
                            {"help", no_argument, nullptr, 'h'},
                            {}};
  fleet::Server server;
  std::string name, ledger;
  int index = 0;
  for (int c; (c = getopt_long(argc, argv, "h", options, &index)) != -1;) {
    if (c == 'h') {
      std::cout << fleet::kHelp << fleet::kServerHelp << std::flush;
      return std::cout ? fleet::kFine : fleet::kInputOutput;
    }
    if (c != 0) return fleet::kUsage;
    const std::string word = options[index].name;
    if (word == "name") name = optarg;
    if (word == "ledger") ledger = optarg;
    fleet::SetServerOption(word, optarg, &server);
  }
  if (optind + 1 != argc || !fleet::IsSiteName(name)) {
    std::cerr << "site: name one folder, and with --name the site: 1 to 64 "
                 "letters, digits, - and _\n";
    return fleet::kUsage;
  }
  // The ledger holds what is published, pass phrases too.
  umask(077);
  // Others may see the answers of `_INBOX`, but not those below a name's own.
  server.inbox = "_SITE." + name;
  std::signal(SIGINT, [](int) { fleet::ending = 1; });
  std::signal(SIGTERM, [](int) { fleet::ending = 1; });
  try {
    fleet::Site(server, name, argv[optind], ledger).Run();
  } catch (const fleet::Failure& failure) {
    std::cerr << "site: " << failure.what() << '\n';
    return failure.exit;
  } catch (const std::exception& error) {
    std::cerr << "site: " << error.what() << '\n';
    return fleet::kInputOutput;
  }
  return fleet::kFine;
}
