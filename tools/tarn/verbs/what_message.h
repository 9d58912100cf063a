// What is known of a single message: its likely types, what it holds, what is
// wrong with it, and how to go on.
#ifndef TOOLS_TARN_WHAT_MESSAGE_H_
#define TOOLS_TARN_WHAT_MESSAGE_H_

#include <string_view>
#include <vector>

#include "failure.h"
#include "finding.h"
#include "json_writer.h"
#include "output.h"
#include "ranking.h"
#include "schema.h"
#include "what_content.h"
#include "what_input.h"
#include "what_steps.h"

namespace tarn::tool {

// Types that are shown.
inline constexpr size_t kShownTypes = 5;

struct Answer {
  const Type* given = nullptr;        // that --type names
  std::vector<Candidate> candidates;  // the likeliest first
  std::vector<const Type*> verdict;   // the types that it can be
  const Type* type = nullptr;         // as which it is checked
  std::string_view bytes;             // of this type
  bool accepted = false;              // whether they are a message of it
  std::string format;    // of bytes that are no message; may be empty
  std::string filter;    // a command that makes a message of them, or empty
  bool cut = false;      // their end is left out
  bool strange = false;  // no type accounts for even half of the bytes
  Content content;       // of the message before an error
  std::vector<Finding> findings;
  size_t more_findings = 0;
  ExitCode status = kFine;
};

// `given` is null if no type is named. The answer refers to the capture.
Answer AnswerFor(const Capture& capture, const std::vector<const Type*>& types,
                 const Type* given);

Steps StepsFor(const Capture& capture, const Answer& answer);

void PrintAnswer(const Answer& answer, Schema* schema, Output* output);
// Writes members of an object.
void WriteAnswer(const Answer& answer, JsonWriter* json);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_WHAT_MESSAGE_H_
