// Takes the options of a command out of the parser that declares them.
#include "declaration.h"

#include <algorithm>
#include <iomanip>
#include <ostream>

namespace tarn::tool {
namespace {

// No argument of a program can hold a NUL.
const std::string kDeclare(1, '\0');

// "FORM:{auto,hex}" is a value and its choices, as the parser describes both.
void SplitTypeName(const std::string& type_name, Parameter* parameter) {
  const size_t colon = type_name.find(':');
  parameter->value = type_name.substr(0, colon);
  if (colon == type_name.npos || type_name[colon + 1] != '{') return;
  const std::string set =
      type_name.substr(colon + 2, type_name.size() - colon - 3);
  parameter->choices = CLI::detail::split(set, ',');
}

// A line of the help; what is explained goes to a line of its own where the
// term leaves it no room.
void PrintTerm(const std::string& term, const std::string& what,
               std::ostream& out) {
  constexpr size_t kColumn = 26;
  const bool fits = term.size() < kColumn;
  out << "  " << std::left << std::setw(kColumn) << (fits ? term : term + "\n")
      << (fits ? "" : std::string(kColumn + 2, ' ')) << what << "\n";
}

std::string OptionTerm(const Parameter& option) {
  if (option.value.empty()) return option.name;
  const std::string term = option.name + " " + option.value;
  if (option.choices.empty()) return term;
  return term + ":{" + CLI::detail::join(option.choices, ",") + "}";
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
               std::ostream& out) {
  out << declaration.summary << "\nUsage: " << program << " [OPTIONS]";
  for (const Parameter& parameter : declaration.parameters) {
    if (!parameter.positional) continue;
    out << (parameter.required ? " " + parameter.name
                               : " [" + parameter.name + "]");
  }
  out << "\n";
  const char* title = "\nArguments:\n";
  for (const Parameter& parameter : declaration.parameters) {
    if (!parameter.positional) continue;
    out << title;
    title = "";
    PrintTerm(parameter.name, parameter.what, out);
  }
  out << "\nOptions:\n";
  PrintTerm("-h,--help", "Show these options", out);
  for (const Parameter& parameter : declaration.parameters) {
    if (parameter.positional) continue;
    std::string what = parameter.what;
    for (const std::string& other : parameter.excludes) {
      what += "; not with " + other;
    }
    PrintTerm(OptionTerm(parameter), what, out);
  }
  if (!declaration.remark.empty()) out << "\n" << declaration.remark << "\n";
}

}  // namespace tarn::tool
