// Texts that are nothing but comments, which the text format reads as an empty
// message.
#ifndef TOOLS_TARN_ONLY_COMMENTS_H_
#define TOOLS_TARN_ONLY_COMMENTS_H_

#include <string>
#include <string_view>

namespace tarn::tool {

// A sentence for stderr about a text that is nothing but comments; else empty.
// If the comments hold the digits of a message, throws a NotRead. `name` begins
// the words.
std::string NoteOnComments(std::string_view text, const std::string& name);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_ONLY_COMMENTS_H_
