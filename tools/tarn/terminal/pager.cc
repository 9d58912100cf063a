// Runs the pager as a child, with a pipe in place of the terminal.
#include "pager.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>

namespace tarn::tool {
namespace {

// Global, because there is only one standard output.
struct {
  bool forbidden = false;
  pid_t child = 0;  // 0: there is none
  int output = -1;  // the terminal
  int error = -1;   // -1: standard error is not redirected
  void (*interrupt)(int) = nullptr;
} state;

std::string PagerCommand() {
  for (const char* name : {"TARN_PAGER", "PAGER"}) {
    if (const char* value = std::getenv(name)) return value;
  }
  return "less";
}

// Becomes the pager. If there is no such program, cat takes its place: nothing
// of the input is read yet.
[[noreturn]] void RunPager(int input, const char* script) {
  ::dup2(input, STDIN_FILENO);
  std::signal(SIGPIPE, SIG_DFL);
  ::execl("/bin/sh", "sh", "-c", script, nullptr);
  ::_exit(127);
}

// Puts one end of the pipe in place of a file; returns a copy of the file.
int Redirect(int file, int to) {
  const int copy = ::fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  ::dup2(to, file);
  return copy;
}

void Restore(int file, int copy) {
  if (copy < 0) return;
  ::dup2(copy, file);
  ::close(copy);
}

}  // namespace

void ForbidPager() { state.forbidden = true; }

bool CanPage() {
  const char* terminal = std::getenv("TERM");
  const std::string command = PagerCommand();
  return !state.forbidden && state.child == 0 && !command.empty() &&
         command != "cat" && terminal != nullptr && *terminal != '\0' &&
         std::string_view(terminal) != "dumb";
}

bool StartPager() {
  const std::string script =
      PagerCommand() + "\ncase $? in 126 | 127) exec cat ;; esac";
  int pipe[2];
  if (::pipe2(pipe, O_CLOEXEC) != 0) return false;
  // As for other programs that use a pager: colours are shown, and what fits
  // the screen stays there.
  ::setenv("LESS", "FRX", 0);
  const pid_t child = ::fork();
  if (child == 0) RunPager(pipe[0], script.c_str());
  ::close(pipe[0]);
  if (child > 0) {
    state.child = child;
    state.output = Redirect(STDOUT_FILENO, pipe[1]);
    state.error =
        ::isatty(STDERR_FILENO) != 0 ? Redirect(STDERR_FILENO, pipe[1]) : -1;
    // The pager takes the key; it must not end before the user leaves it.
    state.interrupt = std::signal(SIGINT, SIG_IGN);
  }
  ::close(pipe[1]);
  return child > 0;
}

void EndPager() {
  if (state.child == 0) return;
  Restore(STDOUT_FILENO, state.output);
  Restore(STDERR_FILENO, state.error);
  while (::waitpid(state.child, nullptr, 0) < 0 && errno == EINTR) {
  }
  std::signal(SIGINT, state.interrupt);
  state.child = 0;
}

bool PagerRuns() { return state.child != 0; }

}  // namespace tarn::tool
