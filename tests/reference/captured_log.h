// Collects what the runtime logs while an object of this class exists.
#ifndef TESTS_REFERENCE_CAPTURED_LOG_H_
#define TESTS_REFERENCE_CAPTURED_LOG_H_

#include <google/protobuf/stubs/logging.h>

#include <string>
#include <vector>

namespace tests {

class CapturedLog {
 public:
  CapturedLog() : previous_(google::protobuf::SetLogHandler(Take)) {
    Lines().clear();
  }
  ~CapturedLog() { google::protobuf::SetLogHandler(previous_); }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  // The errors that were logged so far, oldest first.
  const std::vector<std::string>& lines() const { return Lines(); }

 private:
  static void Take(google::protobuf::LogLevel level, const char*, int,
                   const std::string& text) {
    if (level >= google::protobuf::LOGLEVEL_ERROR) Lines().push_back(text);
  }

  static std::vector<std::string>& Lines() {
    static std::vector<std::string> lines;
    return lines;
  }

  google::protobuf::LogHandler* const previous_;
};

}  // namespace tests

#endif  // TESTS_REFERENCE_CAPTURED_LOG_H_
