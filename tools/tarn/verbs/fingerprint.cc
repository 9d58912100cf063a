// tarn fingerprint: a short checksum of the schema.
#include "fingerprint.h"

#include "command.h"
#include "command_line.h"
#include "json_writer.h"
#include "output.h"

namespace tarn::tool {

using google::protobuf::Descriptor;

ExitCode RunFingerprint(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  std::string type;
  line.app().add_option(
      "TYPE", type,
      "Message type, with the types it holds; default: the schema");
  OutputOptions options;
  Option* json = line.Json(&options);
  bool canonical = false;
  line.app()
      .add_flag("--canonical", canonical,
                "Print the text that the checksum is computed from")
      ->excludes(json)
      ->group("Output");
  line.Parse();

  Schema schema;
  const Descriptor* root =
      type.empty() ? nullptr : schema.Find(type).descriptor;
  Output output;
  if (options.json) {
    JsonWriter writer(&output);
    writer.BeginObject();
    if (root != nullptr) writer.Key("type").String(root->full_name());
    writer.Key("fingerprint").String(Fingerprint(schema, root));
    writer.EndObject();
    writer.EndLine();
  } else {
    output.Write(canonical ? CanonicalSchema(schema, root)
                           : Fingerprint(schema, root) + '\n');
  }
  output.Flush();
  return kFine;
}

}  // namespace tarn::tool
