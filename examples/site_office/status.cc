// The status codes in words, and in order of importance.
#include "status.h"

#include <tarn/Network.pb.h>

#include <iterator>

namespace site_office {
namespace {

struct Entry {
  int status;
  Tone tone;
  const char* words;
};

// The most important comes first. A number that is not in this list may mean
// anything, so it comes after the failures and before what ends by itself.
constexpr int kUnknown = -1;
constexpr Entry kStatuses[] = {
    {tarn::power_outage, Tone::kBad, "no power"},
    {tarn::comm_error, Tone::kBad, "no contact"},
    {tarn::assy_conf_err, Tone::kBad, "assembly conflict"},
    {tarn::price_update_failure, Tone::kBad, "update failed"},
    {tarn::format_invalid, Tone::kBad, "invalid format"},
    {kUnknown, Tone::kWaiting, "status "},
    {tarn::retry_mode, Tone::kWaiting, "retrying"},
    {tarn::price_update_uninitialized, Tone::kWaiting, "not initialized"},
    {tarn::price_sync_pending, Tone::kWaiting, "price pending"},
    {tarn::command_blank, Tone::kWaiting, "blanked"},
    {tarn::unused, Tone::kFaint, "no status"},
    {tarn::price_update_ok, Tone::kGood, "price updated"},
    {tarn::ok, Tone::kGood, "ok"},
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
