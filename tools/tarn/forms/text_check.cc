// Goes through the tokens of a text and compares them with the tables of the
// schema.
#include "text_check.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <climits>
#include <cstdint>
#include <vector>

#include "ignore_errors.h"

namespace tarn::tool {
namespace {

using google::protobuf::io::ArrayInputStream;
using google::protobuf::io::Tokenizer;

class TextChecker {
 public:
  TextChecker(const Type& type, std::string_view text, size_t stop)
      : text_(text),
        stop_(stop),
        stream_(text.data(), static_cast<int>(text.size())),
        tokenizer_(&stream_, &errors_) {
    // The same setting as in the runtime's parser.
    tokenizer_.set_allow_f_after_float(true);
    tokenizer_.set_comment_style(Tokenizer::SH_COMMENT_STYLE);
    tokenizer_.set_require_space_after_number(false);
    tokenizer_.set_allow_multiline_strings(true);
    levels_.push_back({&type});
  }

  TextProblem Run() {
    Next();
    while (more_ && problem_.reason.words.empty()) Step();
    return problem_;
  }

 private:
  // A message that the reader is inside of.
  struct Level {
    const Type* type;
    const Field* list = nullptr;  // in whose brackets the message stands
    uint64_t seen = 0;            // fields, a bit each
  };

  const Tokenizer::Token& token() { return tokenizer_.current(); }
  bool At(std::string_view text) { return more_ && token().text == text; }

  void Next() {
    more_ = tokenizer_.Next();
    if (!more_) return;
    place_.MoveTo(text_, token().line, token().column);
    offset_ = place_.offset;
    more_ = offset_ <= stop_;
  }
  void Stop() { more_ = false; }
  void Fail(size_t offset, const Refusal& reason) {
    problem_ = {offset, reason};
  }
  void Fail(size_t offset, const std::string& reason) {
    Fail(offset, Refusal{reason});
  }

  // A field, or the end of a message.
  void Step() {
    if (At("}") || At(">")) {
      if (levels_.size() == 1) return Stop();
      const Field* list = levels_.back().list;
      levels_.pop_back();
      Next();
      return list != nullptr ? AfterElement(*list) : Separator();
    }
    if (token().type != Tokenizer::TYPE_IDENTIFIER) return Stop();
    const Field* field = FieldByName(token().text);
    if (field == nullptr || !Mark(*field)) return;
    Next();
    if (At(":")) Next();
    if (field->repeated && At("[")) {
      Next();
      if (!At("]")) return Value(*field, true);
      Next();
      return Separator();
    }
    Value(*field, false);
  }

  const Field* FieldByName(const std::string& name) {
    const Type& type = *levels_.back().type;
    if (const auto* found = type.descriptor->FindFieldByName(name)) {
      return type.Find(found->number());
    }
    std::vector<std::string> names;
    for (const Field& field : type.fields) {
      if (field.kind != Kind::kNone) names.emplace_back(field.name);
    }
    Fail(offset_, NoSuchField(type, name, names));
    return nullptr;
  }

  // Notes that a field was met in its message. Returns false if the field is
  // not allowed there.
  bool Mark(const Field& field) {
    uint64_t& seen = levels_.back().seen;
    const uint64_t bit = uint64_t{1} << field.number;
    if (!field.repeated && (seen & bit) != 0) {
      Fail(offset_, FieldTwice(field));
    } else if ((seen & field.other_members) != 0) {
      Fail(offset_, OtherMemberIsSet(field));
    }
    seen |= bit;
    return problem_.reason.words.empty();
  }

  // Reads a value of a field, or an element of a list in brackets.
  void Value(const Field& field, bool in_list) {
    if (!more_) return;
    if (field.kind == Kind::kMessage) {
      if (!At("{") && !At("<")) return Stop();
      Next();
      levels_.push_back({field.type, in_list ? &field : nullptr});
      return;
    }
    const size_t begin = offset_;
    const bool negative = At("-");
    if (negative) Next();
    if (!more_) return;
    const Tokenizer::Token value = token();
    if (!Takes(field, value, negative)) {
      const std::string shown = (negative ? "-" : "") + value.text;
      return Fail(begin, NoValueOf(field, shown));
    }
    Next();
    // Strings that follow one another are one text.
    while (value.type == Tokenizer::TYPE_STRING && more_ &&
           token().type == Tokenizer::TYPE_STRING) {
      Next();
    }
    if (in_list) return AfterElement(field);
    Separator();
  }

  void AfterElement(const Field& list) {
    if (At(",")) {
      Next();
      return Value(list, true);
    }
    if (!At("]")) return Stop();
    Next();
    Separator();
  }

  void Separator() {
    if (At(",") || At(";")) Next();
  }

  static bool Takes(const Field& field, const Tokenizer::Token& value,
                    bool negative) {
    const bool word = value.type == Tokenizer::TYPE_IDENTIFIER;
    switch (field.kind) {
      case Kind::kString:
      case Kind::kBytes:
        return value.type == Tokenizer::TYPE_STRING && !negative;
      case Kind::kBool:
        return word ? value.text == "true" || value.text == "false" ||
                          value.text == "True" || value.text == "False" ||
                          value.text == "t" || value.text == "f"
                    : IsInteger(value, negative, 0, 1);
      case Kind::kEnum:
        return word ? field.enumeration->descriptor->FindValueByName(
                          value.text) != nullptr
                    : IsInteger(value, negative, uint64_t{1} << 31, INT_MAX);
      case Kind::kInt32:
        return IsInteger(value, negative, uint64_t{1} << 31, INT_MAX);
      case Kind::kUint32:
        return IsInteger(value, negative, 0, UINT_MAX);
      default:
        // Words such as inf and nan, in upper or lower case: the runtime checks
        // them.
        return value.type != Tokenizer::TYPE_STRING;
    }
  }

  static bool IsInteger(const Tokenizer::Token& value, bool negative,
                        uint64_t most_negative, uint64_t most) {
    uint64_t number;
    return value.type == Tokenizer::TYPE_INTEGER &&
           Tokenizer::ParseInteger(value.text, negative ? most_negative : most,
                                   &number) &&
           (!negative || most_negative > 0);
  }

  const std::string_view text_;
  const size_t stop_;
  IgnoreErrors errors_;
  ArrayInputStream stream_;
  Tokenizer tokenizer_;
  bool more_ = true;
  size_t offset_ = 0;  // of the token
  TextPlace place_;
  std::vector<Level> levels_;
  TextProblem problem_;
};

}  // namespace

TextProblem FindTextProblem(const Type& type, std::string_view text,
                            size_t stop) {
  return TextChecker(type, text, stop).Run();
}

void TextPlace::MoveTo(std::string_view text, int to_line, int to_column) {
  for (; line < to_line && offset < text.size(); ++offset) {
    if (text[offset] != '\n') continue;
    ++line;
    column = 0;
  }
  for (; column < to_column && offset < text.size(); ++offset) {
    column = text[offset] == '\t' ? (column / 8 + 1) * 8 : column + 1;
  }
}

}  // namespace tarn::tool
