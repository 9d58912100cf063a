// Quotes names for a shell.
#include "what_steps.h"

#include <tarn/Network.pb.h>

#include "nodes.h"
#include "what_page.h"

namespace tarn::tool {
namespace {

// A name as a shell takes it; empty if it cannot be shown as it is.
std::string Quoted(const std::string& name) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./+,:@%";
  if (Escaped(name, "") != name) return "";
  std::string path = name.front() == '-' ? "./" + name : name;
  if (path.find_first_not_of(kPlain) == path.npos) return path;
  std::string quoted = "'";
  for (const char c : path) quoted += c == '\'' ? "'\\''" : std::string(1, c);
  return quoted + "'";
}

}  // namespace

Steps::Steps(const Capture& capture) {
  const InputOptions& options = capture.options;
  std::string from = options.from == "auto" ? "" : options.from;
  if (capture.source == Source::kFile) file_ = Quoted(options.file);
  named_ = !file_.empty();
  file_ = named_ ? ' ' + file_ : " FILE";
  const bool framed = options.frame != "none";
  if (framed && from.empty() && capture.form != "binary") from = capture.form;
  if (!from.empty()) options_ += " --from " + from;
  if (framed) options_ += " --frame " + options.frame;
}

void Steps::Add(const std::string& command) {
  reads_ = true;
  lines_.push_back("tarn " + command + options_ + file_);
}

void Steps::AddDrawing(const Type& type, const std::string& options) {
  if (type.descriptor == tarn::NetworkStatusReport::descriptor()) {
    Add("status" + options);
  } else if (HoldsNodes(*type.descriptor)) {
    Add("tree --type " + type.descriptor->name() + options);
  }
}

void Steps::AddPlain(const std::string& command) {
  lines_.push_back("tarn " + command);
}

void Steps::AddAgain(const std::string& option) {
  reads_ = true;
  lines_.push_back("tarn what" + options_ +
                   (option.empty() ? "" : " " + option) + file_);
}

void Steps::AddFiltered(const std::string& filter) {
  reads_ = true;
  lines_.push_back(filter + file_ + " | tarn what");
}

void Steps::AddTypes(const std::vector<const Type*>& types) {
  for (const Type* type : types) {
    AddAgain("--type " + type->descriptor->name());
  }
}

void Steps::Print(Output* output) const {
  if (lines_.empty()) return;
  // A command must be one line where it is copied.
  output->WrapLines(std::string_view::npos);
  for (const std::string& line : lines_) {
    BeginLine(&line == &lines_.front() ? "Next" : "", output);
    output->Write(line);
    output->Write('\n');
  }
  if (named_ || !reads_) return;
  BeginLine("", output);
  output->Write("(save the input as FILE first)\n");
}

void Steps::Write(JsonWriter* json) const {
  json->Key("commands").BeginList();
  for (const std::string& line : lines_) json->String(line);
  json->EndList();
}

}  // namespace tarn::tool
