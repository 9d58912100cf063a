// tarn fingerprint: a short checksum of the schema.
#include "fingerprint.h"

#include "command.h"
#include "command_line.h"
#include "output.h"

namespace tarn::tool {

using google::protobuf::Descriptor;

ExitCode RunFingerprint(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  std::string type;
  line.app().add_option(
      "TYPE", type, "Message type, with all it embeds; without: the schema");
  bool canonical = false;
  line.app().add_flag("--canonical", canonical,
                      "Print what the checksum is taken of");
  line.Parse();

  Schema schema;
  const Descriptor* root =
      type.empty() ? nullptr : schema.Find(type).descriptor;
  Output output;
  output.Write(canonical ? CanonicalSchema(schema, root)
                         : Fingerprint(schema, root) + '\n');
  output.Flush();
  return kFine;
}

}  // namespace tarn::tool
