// The status codes in words, and in order of importance.
#include "status.h"

#include <tarn/Network.pb.h>

#include <iterator>

namespace site_office {
namespace {

struct Entry {
  int status;
  const char* words;
  Tone tone;
};

// The most important comes first. A number that is not in this list may mean
// anything, so it comes after the failures and before what ends by itself.
constexpr int kUnknown = -1;
constexpr Entry kStatuses[] = {
    {tarn::power_outage, "no power", Tone::kBad},
    {tarn::comm_error, "no contact", Tone::kBad},
    {tarn::assy_conf_err, "assembly conflict", Tone::kBad},
    {tarn::price_update_failure, "update failed", Tone::kBad},
    {tarn::format_invalid, "invalid format", Tone::kBad},
    {kUnknown, "status ", Tone::kWaiting},
    {tarn::retry_mode, "retrying", Tone::kWaiting},
    {tarn::price_update_uninitialized, "not initialized", Tone::kWaiting},
    {tarn::price_sync_pending, "price pending", Tone::kWaiting},
    {tarn::command_blank, "blanked", Tone::kWaiting},
    {tarn::unused, "no status", Tone::kFaint},
    {tarn::price_update_ok, "price updated", Tone::kGood},
    {tarn::ok, "ok", Tone::kGood},
};

const Entry& Find(int status) {
  const Entry* unknown = nullptr;
  for (const Entry& entry : kStatuses) {
    if (entry.status == status && status != kUnknown) return entry;
    if (entry.status == kUnknown) unknown = &entry;
  }
  return *unknown;
}

}  // namespace

std::string StatusWords(int status) {
  const Entry& entry = Find(status);
  if (entry.status != kUnknown) return entry.words;
  return entry.words + std::to_string(status);
}

int Severity(int status) {
  return static_cast<int>(std::end(kStatuses) - &Find(status));
}

Tone StatusTone(int status) { return Find(status).tone; }

}  // namespace site_office
