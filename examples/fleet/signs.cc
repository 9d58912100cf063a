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
  files_ = ReadInstallation(folder_);
  stamp_ = stamp;
  PutTogether();
}

void Signs::PutTogether() {
  messages_ = files_;
  network_.Clear();
  const auto network = files_.find("ModsConfigured");
  if (network != files_.end()) network_.ParseFromString(network->second);
  if (!applied_) return;
  std::set<int> missed;
  const Answers answers = Show(order_, network_, &shown_, &missed);
  tarn::StatusCodes all =
      answers.empty() ? tarn::price_update_failure : tarn::price_update_ok;
  for (const auto& [uuid, answer] : answers) {
    answers_[uuid] = answer;
    if (answer != tarn::price_update_ok) all = answer;
  }
  answers_[order_key_] = all;
  if (answers.empty()) return;
  tarn::Prices prices;
  prices.ParseFromString(messages_["Prices"]);
  Merge(order_, missed, &prices);
  messages_["Prices"] = prices.SerializeAsString();
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
  order_key_ = OrderKey(sequence);
  answers_.clear();
  shown_.clear();
  applied_ = false;
  pending_ =
      order_.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
  if (!pending_) order_.Clear();
  std::set<std::string> shown;
  std::set<int> missed;
  for (const auto& [uuid, answer] : Show(order_, network_, &shown, &missed)) {
    answers_[uuid] = tarn::price_sync_pending;
  }
  answers_[order_key_] =
      pending_ ? tarn::price_sync_pending : tarn::price_update_failure;
}

void Signs::Apply() {
  pending_ = false;
  applied_ = true;
  PutTogether();
}

}  // namespace fleet
