// Writes one line on standard error, and overwrites it.
#include "progress.h"

#include <unistd.h>

namespace tarn::tool {
namespace {

void Put(const std::string& text) {
  [[maybe_unused]] const ssize_t written =
      ::write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

Progress::Progress(Beside beside)
    : shown_(::isatty(STDERR_FILENO) != 0 &&
             (beside == kStdoutIsIdle || ::isatty(STDOUT_FILENO) == 0)),
      next_(std::chrono::steady_clock::now() + std::chrono::seconds(1)) {}

bool Progress::IsDue() {
  if (!shown_) return false;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) return false;
  next_ = now + std::chrono::milliseconds(200);
  visible_ = true;
  return true;
}

void Progress::Update(uint64_t messages, uint64_t bytes) {
  if (!IsDue()) return;
  Put("\r\033[Ktarn: " + std::to_string(messages) + " messages, " +
      std::to_string(bytes >> 20) + " MiB");
}

void Progress::UpdateQuestions(uint64_t done, uint64_t all) {
  if (!IsDue()) return;
  Put("\r\033[Ktarn: " + std::to_string(done) + " of " + std::to_string(all) +
      " questions");
}

void Progress::Hide() {
  if (visible_) Put("\r\033[K");
  visible_ = false;
}

}  // namespace tarn::tool
