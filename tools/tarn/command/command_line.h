// The command line of one command: its own options, and those that many share.
#ifndef TOOLS_TARN_COMMAND_LINE_H_
#define TOOLS_TARN_COMMAND_LINE_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "input_options.h"

namespace tarn::tool {

struct OutputOptions {
  std::string color = "auto";
  bool show_secrets = false;
  bool json = false;
};

// The largest size that an option takes.
inline constexpr uint64_t kMostSize = INT64_MAX;

// Makes an option take sizes as 500, 64K or 1M, a K being 1024, or whole
// numbers; what is none, or outside of the range, is refused.
CLI::Validator SizeValue(uint64_t least);
CLI::Validator WholeNumber(uint64_t least, uint64_t most);

// Wraps the parser of one command. A command declares its options, calls
// Parse(), and does its work:
//
//   CommandLine line("decode", kSummary, arguments);
//   std::string type;
//   line.Type(&type);
//   InputOptions input;
//   line.Input(&input);
//   line.Parse();
class CommandLine {
 public:
  // `arguments` are those behind the verb.
  CommandLine(const std::string& verb, const std::string& summary,
              const std::vector<std::string>& arguments);

  // For options of the command's own.
  CLI::App& app() { return app_; }

  // The positional TYPE; required.
  void Type(std::string* type);
  // The positional FILE with --from and --max-size, and the options of streams:
  // --frame and --keep-going. Form() is for those without one FILE.
  void Input(InputOptions* options);
  void File(InputOptions* options);
  void Form(InputOptions* options);
  void Stream(InputOptions* options);
  // --color, and for commands that show text of messages --show-secrets.
  void Color(OutputOptions* options);
  // --json, for verbs that report.
  CLI::Option* Json(OutputOptions* options);
  void Secrets(OutputOptions* options);

  // Parses the arguments. Prints the help and ends the command where that is
  // asked for; what makes no sense is a Failure.
  void Parse();

 private:
  CLI::App app_;
  std::vector<std::string> arguments_;
};

// Thrown by Parse() once the help is printed.
struct HelpGiven {};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_COMMAND_LINE_H_
