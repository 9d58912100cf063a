// tarn annotate: the bytes of a message, each of them once, with what they
// mean.
#include <algorithm>

#include "command.h"
#include "command_line.h"
#include "input.h"
#include "output.h"
#include "printer.h"
#include "secrets.h"
#include "walker.h"

namespace tarn::tool {
namespace {

constexpr int kRow = 16;           // bytes a line
constexpr size_t kShownText = 72;  // bytes of a text shown as such
constexpr std::string_view kWireNames[] = {"varint", "fixed64", "length",
                                           "start",  "end",     "fixed32"};

struct Options {
  InputOptions input;
  OutputOptions output;
  std::string type;
  bool json = false;
};

// Some bytes that belong together, and what they are.
struct Span {
  enum Kind { kField, kRecord, kList, kElement, kUnknown, kGroupEnd, kSkipped };
  Kind kind;
  const char* begin;
  const char* end;
  const Item* item = nullptr;  // null for kSkipped
  // What is odd about it, separated by "; ".
  std::string_view notes = {};
  const char* wrong = nullptr;  // the byte that an error is about
  // The value of a known field, or else all of it, is not to be seen.
  bool secret = false;

  bool known() const { return item != nullptr && item->field != nullptr; }
};

int VarintSize(uint64_t value) {
  int size = 1;
  for (; value >= 0x80; value >>= 7) ++size;
  return size;
}

bool IsNumber(const Field& field) {
  return field.kind == Kind::kInt32 || field.kind == Kind::kUint32 ||
         field.kind == Kind::kBool || field.kind == Kind::kEnum;
}

// Finds what is odd about items, and hands all on to a sink as spans.
template <class Sink>
class Annotator : public WalkVisitor {
 public:
  Annotator(const Options& options, const Type& type, const Record& record,
            Sink* sink)
      : options_(options),
        record_(record),
        mask_all_(type.masked && MayLeak(type, record.bytes)),
        sink_(*sink) {}

  void Value(const Stack& stack, const Item& item) {
    notes_.clear();
    Lengths(item);
    Number(item);
    Again(stack, item, "replaces the earlier value");
    Draw(stack, Span::kField, item, item.end);
  }
  void Packed(const Stack& stack, const Item& item) {
    notes_.clear();
    Lengths(item);
    Draw(stack, Span::kList, item, item.data);
  }
  void Element(const Stack& stack, const Item& item) {
    notes_.clear();
    Number(item);
    Draw(stack, Span::kElement, item, item.end);
  }
  void Enter(const Stack& stack, const Item& item) {
    notes_.clear();
    Lengths(item);
    if (item.field == nullptr) {
      Note("unknown group");
    } else {
      Again(stack, item, "merges into the earlier record");
      if (item.end > stack.top().end) Note("cut off");
    }
    Draw(stack, Span::kRecord, item, item.data);
  }
  void Leave(const Stack& stack, const char* tail) {
    const Frame& frame = stack.top();
    if (frame.group == 0) return;
    Item item;
    item.begin = tail;
    item.tag = frame.group << 3 | 4;
    uint64_t tag;
    item.value = item.data = item.end = ReadVarint(tail, frame.end, 5, &tag);
    notes_.clear();
    Lengths(item);
    Draw(stack, Span::kGroupEnd, item, item.end);
  }
  void Unknown(const Stack& stack, const Item& item) {
    notes_.clear();
    Lengths(item);
    if (item.wire() == 0 &&
        item.end - item.value > VarintSize(item.number_value)) {
      Note("overlong varint");
    }
    const Frame& frame = stack.top();
    const Field* known =
        frame.type == nullptr ? nullptr : frame.type->Find(item.number());
    if (known == nullptr) {
      Note("unknown field");
    } else {
      Note("wrong wire type for " + std::string(known->name) +
           ", kept as unknown");
    }
    Draw(stack, Span::kUnknown, item, item.end);
  }
  bool Fail(const Stack& stack, const Error& error) {
    const char* start = record_.bytes.data();
    const std::string path = ErrorPath(error, stack);
    reason_ = Reason(error, stack, start, record_.offset);
    errors_.push_back(Place(options_.input, record_, error.at - start) +
                      (path.empty() ? "" : path + ": ") + reason_);
    wrong_ = error.at;
    if (error.problem == Problem::kBadUtf8) {
      notes_.clear();
      Lengths(error.item);
      Note(reason_);
      Draw(stack, Span::kField, error.item, error.item.end, error.at);
    }
    return true;
  }
  void Skip(const Stack& stack, const char* from, const char* to) {
    sink_.Draw(stack,
               {Span::kSkipped, from, to, nullptr, reason_, wrong_, mask_all_});
  }

  const std::vector<std::string>& errors() const { return errors_; }

 private:
  void Note(std::string_view note) {
    if (!notes_.empty()) notes_ += "; ";
    notes_ += note;
  }
  void Lengths(const Item& item) {
    if (item.value - item.begin > 1 &&
        item.value - item.begin > VarintSize(item.tag)) {
      Note("overlong tag");
    }
    if (item.wire() == 2 && item.data - item.value > 1 &&
        item.data - item.value > VarintSize(item.end - item.data)) {
      Note("overlong length");
    }
  }
  void Number(const Item& item) {
    const Field& field = *item.field;
    if (!IsNumber(field)) return;
    const uint64_t value = item.number_value;
    if (item.end - item.value > 1 &&
        item.end - item.value > VarintSize(value)) {
      Note("overlong varint");
    }
    if (value < 0x80 && field.kind != Kind::kEnum) return;
    if (field.kind == Kind::kEnum && field.enumeration->Name(value).empty()) {
      Note("not declared in " + field.enumeration->descriptor->full_name());
    }
    const uint64_t kept =
        field.kind == Kind::kUint32
            ? static_cast<uint32_t>(value)
            : static_cast<int64_t>(static_cast<int32_t>(value));
    if (field.kind != Kind::kBool && kept != value) {
      Note("only the low 32 bits count");
    }
  }
  void Again(const Stack& stack, const Item& item, std::string_view what) {
    const Field& field = *item.field;
    const uint64_t seen = stack.top().seen;
    if (!field.repeated && (seen >> field.number & 1) != 0) Note(what);
    const uint64_t rivals = seen & field.rivals;
    for (const Field& other : stack.top().type->fields) {
      if (rivals >> other.number & 1) {
        Note("replaces " + std::string(other.name));
      }
      if (rivals == 0) break;
    }
  }
  void Draw(const Stack& stack, Span::Kind kind, const Item& item,
            const char* end, const char* wrong = nullptr) {
    const bool secret =
        mask_all_ || (item.field != nullptr && item.field->secret &&
                      !options_.output.show_secrets);
    sink_.Draw(stack, {kind, item.begin, end, &item, notes_, wrong, secret});
  }

  const Options& options_;
  const Record& record_;
  const bool mask_all_;  // as a pass phrase can be anywhere
  Sink& sink_;
  std::string notes_;
  std::string reason_;
  std::vector<std::string> errors_;
  const char* wrong_ = nullptr;
};

// Writes the beginning of a text; the bytes beside it are complete.
void WriteText(std::string_view text, Output* out) {
  if (text.size() <= kShownText) return out->TextString(text);
  size_t size = kShownText;
  while (size > 0 && (text[size] & 0xC0) == 0x80) --size;
  out->TextString(text.substr(0, size));
  out->Write("...");
}

// The spans as lines: offset, bytes, tag, and what they mean.
class Table {
 public:
  Table(const Record& record, Output* output)
      : start_(record.bytes.data()), offset_(record.offset), out_(*output) {}

  void Draw(const Stack& stack, const Span& span) {
    const char* p = Row(span, span.begin);
    if (span.item != nullptr) {
      Describe(stack, span);
    } else {
      out_.Spaces(kTagWidth);
    }
    if (!span.notes.empty()) {
      out_.Paint(span.wrong != nullptr ? Color::kRed : Color::kYellow);
      out_.Write(span.item != nullptr ? "  ! " : "! ");
      out_.Untrusted(span.notes);
      out_.Paint(Color::kNone);
    }
    out_.Write('\n');
    while (p < span.end) {
      const char* row = p;
      p = Row(span, p);
      if (span.item == nullptr && !span.secret) {
        Characters(row, p);
      } else {
        TrimRow(p - row);
      }
      out_.Write('\n');
    }
  }

 private:
  static constexpr int kTagWidth = 18;

  // Writes offset and bytes of one line; returns the first byte of the next.
  const char* Row(const Span& span, const char* p) {
    const char* end = std::min(span.end, p + kRow);
    uint64_t offset = offset_ + (p - start_);
    char* line = out_.Reserve(80);
    std::memset(line, ' ', 80);
    const int digits = offset >> 32 == 0 ? 8 : 16;
    for (int i = digits - 1; i >= 0; --i, offset >>= 4) {
      line[i] = kDigits[offset & 15];
    }
    char* cell = line + digits + 2;
    const char* secret =
        span.secret ? span.known() ? span.item->data : span.begin : span.end;
    for (; p < end; ++p, cell += 3) {
      const unsigned char byte = *p;
      cell[0] = p >= secret ? '*' : kDigits[byte >> 4];
      cell[1] = p >= secret ? '*' : kDigits[byte & 15];
      if (p == span.wrong) cell[2] = '<';
    }
    out_.Advance(line + digits + 2 + 3 * kRow + 1);
    return end;
  }

  // Takes back the blanks behind a row of fewer bytes than fit.
  void TrimRow(int bytes) {
    out_.Advance(out_.Reserve(0) - 3 * (kRow - bytes) - 2);
  }

  void Characters(const char* p, const char* end) {
    out_.Spaces(kTagWidth);
    char* out = out_.Reserve(kRow + 2);
    *out++ = '|';
    for (; p < end; ++p) *out++ = *p >= 0x20 && *p < 0x7F ? *p : '.';
    *out++ = '|';
    out_.Advance(out);
  }

  // Number, wire type and length; then the name at its depth, and the value.
  void Describe(const Stack& stack, const Span& span) {
    const Item& item = *span.item;
    if (span.secret && !span.known()) {
      out_.Spaces(kTagWidth + 2 * stack.depth());
      return out_.Write(kMask);
    }
    char* column = out_.Reserve(64);
    std::memset(column, ' ', 64);
    char* p = column;
    if (span.kind != Span::kElement) {
      p = std::to_chars(p, p + 10, item.number()).ptr + 1;
      const std::string_view wire = kWireNames[item.wire()];
      std::memcpy(p, wire.data(), wire.size());
      p += wire.size() + 1;
      if (item.wire() == 2) {
        p = std::to_chars(p, p + 20, item.end - item.data).ptr + 1;
      }
    }
    if (span.kind == Span::kGroupEnd) return out_.Advance(p - 1);
    out_.Advance(std::max(p, column + kTagWidth));
    out_.Spaces(2 * (stack.depth() + (span.kind == Span::kElement)));
    if (span.kind == Span::kElement) {
      out_.Write('[');
      out_.Number(stack.Count(*item.field));
      out_.Write(']');
    } else if (span.kind == Span::kRecord) {
      out_.Paint(Color::kCyan);
      out_.Write(stack.Path(item.field, item.number()));
      out_.Paint(Color::kNone);
      return;
    } else if (item.field != nullptr) {
      out_.Write(item.field->name);
      if (span.kind == Span::kList) return;
      if (item.field->repeated) {
        out_.Write('[');
        out_.Number(stack.Count(*item.field));
        out_.Write(']');
      }
    } else {
      out_.Number(item.number());
    }
    out_.Write(": ");
    Value(span);
  }

  void Value(const Span& span) {
    const Item& item = *span.item;
    if (span.secret) return out_.Write(kMask);
    if (item.wire() == 2 && span.kind != Span::kElement) {
      return WriteText(item.bytes(), &out_);
    }
    if (item.field == nullptr) return out_.Number(item.number_value);
    if (item.field->kind == Kind::kFloat) {
      return out_.Float(FloatOf(item.number_value));
    }
    if (item.field->kind == Kind::kEnum) {
      out_.Number(static_cast<int32_t>(item.number_value));
      const std::string_view name =
          item.field->enumeration->Name(item.number_value);
      if (!name.empty()) out_.Write(' ');
      return out_.Write(name);
    }
    PrintNumber(*item.field, item.number_value, &out_);
  }

  static constexpr char kDigits[] = "0123456789abcdef";

  const char* start_;
  uint64_t offset_;
  Output& out_;
};

// The spans as the elements of a JSON list.
class SpanList {
 public:
  SpanList(const Record& record, Output* output)
      : start_(record.bytes.data()), offset_(record.offset), out_(*output) {}

  void Draw(const Stack& stack, const Span& span) {
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

 private:
  void Describe(const Stack& stack, const Span& span) {
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

  void Value(const Span& span) {
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

  const char* start_;
  uint64_t offset_;
  Output& out_;
  bool first_ = true;
};

template <class Sink>
bool Annotate(const Options& options, const Type& type, const Record& record,
              Output* output, std::vector<std::string>* errors) {
  Sink sink(record, output);
  Annotator<Sink> annotator(options, type, record, &sink);
  const bool accepted = Walk(type, record.bytes, annotator);
  *errors = annotator.errors();
  return accepted;
}

ExitCode Annotate(const Options& options, const Type& type,
                  const Record& record, Output* output) {
  std::vector<std::string> errors;
  bool accepted;
  if (options.json) {
    output->Write("{\"type\":\"");
    output->Write(type.descriptor->full_name());
    output->Write("\",\"offset\":");
    output->Number(record.offset);
    output->Write(",\"size\":");
    output->Number(record.bytes.size());
    output->Write(",\"spans\":[");
    accepted = Annotate<SpanList>(options, type, record, output, &errors);
    output->Write("]}\n");
  } else {
    if (record.number > 1) output->Write('\n');
    accepted = Annotate<Table>(options, type, record, output, &errors);
  }
  if (accepted) return kFine;
  output->Flush();
  for (const std::string& error : errors) Complain(error);
  return kMalformed;
}

}  // namespace

ExitCode RunAnnotate(const Command& command, const Arguments& arguments) {
  CommandLine line(command.name, command.summary, arguments);
  Options options;
  line.Type(&options.type);
  line.Input(&options.input);
  line.app().add_flag("--json", options.json,
                      "Spans for other programs, one line a message");
  line.Color(&options.output);
  line.Secrets(&options.output);
  line.Parse();

  Schema schema(options.output.show_secrets);
  const Type& type = schema.Find(options.type);
  Output output(options.output.color);
  const ExitCode status =
      ForEachRecord(options.input, {&type}, [&](const Record& record) {
        return Annotate(options, type, record, &output);
      });
  output.Flush();
  return status;
}

}  // namespace tarn::tool
