// The words for each declared status, and how good it is: the schema's comments
// say what it means.
#include "status_words.h"

#include <tarn/Network.pb.h>

#include <utility>

namespace tarn::tool {
namespace {

struct Words {
  const char* words;
  Condition condition;
};

Words WordsOf(tarn::StatusCodes status) {
  switch (status) {
    case tarn::unused:
      return {"no status", Condition::kNone};
    case tarn::ok:
      return {"ok", Condition::kGood};
    case tarn::comm_error:
      return {"communication error", Condition::kFault};
    case tarn::power_outage:
      return {"power outage", Condition::kFault};
    case tarn::assy_conf_err:
      return {"assembly error", Condition::kFault};
    case tarn::price_update_failure:
      return {"price update failed", Condition::kFault};
    case tarn::retry_mode:
      return {"retrying", Condition::kOdd};
    case tarn::format_invalid:
      return {"invalid format", Condition::kFault};
    case tarn::command_blank:
      return {"blanked by command", Condition::kWaiting};
    case tarn::price_sync_pending:
      return {"price sync pending", Condition::kWaiting};
    case tarn::price_update_uninitialized:
      return {"price update not ready", Condition::kWaiting};
    case tarn::price_update_ok:
      return {"price updated", Condition::kGood};
    default:
      return {"", Condition::kOdd};
  }
}

// As the schema declares it; empty where it does not.
const std::string& NameOf(int32_t status) {
  return tarn::StatusCodes_Name(static_cast<tarn::StatusCodes>(status));
}

Color ColorOf(Condition condition) {
  switch (condition) {
    case Condition::kFault:
      return Color::kRed;
    case Condition::kOdd:
      return Color::kYellow;
    case Condition::kWaiting:
      return Color::kCyan;
    case Condition::kGood:
      return Color::kGreen;
    case Condition::kNone:
      break;
  }
  return Color::kDim;
}

}  // namespace

StatusLook LookOf(int32_t status) {
  const auto [words, condition] =
      WordsOf(static_cast<tarn::StatusCodes>(status));
  return {*words != '\0' ? words : "status " + std::to_string(status),
          condition, ColorOf(condition)};
}

bool IsWell(int32_t status) {
  const Condition condition = LookOf(status).condition;
  return condition != Condition::kFault && condition != Condition::kOdd;
}

const char kWhatIsWell[] =
    "Not well: failed, retrying, not a declared status, an error flag. Well: "
    "ok, updated, not ready, pending, blanked by command, no status";

std::string WordsBesideName(int32_t status) {
  std::string words = LookOf(status).words;
  const std::string& name = NameOf(status);
  return name.empty() || name == words ? "" : words;
}

std::string WordsAndName(int32_t status) {
  const std::string words = WordsBesideName(status);
  return words.empty() ? LookOf(status).words
                       : words + " (" + NameOf(status) + ")";
}

bool WorseStatus::operator()(int32_t a, int32_t b) const {
  return std::make_pair(LookOf(a).condition, a) <
         std::make_pair(LookOf(b).condition, b);
}

void WriteStatus(const char* key, int32_t status, JsonWriter* json) {
  const std::string& name = NameOf(status);
  json->Key(key);
  name.empty() ? json->Number(status) : json->String(name);
}

void PrintTally(const StatusTally& tally, Output* output) {
  for (const auto& entry : tally) {
    if (entry.first != tally.begin()->first) output->Write(", ");
    output->Number(entry.second);
    output->Write(' ');
    output->Painted(LookOf(entry.first).color, WordsAndName(entry.first));
  }
}

}  // namespace tarn::tool
