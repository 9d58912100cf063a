// Shows the progress of long work on a terminal.
#ifndef TOOLS_TARN_PROGRESS_H_
#define TOOLS_TARN_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace tarn::tool {

// Shows how much of a stream is done when it takes longer than a second. Writes
// to standard error if that is a terminal and standard output is not.
class Progress {
 public:
  Progress();

  // `bytes`: of the stream so far.
  void Update(uint64_t messages, uint64_t bytes);
  // Removes the line, so that other text can be written there.
  void Hide();

 private:
  const bool shown_;
  bool visible_ = false;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_PROGRESS_H_
