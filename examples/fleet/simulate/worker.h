// One connection and the simulated sites that share it.
#ifndef EXAMPLES_FLEET_SIMULATE_WORKER_H_
#define EXAMPLES_FLEET_SIMULATE_WORKER_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "../fleet.h"
#include "hostile.h"
#include "ledger.h"
#include "life.h"
#include "window.h"

namespace fleet {

struct Plan {
  Server server;
  uint64_t seed = 1;
  int sites = 100;
  int connections = 8;
  double seconds = 10;    // how long the sites live
  int messages = 0;       // until so many are sent, instead of a time
  int size = 0;           // bytes of each report if sites send nothing else
  int window = 1;         // messages that wait for an acknowledgement at once
  double rate = 0;        // messages a second of all sites; 0: no limit
  double day = 60;        // seconds that a day takes
  int hostile = 0;        // hostile messages in between
  int prices = 0;         // prices ordered in between
  double patience = 120;  // seconds until a message is given up
  std::string ledger;     // file; empty: none
};

using Clock = std::chrono::steady_clock;

class Worker {
 public:
  // Takes every site whose number leaves `index` when it is divided by the
  // number of connections. `run` is in the ids of the messages.
  Worker(const Plan& plan, int index, const std::string& run, Counts* counts,
         Ledger* ledger);
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Lives until the time is over or `stop` is set; then answers the prices that
  // are open. Throws a Failure if a message is not acknowledged in time.
  void Live(Clock::time_point begin, const std::atomic<bool>& stop);
  // Waits for what is on its way. Throws a Failure as Live().
  void Finish();

 private:
  struct Resident {
    explicit Resident(std::unique_ptr<Site> made) : site(std::move(made)) {}
    std::unique_ptr<Site> site;
    uint64_t ordered = 0;   // sequence of the last order made here
    uint64_t answered = 0;  // sequence of the last order answered
  };

  std::string NextId() { return run_ + std::to_string(messages_++); }
  static void OnOrder(natsConnection*, natsSubscription*, natsMsg* message,
                      void* worker);
  // Publishes until it is acknowledged; returns the sequence. 0: the server
  // refused it as too large.
  uint64_t Publish(const std::string& subject, const std::string& bytes,
                   const char* fate);
  void Send(const Resident& resident, const std::vector<Outgoing>& messages);
  // Reports of one size, of one site after the other, and nothing else.
  void SendReports(Clock::time_point begin, const std::atomic<bool>& stop);
  void SendHostile();
  void OrderPrices();
  // Takes the order that stands for a site, and answers it if it is new.
  void AnswerOrder(Resident* resident);
  void AnswerOrders();
  // Answers every order made here; there may be others as well.
  void AwaitAnswers();
  Resident* Any();
  // How many of `all` things this worker has done when `part` is over.
  int Share(int all, double part) const;
  // How much of its life is over: 1 is the end.
  double Progress(Clock::time_point begin) const;

  const Plan& plan_;
  const int index_;
  const std::string run_;
  Counts* const counts_;
  Ledger* const ledger_;
  Chance chance_;
  Connection connection_;
  Context context_;
  std::unique_ptr<Window> window_;  // null: one message after the other
  std::vector<Resident> residents_;
  std::map<std::string, Resident*> by_name_;
  uint64_t messages_ = 0;
  int hostile_ = 0;
  int orders_ = 0;

  std::mutex mutex_;
  std::set<std::string> to_answer_;  // names of sites with an order
  Subscription subscription_;        // ends before what its handler uses
};

}  // namespace fleet

#endif  // EXAMPLES_FLEET_SIMULATE_WORKER_H_
