// How far long work is, on a terminal.
#ifndef TOOLS_TARN_PROGRESS_H_
#define TOOLS_TARN_PROGRESS_H_

#include <chrono>
#include <cstdint>
#include <string>

namespace tarn::tool {

// Writes how far a stream is, once it takes longer than a second: on standard
// error, if that is a terminal and standard output is none.
class Progress {
 public:
  Progress();

  // `bytes`: of the stream so far.
  void Update(uint64_t messages, uint64_t bytes);
  // Takes the line away, so that others can write there.
  void Hide();

 private:
  const bool shown_;
  bool visible_ = false;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_PROGRESS_H_
