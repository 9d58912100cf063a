// Declares the options that commands share, and parses.
#include "command_line.h"

#include <iostream>

#include "declaration.h"
#include "failure.h"

namespace inspector {

CLI::Validator SizeValue() {
  // Its own description is longer than all else in the help.
  return CLI::Validator(CLI::AsSizeValue(false)).description("");
}

CommandLine::CommandLine(const std::string& verb, const std::string& summary,
                         const std::vector<std::string>& arguments)
    : app_(summary, "tarn " + verb),
      arguments_(arguments.rbegin(), arguments.rend()) {}

void CommandLine::Type(std::string* type) {
  app_.add_option("TYPE", *type, "Message type, as Server or tarn.Server")
      ->required();
}

void CommandLine::File(InputOptions* options) {
  app_.add_option("FILE", options->file,
                  "File to read; - or nothing is standard input");
  Form(options);
}

void CommandLine::Form(InputOptions* options) {
  app_.add_option("--from", options->from, "Form of the input")
      ->check(
          CLI::IsMember({"auto", "binary", "hex", "base64", "text", "json"}))
      ->type_name("FORM");
  app_.add_option("--max-size", options->max_size,
                  "Largest message to read, as 500, 64K or 64M; 64M if not "
                  "given")
      ->transform(SizeValue())
      ->type_name("SIZE");
}

void CommandLine::Stream(InputOptions* options) {
  app_.add_option("--frame", options->frame,
                  "Length in front of each message of a stream")
      ->check(CLI::IsMember({"none", "varint", "u32be", "u32le"}))
      ->type_name("FRAME");
  app_.add_flag("--keep-going", options->keep_going,
                "Go on with the next message behind a broken one");
}

void CommandLine::Input(InputOptions* options) {
  File(options);
  Stream(options);
}

void CommandLine::Color(OutputOptions* options) {
  app_.add_option("--color", options->color, "Colours; auto is on a terminal")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->type_name("WHEN");
}

void CommandLine::Secrets(OutputOptions* options) {
  app_.add_flag("--show-secrets", options->show_secrets,
                "Show the pass phrase of Wifi, not ***");
}

void CommandLine::Parse() {
  if (AsksForDeclaration(arguments_)) throw DeclarationOf(app_);
  try {
    app_.parse(arguments_);
  } catch (const CLI::CallForHelp&) {
    PrintHelp(app_.get_name(), DeclarationOf(app_), std::cout);
    throw HelpGiven();
  } catch (const CLI::ParseError& error) {
    throw Failure(kUsage, std::string(error.what()) + "; see " +
                              app_.get_name() + " --help");
  }
}

}  // namespace inspector
