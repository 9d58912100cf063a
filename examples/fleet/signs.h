// The signs of a site: what they are, how they do, and the prices they show.
#ifndef EXAMPLES_FLEET_SIGNS_H_
#define EXAMPLES_FLEET_SIGNS_H_

#include <cstdint>
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

  // Takes an order of prices: the displays that it concerns are pending. Bytes
  // that are no prices have failed at once.
  void Take(uint64_t sequence, std::string_view bytes);
  bool pending() const { return pending_; }
  // Puts the prices on the displays: each is then updated, or has failed. A
  // real site talks to its displays here.
  void Apply();

 private:
  // Puts the prices that were ordered over those of the files.
  void PutTogether();

  const std::string folder_;
  std::string stamp_;
  Messages files_;
  Messages messages_;
  tarn::ModsConfigured network_;
  tarn::Prices ordered_;  // all prices that were ordered since the start
  Answers answers_;
  std::string order_key_;
  tarn::Prices order_;
  bool pending_ = false;
};

}  // namespace fleet

#endif  // EXAMPLES_FLEET_SIGNS_H_
