// The options and arguments that a command declares. It keeps the names of the
// parser that it wraps, CLI11: only parser.cc compiles that, which takes long.
#ifndef TOOLS_TARN_PARSER_H_
#define TOOLS_TARN_PARSER_H_

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "declaration.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tarn::tool {

// Looks at a value, and may rewrite it.
struct Validator {
  // Returns what is wrong with the value, or an empty text.
  std::function<std::string(std::string& value)> check;
  std::string words = {};  // that the value may be, as InBraces() writes them
};

// An option, or an argument known by its position.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  Option* check(const Validator& validator);
  // As check(), before the others.
  Option* transform(const Validator& validator);
  // What the help shows for the value: FILE.
  Option* type_name(std::string_view name);
  // The heading of the help under which the option stands.
  Option* group(std::string_view name);
  Option* description(std::string_view what);
  Option* required(bool value = true);
  Option* excludes(Option* other);
  Option* needs(Option* other);
  // Between values that are given as one.
  Option* delimiter(char delimiter);
  // Whether one name may be followed by several values.
  Option* allow_extra_args(bool value);

  // How often it was given.
  size_t count() const;
  std::string get_name() const;

 private:
  CLI::Option* option_;
};

class Parser {
 public:
  Parser(std::string_view summary, std::string_view name);
  ~Parser();

  // An option if the name begins with dashes, else an argument. The variable
  // keeps what it holds if none is given.
  Option* add_option(std::string_view name, std::string& value,
                     std::string_view what);
  Option* add_option(std::string_view name, std::vector<std::string>& value,
                     std::string_view what);
  Option* add_option(std::string_view name, int& value, std::string_view what);
  Option* add_option(std::string_view name, uint64_t& value,
                     std::string_view what);
  Option* add_flag(std::string_view name, std::string_view what);
  Option* add_flag(std::string_view name, bool& value, std::string_view what);
  // Calls the function if the flag is given.
  Option* add_flag(std::string_view name, std::function<void()> call,
                   std::string_view what);
  // One that has been added.
  Option* get_option(std::string_view name);
  // Shown after the options.
  void footer(std::string_view text);

  // What has been declared.
  Declaration Declared() const;

  // Parses arguments. Returns false if they ask for help. Throws a Failure if
  // they are invalid.
  bool Parse(std::vector<std::string> arguments);

 private:
  Option* Keep(CLI::Option* option);

  std::unique_ptr<CLI::App> app_;
  std::deque<Option> options_;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_PARSER_H_
