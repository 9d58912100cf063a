// tarn manual: writes the part of the manual page about verbs and options, for
// the build. It is not a verb for users.
#include "declaration.h"
#include "hidden.h"
#include "output.h"

namespace tarn::tool {
namespace {

// Escapes text for roff, so that it holds no request and no typographic dash.
std::string Roff(const std::string& text) {
  std::string roff;
  for (const char c : text) {
    if (c == '\\') {
      roff += "\\e";
    } else if (c == '-') {
      roff += "\\-";
    } else {
      roff += c;
    }
  }
  return roff.find_first_of(".'") == 0 ? "\\&" + roff : roff;
}

std::string Bold(const std::string& text) { return "\\fB" + text + "\\fR"; }
std::string Italic(const std::string& text) { return "\\fI" + text + "\\fR"; }

void PrintSynopsis(const std::string& verb, const Declaration& declaration,
                   Output* output) {
  output->Write(Bold("tarn " + verb));
  output->Write(" [" + Italic("OPTIONS") + "]");
  for (const Parameter& parameter : declaration.parameters) {
    if (!parameter.positional) continue;
    const std::string name = Italic(parameter.name);
    output->Write(parameter.required ? " " + name : " [" + name + "]");
  }
  output->Write('\n');
}

void PrintParameter(const Parameter& parameter, Output* output) {
  output->Write(".TP\n");
  if (parameter.positional) {
    output->Write(Italic(parameter.name));
  } else {
    output->Write(Bold(Roff(parameter.name)));
    if (!parameter.value.empty()) {
      output->Write(' ' + Italic(Roff(parameter.value)));
    }
  }
  output->Write('\n' + Roff(parameter.what) + ".\n");
  if (parameter.choices.empty()) return;
  output->Write(Italic(Roff(parameter.value)) + " is ");
  for (const std::string& choice : parameter.choices) {
    if (&choice != &parameter.choices.front()) {
      output->Write(&choice == &parameter.choices.back() ? " or " : ", ");
    }
    output->Write(Bold(Roff(choice)));
  }
  output->Write(".\n");
}

}  // namespace

void PrintManual(const std::vector<Command>& commands) {
  Output output;
  for (const Command& command : commands) {
    const Declaration declaration = Declare(command);
    output.Write(".SS " + std::string(command.name) + '\n');
    PrintSynopsis(command.name, declaration, &output);
    output.Write(".PP\n" + Roff(declaration.summary) + ".\n");
    if (!declaration.remark.empty()) {
      output.Write(Roff(declaration.remark) + '\n');
    }
    for (const Parameter& parameter : declaration.parameters) {
      PrintParameter(parameter, &output);
    }
  }
  output.Flush();
}

}  // namespace tarn::tool
