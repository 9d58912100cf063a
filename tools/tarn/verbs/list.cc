// tarn list: the message types and enums by file, each in one line.
#include <algorithm>

#include "command.h"
#include "command_line.h"
#include "output.h"
#include "schema.h"

namespace tarn::tool {
namespace {

struct Entry {
  const char* kind;
  std::string file;
  std::string name;
  std::string summary;
};

template <typename Descriptors>
void Collect(const char* kind, const Descriptors& descriptors, Schema* schema,
             std::vector<Entry>* entries) {
  const size_t package = schema->files().front()->package().size() + 1;
  for (const auto* descriptor : descriptors) {
    entries->push_back(
        {kind, descriptor->file()->name(),
         descriptor->full_name().substr(package),
         std::string(FirstSentence(schema->Comment(*descriptor)))});
  }
}

void PrintJson(const std::vector<Entry>& entries, Output* output) {
  output->Write('[');
  for (const Entry& entry : entries) {
    output->Write(&entry == &entries.front() ? "{\"kind\":\""
                                             : ",\n {\"kind\":\"");
    output->Write(entry.kind);
    output->Write("\",\"name\":");
    output->JsonString(entry.name);
    output->Write(",\"file\":");
    output->JsonString(entry.file);
    output->Write(",\"summary\":");
    output->JsonString(entry.summary);
    output->Write('}');
  }
  output->Write("]\n");
}

void PrintTable(const std::vector<Entry>& entries, Output* output) {
  size_t width = 0;
  for (const Entry& entry : entries) width = std::max(width, entry.name.size());
  std::string heading;
  for (const Entry& entry : entries) {
    const std::string here = entry.file + ", " + entry.kind + "s";
    if (here != heading) {
      if (!heading.empty()) output->Write('\n');
      heading = here;
      output->Paint(Color::kBold);
      output->Write(heading);
      output->Paint(Color::kNone);
      output->Write('\n');
    }
    output->Write("  ");
    output->Write(entry.name);
    output->Spaces(width + 2 - entry.name.size());
    output->Write(entry.summary);
    output->Write('\n');
  }
}

}  // namespace

ExitCode RunList(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  bool json = false;
  line.app().add_flag("--json", json, "For other programs");
  OutputOptions options;
  line.Color(&options);
  line.Parse();

  Schema schema;
  std::vector<Entry> entries;
  Collect("message", schema.Messages(), &schema, &entries);
  Collect("enum", schema.Enums(), &schema, &entries);
  std::stable_sort(
      entries.begin(), entries.end(),
      [](const Entry& a, const Entry& b) { return a.file < b.file; });
  Output output(options.color);
  if (json) {
    PrintJson(entries, &output);
  } else {
    PrintTable(entries, &output);
  }
  output.Flush();
  return kFine;
}

}  // namespace tarn::tool
