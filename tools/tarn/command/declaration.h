// The options and arguments of a command, for help, manual page and completion,
// which do not run the command.
#ifndef TOOLS_TARN_DECLARATION_H_
#define TOOLS_TARN_DECLARATION_H_

#include <string>
#include <vector>

#include "command.h"
#include "output.h"

namespace tarn::tool {

// An option, or an argument known by its position.
struct Parameter {
  std::string name;  // "--from", "TYPE"
  std::string what;
  std::string group;  // under which heading of the help it stands
  std::string value;  // stands for the value, as FORM; empty: a flag
  std::vector<std::string> choices;  // of the value; empty: not a fixed set
  bool positional = false;
  bool required = false;
  bool many = false;                  // can be given more than once
  std::vector<std::string> excludes;  // options that exclude it
};

// --help is left out: every command has it.
struct Declaration {
  std::string summary;
  std::string remark;  // printed after the options
  std::vector<Parameter> parameters;
};

// The headings of the help, in their order. The first is for options that
// belong to no other.
inline constexpr const char* kOptionGroups[] = {"Options", "Input", "Output",
                                                "Limits"};

// "{auto,hex}".
std::string InBraces(const std::vector<std::string>& words);

// Runs the command until it has declared its options.
Declaration Declare(const Command& command);

// Prints the help of a command. The parser could print it, too, but its wording
// differs between releases.
void PrintHelp(const std::string& program, const Declaration& declaration,
               Output* out);

// For CommandLine: whether the arguments come from Declare(). It then throws
// the declaration.
bool AsksForDeclaration(const Arguments& arguments);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_DECLARATION_H_
