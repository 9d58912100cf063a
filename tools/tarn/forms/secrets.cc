// Finds where a pass phrase can be, and which text is masked already.
#include "secrets.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <algorithm>

#include "ignore_errors.h"
#include "walker.h"

namespace tarn::tool {
namespace {

namespace io = google::protobuf::io;

// Checks that all fields are known, in order and there once, and that each text
// is one line.
class CanonicalOrder : public WalkVisitor {
 public:
  void Value(const Stack& stack, const Item& item) {
    if (stack.top().seen >> item.field->number != 0) odd = true;
    for (const unsigned char c : item.bytes()) odd |= c < 0x20 || c == 0x7F;
  }
  void Enter(const Stack&, const Item&) { odd = true; }
  void Unknown(const Stack&, const Item&) { odd = true; }

  bool odd = false;
};

// Whether a line is a comment about a field that was masked.
bool HasMaskedComment(std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    const size_t begin = std::min(line.find_first_not_of(' '), line.size());
    if (line.substr(begin, 5) == "# ***") return true;
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return false;
}

}  // namespace

bool MayLeak(const Type& type, std::string_view bytes) {
  if (!type.secret) return false;
  CanonicalOrder order;
  return !Walk(type, bytes, order) || order.odd;
}

std::string MaskedReason(const std::string& where) {
  return where +
         " is masked, not *** itself: decode with --show-secrets, or "
         "write the first * as an escape";
}

std::string MaskedInText(const Type& type, std::string_view text) {
  if (!type.secret) return "";
  io::ArrayInputStream stream(text.data(), static_cast<int>(text.size()));
  IgnoreErrors errors;
  io::Tokenizer tokenizer(&stream, &errors);
  tokenizer.set_comment_style(io::Tokenizer::SH_COMMENT_STYLE);
  std::string field;
  bool masked = false;
  while (tokenizer.Next()) {
    const io::Tokenizer::Token& token = tokenizer.current();
    if (token.type == io::Tokenizer::TYPE_STRING) {
      // Strings that follow one another are one text.
      masked = tokenizer.previous().text == ":" &&
               (token.text == "\"***\"" || token.text == "'***'");
    } else if (masked) {
      break;
    } else if (token.type == io::Tokenizer::TYPE_IDENTIFIER) {
      field = token.text;
    }
  }
  const std::string& name = type.descriptor->full_name();
  if (masked) return name + '.' + field;
  return HasMaskedComment(text) ? name : "";
}

}  // namespace tarn::tool
