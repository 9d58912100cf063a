// What happens at one simulated site, drawn from a seed: its equipment fails
// and recovers, its prices change, and now and then it is away for a while.
#ifndef EXAMPLES_FLEET_SIMULATE_LIFE_H_
#define EXAMPLES_FLEET_SIMULATE_LIFE_H_

#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fleet {

// Numbers that are the same for the same seed on every system (splitmix64).
class Chance {
 public:
  explicit Chance(uint64_t seed) : state_(seed) {}
  uint64_t Next();
  // A number from 0 to `end` - 1.
  int Below(int end) {
    return static_cast<int>(Next() % static_cast<uint64_t>(end));
  }

 private:
  uint64_t state_;
};

// A message on its way: the last word of its subject, and its bytes.
struct Outgoing {
  std::string type;
  std::string bytes;
};

// A price of this fleet, "1.00" to "2.99".
std::string RandomPrice(Chance* chance);

class Site {
 public:
  // The site of a number, from 0. Sites of one seed differ by their numbers.
  Site(uint64_t seed, int number);

  const std::string& name() const { return name_; }
  int lines() const { return static_cast<int>(displays_.size()); }

  // The tree, the products, and a report with all keys.
  std::vector<Outgoing> WholeState();

  // What the next moment brings; often nothing. `hour` is the hour of the day,
  // 0 to 23: some radios lose contact more often at night.
  std::vector<Outgoing> Step(int hour);

  // A report of as many keys as these bytes hold, at least one; each report has
  // other keys.
  Outgoing Report(size_t bytes);

  // What the site answers to an order of prices: that they are pending for each
  // display that they concern, and under the key of the order; then that they
  // arrived or failed. A display that is out of contact gets its price, and
  // says so, when it is back.
  std::vector<Outgoing> Apply(const std::string& key,
                              const tarn::Prices& prices);

 private:
  struct Line {
    tarn::Display* node;
    tarn::Client* radio;
    tarn::StatusCodes sync;
  };

  void AddSign(tarn::Server* server, int number);
  std::string Uuid();
  void Set(const std::string& uuid, tarn::StatusCodes status);
  void SetSync(Line* line, tarn::StatusCodes status);
  void SetSync(const std::string& key, tarn::StatusCodes status);
  void FailOrRecover(tarn::Module* module);
  void FailOrRecover(tarn::Client* radio, int hour);
  void ChangePrice(std::vector<Outgoing>* out);
  void TakeReport(std::vector<Outgoing>* out);

  Chance chance_;
  std::string name_;
  tarn::ModsConfigured tree_;
  tarn::KT4Products products_;
  std::vector<tarn::Client*> radios_;
  std::vector<Line> displays_;
  std::vector<tarn::Module*> modules_;
  tarn::Client* weak_radio_;           // loses contact at night
  tarn::NetworkStatusReport changes_;  // since the last report
  int away_ = 0;                       // steps until the site is back
};

}  // namespace fleet

#endif  // EXAMPLES_FLEET_SIMULATE_LIFE_H_
