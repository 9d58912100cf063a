// The words for each declared status.
#include "status_words.h"

#include <tarn/Network.pb.h>

#include <utility>

namespace tarn::tool {
namespace {

struct Words {
  const char* words;
  Severity severity;
};

Words WordsOf(tarn::StatusCodes status) {
  switch (status) {
    case tarn::unused:
      return {"no status", Severity::kNone};
    case tarn::ok:
      return {"ok", Severity::kGood};
    case tarn::comm_error:
      return {"communication error", Severity::kFault};
    case tarn::power_outage:
      return {"power outage", Severity::kFault};
    case tarn::assy_conf_err:
      return {"assembly error", Severity::kFault};
    case tarn::price_update_failure:
      return {"price update failed", Severity::kFault};
    case tarn::retry_mode:
      return {"retrying", Severity::kOdd};
    case tarn::format_invalid:
      return {"invalid format", Severity::kFault};
    case tarn::command_blank:
      return {"blanked by command", Severity::kWaiting};
    case tarn::price_sync_pending:
      return {"price sync pending", Severity::kWaiting};
    case tarn::price_update_uninitialized:
      return {"price update not ready", Severity::kWaiting};
    case tarn::price_update_ok:
      return {"price updated", Severity::kGood};
    default:
      return {"", Severity::kOdd};
  }
}

Color ColorOf(Severity severity) {
  switch (severity) {
    case Severity::kFault:
      return Color::kRed;
    case Severity::kOdd:
      return Color::kYellow;
    case Severity::kWaiting:
      return Color::kCyan;
    case Severity::kGood:
      return Color::kGreen;
    case Severity::kNone:
      break;
  }
  return Color::kDim;
}

}  // namespace

StatusLook LookOf(int32_t status) {
  const auto [words, severity] =
      WordsOf(static_cast<tarn::StatusCodes>(status));
  return {*words != '\0' ? words : "status " + std::to_string(status), severity,
          ColorOf(severity)};
}

bool WorseStatus::operator()(int32_t a, int32_t b) const {
  return std::make_pair(LookOf(a).severity, a) <
         std::make_pair(LookOf(b).severity, b);
}

void PrintTally(const StatusTally& tally, Output* output) {
  for (const auto& entry : tally) {
    if (entry.first != tally.begin()->first) output->Write(", ");
    const StatusLook look = LookOf(entry.first);
    output->Number(entry.second);
    output->Write(' ');
    output->Painted(look.color, look.words);
  }
}

}  // namespace tarn::tool
