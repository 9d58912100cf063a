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

void PrintParent(const char* word, const std::optional<NodeParent>& parent,
                 Output* output) {
  if (!parent) return;
  const std::string& name =
      parent->field.empty() ? parent->node.label : parent->field;
  if (name.empty()) return;
  output->Write(word);
  output->Write(name);
}

// Prints where a node was and where it is now.
void PrintParents(const Difference& difference, Output* output) {
  if (!difference.along.empty()) {
    output->Write(", with ");
    output->Write(InWords(difference.along));
  }
  PrintParent(", from ", difference.from, output);
  PrintParent(difference.from ? " to " : ", to ", difference.to, output);
}

void PrintValues(const Difference& difference, bool mask, Output* output) {
  const TextSink write = [&](std::string_view piece) { output->Write(piece); };
  if (difference.before) WriteText(difference.before, mask, write);
  if (difference.before && difference.after) {
    output->Painted(Color::kDim, " → ");
  }
  if (difference.after) WriteText(difference.after, mask, write);
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

void WriteTextMember(const char* key, const Difference::Text& value, bool mask,
                     JsonWriter* json) {
  if (!value) return;
  json->Key(key).Text(
      [&](const TextSink& write) { WriteText(value, mask, write); });
}

}  // namespace

void PrintDifference(const Difference& difference, bool mask_values,
                     Output* output) {
  constexpr struct {
    char sign;
    Color color;
  } kLooks[] = {{'+', Color::kGreen},  {'-', Color::kRed},
                {'>', Color::kCyan},   {'~', Color::kYellow},
                {'~', Color::kYellow}, {'~', Color::kYellow}};
  const auto [sign, color] = kLooks[difference.change];
  output->Painted(color, std::string_view(&sign, 1));
  output->Write(' ');
  if (difference.node != nullptr) output->Write(difference.node->label);
  if (difference.from || difference.to) {
    PrintParents(difference, output);
    return output->Write('\n');
  }
  if (difference.node != nullptr) output->Write(": ");
  output->Write(difference.path);
  if (difference.unknown_fields) {
    output->Write(difference.path.empty() ? "unknown fields"
                                          : ".unknown fields");
  }
  output->Write(": ");
  if (difference.change == Difference::kReordered) {
    output->Write("in another order");
  } else if (difference.change == Difference::kResized) {
    PrintSizes(difference, output);
  } else {
    PrintValues(difference, mask_values, output);
  }
  output->Write('\n');
}

void WriteDifference(const Difference& difference, bool mask_values,
                     JsonWriter* json) {
  constexpr const char* kChanges[] = {"added",   "removed",   "moved",
                                      "changed", "reordered", "resized"};
  json->BeginObject();
  json->Key("change").String(kChanges[difference.change]);
  if (difference.node != nullptr) WriteName(*difference.node, json);
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
