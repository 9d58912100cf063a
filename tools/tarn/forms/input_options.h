// The options of a command about its input.
#ifndef TOOLS_TARN_INPUT_OPTIONS_H_
#define TOOLS_TARN_INPUT_OPTIONS_H_

#include <cstdint>
#include <string>

namespace tarn::tool {

// Where a message comes from. Without FILE it is "-", standard input.
struct InputOptions {
  std::string file = "-";
  std::string from = "auto";
  std::string frame = "none";
  uint64_t max_size = 64 << 20;  // bytes of one message
  bool keep_going = false;
  // Reads the whole stream even if nobody reads the output any more.
  bool to_the_end = false;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_INPUT_OPTIONS_H_
