// Prints a message in the text format.
#include "print_parts.h"
#include "secrets.h"

namespace tarn::tool {
namespace {

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

}  // namespace

void PrintText(const Type& type, std::string_view bytes, const Survey& survey,
               const PrintStyle& style, Output* output) {
  TextPrinter printer(style, output);
  WalkInOrder(type, bytes, survey, printer);
}

}  // namespace tarn::tool
