// The values of JSON that need more than a line.
#include "json_writer.h"

namespace tarn::tool {

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
