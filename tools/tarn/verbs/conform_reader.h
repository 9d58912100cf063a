// Somebody's reader as a child process that answers a line for each line.
#ifndef TOOLS_TARN_CONFORM_READER_H_
#define TOOLS_TARN_CONFORM_READER_H_

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::tool {

struct ReaderAnswer {
  enum Kind {
    kOk,
    kRejected,
    kUnsupported,
    kDied,             // it ended, or closed its output
    kHung,             // nothing came in time
    kFlooded,          // a line of more than kLongestLine bytes
    kWrongIdentifier,  // the answer to another question
    kGarbage,          // anything else
  };
  Kind kind = kGarbage;
  // The bytes of kOk; the reason of kRejected, which may be empty, or the line
  // that is wrong: their beginning, escaped for people.
  std::string text = {};
  // Of kDied: as waitpid() gives it; -1: the child had to be killed.
  int status = -1;
  // The last line on its standard error, of an answer that is none; escaped.
  std::string complaint = {};
};

// Runs a command in a process group of its own, which ends with this object, or
// when a signal ends the program. The command starts at the first question, and
// again at the one after an answer that is none.
class ConformReader {
 public:
  static constexpr size_t kLongestLine = 1 << 20;

  ConformReader(std::vector<std::string> command,
                std::chrono::milliseconds timeout);
  ~ConformReader();
  ConformReader(const ConformReader&) = delete;
  ConformReader& operator=(const ConformReader&) = delete;

  // `question` is what follows the identifier in the line. Throws a Failure if
  // the command cannot be run.
  ReaderAnswer Ask(std::string_view question);

 private:
  void Start();
  // Returns the status as ReaderAnswer has it.
  int Stop();
  ReaderAnswer Fail(ReaderAnswer::Kind kind, std::string_view line = {});
  // Waits until something can be done, and does it. Returns false at the
  // deadline.
  bool Exchange(std::chrono::steady_clock::time_point deadline);
  void Write();
  bool TakeOutput();
  bool TakeErrors();

  const std::vector<std::string> command_;
  const std::chrono::milliseconds timeout_;
  pid_t child_ = 0;  // 0: none runs
  int input_ = -1;   // -1: closed
  int output_ = -1;
  int errors_ = -1;
  std::string to_write_;
  std::string received_;
  std::string complaints_;  // the end of them
  uint64_t number_ = 0;     // of the last question
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_CONFORM_READER_H_
