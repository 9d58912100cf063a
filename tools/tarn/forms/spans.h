// A message as spans. A span is some bytes that belong together, with their
// meaning and their oddities. Each byte of the message is in one span.
#ifndef TOOLS_TARN_SPANS_H_
#define TOOLS_TARN_SPANS_H_

#include <google/protobuf/io/coded_stream.h>

#include <string>
#include <string_view>
#include <vector>

#include "input.h"
#include "secrets.h"
#include "walker.h"

namespace tarn::tool {

// An oddity of the bytes of a span.
struct Note {
  enum Kind {
    kOverlongTag,
    kOverlongLength,
    kOverlongVarint,
    kUnknownGroup,
    kUnknownField,
    kWrongWireType,    // of `field`
    kUndeclaredValue,  // in the enum of `field`
    kHighBitsIgnored,
    kReplacesValue,
    kReplacesMember,  // `field`, of the same oneof
    kMergesWithEarlier,
    kCutOff,
  };
  Kind kind;
  const Field* field = nullptr;
};

struct SpanError {
  Problem problem;
  const char* at;  // the byte that is wrong
  std::string reason;
};

struct Span {
  enum Kind { kField, kRecord, kList, kElement, kUnknown, kGroupEnd, kSkipped };
  Kind kind;
  const char* begin;
  const char* end;
  const Item* item = nullptr;  // null for kSkipped
  const std::vector<Note>& notes;
  const SpanError* error = nullptr;
  // Hides the value if the field is known, and all bytes otherwise.
  bool secret = false;

  bool known() const { return item != nullptr && item->field != nullptr; }
};

inline int VarintSize(uint64_t value) {
  return static_cast<int>(
      google::protobuf::io::CodedOutputStream::VarintSize64(value));
}

inline bool IsInteger(const Field& field) {
  return field.kind == Kind::kInt32 || field.kind == Kind::kUint32 ||
         field.kind == Kind::kBool || field.kind == Kind::kEnum;
}

// Makes spans of what the walker finds. Gives them to Draw() of a sink, in the
// order of their bytes.
template <class Sink>
class SpanFinder : public WalkVisitor {
 public:
  SpanFinder(const InputOptions& input, bool show_secrets, const Type& type,
             const Record& record, Sink* sink)
      : input_(input),
        show_secrets_(show_secrets),
        record_(record),
        mask_all_(type.masked && MayLeak(type, record.bytes)),
        sink_(*sink) {}

  void Value(const Stack& stack, const Item& item) {
    notes_.clear();
    Lengths(item);
    Number(item);
    NoteRepetition(stack, item, Note::kReplacesValue);
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
      notes_.push_back({Note::kUnknownGroup});
    } else {
      NoteRepetition(stack, item, Note::kMergesWithEarlier);
      if (item.cut()) notes_.push_back({Note::kCutOff});
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
      notes_.push_back({Note::kOverlongVarint});
    }
    const Frame& frame = stack.top();
    const Field* known =
        frame.type == nullptr ? nullptr : frame.type->Find(item.number());
    notes_.push_back(
        {known == nullptr ? Note::kUnknownField : Note::kWrongWireType, known});
    Draw(stack, Span::kUnknown, item, item.end);
  }
  bool Fail(const Stack& stack, const Error& error) {
    const char* start = record_.bytes.data();
    error_ = {error.problem, error.at,
              Reason(error, stack, start, record_.offset)};
    errors_.push_back(ErrorAt(input_, record_, error.at - start,
                              ErrorPath(error, stack), error_.reason));
    if (error.problem == Problem::kBadUtf8) {
      notes_.clear();
      Lengths(error.item);
      Draw(stack, Span::kField, error.item, error.item.end, &error_);
    }
    return true;
  }
  void Skip(const Stack& stack, const char* from, const char* to) {
    notes_.clear();
    sink_.Draw(stack,
               {Span::kSkipped, from, to, nullptr, notes_, &error_, mask_all_});
  }

  const std::vector<std::string>& errors() const { return errors_; }

 private:
  void Lengths(const Item& item) {
    if (item.value - item.begin > 1 &&
        item.value - item.begin > VarintSize(item.tag)) {
      notes_.push_back({Note::kOverlongTag});
    }
    if (item.wire() == 2 && item.data - item.value > 1 &&
        item.data - item.value > VarintSize(item.length())) {
      notes_.push_back({Note::kOverlongLength});
    }
  }
  void Number(const Item& item) {
    const Field& field = *item.field;
    if (!IsInteger(field)) return;
    const uint64_t value = item.number_value;
    if (item.end - item.value > 1 &&
        item.end - item.value > VarintSize(value)) {
      notes_.push_back({Note::kOverlongVarint});
    }
    if (value < 0x80 && field.kind != Kind::kEnum) return;
    if (field.kind == Kind::kEnum && field.enumeration->Name(value).empty()) {
      notes_.push_back({Note::kUndeclaredValue, &field});
    }
    const uint64_t kept =
        field.kind == Kind::kUint32
            ? static_cast<uint32_t>(value)
            : static_cast<int64_t>(static_cast<int32_t>(value));
    if (field.kind != Kind::kBool && kept != value) {
      notes_.push_back({Note::kHighBitsIgnored});
    }
  }
  void NoteRepetition(const Stack& stack, const Item& item, Note::Kind kind) {
    const Field& field = *item.field;
    const uint64_t seen = stack.top().seen;
    if (!field.repeated && (seen >> field.number & 1) != 0) {
      notes_.push_back({kind});
    }
    const uint64_t others = seen & field.other_members;
    for (const Field& other : stack.top().type->fields) {
      if (others >> other.number & 1) {
        notes_.push_back({Note::kReplacesMember, &other});
      }
      if (others == 0) break;
    }
  }
  void Draw(const Stack& stack, Span::Kind kind, const Item& item,
            const char* end, const SpanError* error = nullptr) {
    const bool secret = mask_all_ || (item.field != nullptr &&
                                      item.field->secret && !show_secrets_);
    sink_.Draw(stack, {kind, item.begin, end, &item, notes_, error, secret});
  }

  const InputOptions& input_;
  const bool show_secrets_;
  const Record& record_;
  const bool mask_all_;  // a pass phrase may be anywhere
  Sink& sink_;
  std::vector<Note> notes_;
  SpanError error_;
  std::vector<std::string> errors_;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_SPANS_H_
