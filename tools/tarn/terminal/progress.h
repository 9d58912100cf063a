// Shows the progress of long work on a terminal.
#ifndef TOOLS_TARN_PROGRESS_H_
#define TOOLS_TARN_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace tarn::tool {

// Shows how much of the work is done when it takes longer than a second. Writes
// to standard error if that is a terminal. So that the lines do not mix,
// standard output must be none, or idle until the progress is hidden.
class Progress {
 public:
  enum Beside { kStdoutIsBusy, kStdoutIsIdle };
  explicit Progress(Beside beside = kStdoutIsBusy);

  // `bytes`: of the stream so far.
  void Update(uint64_t messages, uint64_t bytes);
  void UpdateQuestions(uint64_t done, uint64_t all);
  // Removes the line, so that other text can be written there.
  void Hide();

 private:
  bool IsDue();

  const bool shown_;
  bool visible_ = false;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_PROGRESS_H_
