// Passes each declaration on to CLI11, and reads them from there.
#include "parser.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <utility>

#include "failure.h"
#include "schema.h"

namespace tarn::tool {
namespace {

CLI::Validator Of(const Validator& validator) {
  return CLI::Validator(validator.check, validator.words);
}

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

std::string GroupOf(const CLI::Option& option) {
  const auto* group = std::find(std::begin(kOptionGroups),
                                std::end(kOptionGroups), option.get_group());
  return group != std::end(kOptionGroups) ? *group : kOptionGroups[0];
}

// Arguments come first, then the options by group.
ptrdiff_t OrderOf(const Parameter& parameter) {
  if (parameter.positional) return -1;
  return std::find(std::begin(kOptionGroups), std::end(kOptionGroups),
                   parameter.group) -
         std::begin(kOptionGroups);
}

// For a single argument that is no option of the command.
std::string Suggestion(const CLI::App& app) {
  const std::vector<std::string> unknown = app.remaining();
  if (unknown.size() != 1 || unknown.front().substr(0, 2) != "--") return "";
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      names.push_back("--" + name);
    }
  }
  const std::string& name = unknown.front();
  return DidYouMean(name.substr(0, name.find('=')), names);
}

}  // namespace

Option* Option::check(const Validator& validator) {
  option_->check(Of(validator));
  return this;
}

Option* Option::transform(const Validator& validator) {
  option_->transform(Of(validator));
  return this;
}

Option* Option::type_name(std::string_view name) {
  option_->type_name(std::string(name));
  return this;
}

Option* Option::group(std::string_view name) {
  option_->group(std::string(name));
  return this;
}

Option* Option::description(std::string_view what) {
  option_->description(std::string(what));
  return this;
}

Option* Option::required(bool value) {
  option_->required(value);
  return this;
}

Option* Option::excludes(Option* other) {
  option_->excludes(other->option_);
  return this;
}

Option* Option::needs(Option* other) {
  option_->needs(other->option_);
  return this;
}

Option* Option::delimiter(char delimiter) {
  option_->delimiter(delimiter);
  return this;
}

Option* Option::allow_extra_args(bool value) {
  option_->allow_extra_args(value);
  return this;
}

size_t Option::count() const { return option_->count(); }

std::string Option::get_name() const { return option_->get_name(); }

Parser::Parser(std::string_view summary, std::string_view name)
    : app_(std::make_unique<CLI::App>(std::string(summary),
                                      std::string(name))) {}

Parser::~Parser() = default;

Option* Parser::add_option(std::string_view name, std::string& value,
                           std::string_view what) {
  return Keep(app_->add_option(std::string(name), value, std::string(what)));
}

Option* Parser::add_option(std::string_view name,
                           std::vector<std::string>& value,
                           std::string_view what) {
  return Keep(app_->add_option(std::string(name), value, std::string(what)));
}

Option* Parser::add_option(std::string_view name, int& value,
                           std::string_view what) {
  return Keep(app_->add_option(std::string(name), value, std::string(what)));
}

Option* Parser::add_option(std::string_view name, uint64_t& value,
                           std::string_view what) {
  return Keep(app_->add_option(std::string(name), value, std::string(what)));
}

Option* Parser::add_flag(std::string_view name, std::string_view what) {
  const std::string description(what);  // else it is a variable to set
  return Keep(app_->add_flag(std::string(name), description));
}

Option* Parser::add_flag(std::string_view name, bool& value,
                         std::string_view what) {
  return Keep(app_->add_flag(std::string(name), value, std::string(what)));
}

Option* Parser::add_flag(std::string_view name, std::function<void()> call,
                         std::string_view what) {
  return Keep(app_->add_flag_callback(std::string(name), std::move(call),
                                      std::string(what)));
}

Option* Parser::get_option(std::string_view name) {
  return Keep(app_->get_option(std::string(name)));
}

void Parser::footer(std::string_view text) { app_->footer(std::string(text)); }

Declaration Parser::Declared() const {
  const CLI::App& app = *app_;
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

bool Parser::Parse(std::vector<std::string> arguments) {
  std::reverse(arguments.begin(), arguments.end());
  try {
    app_->parse(std::move(arguments));
  } catch (const CLI::CallForHelp&) {
    return false;
  } catch (const CLI::ParseError& error) {
    throw Failure(kUsage, error.what() + Suggestion(*app_) + "; see " +
                              app_->get_name() + " --help");
  }
  return true;
}

Option* Parser::Keep(CLI::Option* option) {
  return &options_.emplace_back(option);
}

}  // namespace tarn::tool
