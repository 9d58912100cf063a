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

Progress::Progress()
    : shown_(::isatty(STDERR_FILENO) != 0 && ::isatty(STDOUT_FILENO) == 0),
      next_(std::chrono::steady_clock::now() + std::chrono::seconds(1)) {}

void Progress::Update(uint64_t messages, uint64_t bytes) {
  if (!shown_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(200);
  visible_ = true;
  Put("\r\033[Ktarn: " + std::to_string(messages) + " messages, " +
      std::to_string(bytes >> 20) + " MiB");
}

void Progress::Hide() {
  if (visible_) Put("\r\033[K");
  visible_ = false;
}

}  // namespace tarn::tool
