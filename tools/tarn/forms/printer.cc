// Visitors that survey a message and print it.
#include "printer.h"

#include <cmath>
#include <string>

#include "encoding.h"
#include "secrets.h"

namespace tarn::tool {
namespace {

// Whether a value is not to be seen; a null field is one that is not known.
bool IsMasked(const PrintStyle& style, const Field* field) {
  if (style.show_secrets) return false;
  if (field == nullptr) return style.mask_all;
  return field->secret || (style.mask_all && field->maskable);
}

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
  // one may be met again. Of a oneof, one member can be there.
  void Order(const Stack& stack, const Item& item) {
    const Field& field = *item.field;
    const uint64_t met = stack.top().seen >> field.number;
    if (met > (field.repeated ? 1u : 0u) ||
        (stack.top().seen & field.rivals) != 0) {
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

// Whether a singular field is as good as absent.
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

class JsonPrinter : public WalkVisitor {
 public:
  JsonPrinter(const PrintStyle& style, Output* output)
      : style_(style), out_(*output) {
    out_.Write('{');
    ++indent_;
  }

  void Value(const Stack& stack, const Item& item) {
    const Frame& frame = stack.top();
    if (frame.field != nullptr && frame.field->map) return Entry(item);
    if (!item.field->repeated && IsDefault(item)) return;
    Start(levels_[stack.depth()], *item.field);
    Scalar(item);
  }
  void Element(const Stack& stack, const Item& item) {
    Start(levels_[stack.depth()], *item.field);
    Scalar(item);
  }
  void Enter(const Stack& stack, const Item& item) {
    if (item.field == nullptr) return;
    Start(levels_[stack.depth()], *item.field);
    if (item.field->map) return;
    out_.Write('{');
    ++indent_;
    levels_[stack.depth() + 1] = Level();
  }
  void Leave(const Stack& stack, const char*) {
    const Frame& frame = stack.top();
    if (frame.field == nullptr || frame.field->map) return;
    CloseObject(&levels_[stack.depth()]);
  }

  // Starts a member of the outermost object that is no field.
  void StartMember(std::string_view key) {
    Level& level = levels_[0];
    CloseList(&level);
    if (!level.empty) out_.Write(',');
    level.empty = false;
    NewLine();
    out_.Write(key);
    if (style_.pretty) out_.Write(' ');
  }
  void Finish() {
    CloseObject(&levels_[0]);
    out_.Write('\n');
  }

 private:
  // An object that is being written.
  struct Level {
    const Field* list = nullptr;  // its repeated field whose list is open
    bool empty = true;
  };

  // Writes what stands in front of a value: comma, name, bracket.
  void Start(Level& level, const Field& field) {
    if (level.list == &field) {
      out_.Write(',');
      return NewLine();
    }
    CloseList(&level);
    if (!level.empty) out_.Write(',');
    level.empty = false;
    NewLine();
    out_.Write(field.json_key);
    if (style_.pretty) out_.Write(' ');
    if (!field.repeated) return;
    out_.Write(field.map ? '{' : '[');
    ++indent_;
    NewLine();
    level.list = &field;
  }

  // Canonical bytes have both key and value in each map entry.
  void Entry(const Item& item) {
    Scalar(item);
    if (item.field->number == 1) out_.Write(style_.pretty ? ": " : ":");
  }

  void Scalar(const Item& item) {
    const Field& field = *item.field;
    switch (field.kind) {
      case Kind::kString:
        if (IsMasked(style_, &field)) return out_.JsonString(kMask);
        if (field.maskable && item.bytes() == kMask) {
          return out_.Write(kRealMaskInJson);
        }
        return out_.JsonString(item.bytes());
      case Kind::kBytes:
        out_.Write('"');
        out_.Base64(item.bytes());
        return out_.Write('"');
      case Kind::kEnum: {
        const std::string_view name =
            field.enumeration->Name(item.number_value);
        if (name.empty()) break;
        out_.Write('"');
        out_.Write(name);
        return out_.Write('"');
      }
      case Kind::kFloat:
        return PrintJsonFloat(FloatOf(item.number_value), &out_);
      default:
        break;
    }
    PrintNumber(field, item.number_value, &out_);
  }

  void CloseList(Level* level) {
    if (level->list == nullptr) return;
    --indent_;
    NewLine();
    out_.Write(level->list->map ? '}' : ']');
    level->list = nullptr;
  }
  void CloseObject(Level* level) {
    CloseList(level);
    --indent_;
    if (!level->empty) NewLine();
    out_.Write('}');
  }
  void NewLine() {
    if (!style_.pretty) return;
    out_.Write('\n');
    out_.Spaces(2 * indent_);
  }

  const PrintStyle& style_;
  Output& out_;
  std::array<Level, kMaxDepth + 1> levels_;
  int indent_ = 0;
};

// Writes the elements of "@unknown".
class OddityLister : public WalkVisitor {
 public:
  OddityLister(const PrintStyle& style, const char* start, Output* output)
      : style_(style), start_(start), out_(*output) {}

  void Value(const Stack& stack, const Item& item) { Number(stack, item); }
  void Element(const Stack& stack, const Item& item) { Number(stack, item); }
  void Enter(const Stack& stack, const Item& item) {
    if (item.field != nullptr) return;
    Begin(stack, item);
    out_.Write(",\"wireType\":\"group\"}");
  }
  void Unknown(const Stack& stack, const Item& item) {
    constexpr std::string_view kNames[] = {"varint", "fixed64", "length",
                                           "",       "",        "fixed32"};
    Begin(stack, item);
    if (IsMasked(style_, nullptr)) {
      return out_.Write(",\"wireType\":\"***\",\"value\":\"***\"}");
    }
    out_.Write(",\"wireType\":\"");
    out_.Write(kNames[item.wire()]);
    out_.Write(item.wire() == 2 ? "\",\"base64\":\"" : "\",\"value\":\"");
    if (item.wire() == 2) {
      out_.Base64(item.bytes());
    } else {
      out_.Number(item.number_value);
    }
    out_.Write("\"}");
  }

 private:
  void Number(const Stack& stack, const Item& item) {
    if (item.field->kind != Kind::kEnum) return;
    const Enum& enumeration = *item.field->enumeration;
    const int32_t number = static_cast<int32_t>(item.number_value);
    if (!enumeration.Name(number).empty()) return;
    Begin(stack, item);
    out_.Write(",\"enum\":\"");
    out_.Write(enumeration.descriptor->full_name());
    out_.Write("\",\"value\":");
    out_.Number(number);
    out_.Write('}');
  }
  void Begin(const Stack& stack, const Item& item) {
    out_.Write(first_ ? "{\"path\":" : ",{\"path\":");
    first_ = false;
    out_.JsonString(stack.Path(item.field, item.number()));
    out_.Write(",\"offset\":");
    out_.Number(item.begin - start_);
  }

  const PrintStyle& style_;
  const char* start_;
  Output& out_;
  bool first_ = true;
};

class TextPrinter : public WalkVisitor {
 public:
  TextPrinter(const PrintStyle& style, Output* output)
      : style_(style), out_(*output) {}

  void Value(const Stack& stack, const Item& item) {
    const Frame& frame = stack.top();
    const bool entry = frame.field != nullptr && frame.field->map;
    if (!item.field->repeated && !entry && IsDefault(item)) return;
    Scalar(stack, item);
  }
  void Element(const Stack& stack, const Item& item) { Scalar(stack, item); }
  void Enter(const Stack& stack, const Item& item) {
    if (Hidden(item.field)) return;
    out_.Spaces(2 * stack.depth());
    Name(item);
    out_.Write(" {\n");
  }
  void Leave(const Stack& stack, const char*) {
    if (Hidden(stack.top().field)) return;
    out_.Spaces(2 * (stack.depth() - 1));
    out_.Write(stack.top().field == nullptr ? "# }\n" : "}\n");
  }
  void Unknown(const Stack& stack, const Item& item) {
    if (Hidden(item.field)) return;
    out_.Spaces(2 * stack.depth());
    Name(item);
    out_.Write(": ");
    if (IsMasked(style_, nullptr)) {
      out_.Write(kMask);
    } else if (item.wire() == 2) {
      out_.TextString(item.bytes());
    } else {
      out_.Number(item.number_value);
    }
    out_.Write('\n');
  }

 private:
  bool Hidden(const Field* field) const {
    return field == nullptr && !style_.unknown;
  }
  void Name(const Item& item) {
    if (item.field != nullptr) return out_.Write(item.field->name);
    out_.Paint(Color::kYellow);
    out_.Write("# ");
    if (IsMasked(style_, nullptr)) {
      out_.Write(kMask);
    } else {
      out_.Number(item.number());
    }
    out_.Paint(Color::kNone);
  }
  void Scalar(const Stack& stack, const Item& item) {
    const Field& field = *item.field;
    out_.Spaces(2 * stack.depth());
    out_.Write(field.name);
    out_.Write(": ");
    switch (field.kind) {
      case Kind::kString:
      case Kind::kBytes:
        if (IsMasked(style_, &field)) {
          out_.TextString(kMask);
        } else if (field.maskable && item.bytes() == kMask) {
          out_.Write(kRealMaskInText);
        } else {
          out_.TextString(item.bytes());
        }
        break;
      case Kind::kFloat:
        out_.Float(FloatOf(item.number_value));
        break;
      default:
        PrintNumber(field, item.number_value, &out_);
        if (field.kind == Kind::kEnum &&
            field.enumeration->Name(item.number_value).empty()) {
          out_.Paint(Color::kYellow);
          out_.Write("  # not declared in ");
          out_.Write(field.enumeration->descriptor->full_name());
          out_.Paint(Color::kNone);
        }
    }
    out_.Write('\n');
  }

  const PrintStyle& style_;
  Output& out_;
};

// Walks over the message in an order in which it can be printed.
template <class Visitor>
void WalkInOrder(const Type& type, std::string_view bytes, const Survey& survey,
                 Visitor& visitor) {
  if (survey.plain) {
    Walk(type, bytes, visitor);
  } else {
    Walk(type, Canonical(type, bytes), visitor);
  }
}

}  // namespace

Survey SurveyMessage(const Type& type, std::string_view bytes) {
  Surveyor surveyor;
  surveyor.survey.accepted = Walk(type, bytes, surveyor);
  return surveyor.survey;
}

void PrintText(const Type& type, std::string_view bytes, const Survey& survey,
               const PrintStyle& style, Output* output) {
  TextPrinter printer(style, output);
  WalkInOrder(type, bytes, survey, printer);
}

void PrintJson(const Type& type, std::string_view bytes, const Survey& survey,
               const PrintStyle& style, Output* output) {
  JsonPrinter printer(style, output);
  WalkInOrder(type, bytes, survey, printer);
  if (style.unknown && (survey.unknown || survey.undeclared)) {
    printer.StartMember("\"@unknown\":");
    output->Write('[');
    OddityLister lister(style, bytes.data(), output);
    Walk(type, bytes, lister);
    output->Write(']');
  }
  printer.Finish();
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
  // The runtime reads "-0" back as an integer, which has no sign of its own.
  if (value == 0 && std::signbit(value)) return output->Write("-0.0");
  if (std::isfinite(value)) return output->Float(value);
  output->Write(std::isnan(value) ? "\"NaN\""
                : value > 0       ? "\"Infinity\""
                                  : "\"-Infinity\"");
}

}  // namespace tarn::tool
