// The commands: each is a function in the file of the same name.
#ifndef TOOLS_TARN_COMMAND_H_
#define TOOLS_TARN_COMMAND_H_

#include <string>
#include <vector>

#include "failure.h"

namespace tarn::tool {

// The arguments after the verb.
using Arguments = std::vector<std::string>;

struct Command {
  const char* name;
  // Runs the command. `command` is this entry; its summary stands in the help.
  ExitCode (*run)(const Command& command, const Arguments& arguments);
  const char* summary;
};

ExitCode RunAnnotate(const Command& command, const Arguments& arguments);
ExitCode RunCheck(const Command& command, const Arguments& arguments);
ExitCode RunConform(const Command& command, const Arguments& arguments);
ExitCode RunDecode(const Command& command, const Arguments& arguments);
ExitCode RunDescribe(const Command& command, const Arguments& arguments);
ExitCode RunDiff(const Command& command, const Arguments& arguments);
ExitCode RunEncode(const Command& command, const Arguments& arguments);
ExitCode RunExplore(const Command& command, const Arguments& arguments);
ExitCode RunFingerprint(const Command& command, const Arguments& arguments);
ExitCode RunGuess(const Command& command, const Arguments& arguments);
ExitCode RunList(const Command& command, const Arguments& arguments);
ExitCode RunRows(const Command& command, const Arguments& arguments);
ExitCode RunSample(const Command& command, const Arguments& arguments);
ExitCode RunStatus(const Command& command, const Arguments& arguments);
ExitCode RunTree(const Command& command, const Arguments& arguments);
ExitCode RunWhat(const Command& command, const Arguments& arguments);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_COMMAND_H_
