// Tables of characters: which are invisible, and which take two columns.
#include "characters.h"

#include <algorithm>

#include "utf8.h"

namespace tarn::tool {
namespace {

struct Range {
  uint32_t first, last;
};

// The ranges are in order.
template <size_t size>
bool IsInside(uint32_t c, const Range (&ranges)[size]) {
  for (const Range& range : ranges) {
    if (c < range.first) break;
    if (c <= range.last) return true;
  }
  return false;
}

}  // namespace

bool Invisible(uint32_t c) {
  constexpr Range kRanges[] = {
      {0x00, 0x1F},       {0x7F, 0x9F},       {0xAD, 0xAD},
      {0x600, 0x605},     {0x61C, 0x61C},     {0x6DD, 0x6DD},
      {0x70F, 0x70F},     {0x890, 0x891},     {0x8E2, 0x8E2},
      {0x180E, 0x180E},   {0x200B, 0x200F},   {0x2028, 0x202E},
      {0x2060, 0x2064},   {0x2066, 0x206F},   {0xFEFF, 0xFEFF},
      {0xFFF9, 0xFFFB},   {0x110BD, 0x110BD}, {0x110CD, 0x110CD},
      {0x13430, 0x1343F}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A},
      {0xE0001, 0xE0001}, {0xE0020, 0xE007F}};
  // The runtime's JSON escapes the last two, too.
  return IsInside(c, kRanges) || c == 0x17B4 || c == 0x17B5;
}

Character CharacterAt(const char* p, const char* end) {
  const unsigned char lead = *p;
  if (lead < 0x80) return {lead, 1};
  const int size = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (end - p < size || FindInvalidUtf8(p, p + size) != nullptr) return {0, 0};
  uint32_t code = lead & (0xFF >> (size + 1));
  for (int i = 1; i < size; ++i) code = code << 6 | (p[i] & 0x3F);
  return {code, size};
}

int ColumnsOf(uint32_t c) {
  constexpr Range kWide[] = {
      {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0xA4CF},
      {0xA960, 0xA97C},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},
      {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},
      {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF},
      {0x20000, 0x3FFFD}};
  return IsInside(c, kWide) ? 2 : 1;
}

void AppendHexEscape(unsigned char byte, std::string* text) {
  constexpr char kHex[] = "0123456789abcdef";
  *text += {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
}

size_t Width(std::string_view utf8) {
  size_t width = 0;
  const char* const end = utf8.data() + utf8.size();
  for (const char* p = utf8.data(); p < end;) {
    if (static_cast<unsigned char>(*p) < 0x80) {
      ++width;
      ++p;
      continue;
    }
    const Character character = CharacterAt(p, end);
    width += ColumnsOf(character.code);
    p += std::max(character.size, 1);
  }
  return width;
}

}  // namespace tarn::tool
