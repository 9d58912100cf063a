// tarn describe: explains a message, field, enum or value, or the whole schema,
// or lists what that leaves open.
#include "agreement.h"
#include "command.h"
#include "command_line.h"
#include "description.h"
#include "reference.h"
#include "skeleton.h"

namespace tarn::tool {
namespace {

enum class Form { kPage, kJson, kTemplate };

void Describe(Form form, const std::string& name, Schema* schema,
              Output* output) {
  const Entity entity = FindEntity(*schema, name);
  if (form == Form::kTemplate && entity.message == nullptr) {
    throw Failure(kUsage,
                  "--template is for messages; " + name + " is not one");
  }
  switch (form) {
    case Form::kPage:
      PrintPage(entity, schema, output);
      break;
    case Form::kJson:
      PrintDescription(entity, schema, output);
      break;
    case Form::kTemplate:
      PrintSkeleton(*entity.message, output);
  }
}

}  // namespace

ExitCode RunDescribe(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  std::string name;
  auto* named = line.app().add_option(
      "NAME", name,
      "Message, field, enum or value: Server, Server.status, StatusCodes, ok");
  OutputOptions options;
  Option* json = line.Json(&options);
  auto* fill_in =
      line.app()
          .add_flag("--template", "Print an empty message as JSON, to fill in")
          ->excludes(json)
          ->group("Output");
  // A page that is about the whole schema.
  const auto add_page = [&](const char* option, const std::string& what) {
    return line.app()
        .add_flag(option, what)
        ->excludes(named)
        ->excludes(json)
        ->excludes(fill_in)
        ->group("Output");
  };
  auto* agreement = add_page("--agreement",
                             "Print all that the schema leaves to the "
                             "programs, as a page to fill in");
  auto* markdown = add_page("--markdown",
                            "Print all types with their fields, values and "
                            "comments, as a page of Markdown");
  markdown->excludes(agreement);
  line.Color(&options);
  line.Parse();

  Output output(options.color);
  Schema schema;
  if (agreement->count() > 0) {
    PrintAgreement(&schema, &output);
  } else if (markdown->count() > 0) {
    PrintReference(&schema, &output);
  } else if (named->count() == 0) {
    throw Failure(kUsage, "NAME is required; see tarn describe --help");
  } else {
    Describe(options.json           ? Form::kJson
             : fill_in->count() > 0 ? Form::kTemplate
                                    : Form::kPage,
             name, &schema, &output);
  }
  output.Flush();
  return kFine;
}

}  // namespace tarn::tool
