// tarn list: the message types and enums by file, with a sentence about each.
#include <algorithm>

#include "command.h"
#include "command_line.h"
#include "json_writer.h"
#include "output.h"
#include "schema.h"
#include "wrap.h"

namespace tarn::tool {
namespace {

struct Entry {
  const char* kind;
  std::string file;
  std::string name;  // in full
  std::string summary;
};

template <typename Descriptors>
void Collect(const char* kind, const Descriptors& descriptors, Schema* schema,
             std::vector<Entry>* entries) {
  for (const auto* descriptor : descriptors) {
    entries->push_back(
        {kind, descriptor->file()->name(), descriptor->full_name(),
         std::string(FirstSentence(schema->Comment(*descriptor)))});
  }
}

void PrintJson(const std::vector<Entry>& entries, Output* output) {
  JsonWriter json(output);
  for (const Entry& entry : entries) {
    json.BeginObject();
    json.Key("kind").String(entry.kind);
    json.Key("name").String(entry.name);
    json.Key("file").String(entry.file);
    json.Key("summary").String(entry.summary);
    json.EndObject();
    json.EndLine();
  }
}

// Prints a sentence after `column` columns: one line, or more on a terminal
// that has no room for it.
void PrintSummary(const std::string& summary, size_t column, Output* output) {
  size_t indent = 0;
  for (const std::string& line :
       Wrap(summary, output->TextColumns(summary.size() + column, column))) {
    output->Spaces(indent);
    output->Write(line);
    output->Write('\n');
    indent = column;
  }
}

void PrintTable(const std::vector<Entry>& entries, const Schema& schema,
                Output* output) {
  size_t width = 0;
  for (const Entry& entry : entries) {
    width = std::max(width, schema.Bare(entry.name).size());
  }
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
    const std::string name = schema.Bare(entry.name);
    output->Write("  ");
    output->Write(name);
    output->Spaces(width + 2 - name.size());
    PrintSummary(entry.summary, width + 4, output);
  }
}

}  // namespace

ExitCode RunList(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  OutputOptions options;
  line.Json(&options);
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
  if (options.json) {
    PrintJson(entries, &output);
  } else {
    PrintTable(entries, schema, &output);
  }
  output.Flush();
  return kFine;
}

}  // namespace tarn::tool
