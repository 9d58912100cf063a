// Takes the options of a command out of the parser that declares them.
#include "declaration.h"

namespace inspector {
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

}  // namespace inspector
