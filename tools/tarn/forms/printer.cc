// Surveys a message, and prints single values.
#include "printer.h"

#include <cmath>

#include "print_parts.h"

namespace tarn::tool {
namespace {

class Surveyor : public WalkVisitor {
 public:
  void Value(const Stack& stack, const Item& item) {
    Order(stack, item);
    Number(item);
  }
  void Packed(const Stack& stack, const Item& item) { Order(stack, item); }
  void Element(const Stack&, const Item& item) { Number(item); }
  void Enter(const Stack& stack, const Item& item) {
    if (item.field == nullptr) {
      survey.unknown = true;
    } else {
      Order(stack, item);
      if (item.field->map) survey.plain = false;
    }
  }
  void Unknown(const Stack&, const Item&) { survey.unknown = true; }

  Survey survey;

 private:
  // Each field must have a higher number than all before it; only a repeated
  // field may come again. Only one member of a oneof may be there.
  void Order(const Stack& stack, const Item& item) {
    const Field& field = *item.field;
    const uint64_t met = stack.top().seen >> field.number;
    if (met > (field.repeated ? 1u : 0u) ||
        (stack.top().seen & field.other_members) != 0) {
      survey.plain = false;
    }
  }
  void Number(const Item& item) {
    if (item.field->kind == Kind::kEnum &&
        item.field->enumeration->Name(item.number_value).empty()) {
      survey.undeclared = true;
    }
  }
};

}  // namespace

bool IsMasked(const PrintStyle& style, const Field* field) {
  if (style.show_secrets) return false;
  if (field == nullptr) return style.mask_all;
  return field->secret || (style.mask_all && field->maskable);
}

bool IsDefault(const Item& item) {
  switch (item.field->kind) {
    case Kind::kBool:
      return item.number_value == 0;
    case Kind::kString:
    case Kind::kBytes:
      return item.data == item.end;
    default:
      return static_cast<uint32_t>(item.number_value) == 0;
  }
}

Survey SurveyMessage(const Type& type, std::string_view bytes) {
  Surveyor surveyor;
  surveyor.survey.accepted = Walk(type, bytes, surveyor);
  return surveyor.survey;
}

void PrintNumber(const Field& field, uint64_t value, Output* output) {
  switch (field.kind) {
    case Kind::kBool:
      return output->Write(value != 0 ? "true" : "false");
    case Kind::kUint32:
      return output->Number(static_cast<uint32_t>(value));
    case Kind::kEnum: {
      const std::string_view name = field.enumeration->Name(value);
      if (!name.empty()) return output->Write(name);
      break;
    }
    default:
      break;
  }
  output->Number(static_cast<int32_t>(value));
}

float FloatOf(uint64_t bits) {
  const uint32_t word = static_cast<uint32_t>(bits);
  float value;
  std::memcpy(&value, &word, sizeof value);
  return value;
}

void PrintJsonFloat(float value, Output* output) {
  // The runtime would read "-0" as an integer, which has no negative zero.
  if (value == 0 && std::signbit(value)) return output->Write("-0.0");
  if (std::isfinite(value)) return output->Float(value);
  output->Write(std::isnan(value) ? "\"NaN\""
                : value > 0       ? "\"Infinity\""
                                  : "\"-Infinity\"");
}

}  // namespace tarn::tool
