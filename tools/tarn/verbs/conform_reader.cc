// Starts the reader, and talks with it through pipes that never block.
#include "conform_reader.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include "failure.h"
#include "forms.h"
#include "output.h"

namespace tarn::tool {
namespace {

using Clock = std::chrono::steady_clock;

// The version of the lines, for readers that want to know.
constexpr char kProtocol[] = "1";
// How long a reader may take to end once its input is closed.
constexpr std::chrono::seconds kTimeToEnd(1);
constexpr size_t kMostComplaints = 4096;
constexpr size_t kPiece = 65536;

// For the handler below; 0: no child runs.
volatile sig_atomic_t running = 0;

extern "C" void EndWithReader(int signal) {
  if (running != 0) ::kill(-running, SIGKILL);
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

// The reader has a process group of its own, so that it gets no signal from the
// terminal.
void HandleSignals() {
  for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
    if (std::signal(signal, EndWithReader) == SIG_IGN) {
      std::signal(signal, SIG_IGN);
    }
  }
}

struct Pipe {
  int read;
  int write;
};

// Neither end is one of the standard files, which may be closed.
Pipe MakePipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) {
    throw Failure(kInputOutput, std::string("pipe: ") + std::strerror(errno));
  }
  for (int& end : ends) {
    if (end > STDERR_FILENO) continue;
    const int low = end;
    end = ::fcntl(low, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(low);
  }
  return {ends[0], ends[1]};
}

void Close(int* file) {
  if (*file >= 0) ::close(*file);
  *file = -1;
}

// Becomes the command, in the child. An error goes through a pipe that the
// command does not get.
[[noreturn]] void Become(char* const* words, const Pipe& input,
                         const Pipe& output, const Pipe& errors, int report) {
  ::setpgid(0, 0);
  ::dup2(input.read, STDIN_FILENO);
  ::dup2(output.write, STDOUT_FILENO);
  ::dup2(errors.write, STDERR_FILENO);
  std::signal(SIGPIPE, SIG_DFL);
  ::execvp(words[0], words);
  const int error = errno;
  [[maybe_unused]] const ssize_t written =
      ::write(report, &error, sizeof(error));
  ::_exit(127);
}

// Waits until the child has ended, but not longer than the time to end.
void AwaitEnd(pid_t child) {
  const Clock::time_point deadline = Clock::now() + kTimeToEnd;
  siginfo_t info = {};
  while (::waitid(P_PID, child, &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         info.si_pid == 0 && Clock::now() < deadline) {
    ::poll(nullptr, 0, 2);
  }
}

std::string_view LastLine(std::string_view text) {
  while (!text.empty() && IsSpace(text.back())) text.remove_suffix(1);
  return text.substr(text.rfind('\n') + 1);
}

// Enough of a line to know it by.
std::string Beginning(std::string_view line) {
  constexpr size_t kColumns = 100;
  return Escaped(line.substr(0, 4 * kColumns), "\\", kColumns);
}

// Reads an answer without its identifier.
ReaderAnswer AnswerOf(std::string_view words) {
  const size_t blank = words.find(' ');
  const std::string_view word = words.substr(0, blank);
  const std::string_view rest =
      blank == words.npos ? "" : words.substr(blank + 1);
  if (word == "rejected") {
    return {ReaderAnswer::kRejected, Beginning(rest)};
  }
  if (word == "unsupported" && blank == words.npos) {
    return {ReaderAnswer::kUnsupported};
  }
  ReaderAnswer answer{ReaderAnswer::kOk};
  const bool whole = rest.size() % 4 == 0 && rest.find(' ') == rest.npos;
  if (word == "ok" && whole &&
      (rest.empty() || FromBase64(rest, &answer.text))) {
    return answer;
  }
  return {ReaderAnswer::kGarbage};
}

}  // namespace

ConformReader::ConformReader(std::vector<std::string> command,
                             std::chrono::milliseconds timeout)
    : command_(std::move(command)), timeout_(timeout) {
  ::setenv("TARN_CONFORM", kProtocol, 1);
  HandleSignals();
}

ConformReader::~ConformReader() { Stop(); }

void ConformReader::Start() {
  std::vector<char*> words;
  for (const std::string& word : command_) {
    words.push_back(const_cast<char*>(word.c_str()));
  }
  words.push_back(nullptr);
  Pipe input = MakePipe();
  Pipe output = MakePipe();
  Pipe errors = MakePipe();
  Pipe report = MakePipe();
  const pid_t child = ::fork();
  if (child == 0) Become(words.data(), input, output, errors, report.write);
  int error = child < 0 ? errno : 0;
  for (int* end : {&input.read, &output.write, &errors.write, &report.write}) {
    Close(end);
  }
  input_ = input.write;
  output_ = output.read;
  errors_ = errors.read;
  if (child > 0) {
    ::setpgid(child, child);  // whoever of the two comes first
    child_ = child;
    running = child;
    while (::read(report.read, &error, sizeof(error)) < 0 && errno == EINTR) {
    }
  }
  Close(&report.read);
  if (error != 0) {
    Stop();
    throw Failure(kInputOutput,
                  "cannot run " + command_[0] + ": " + std::strerror(error));
  }
  for (const int file : {input_, output_, errors_}) {
    ::fcntl(file, F_SETFL, O_NONBLOCK);
  }
}

int ConformReader::Stop() {
  Close(&input_);
  int status = -1;
  if (child_ != 0) {
    AwaitEnd(child_);
    siginfo_t info = {};
    const bool ended =
        ::waitid(P_PID, child_, &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
        info.si_pid == child_;
    // What it has started may still run. The group is its own as long as nobody
    // has waited for it.
    ::kill(-child_, SIGKILL);
    while (::waitpid(child_, &status, 0) < 0 && errno == EINTR) {
    }
    if (!ended) status = -1;
    running = 0;
    child_ = 0;
  }
  constexpr int kMostPieces = 16;  // a stranger may still write there
  for (int i = 0; i < kMostPieces && errors_ >= 0 && TakeErrors(); ++i) {
  }
  Close(&output_);
  Close(&errors_);
  to_write_.clear();
  received_.clear();
  return status;
}

ReaderAnswer ConformReader::Fail(ReaderAnswer::Kind kind,
                                 std::string_view line) {
  ReaderAnswer answer{kind, Beginning(line)};
  // One that is still busy gets no time to end.
  if (kind != ReaderAnswer::kDied && child_ != 0) ::kill(-child_, SIGKILL);
  answer.status = Stop();
  answer.complaint = Beginning(LastLine(complaints_));
  complaints_.clear();
  return answer;
}

void ConformReader::Write() {
  const ssize_t size = ::write(input_, to_write_.data(), to_write_.size());
  if (size >= 0) {
    to_write_.erase(0, size);
  } else if (errno != EAGAIN && errno != EINTR) {
    // It reads no more, and what it says or how it ends is the answer.
    to_write_.clear();
    Close(&input_);
  }
}

// Returns false at the end.
bool ConformReader::TakeOutput() {
  char piece[kPiece];
  const ssize_t size = ::read(output_, piece, sizeof(piece));
  if (size <= 0) return size < 0 && (errno == EAGAIN || errno == EINTR);
  received_.append(piece, size);
  return true;
}

// Returns false at the end, or if nothing is there.
bool ConformReader::TakeErrors() {
  char piece[kPiece];
  const ssize_t size = ::read(errors_, piece, sizeof(piece));
  if (size <= 0) {
    if (size == 0) Close(&errors_);
    return false;
  }
  complaints_.append(piece, size);
  if (complaints_.size() > kMostComplaints) {
    complaints_.erase(0, complaints_.size() - kMostComplaints);
  }
  return true;
}

bool ConformReader::Exchange(Clock::time_point deadline) {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
  if (left.count() <= 0) return false;
  pollfd files[] = {{to_write_.empty() ? -1 : input_, POLLOUT, 0},
                    {output_, POLLIN, 0},
                    {errors_, POLLIN, 0}};
  ::poll(files, std::size(files), static_cast<int>(left.count()));
  if (files[0].revents != 0) Write();
  if (files[2].revents != 0) TakeErrors();
  if (files[1].revents != 0 && !TakeOutput()) Close(&output_);
  return true;
}

ReaderAnswer ConformReader::Ask(std::string_view question) {
  if (child_ == 0) Start();
  const std::string identifier = std::to_string(++number_);
  to_write_ = identifier + ' ';
  to_write_ += question;
  to_write_ += '\n';
  const Clock::time_point deadline = Clock::now() + timeout_;
  size_t end = received_.find('\n');
  while (end == received_.npos || !to_write_.empty()) {
    const size_t looked = received_.size();
    if (!Exchange(deadline)) return Fail(ReaderAnswer::kHung);
    if (end == received_.npos) end = received_.find('\n', looked);
    if (received_.size() > kLongestLine + 1) {
      return Fail(ReaderAnswer::kFlooded, received_);
    }
    if (output_ < 0 && end == received_.npos) {
      return Fail(ReaderAnswer::kDied, received_);
    }
  }
  const std::string line = received_.substr(0, end);
  received_.erase(0, end + 1);
  if (line.compare(0, identifier.size() + 1, identifier + ' ') != 0) {
    const size_t digits = line.find_first_not_of("0123456789");
    const bool is_answer =
        digits != 0 && digits != line.npos && line[digits] == ' ';
    return Fail(
        is_answer ? ReaderAnswer::kWrongIdentifier : ReaderAnswer::kGarbage,
        line);
  }
  ReaderAnswer answer =
      AnswerOf(std::string_view(line).substr(identifier.size() + 1));
  return answer.kind == ReaderAnswer::kGarbage
             ? Fail(ReaderAnswer::kGarbage, line)
             : answer;
}

}  // namespace tarn::tool
