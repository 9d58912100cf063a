// Whether text is UTF-8, as the runtime asks of strings.
#ifndef TOOLS_TARN_UTF8_H_
#define TOOLS_TARN_UTF8_H_

namespace tarn::tool {

// First byte that is not UTF-8, or null. Surrogates, overlong forms and code
// points above U+10FFFF are refused, as the runtime does.
const char* FindInvalidUtf8(const char* begin, const char* end);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_UTF8_H_
