// Whether text is UTF-8, as the runtime asks of strings.
#ifndef TOOLS_TARN_UTF8_H_
#define TOOLS_TARN_UTF8_H_

#include <google/protobuf/stubs/common.h>

namespace tarn::tool {

// First byte that is not UTF-8, or null. The runtime's own check: surrogates,
// overlong forms and code points above U+10FFFF are refused.
inline const char* FindInvalidUtf8(const char* begin, const char* end) {
  const char* const stop =
      begin + google::protobuf::internal::UTF8SpnStructurallyValid(
                  {begin, static_cast<size_t>(end - begin)});
  return stop == end ? nullptr : stop;
}

}  // namespace tarn::tool

#endif  // TOOLS_TARN_UTF8_H_
