// What people may not see of a message that has a pass phrase in it.
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

// Whether a pass phrase can have got out of its field: the message has one, and
// is not as a sender writes it. A wrong length or tag in front of it is enough.
// Nothing of such a message can be shown.
bool MayLeak(const Type& type, std::string_view bytes);

// Why a masked text is refused; `where` is its field.
std::string MaskedReason(const std::string& where);

// The first field that a message as text has masked, or the type where that is
// one that is not known; empty: nothing is masked. The text must be one that
// the runtime reads.
std::string MaskedInText(const Type& type, std::string_view text);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_SECRETS_H_
