// The values of JSON that need more than a line.
#include "json_writer.h"

namespace tarn::tool {

JsonWriter& JsonWriter::Key(std::string_view name) {
  Separate();
  if (indented_) BeginLine();
  out_.Write('"');
  out_.Write(name);
  out_.Write(indented_ ? "\": " : "\":");
  separate_ = false;
  return *this;
}

void JsonWriter::String(std::string_view text) { Value().JsonString(text); }

void JsonWriter::Bool(bool value) { Value().Write(value ? "true" : "false"); }

void JsonWriter::EndLine() {
  out_.Write('\n');
  separate_ = false;
}

void JsonWriter::BeginLine() {
  out_.Write('\n');
  out_.Spaces(2 * depth_);
}

}  // namespace tarn::tool
