// Findings as lines for people, and as JSON.
#include "finding.h"

namespace tarn::tool {

void PrintFinding(const Finding& finding, Output* output) {
  constexpr Color kColors[] = {Color::kCyan, Color::kYellow, Color::kRed};
  const int severity = static_cast<int>(finding.severity);
  if (!finding.path.empty()) {
    output->Write(finding.path);
    output->Write(": ");
  }
  output->Painted(kColors[severity], kSeverityNames[severity]);
  output->Write(": ");
  output->Untrusted(finding.text);
  output->Write('\n');
}

void WriteFinding(const Finding& finding, JsonWriter* json) {
  constexpr const char* kKinds[] = {
      "malformed",     "overBudget",          "unknownGroup",   "unknownField",
      "wrongWireType", "undeclaredValue",     "tooDeepForJson", "noNodeKind",
      "noUuid",        "repeatedUuid",        "twoMessages",    "wrongProduct",
      "wrongCount",    "minimumAboveMaximum", "tooLong",        "tooMany",
      "zeroByte",      "sentInParts"};
  json->BeginObject();
  json->Key("severity")
      .String(kSeverityNames[static_cast<int>(finding.severity)]);
  json->Key("kind").String(kKinds[finding.kind]);
  json->Key("offset").Number(finding.offset);
  const auto text = [&](const char* key, const std::string& value) {
    if (!value.empty()) json->Key(key).String(value);
  };
  text("path", finding.path);
  text("problem", finding.problem);
  text("field", finding.field);
  text("enum", finding.enumeration);
  text("uuid", finding.uuid);
  if (finding.has_value) json->Key("value").Number(finding.value);
  if (finding.has_expected) json->Key("expected").Number(finding.expected);
  if (finding.has_first_offset) {
    json->Key("firstOffset").Number(finding.first_offset);
  }
  json->EndObject();
}

}  // namespace tarn::tool
