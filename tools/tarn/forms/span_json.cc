// Prints spans as JSON.
#include "span_json.h"

#include "printer.h"

namespace tarn::tool {

void SpanJson::Draw(const Stack& stack, const Span& span) {
  constexpr std::string_view kKinds[] = {
      "field", "record", "list", "element", "unknown", "groupEnd", "skipped"};
  json_.BeginObject();
  json_.Key("offset").Number(offset_ + (span.begin - start_));
  json_.Key("size").Number(span.end - span.begin);
  json_.Key("kind").Word(kKinds[span.kind]);
  json_.Key("depth").Number(stack.depth());
  if (span.secret) json_.Key("masked").Bool(true);
  if (span.item != nullptr && (span.known() || !span.secret)) {
    Describe(stack, span);
  }
  if (!span.notes.empty()) Notes(span);
  if (span.error != nullptr) {
    json_.Key("problem").Word(ProblemName(span.error->problem));
    json_.Key("errorOffset").Number(offset_ + (span.error->at - start_));
  }
  json_.EndObject();
}

void SpanJson::Describe(const Stack& stack, const Span& span) {
  const Item& item = *span.item;
  json_.Key("path").String(span.kind == Span::kGroupEnd
                               ? stack.Path(nullptr, 0)
                               : stack.Path(item.field, item.number()));
  if (span.kind == Span::kElement) return Value(span);
  json_.Key("number").Number(item.number());
  json_.Key("wireType").Word(kWireNames[item.wire()]);
  json_.Key("tagSize").Number(item.value - item.begin);
  if (item.wire() == 2) {
    json_.Key("lengthSize").Number(item.data - item.value);
    json_.Key("length").Number(item.length());
  }
  if (span.kind == Span::kField || span.kind == Span::kUnknown) Value(span);
}

void SpanJson::Value(const Span& span) {
  const Item& item = *span.item;
  const Field* field = item.field;
  json_.Key("value");
  if (span.secret) return json_.String(kMask);
  if (item.wire() == 2 && span.kind != Span::kElement) {
    if (span.error == nullptr && field != nullptr &&
        field->kind == Kind::kString) {
      return json_.String(item.bytes());
    }
    json_.Base64(item.bytes());
    return json_.Key("base64").Bool(true);
  }
  if (field == nullptr) return json_.String(std::to_string(item.number_value));
  if (field->kind == Kind::kFloat) {
    return PrintJsonFloat(FloatOf(item.number_value), &json_.Value());
  }
  if (field->kind != Kind::kEnum) {
    return PrintNumber(*field, item.number_value, &json_.Value());
  }
  json_.Number(static_cast<int32_t>(item.number_value));
  const std::string_view name = field->enumeration->Name(item.number_value);
  if (!name.empty()) json_.Key("name").Word(name);
}

void SpanJson::Notes(const Span& span) {
  constexpr std::string_view kKinds[] = {
      "overlongTag",   "overlongLength", "overlongVarint",    "unknownGroup",
      "unknownField",  "wrongWireType",  "undeclaredValue",   "highBitsIgnored",
      "replacesValue", "replacesMember", "mergesWithEarlier", "cutOff"};
  json_.Key("notes").BeginList();
  for (const Note& note : span.notes) {
    json_.BeginObject();
    json_.Key("kind").Word(kKinds[note.kind]);
    if (note.kind == Note::kUndeclaredValue) {
      json_.Key("enum").String(
          note.field->enumeration->descriptor->full_name());
    } else if (note.field != nullptr) {
      json_.Key("field").String(note.field->descriptor->full_name());
    }
    json_.EndObject();
  }
  json_.EndList();
}

}  // namespace tarn::tool
