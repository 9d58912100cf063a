// Which parts of a message with a pass phrase must stay hidden.
#ifndef TOOLS_TARN_SECRETS_H_
#define TOOLS_TARN_SECRETS_H_

#include <string>
#include <string_view>

#include "schema.h"

namespace tarn::tool {

// A real text like kMask is written with an escape, so that a reader of text or
// JSON can tell the two.
inline constexpr std::string_view kRealMaskInJson = "\"\\u002a**\"";
inline constexpr std::string_view kRealMaskInText = "\"\\052**\"";

// Whether a pass phrase may be outside of its field: the type has one, and the
// bytes are not as a sender writes them. One wrong length or tag is enough.
// Nothing of such a message may be shown.
bool MayLeak(const Type& type, std::string_view bytes);

// Why a masked text is refused; `where` is its field.
std::string MaskedReason(const std::string& where);

// The first masked field of a message in text, or the type if that field is
// unknown; empty if nothing is masked. The runtime must be able to read the
// text.
std::string MaskedInText(const Type& type, std::string_view text);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_SECRETS_H_
