// Explains tables for people and as JSON.
#include "row_columns.h"

#include <algorithm>
#include <utility>

#include "json_writer.h"
#include "wrap.h"

namespace tarn::tool {
namespace {

using google::protobuf::DescriptorPool;

constexpr std::string_view kTypeNames[] = {"integer", "real", "text"};
std::string_view NameOf(ColumnType type) {
  return kTypeNames[static_cast<int>(type)];
}

std::string CommentOf(const Table& table, Schema* schema) {
  const auto* message =
      DescriptorPool::generated_pool()->FindMessageTypeByName(table.message);
  return message == nullptr ? table.comment : schema->Comment(*message);
}

std::string CommentOf(const std::string& field, Schema* schema) {
  return schema->Comment(
      *DescriptorPool::generated_pool()->FindFieldByName(field));
}

void PrintIndented(const std::string& text, size_t indent, Output* output) {
  if (text.empty()) return;
  for (const std::string& line : Wrap(text, output->TextColumns(80, indent))) {
    if (!line.empty()) output->Spaces(indent);
    output->Write(line);
    output->Write('\n');
  }
}

// Prints the fields of a column; those that have the same comment together.
void PrintFields(const Column& column, Schema* schema, Output* output) {
  std::vector<std::pair<std::string, std::string>> texts;  // comment, names
  for (const std::string& field : column.fields) {
    const std::string comment = CommentOf(field, schema);
    const auto same =
        std::find_if(texts.begin(), texts.end(),
                     [&](const auto& text) { return text.first == comment; });
    if (same == texts.end()) {
      texts.emplace_back(comment, schema->Bare(field));
    } else {
      same->second += ", " + schema->Bare(field);
    }
  }
  for (const auto& [comment, names] : texts) {
    PrintIndented(std::string(names).append(": ").append(comment), 6, output);
  }
}

}  // namespace

void PrintColumns(const Table& table, Schema* schema, Output* output) {
  output->Write(table.name);
  output->Write('\n');
  PrintIndented(CommentOf(table, schema), 2, output);
  for (const Column& column : table.columns) {
    output->Write("\n  ");
    output->Write(column.name);
    output->Write(", ");
    output->Write(NameOf(column.type));
    output->Write('\n');
    PrintIndented(column.comment, 6, output);
    PrintFields(column, schema, output);
  }
}

void WriteColumns(const Table& table, Schema* schema, Output* output) {
  JsonWriter json(output);
  json.BeginObject();
  json.Key("table").String(table.name);
  if (!table.message.empty()) json.Key("message").String(table.message);
  json.Key("comment").String(CommentOf(table, schema));
  json.Key("columns").BeginList();
  for (const Column& column : table.columns) {
    json.BeginObject();
    json.Key("name").String(column.name);
    json.Key("type").String(NameOf(column.type));
    if (!column.comment.empty()) json.Key("comment").String(column.comment);
    json.Key("fields").BeginList();
    for (const std::string& field : column.fields) {
      json.BeginObject();
      json.Key("name").String(field);
      json.Key("comment").String(CommentOf(field, schema));
      json.EndObject();
    }
    json.EndList();
    json.EndObject();
  }
  json.EndList();
  json.EndObject();
  json.EndLine();
}

}  // namespace tarn::tool
