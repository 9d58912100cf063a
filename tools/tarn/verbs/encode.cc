// tarn encode: a message written as text or JSON, as canonical wire bytes.
#include "command.h"
#include "command_line.h"
#include "encoding.h"
#include "frame.h"
#include "input.h"
#include "output.h"

namespace tarn::tool {
namespace {

struct Options {
  InputOptions input;
  std::string type;
  std::string to = "binary";
};

void Write(const Options& options, std::string_view bytes, Output* output) {
  if (options.to == "binary") {
    WriteFramed(options.input.frame, bytes, output);
    return;
  }
  if (options.to == "hex") {
    output->Hex(bytes);
  } else {
    output->Base64(bytes);
  }
  output->Write('\n');
}

}  // namespace

ExitCode RunEncode(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  line.Type(&options.type);
  line.File(&options.input);
  line.Stream(&options.input);
  line.app()
      .add_option("--to", options.to, "Form of the output; default binary")
      ->check(OneOf({"binary", "hex", "base64"}))
      ->type_name("FORM")
      ->group("Output");
  line.app().footer(
      "The input is text or JSON. With --frame it is JSON, one message a "
      "line.");
  line.Parse();

  Schema schema;
  const Type& type = schema.Find(options.type);
  Output output;
  if (options.to == "binary") output.ExpectRawBytes();
  const ExitCode status = ForEachWritten(
      options.input, type,
      [&](std::string_view bytes) { Write(options, bytes, &output); });
  output.Flush();
  return status;
}

}  // namespace tarn::tool
