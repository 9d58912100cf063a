// Prints spans as JSON.
#include "span_json.h"

#include <algorithm>

#include "printer.h"

namespace tarn::tool {

void SpanJson::Draw(const Stack& stack, const Span& span) {
  constexpr std::string_view kKinds[] = {
      "field", "record", "list", "element", "unknown", "groupEnd", "skipped"};
  out_.Write(first_ ? "{\"offset\":" : ",{\"offset\":");
  first_ = false;
  out_.Number(offset_ + (span.begin - start_));
  out_.Write(",\"size\":");
  out_.Number(span.end - span.begin);
  out_.Write(",\"kind\":\"");
  out_.Write(kKinds[span.kind]);
  out_.Write("\",\"depth\":");
  out_.Number(stack.depth());
  if (span.secret) out_.Write(",\"masked\":true");
  if (span.item != nullptr && (span.known() || !span.secret)) {
    Describe(stack, span);
  }
  if (!span.notes.empty()) {
    out_.Write(span.wrong != nullptr ? ",\"error\":" : ",\"note\":");
    out_.JsonString(span.notes);
  }
  if (span.wrong != nullptr) {
    out_.Write(",\"errorOffset\":");
    out_.Number(offset_ + (span.wrong - start_));
  }
  out_.Write('}');
}

void SpanJson::Describe(const Stack& stack, const Span& span) {
  const Item& item = *span.item;
  out_.Write(",\"path\":");
  out_.JsonString(span.kind == Span::kGroupEnd
                      ? stack.Path(nullptr, 0)
                      : stack.Path(item.field, item.number()));
  if (span.kind == Span::kElement) return Value(span);
  out_.Write(",\"number\":");
  out_.Number(item.number());
  out_.Write(",\"wireType\":\"");
  out_.Write(kWireNames[item.wire()]);
  out_.Write("\",\"tagSize\":");
  out_.Number(item.value - item.begin);
  if (item.wire() == 2) {
    out_.Write(",\"lengthSize\":");
    out_.Number(item.data - item.value);
    out_.Write(",\"length\":");
    out_.Number(item.end - item.data);
  }
  if (span.kind == Span::kField || span.kind == Span::kUnknown) Value(span);
}

void SpanJson::Value(const Span& span) {
  const Item& item = *span.item;
  const Field* field = item.field;
  out_.Write(",\"value\":");
  if (span.secret) return out_.Write("\"***\"");
  if (item.wire() == 2 && span.kind != Span::kElement) {
    if (span.wrong == nullptr && field != nullptr &&
        field->kind == Kind::kString) {
      return out_.JsonString(item.bytes());
    }
    out_.Write('"');
    out_.Base64(item.bytes());
    return out_.Write("\",\"base64\":true");
  }
  if (field == nullptr) {
    out_.Write('"');
    out_.Number(item.number_value);
    return out_.Write('"');
  }
  if (field->kind == Kind::kFloat) {
    return PrintJsonFloat(FloatOf(item.number_value), &out_);
  }
  if (field->kind != Kind::kEnum) {
    return PrintNumber(*field, item.number_value, &out_);
  }
  out_.Number(static_cast<int32_t>(item.number_value));
  const std::string_view name = field->enumeration->Name(item.number_value);
  if (name.empty()) return;
  out_.Write(",\"enum\":\"");
  out_.Write(name);
  out_.Write('"');
}

}  // namespace tarn::tool
