// The values of JSON that need more than a line.
#include "json_writer.h"

namespace tarn::tool {

JsonWriter& JsonWriter::IndentedKey(std::string_view name) {
  Separate();
  BeginLine();
  out_.Write('"');
  out_.Write(name);
  out_.Write("\": ");
  separate_ = false;
  return *this;
}

void JsonWriter::String(std::string_view text) { Value().JsonString(text); }

void JsonWriter::Bool(bool value) { Value().Write(value ? "true" : "false"); }

void JsonWriter::Base64(std::string_view bytes) {
  Output& out = Value();
  out.Write('"');
  out.Base64(bytes);
  out.Write('"');
}

void JsonWriter::EndLine() {
  out_.Write('\n');
  separate_ = false;
}

void JsonWriter::BeginLine() {
  out_.Write('\n');
  out_.Spaces(2 * depth_);
}

}  // namespace tarn::tool
