// What a message that shows a network holds: how much, in which state, and
// whether all of it is well.
#ifndef TOOLS_TARN_WHAT_CONTENT_H_
#define TOOLS_TARN_WHAT_CONTENT_H_

#include <google/protobuf/message.h>

#include <string>

#include "output.h"
#include "status_words.h"

namespace tarn::tool {

struct Content {
  std::string words;  // "1 server, 2 clients"; empty: nothing to be counted
  StatusTally statuses;
  StatusTally updates;  // of the prices of a status report
  bool well = true;     // as --errors of `tarn tree` and `status` has it
};

Content ContentOf(const google::protobuf::Message& message);

// Without the end of the line.
void PrintContent(const Content& content, Output* output);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_WHAT_CONTENT_H_
