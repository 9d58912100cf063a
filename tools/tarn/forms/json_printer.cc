// Prints a message as JSON.
#include <array>

#include "print_parts.h"
#include "secrets.h"

namespace tarn::tool {
namespace {

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

  // Starts a member of the outermost object that is not a field.
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

  // Writes what comes before a value: comma, name, bracket.
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
class UnknownFieldLister : public WalkVisitor {
 public:
  UnknownFieldLister(const PrintStyle& style, const char* start, Output* output)
      : style_(style), start_(start), out_(*output) {}

  void Value(const Stack& stack, const Item& item) { Number(stack, item); }
  void Element(const Stack& stack, const Item& item) { Number(stack, item); }
  void Enter(const Stack& stack, const Item& item) {
    if (item.field != nullptr) return;
    Begin(stack, item);
    out_.Write(",\"wireType\":\"group\"}");
  }
  void Unknown(const Stack& stack, const Item& item) {
    Begin(stack, item);
    if (IsMasked(style_, nullptr)) {
      return out_.Write(",\"wireType\":\"***\",\"value\":\"***\"}");
    }
    out_.Write(",\"wireType\":\"");
    out_.Write(kWireNames[item.wire()]);
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

}  // namespace

void PrintJson(const Type& type, std::string_view bytes, const Survey& survey,
               const PrintStyle& style, Output* output) {
  JsonPrinter printer(style, output);
  WalkInOrder(type, bytes, survey, printer);
  if (style.unknown && (survey.unknown || survey.undeclared)) {
    printer.StartMember("\"@unknown\":");
    output->Write('[');
    UnknownFieldLister lister(style, bytes.data(), output);
    Walk(type, bytes, lister);
    output->Write(']');
  }
  printer.Finish();
}

}  // namespace tarn::tool
