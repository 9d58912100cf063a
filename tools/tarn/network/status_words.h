// How a StatusCodes number is shown: its words, its colour, and how bad it is.
#ifndef TOOLS_TARN_STATUS_WORDS_H_
#define TOOLS_TARN_STATUS_WORDS_H_

#include <cstdint>
#include <map>
#include <string>

#include "json_writer.h"
#include "output.h"

namespace tarn::tool {

// From bad to good, as a table orders them. With the first two, not all is
// well.
enum class Condition { kFault, kOdd, kWaiting, kGood, kNone };

struct StatusLook {
  std::string words;
  Condition condition;
  Color color;
};

// Works for any number; a number that is not declared is odd.
StatusLook LookOf(int32_t status);

bool IsWell(int32_t status);

// What is well and what is not, in words for the help.
extern const char kWhatIsWell[];

// The words, unless the name that the schema declares is the same.
std::string WordsBesideName(int32_t status);

// The words with the name that the schema declares:
// "communication error (comm_error)". Only the words where they are the name.
std::string WordsAndName(int32_t status);

// Orders statuses from bad to good.
struct WorseStatus {
  bool operator()(int32_t a, int32_t b) const;
};

// Writes a status as a member of a JSON object: the name that the schema
// declares, or else the number.
void WriteStatus(const char* key, int32_t status, JsonWriter* json);

// How many there are of each status. Printed with their names, as
// "2 retrying (retry_mode), 5 ok".
using StatusTally = std::map<int32_t, int, WorseStatus>;
void PrintTally(const StatusTally& tally, Output* output);
// Of the values of a map.
template <class Map>
StatusTally TallyOf(const Map& map) {
  StatusTally tally;
  for (const auto& [key, status] : map) ++tally[status];
  return tally;
}

}  // namespace tarn::tool

#endif  // TOOLS_TARN_STATUS_WORDS_H_
