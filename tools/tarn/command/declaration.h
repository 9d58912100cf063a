// What a command takes, as its options declare it: for those that speak of the
// command line without running it.
#ifndef TOOLS_TARN_DECLARATION_H_
#define TOOLS_TARN_DECLARATION_H_

#include <CLI/CLI.hpp>
#include <iosfwd>
#include <string>
#include <vector>

#include "command.h"

namespace tarn::tool {

// An option, or an argument told by its place.
struct Parameter {
  std::string name;  // "--from", "TYPE"
  std::string what;
  std::string value;  // stands for the value, as FORM; empty: a flag
  std::vector<std::string> choices;  // of the value; empty: not a fixed set
  bool positional = false;
  bool required = false;
  bool many = false;                  // can be given more than once
  std::vector<std::string> excludes;  // options that cannot stand beside it
};

// --help is left out: every command has it.
struct Declaration {
  std::string summary;
  std::string remark;  // what else there is to say
  std::vector<Parameter> parameters;
};

// Runs the command as far as its options are declared.
Declaration Declare(const Command& command);

// Prints them for people who ask for --help. The parser could as well, but its
// words differ from release to release.
void PrintHelp(const std::string& program, const Declaration& declaration,
               std::ostream& out);

// For CommandLine: whether the arguments come from Declare(), and the answer,
// which is thrown.
bool AsksForDeclaration(const Arguments& arguments);
Declaration DeclarationOf(const CLI::App& app);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_DECLARATION_H_
