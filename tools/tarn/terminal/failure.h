// How a command ends: the exit codes, and the exception that carries one.
#ifndef TOOLS_TARN_FAILURE_H_
#define TOOLS_TARN_FAILURE_H_

#include <stdexcept>
#include <string>

namespace tarn::tool {

// Exit status of the program. The numbers are part of its interface.
enum ExitCode {
  kFine = 0,
  kFindings = 1,     // findings, or differences
  kUsage = 2,        // invalid arguments
  kMalformed = 3,    // the input is not of the given type and form
  kUnknownName = 4,  // no such type, field or node
  kInputOutput = 5,
};

// Ends the command. The message goes to stderr after "tarn: ".
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& message)
      : std::runtime_error(message), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

// Writes "tarn: " and the message as one line to stderr, escaped like all text
// for people.
void Complain(const std::string& message);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_FAILURE_H_
