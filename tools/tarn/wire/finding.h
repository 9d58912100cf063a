// What is unusual about a message: the problems that its receivers can have
// with it.
#ifndef TOOLS_TARN_FINDING_H_
#define TOOLS_TARN_FINDING_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "json_writer.h"
#include "output.h"
#include "profile.h"
#include "schema.h"

namespace tarn::tool {

enum class Severity { kAdvice, kWarning, kError };
inline constexpr const char* kSeverityNames[] = {"advice", "warning", "error"};

struct Finding {
  enum Kind {
    kMalformed,
    kOverBudget,
    kUnknownGroup,
    kUnknownField,
    kWrongWireType,
    kUndeclaredValue,
    kTooDeepForJson,
    kNoNodeKind,
    kNoUuid,
    kRepeatedUuid,
    kTwoMessages,
    kWrongProduct,
    kWrongCount,
    kMinimumAboveMaximum,
    kTooLong,
    kTooMany,
    kZeroByte,
    kSentInParts,
  };

  Kind kind;
  Severity severity;
  uint64_t offset = 0;  // in the file
  std::string path = {};
  // For people.
  std::string text = {};
  // What is known of it, as JSON needs it; each may be empty.
  std::string problem = {};      // of what is malformed
  std::string field = {};        // whose value is wrong
  std::string enumeration = {};  // that does not declare the value
  std::string uuid = {};
  // Of a number, the one that was found and the one that was expected.
  bool has_value = false;
  int64_t value = 0;
  bool has_expected = false;
  int64_t expected = 0;
  // Of a repeated uuid, where the first node with it is in the file.
  bool has_first_offset = false;
  uint64_t first_offset = 0;
};

// A line without the place in front: "name: warning: unknown field".
void PrintFinding(const Finding& finding, Output* output);
void WriteFinding(const Finding& finding, JsonWriter* json);

// Checks messages one after another.
class MessageChecker {
 public:
  // Messages of more than `budget` bytes are a finding; 0: there is no budget.
  // So is what has no room by the profile, which may be null.
  MessageChecker(uint64_t budget, const Profile* profile);
  ~MessageChecker();

  // Calls `report` for each finding in the order of the bytes, those about a
  // whole record at its end. `offset` is that of the message in its file. False
  // where the message is malformed.
  bool Check(const Type& type, std::string_view bytes, uint64_t offset,
             const std::function<void(const Finding&)>& report);

 private:
  struct Expectations;
  const uint64_t budget_;
  const Profile* const profile_;
  const std::unique_ptr<Expectations> expectations_;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_FINDING_H_
