// Reads the options of a command from the parser that declares them.
#include "declaration.h"

#include <algorithm>
#include <iterator>

#include "output.h"
#include "wrap.h"

namespace tarn::tool {
namespace {

// An argument that no user can give: it holds a NUL.
const std::string kDeclare(1, '\0');

// Splits "FORM:{auto,hex}", the parser's description, into the value and its
// choices.
void SplitTypeName(const std::string& type_name, Parameter* parameter) {
  const size_t colon = type_name.find(':');
  parameter->value = type_name.substr(0, colon);
  if (colon == type_name.npos || type_name[colon + 1] != '{') return;
  const std::string set =
      type_name.substr(colon + 2, type_name.size() - colon - 3);
  parameter->choices = CLI::detail::split(set, ',');
}

constexpr size_t kColumns = 80;

// The headings of the help, in their order. The first is for options that
// belong to no other.
constexpr const char* kGroups[] = {"Options", "Input", "Output", "Limits"};

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
  return term + ":{" + CLI::detail::join(option.choices, ",") + "}";
}

std::string GroupOf(const CLI::Option& option) {
  const auto* group =
      std::find(std::begin(kGroups), std::end(kGroups), option.get_group());
  return group != std::end(kGroups) ? *group : kGroups[0];
}

// Arguments come first, then the options by group.
ptrdiff_t OrderOf(const Parameter& parameter) {
  if (parameter.positional) return -1;
  return std::find(std::begin(kGroups), std::end(kGroups), parameter.group) -
         std::begin(kGroups);
}

void PrintOption(const Parameter& option, Output* out) {
  std::string what = option.what;
  for (const std::string& other : option.excludes) {
    what += "; not with " + other;
  }
  PrintTerm(OptionTerm(option), what, out);
}

}  // namespace

bool AsksForDeclaration(const Arguments& arguments) {
  return arguments.size() == 1 && arguments.front() == kDeclare;
}

Declaration DeclarationOf(const CLI::App& app) {
  Declaration declaration{app.get_description(), app.get_footer(), {}};
  for (const CLI::Option* option : app.get_options()) {
    if (option == app.get_help_ptr()) continue;
    Parameter parameter;
    parameter.name = option->get_name();
    parameter.what = option->get_description();
    parameter.positional = option->get_positional();
    parameter.group = GroupOf(*option);
    parameter.required = option->get_required();
    parameter.many = option->get_expected_max() > 1;
    if (parameter.positional) {
      parameter.value = parameter.name;
    } else if (option->get_items_expected_max() > 0) {
      SplitTypeName(option->get_type_name(), &parameter);
    }
    for (const CLI::Option* other : option->get_excludes()) {
      parameter.excludes.push_back(other->get_name());
    }
    std::sort(parameter.excludes.begin(), parameter.excludes.end());
    declaration.parameters.push_back(parameter);
  }
  // The manual lists the options in the order of the help.
  std::stable_sort(declaration.parameters.begin(), declaration.parameters.end(),
                   [](const Parameter& a, const Parameter& b) {
                     return OrderOf(a) < OrderOf(b);
                   });
  return declaration;
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
  for (const char* group : kGroups) {
    std::string heading = std::string("\n") + group + ":\n";
    if (group == kGroups[0]) {
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
