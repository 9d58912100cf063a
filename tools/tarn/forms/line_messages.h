// Tells digits of one message in several lines from messages in lines of their
// own.
#ifndef TOOLS_TARN_LINE_MESSAGES_H_
#define TOOLS_TARN_LINE_MESSAGES_H_

#include <cstddef>
#include <vector>

#include "forms.h"
#include "schema.h"

namespace tarn::tool {

struct LineMessages {
  // How many lines are messages of their own; 0: the lines are one message.
  size_t count = 0;
  // Whether the lines can be one message as well, which was broken into lines
  // of one length.
  bool can_be_one = false;
};

// Lines are messages of their own if each is a sound one of the same type.
// Lines whose fields follow those of the line before, by their numbers, are
// parts of one message.
LineMessages FindLineMessages(const std::vector<const Type*>& types,
                              const Form& form);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_LINE_MESSAGES_H_
