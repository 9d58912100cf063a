// tarn diff: shows how two messages differ in meaning.
#include "command.h"
#include "command_line.h"
#include "difference.h"
#include "parse.h"
#include "secrets.h"

namespace tarn::tool {
namespace {

struct Options {
  InputOptions before;
  InputOptions after;
  OutputOptions output;
  std::string type;
};

Options ParseOptions(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  std::string file_b;
  line.Type(&options.type);
  line.app()
      .add_option("A", options.before.file,
                  "File to compare; - is standard input")
      ->required();
  line.app().add_option("B", file_b, "File to compare it with")->required();
  line.Form(&options.before);
  line.Json(&options.output);
  line.Color(&options.output);
  line.Secrets(&options.output);
  line.Parse();
  options.after = options.before;
  options.after.file = file_b;
  if (options.before.file == "-" && options.after.file == "-") {
    throw Failure(kUsage, "only one of the files can be standard input");
  }
  return options;
}

}  // namespace

ExitCode RunDiff(const Command& command, const Arguments& arguments) {
  const Options options = ParseOptions(command, arguments);
  const bool show_secrets = options.output.show_secrets;
  Schema schema(show_secrets);
  const Type& type = schema.Find(options.type);
  bool mask_values = false;
  // Frees the bytes after parsing: they can be as large as the objects.
  const auto parse = [&](const InputOptions& input) {
    const std::string bytes = ReadMessage(input, type);
    Record record;
    record.bytes = bytes;
    mask_values |= type.masked && MayLeak(type, bytes);
    return ParseRecord(input, type, record);
  };
  const auto before = parse(options.before);
  const auto after = parse(options.after);
  if (before == nullptr || after == nullptr) {
    Complain(
        "only whole messages are compared: what a broken one has lost would "
        "look like a difference");
    return kMalformed;
  }

  Output output(options.output.color);
  JsonWriter json(&output);
  if (options.output.json) {
    json.BeginObject();
    json.Key("type").String(type.descriptor->full_name());
    json.Key("differences").BeginList();
  }
  output.WrapLines(options.output.json ? std::string_view::npos
                                       : Output::kHanging);
  DifferencePrinter printer(mask_values, &output);
  bool any = false;
  // The message itself is no place where another node could be.
  const bool is_node = NodesAround({type.descriptor}) > 0;
  bool by_place = false;
  Compare(*before, *after, show_secrets, [&](const Difference& difference) {
    any = true;
    by_place |= difference.node != nullptr && difference.node->uuid.empty() &&
                (!is_node || !difference.above.empty());
    options.output.json ? WriteDifference(difference, mask_values, &json)
                        : printer.Print(difference);
  });
  printer.End();
  if (options.output.json) {
    json.EndList();
    json.EndObject();
    json.EndLine();
  }
  output.Flush();
  if (by_place) {
    Complain(
        "nodes without a uuid are compared by their place: two of them can be "
        "different nodes");
  }
  return any ? kFindings : kFine;
}

}  // namespace tarn::tool
