// tarn sample: believable random messages, for tests.
#include <tarn/Network.pb.h>

#include "command.h"
#include "command_line.h"
#include "encoding.h"
#include "frame.h"
#include "input.h"
#include "nodes.h"
#include "output.h"
#include "printer.h"
#include "sampler.h"

namespace tarn::tool {
namespace {

// Most nodes of one message, since a message is held in memory.
constexpr int kMostNodes = 200000;

struct Options {
  std::string type;
  std::string to;
  std::string frame = "none";
  uint64_t seed = 1;
  uint64_t count = 1;
  NetworkShape shape;
  std::string shape_option;  // the first that is given, as "--clients"
};

void Print(const Options& options, const Type& type, const std::string& bytes,
           bool first, Output* output) {
  // The pass phrase is made up, so it is shown.
  const PrintStyle style{false, true};
  if (options.to == "binary") {
    WriteFramed(options.frame, bytes, output);
  } else if (options.to == "hex") {
    output->Hex(bytes);
    output->Write('\n');
  } else if (options.to == "json") {
    PrintJson(type, bytes, SurveyMessage(type, bytes), style, output);
  } else {
    if (!first) output->Write('\n');
    PrintText(type, bytes, SurveyMessage(type, bytes), style, output);
  }
}

// Chooses a form where none is given, and refuses options that contradict each
// other.
void CompleteOptions(Options* options) {
  const bool framed = options->frame != "none";
  if (options->to.empty()) options->to = framed ? "binary" : "text";
  if (framed && options->to != "binary") {
    throw Failure(kUsage,
                  "--frame is for binary streams, not for --to " + options->to);
  }
  if (options->to == "binary" && options->count > 1 && !framed) {
    throw Failure(kUsage,
                  "many binary messages run into one another: see --frame");
  }
}

Options ParseOptions(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  Parser& app = line.app();
  app.add_option("TYPE", options.type,
                 "Message type, or network (a full ModsConfigured)")
      ->required();
  app.add_option("--seed", options.seed,
                 "Seed of the random messages: the same seed gives the same "
                 "messages; 1 if not given")
      ->check(WholeNumber(0, UINT64_MAX))
      ->type_name("N");
  app.add_option("--count", options.count, "Number of messages; default 1")
      ->check(WholeNumber(0, UINT64_MAX))
      ->type_name("N");
  app.add_option("--to", options.to,
                 "Form of the output; text if not given, or binary "
                 "with --frame")
      ->check(OneOf({"text", "json", "hex", "binary"}))
      ->type_name("FORM")
      ->group("Output");
  app.add_option("--frame", options.frame,
                 "Form of the length before each message, for binary")
      ->check(OneOf({"none", "varint", "u32be", "u32le"}))
      ->type_name("FRAME")
      ->group("Output");
  const auto below = [&](const char* name, int* number, const char* what) {
    return app.add_option(name, *number, what)
        ->check(WholeNumber(0, 100000))
        ->type_name("N");
  };
  Option* shape[] = {below("--clients", &options.shape.clients,
                           "Number of clients below the server"),
                     below("--displays", &options.shape.displays,
                           "Number of displays below each client"),
                     below("--modules", &options.shape.modules,
                           "Number of modules in each display")};
  line.Parse();
  CompleteOptions(&options);

  for (const Option* option : shape) {
    if (option->count() == 0) continue;
    options.shape_option = option->get_name();
    break;
  }
  return options;
}

}  // namespace

ExitCode RunSample(const Command& command, const Arguments& arguments) {
  const Options options = ParseOptions(command, arguments);
  Schema schema;
  const Type& type = options.type == "network"
                         ? schema.Table(*tarn::ModsConfigured::descriptor())
                         : schema.Find(options.type);
  if (!options.shape_option.empty() && !HoldsNodes(*type.descriptor)) {
    throw Failure(kUsage, options.shape_option + ": " +
                              type.descriptor->full_name() + " holds no nodes");
  }
  if (MostNodes(*type.descriptor, options.shape) > kMostNodes) {
    throw Failure(kUsage, "more than " + std::to_string(kMostNodes) +
                              " nodes in one message");
  }
  Output output;
  if (options.to == "binary") output.ExpectRawBytes();
  Sampler sampler(options.seed, options.shape);
  for (uint64_t i = 0; i < options.count && !ReaderHasGone(); ++i) {
    const auto message = NewMessage(type);
    sampler.Fill(message.get());
    Print(options, type, Canonical(*message), i == 0, &output);
  }
  output.Flush();
  return kFine;
}

}  // namespace tarn::tool
