// The command line of one command: its own options, and the options that many
// commands share.
#ifndef TOOLS_TARN_COMMAND_LINE_H_
#define TOOLS_TARN_COMMAND_LINE_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "input.h"
#include "input_options.h"
#include "output.h"
#include "parser.h"

namespace tarn::tool {

struct OutputOptions {
  std::string color = "auto";
  bool show_secrets = false;
  bool json = false;
};

// The largest size that an option accepts.
inline constexpr uint64_t kMostSize = INT64_MAX;

// Checks for options. SizeValue accepts sizes such as 500, 64K or 1M, where K
// is 1024; WholeNumber accepts whole numbers. Both refuse anything outside the
// range.
Validator SizeValue(uint64_t least);
Validator WholeNumber(uint64_t least, uint64_t most);

// Accepts one of some words. A word that is none of them gets a suggestion.
Validator OneOf(const std::vector<std::string>& words);

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
  // `arguments` are those after the verb.
  CommandLine(const std::string& verb, const std::string& summary,
              const std::vector<std::string>& arguments);

  // For options of the command's own.
  Parser& app() { return parser_; }

  // The positional TYPE; required.
  void Type(std::string* type);
  // The positional FILE with --from and --max-size, and the options of streams:
  // --frame and --keep-going. Form() is for those without one FILE, and Frame()
  // for those that always go on.
  void Input(InputOptions* options);
  void File(InputOptions* options);
  void Form(InputOptions* options);
  void Stream(InputOptions* options);
  void Frame(InputOptions* options);
  // --color, and for commands that show text of messages --show-secrets.
  void Color(OutputOptions* options);
  // --json, for verbs that report.
  Option* Json(OutputOptions* options);
  void Secrets(OutputOptions* options);

  // Parses the arguments. If they ask for help, prints it and ends the command.
  // Throws a Failure for invalid arguments.
  void Parse();

 private:
  std::string name_;
  Parser parser_;
  std::vector<std::string> arguments_;
};

// Calls `print` for each message of the input, as ForEachRecord() does, with
// standard output for what it prints. Returns the worst status.
ExitCode PrintEachRecord(
    const InputOptions& input, const OutputOptions& options,
    const std::vector<const Type*>& types,
    const std::function<ExitCode(const Record&, Output*)>& print);

// Thrown by Parse() once the help is printed.
struct HelpGiven {};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_COMMAND_LINE_H_
