// tarn describe: explains a message, field, enum or value.
#include "command.h"
#include "command_line.h"
#include "description.h"
#include "skeleton.h"

namespace tarn::tool {
namespace {

enum class Form { kPage, kJson, kTemplate };

}  // namespace

ExitCode RunDescribe(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  std::string name;
  line.app()
      .add_option("NAME", name,
                  "Message, field, enum or value: Server, Server.status, "
                  "StatusCodes, ok")
      ->required();
  OutputOptions options;
  CLI::Option* json = line.Json(&options);
  auto* fill_in =
      line.app()
          .add_flag("--template", "Print an empty message as JSON, to fill in")
          ->excludes(json)
          ->group("Output");
  line.Color(&options);
  line.Parse();

  const Form form = options.json           ? Form::kJson
                    : fill_in->count() > 0 ? Form::kTemplate
                                           : Form::kPage;
  Schema schema;
  const Entity entity = FindEntity(schema, name);
  Output output(options.color);
  if (form == Form::kTemplate && entity.message == nullptr) {
    throw Failure(kUsage,
                  "--template is for messages; " + name + " is not one");
  }
  switch (form) {
    case Form::kPage:
      PrintPage(entity, &schema, &output);
      break;
    case Form::kJson:
      PrintDescription(entity, &schema, &output);
      break;
    case Form::kTemplate:
      PrintSkeleton(*entity.message, &output);
  }
  output.Flush();
  return kFine;
}

}  // namespace tarn::tool
