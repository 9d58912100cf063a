// tarn describe: explains a message, field, enum or value, or the whole schema,
// or lists what that leaves open.
#include <string>
#include <utility>
#include <vector>

#include "agreement.h"
#include "command.h"
#include "command_line.h"
#include "description.h"
#include "json_schema.h"
#include "reference.h"
#include "skeleton.h"

namespace tarn::tool {
namespace {

enum class Form { kPage, kJson, kTemplate, kJsonSchema, kAgreement, kMarkdown };

struct Options {
  OutputOptions output;
  std::string name;
  std::string folder;
  Form form = Form::kPage;
};

Options ParseOptions(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  Option* named = line.app().add_option(
      "NAME", options.name,
      "Message, field, enum or value: Server, Server.status, StatusCodes, ok");
  std::vector<std::pair<Option*, Form>> forms{
      {line.Json(&options.output), Form::kJson}};
  const auto add = [&](const char* flag, const std::string& what, Form form) {
    Option* option = line.app().add_flag(flag, what)->group("Output");
    for (const auto& other : forms) option->excludes(other.first);
    forms.emplace_back(option, form);
    return option;
  };
  add("--template", "Print an empty message as JSON, to fill in",
      Form::kTemplate);
  Option* json_schema =
      add("--json-schema",
          "Print the JSON Schema of a message, for programs that check JSON",
          Form::kJsonSchema);
  line.app()
      .add_option("--folder", options.folder,
                  "Write a file for each message into this folder; only with "
                  "--json-schema")
      ->type_name("DIR")
      ->needs(json_schema)
      ->excludes(named)
      ->group("Output");
  add("--agreement",
      "Print all that the schema leaves to the programs, as a page to fill in",
      Form::kAgreement)
      ->excludes(named);
  add("--markdown",
      "Print all types with their fields, values and comments, as a page of "
      "Markdown",
      Form::kMarkdown)
      ->excludes(named);
  line.Color(&options.output);
  line.Parse();
  for (const auto& [option, form] : forms) {
    if (option->count() > 0) options.form = form;
  }
  return options;
}

// The message of an option that is for messages alone.
const google::protobuf::Descriptor& MessageOf(const Entity& entity,
                                              const std::string& option,
                                              const std::string& name) {
  if (entity.message != nullptr) return *entity.message;
  throw Failure(kUsage, option + " is for messages; " + name + " is not one");
}

void WriteJsonSchemas(const std::string& folder, Schema* schema) {
  for (const auto* message : schema->Messages()) {
    const auto file =
        Output::InFolder(folder, schema->Bare(message->full_name()) + ".json");
    PrintJsonSchema(*message, schema, file.get());
    file->Finish();
  }
}

void Describe(const Options& options, Schema* schema, Output* output) {
  const std::string& name = options.name;
  if (options.form == Form::kAgreement) return PrintAgreement(schema, output);
  if (options.form == Form::kMarkdown) return PrintReference(schema, output);
  if (!options.folder.empty()) return WriteJsonSchemas(options.folder, schema);
  if (name.empty()) {
    throw Failure(kUsage, "NAME is required; see tarn describe --help");
  }
  const Entity entity = FindEntity(*schema, name);
  switch (options.form) {
    case Form::kJson:
      return PrintDescription(entity, schema, output);
    case Form::kTemplate:
      return PrintSkeleton(MessageOf(entity, "--template", name), output);
    case Form::kJsonSchema:
      return PrintJsonSchema(MessageOf(entity, "--json-schema", name), schema,
                             output);
    default:
      PrintPage(entity, schema, output);
  }
}

}  // namespace

ExitCode RunDescribe(const Command& command, const Arguments& arguments) {
  const Options options = ParseOptions(command, arguments);
  Output output(options.output.color);
  Schema schema;
  Describe(options, &schema, &output);
  output.Flush();
  return kFine;
}

}  // namespace tarn::tool
