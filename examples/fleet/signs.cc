// The signs of a site: what they are, how they do, and the prices they show.
#include "signs.h"

#include "fleet.h"

namespace fleet {

Signs::Signs(const std::string& folder)
    : folder_(folder),
      stamp_(InstallationStamp(folder)),
      files_(ReadInstallation(folder)) {
  PutTogether();
}

void Signs::Update() {
  const std::string stamp = InstallationStamp(folder_);
  if (stamp == stamp_) return;
  stamp_ = stamp;
  files_ = ReadInstallation(folder_);
  PutTogether();
}

void Signs::PutTogether() {
  messages_ = files_;
  network_.Clear();
  const auto network = files_.find("ModsConfigured");
  if (network != files_.end()) network_.ParseFromString(network->second);
  tarn::Prices prices;
  const auto filed = files_.find("Prices");
  if (filed != files_.end()) prices.ParseFromString(filed->second);
  Merge(ordered_, &prices);
  if (filed != files_.end() || prices.prices_size() > 0) {
    messages_["Prices"] = prices.SerializeAsString();
  }
}

tarn::NetworkStatusReport Signs::Report() const {
  tarn::NetworkStatusReport report = fleet::Report(network_);
  auto& updates = *report.mutable_price_sync_status_packet();
  for (const auto& [key, answer] : answers_) updates[key] = answer;
  tarn::StatusCodes worst = tarn::price_update_ok;
  for (const auto& [key, status] : updates) {
    if (status == tarn::price_update_failure) worst = status;
    if (status != tarn::price_update_ok && worst == tarn::price_update_ok) {
      worst = tarn::price_sync_pending;
    }
  }
  report.set_network_price_lifecycle(worst);
  return report;
}

void Signs::Take(uint64_t sequence, std::string_view bytes) {
  answers_.erase(order_key_);
  order_key_ = OrderKey(sequence);
  pending_ =
      order_.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
  if (!pending_) order_.Clear();
  for (const auto& [uuid, answer] : Show(order_, network_)) {
    answers_[uuid] = tarn::price_sync_pending;
  }
  answers_[order_key_] =
      pending_ ? tarn::price_sync_pending : tarn::price_update_failure;
}

void Signs::Apply() {
  pending_ = false;
  const Answers answers = Show(order_, network_);
  tarn::StatusCodes all =
      answers.empty() ? tarn::price_update_failure : tarn::price_update_ok;
  for (const auto& [uuid, answer] : answers) {
    answers_[uuid] = answer;
    if (answer != tarn::price_update_ok) all = answer;
  }
  answers_[order_key_] = all;
  Merge(order_, &ordered_);
  PutTogether();
}

}  // namespace fleet
