// Checks text for UTF-8, eight bytes at a time where they are ASCII.
#include "utf8.h"

#include <cstdint>
#include <cstring>

namespace tarn::tool {
namespace {

bool Continues(const char* p, const char* end) {
  return p < end && (*p & 0xC0) == 0x80;
}

// Size of the character at p, which is not ASCII; 0 when it is not UTF-8.
int CharacterSize(const char* p, const char* end) {
  const unsigned char lead = *p;
  if (lead < 0xC2 || lead > 0xF4 || !Continues(p + 1, end)) return 0;
  if (lead < 0xE0) return 2;
  const unsigned char second = p[1];
  if (!Continues(p + 2, end)) return 0;
  if (lead < 0xF0) {
    if (lead == 0xE0 && second < 0xA0) return 0;   // overlong
    if (lead == 0xED && second >= 0xA0) return 0;  // surrogate
    return 3;
  }
  if (lead == 0xF0 && second < 0x90) return 0;   // overlong
  if (lead == 0xF4 && second >= 0x90) return 0;  // above U+10FFFF
  return Continues(p + 3, end) ? 4 : 0;
}

}  // namespace

const char* FindInvalidUtf8(const char* begin, const char* end) {
  const char* p = begin;
  while (true) {
    for (; end - p >= 8; p += 8) {
      uint64_t word;
      std::memcpy(&word, p, sizeof word);
      if ((word & 0x8080808080808080) != 0) break;
    }
    while (p < end && static_cast<signed char>(*p) >= 0) ++p;
    if (p == end) return nullptr;
    const int size = CharacterSize(p, end);
    if (size == 0) return p;
    p += size;
  }
}

}  // namespace tarn::tool
