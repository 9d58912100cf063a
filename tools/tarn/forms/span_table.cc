// Prints spans as lines.
#include "span_table.h"

#include <algorithm>

#include "printer.h"

namespace tarn::tool {
namespace {

// Bytes a line, and as many as leave a narrow terminal room for the rest.
constexpr int kRow = 16;
int RowFor(size_t columns) {
  return columns >= 100 ? kRow : columns >= 72 ? kRow / 2 : kRow / 4;
}

constexpr int kTagWidth = 18;
constexpr char kDigits[] = "0123456789abcdef";
constexpr size_t kShownText = 72;  // bytes of a text shown as such

// Writes the beginning of a text. The column of bytes shows all of it.
void WriteText(std::string_view text, Output* out) {
  if (text.size() <= kShownText) return out->TextString(text);
  size_t size = kShownText;
  while (size > 0 && (text[size] & 0xC0) == 0x80) --size;
  out->TextString(text.substr(0, size));
  out->Write("...");
}

std::string NoteText(const Note& note) {
  const auto name = [&note] { return std::string(note.field->name); };
  switch (note.kind) {
    case Note::kOverlongTag:
      return "overlong tag";
    case Note::kOverlongLength:
      return "overlong length";
    case Note::kOverlongVarint:
      return "overlong varint";
    case Note::kUnknownGroup:
      return "unknown group";
    case Note::kUnknownField:
      return "unknown field";
    case Note::kWrongWireType:
      return "wrong wire type for " + name() + ", kept as unknown";
    case Note::kUndeclaredValue:
      return "not declared in " +
             note.field->enumeration->descriptor->full_name();
    case Note::kHighBitsIgnored:
      return "only the low 32 bits count";
    case Note::kReplacesValue:
      return "replaces the earlier value";
    case Note::kReplacesMember:
      return "replaces " + name();
    case Note::kMergesWithEarlier:
      return "merges into the earlier record";
    case Note::kCutOff:
      return "cut off";
  }
  return "";
}

}  // namespace

SpanTable::SpanTable(const Record& record, Output* output)
    : start_(record.bytes.data()),
      offset_(record.offset),
      out_(*output),
      row_(RowFor(output->columns())) {}

void SpanTable::Draw(const Stack& stack, const Span& span) {
  const char* p = Row(span, span.begin);
  if (span.item != nullptr) {
    Describe(stack, span);
  } else {
    out_.Spaces(kTagWidth);
  }
  if (!span.notes.empty() || span.error != nullptr) Remarks(span);
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

void SpanTable::Remarks(const Span& span) {
  out_.Paint(span.error != nullptr ? Color::kRed : Color::kYellow);
  std::string_view before = span.item != nullptr ? "  ! " : "! ";
  for (const Note& note : span.notes) {
    out_.Write(before);
    out_.Untrusted(NoteText(note));
    before = "; ";
  }
  if (span.error != nullptr) {
    out_.Write(before);
    out_.Untrusted(span.error->reason);
  }
  out_.Paint(Color::kNone);
}

const char* SpanTable::Row(const Span& span, const char* p) {
  const char* end = std::min(span.end, p + row_);
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
  const char* wrong = span.error != nullptr ? span.error->at : nullptr;
  for (; p < end; ++p, cell += 3) {
    const unsigned char byte = *p;
    cell[0] = p >= secret ? '*' : kDigits[byte >> 4];
    cell[1] = p >= secret ? '*' : kDigits[byte & 15];
    if (p == wrong) cell[2] = '<';
  }
  out_.Advance(line + digits + 2 + 3 * row_ + 1);
  return end;
}

void SpanTable::TrimRow(int bytes) {
  out_.Advance(out_.Reserve(0) - 3 * (row_ - bytes) - 2);
}

void SpanTable::Characters(const char* p, const char* end) {
  out_.Spaces(kTagWidth);
  char* out = out_.Reserve(kRow + 2);
  *out++ = '|';
  for (; p < end; ++p) *out++ = *p >= 0x20 && *p < 0x7F ? *p : '.';
  *out++ = '|';
  out_.Advance(out);
}

void SpanTable::Describe(const Stack& stack, const Span& span) {
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
      p = std::to_chars(p, p + 20, item.length()).ptr + 1;
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

void SpanTable::Value(const Span& span) {
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

}  // namespace tarn::tool
