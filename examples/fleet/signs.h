// The signs of a site: what they are, how they do, and the prices they show.
#ifndef EXAMPLES_FLEET_SIGNS_H_
#define EXAMPLES_FLEET_SIGNS_H_

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "installation.h"

namespace fleet {

class Signs {
 public:
  // Reads the folder of an installation. Throws a Failure.
  explicit Signs(const std::string& folder);

  // Reads the folder again if a file has changed. Throws a Failure, and keeps
  // what was there, if it cannot.
  void Update();

  // All messages but the report, with the prices that are shown.
  const Messages& messages() const { return messages_; }
  tarn::NetworkStatusReport Report() const;

  // Takes an order of prices, which replaces the one before: the displays that
  // it concerns are pending. Bytes that are no prices have failed at once.
  void Take(uint64_t sequence, std::string_view bytes);
  bool pending() const { return pending_; }
  // Puts the prices on the displays: each is then updated, or has failed until
  // it is within reach again. A real site talks to its displays here.
  void Apply();

 private:
  // Puts the prices that displays show by order over those of the files.
  void PutTogether();

  const std::string folder_;
  std::string stamp_;
  Messages files_;
  Messages messages_;
  tarn::ModsConfigured network_;
  // The last order: its answers by the keys of the report, and who shows it.
  tarn::Prices order_;
  std::string order_key_;
  bool pending_ = false;
  bool applied_ = false;
  Answers answers_;
  std::set<std::string> shown_;
};

}  // namespace fleet

#endif  // EXAMPLES_FLEET_SIGNS_H_
