// Prints the help of a command, and finds out what a command declares.
#include "declaration.h"

#include <stdexcept>

#include "output.h"
#include "wrap.h"

namespace tarn::tool {
namespace {

// An argument that no user can give: it holds a NUL.
const std::string kDeclare(1, '\0');

constexpr size_t kColumns = 80;

// Prints one entry of the help. The explanation begins on its own line if the
// term leaves no room for it.
void PrintTerm(const std::string& term, const std::string& what, Output* out) {
  constexpr size_t kColumn = 28;
  const bool fits = term.size() + 2 < kColumn;
  out->Write("  " + term);
  if (fits) {
    out->Spaces(kColumn - 2 - term.size());
  } else {
    out->Write('\n');
  }
  bool indented = fits;
  for (const std::string& line :
       Wrap(what, out->TextColumns(kColumns, kColumn))) {
    if (!indented) out->Spaces(kColumn);
    indented = false;
    out->Write(line);
    out->Write('\n');
  }
}

std::string OptionTerm(const Parameter& option) {
  if (option.value.empty()) return option.name;
  std::string term = option.name + " " + option.value;
  if (option.choices.empty()) return term;
  return term + ":" + InBraces(option.choices);
}

void PrintOption(const Parameter& option, Output* out) {
  std::string what = option.what;
  for (const std::string& other : option.excludes) {
    what += "; not with " + other;
  }
  PrintTerm(OptionTerm(option), what, out);
}

}  // namespace

std::string InBraces(const std::vector<std::string>& words) {
  std::string set;
  for (const std::string& word : words) set += (set.empty() ? '{' : ',') + word;
  return set + '}';
}

bool AsksForDeclaration(const Arguments& arguments) {
  return arguments.size() == 1 && arguments.front() == kDeclare;
}

Declaration Declare(const Command& command) {
  try {
    command.run(command, {kDeclare});
  } catch (const Declaration& declaration) {
    return declaration;
  }
  throw std::logic_error(std::string(command.name) + " parses no options");
}

void PrintHelp(const std::string& program, const Declaration& declaration,
               Output* out) {
  out->Write(declaration.summary + "\nUsage: " + program + " [OPTIONS]");
  for (const Parameter& parameter : declaration.parameters) {
    if (!parameter.positional) continue;
    out->Write(parameter.required ? " " + parameter.name
                                  : " [" + parameter.name + "]");
  }
  out->Write('\n');
  const char* title = "\nArguments:\n";
  for (const Parameter& parameter : declaration.parameters) {
    if (!parameter.positional) continue;
    out->Write(title);
    title = "";
    PrintTerm(parameter.name, parameter.what, out);
  }
  for (const char* group : kOptionGroups) {
    std::string heading = std::string("\n") + group + ":\n";
    if (group == kOptionGroups[0]) {
      out->Write(heading);
      heading.clear();
      PrintTerm("-h,--help", "Show these options", out);
    }
    for (const Parameter& parameter : declaration.parameters) {
      if (parameter.positional || parameter.group != group) continue;
      out->Write(heading);
      heading.clear();
      PrintOption(parameter, out);
    }
  }
  if (declaration.remark.empty()) return;
  out->Write('\n');
  for (const std::string& line :
       Wrap(declaration.remark, out->TextColumns(kColumns, 0))) {
    out->Write(line + "\n");
  }
}

}  // namespace tarn::tool
