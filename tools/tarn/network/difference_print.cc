// Differences as lines for people, and as JSON.
#include "difference.h"
#include "output.h"
#include "schema.h"

namespace tarn::tool {
namespace {

void WriteText(const Difference::Text& value, bool mask,
               const TextSink& write) {
  mask ? write(kMask) : value(write);
}

void PrintAbove(const char* word, const std::vector<NodeName>& above,
                Output* output) {
  for (const NodeName& node : above) {
    output->Write(word);
    output->Write(node.label);
    word = " of ";
  }
}

void PrintParent(const char* word, const std::optional<NodeParent>& parent,
                 Output* output) {
  if (!parent) return;
  const std::string& name =
      parent->field.empty() ? parent->node.label : parent->field;
  if (name.empty()) return;
  output->Write(word);
  output->Write(name);
  PrintAbove(" of ", parent->above, output);
}

// Prints where a node was and where it is now.
void PrintParents(const Difference& difference, Output* output) {
  if (!difference.path_before.empty()) {
    output->Write(", was " + difference.path_before);
  }
  if (!difference.along.empty()) {
    output->Write(", with ");
    output->Write(InWords(difference.along));
  }
  PrintParent(", from ", difference.from, output);
  PrintParent(difference.from ? " to " : ", to ", difference.to, output);
}

// Prints the node that a difference is about, and where it is.
void PrintNode(const Difference& difference, Output* output) {
  if (difference.node == nullptr) return;
  output->Write(difference.node_path);
  output->Write(' ');
  output->Write(difference.node->label);
  PrintAbove(" in ", difference.above, output);
}

// Whether a difference is about the condition of its node.
bool IsOfCondition(const Difference& difference) {
  return difference.node != nullptr &&
         difference.change == Difference::kChanged &&
         (difference.path == "status" || difference.path == "error" ||
          difference.path == "errorFlags");
}

void PrintSizes(const Difference& difference, Output* output) {
  output->Number(difference.size_before);
  output->Write(" entries");
  output->Painted(Color::kDim, " → ");
  output->Number(difference.size_after);
  output->Write(" entries");
}

void WriteParent(const char* key, const std::optional<NodeParent>& parent,
                 JsonWriter* json) {
  if (!parent) return;
  json->Key(key).BeginObject();
  if (!parent->node.label.empty()) WriteName(parent->node, json);
  if (!parent->field.empty()) json->Key("field").String(parent->field);
  json->EndObject();
}

void WriteNode(const char* key, const NodeName& node, JsonWriter* json) {
  json->Key(key).BeginObject();
  WriteName(node, json);
  json->EndObject();
}

void WriteTextMember(const char* key, const Difference::Text& value, bool mask,
                     JsonWriter* json) {
  if (!value) return;
  json->Key(key).Text(
      [&](const TextSink& write) { WriteText(value, mask, write); });
}

}  // namespace

void DifferencePrinter::PrintValues(const Difference& difference) {
  out_.Write(difference.path);
  if (difference.unknown_fields) {
    out_.Write(difference.path.empty() ? "unknown fields" : ".unknown fields");
  }
  out_.Write(": ");
  if (difference.change == Difference::kReordered) {
    return out_.Write("in another order");
  }
  if (difference.change == Difference::kResized) {
    return PrintSizes(difference, &out_);
  }
  const TextSink write = [&](std::string_view piece) { out_.Write(piece); };
  if (difference.before) WriteText(difference.before, mask_values_, write);
  if (difference.before && difference.after) {
    out_.Painted(Color::kDim, " → ");
  }
  if (difference.after) WriteText(difference.after, mask_values_, write);
  if (difference.words.empty() || mask_values_) return;
  out_.Write(" (" + difference.words + ')');
}

void DifferencePrinter::End() {
  if (!open_.empty()) out_.Write('\n');
  open_.clear();
}

void DifferencePrinter::Print(const Difference& difference) {
  const bool of_condition = IsOfCondition(difference);
  if (of_condition && open_ == difference.node_path) {
    out_.Write(", ");
    return PrintValues(difference);
  }
  End();
  constexpr struct {
    char sign;
    Color color;
  } kLooks[] = {{'+', Color::kGreen},  {'-', Color::kRed},
                {'>', Color::kCyan},   {'~', Color::kYellow},
                {'~', Color::kYellow}, {'~', Color::kYellow}};
  const auto [sign, color] = kLooks[difference.change];
  out_.Painted(color, std::string_view(&sign, 1));
  out_.Write(' ');
  PrintNode(difference, &out_);
  if (difference.from || difference.to) {
    PrintParents(difference, &out_);
    return out_.Write('\n');
  }
  if (difference.node != nullptr) out_.Write(": ");
  PrintValues(difference);
  if (of_condition) {
    open_ = difference.node_path;
  } else {
    out_.Write('\n');
  }
}

void WriteDifference(const Difference& difference, bool mask_values,
                     JsonWriter* json) {
  constexpr const char* kChanges[] = {"added",   "removed",   "moved",
                                      "changed", "reordered", "resized"};
  json->BeginObject();
  json->Key("change").String(kChanges[difference.change]);
  if (difference.node != nullptr) {
    json->Key("path").Word(difference.node_path);
    WriteName(*difference.node, json);
  }
  if (!difference.path_before.empty()) {
    json->Key("pathBefore").Word(difference.path_before);
  }
  if (!difference.above.empty()) {
    WriteNode("above", difference.above.front(), json);
  }
  if (difference.above.size() > 1) {
    WriteNode("top", difference.above.back(), json);
  }
  if (!difference.path.empty()) json->Key("field").String(difference.path);
  if (difference.unknown_fields) json->Key("unknownFields").Bool(true);
  WriteTextMember("before", difference.before, mask_values, json);
  WriteTextMember("after", difference.after, mask_values, json);
  if (difference.change == Difference::kResized) {
    json->Key("sizeBefore").Number(difference.size_before);
    json->Key("sizeAfter").Number(difference.size_after);
  }
  WriteParent("from", difference.from, json);
  WriteParent("to", difference.to, json);
  if (!difference.along.empty()) {
    WriteCounts("along", difference.along, json);
  }
  json->EndObject();
}

}  // namespace tarn::tool
