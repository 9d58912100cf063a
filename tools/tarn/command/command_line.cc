// Declares the options that commands share, and parses the command line.
#include "command_line.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "declaration.h"
#include "failure.h"
#include "output.h"
#include "pager.h"
#include "schema.h"

namespace tarn::tool {

namespace {

// Returns false if the text is not a number of at most 64 bits.
bool ReadNumber(std::string_view text, uint64_t* number) {
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, *number);
  return result.ec == std::errc() && result.ptr == end;
}

// Removes the unit at the end of a size. Returns by how many bits the unit
// shifts the number: 0, 10, 20 or 30.
int TakeUnit(std::string_view* text) {
  const size_t digits = text->find_first_not_of("0123456789");
  if (digits == text->npos) return 0;
  std::string unit(text->substr(digits));
  for (char& c : unit) c |= 0x20;
  constexpr std::string_view kUnits = "bkmg";
  const size_t shift = kUnits.find(unit[0]);
  if (shift == kUnits.npos || (unit.substr(1) != "" && unit.substr(1) != "b" &&
                               unit.substr(1) != "ib")) {
    return 0;
  }
  *text = text->substr(0, digits);
  return 10 * static_cast<int>(shift);
}

// Names what is missing where the type was left out.
Validator NotAFile() {
  return Validator{[](std::string& value) -> std::string {
    std::error_code error;
    if (!std::filesystem::exists(value, error)) return "";
    try {
      Schema().Find(value);
      return "";
    } catch (const Failure&) {
      return value +
             " is a file; before it comes the type of the "
             "message, which tarn what finds";
    }
  }};
}

}  // namespace

// These two have no description: it would be longer than the rest of the help.
Validator SizeValue(uint64_t least) {
  return Validator{[least](std::string& value) -> std::string {
    std::string_view text = value;
    const int shift = TakeUnit(&text);
    uint64_t size;
    if (!ReadNumber(text, &size) || size > (kMostSize >> shift) ||
        size << shift < least) {
      return value + " is not a size from " + std::to_string(least) + " to " +
             std::to_string(kMostSize) + " bytes, such as 500, 64K or 64M";
    }
    value = std::to_string(size << shift);
    return "";
  }};
}

Validator WholeNumber(uint64_t least, uint64_t most) {
  return Validator{[least, most](std::string& value) -> std::string {
    uint64_t number;
    if (ReadNumber(value, &number) && number >= least && number <= most) {
      return "";
    }
    return value + " is not a whole number from " + std::to_string(least) +
           " to " + std::to_string(most);
  }};
}

// The description tells the help the words.
Validator OneOf(const std::vector<std::string>& words) {
  const std::string set = InBraces(words);
  return Validator{
      [words, set](std::string& value) -> std::string {
        if (std::find(words.begin(), words.end(), value) != words.end()) {
          return "";
        }
        return value + " not in " + set + DidYouMean(value, words);
      },
      set};
}

CommandLine::CommandLine(const std::string& verb, const std::string& summary,
                         const std::vector<std::string>& arguments)
    : name_("tarn " + verb), parser_(summary, name_), arguments_(arguments) {}

void CommandLine::Type(std::string* type) {
  parser_.add_option("TYPE", *type, "Message type: Server or tarn.Server")
      ->check(NotAFile())
      ->required();
}

void CommandLine::File(InputOptions* options) {
  parser_.add_option("FILE", options->file,
                     "File to read; standard input if - or not given");
  Form(options);
}

void CommandLine::Form(InputOptions* options) {
  parser_
      .add_option("--from", options->from,
                  "Form of the input; auto if not given")
      ->check(OneOf({"auto", "binary", "hex", "words", "octal", "source",
                     "base64", "text", "json"}))
      ->type_name("FORM")
      ->group("Input");
  parser_
      .add_option("--max-size", options->max_size,
                  "Largest message to read: 500, 64K; default 64M")
      ->transform(SizeValue(0))
      ->type_name("SIZE")
      ->group("Limits");
}

void CommandLine::Frame(InputOptions* options) {
  parser_
      .add_option("--frame", options->frame,
                  "Form of the length before each message of a stream")
      ->check(OneOf({"none", "varint", "u32be", "u32le"}))
      ->type_name("FRAME")
      ->group("Input");
}

void CommandLine::Stream(InputOptions* options) {
  Frame(options);
  parser_
      .add_flag("--keep-going", options->keep_going,
                "Go on with the next message after a broken one")
      ->group("Input");
}

void CommandLine::Input(InputOptions* options) {
  File(options);
  Stream(options);
}

void CommandLine::Color(OutputOptions* options) {
  parser_
      .add_option("--color", options->color,
                  "When to use colours; auto: on a terminal")
      ->check(OneOf({"auto", "always", "never"}))
      ->type_name("WHEN")
      ->group("Output");
}

Option* CommandLine::Json(OutputOptions* options) {
  return parser_
      .add_flag("--json", options->json, "Print JSON, one object a line")
      ->group("Output");
}

void CommandLine::Secrets(OutputOptions* options) {
  parser_
      .add_flag("--show-secrets", options->show_secrets,
                "Show the pass phrase of Wifi instead of ***")
      ->group("Output");
}

void CommandLine::Parse() {
  parser_
      .add_flag("--no-pager", ForbidPager,
                "Show long output on a terminal without a pager")
      ->group("Output");
  if (AsksForDeclaration(arguments_)) throw parser_.Declared();
  if (parser_.Parse(arguments_)) return;
  Output output;
  PrintHelp(name_, parser_.Declared(), &output);
  output.Flush();
  throw HelpGiven();
}

ExitCode PrintEachRecord(
    const InputOptions& input, const OutputOptions& options,
    const std::vector<const Type*>& types,
    const std::function<ExitCode(const Record&, Output*)>& print) {
  Output output(options.color);
  const ExitCode status = ForEachRecord(
      input, types,
      [&](const Record& record) { return print(record, &output); });
  output.Flush();
  return status;
}

}  // namespace tarn::tool
