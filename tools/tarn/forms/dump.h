// Dumps: lines of an offset, digits and often characters, as xxd, hexdump, od,
// tcpdump and others print them.
#ifndef TOOLS_TARN_DUMP_H_
#define TOOLS_TARN_DUMP_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::tool {

// What the digits of a dump stand for.
enum class DumpUnit {
  kHexBytes,    // pairs, in the order of the bytes
  kHexWords,    // 4, 8 or 16 digits, the lowest byte last
  kOctalBytes,  // 3 digits
  kOctalWords,  // 6 digits, the lowest byte last
};

struct Dump {
  std::string bytes;
  // Every line has characters, and they are those of the bytes.
  bool verified = false;
  // More than a number in front of other numbers.
  bool certain = false;
  // Digits in groups that can be bytes as well as words.
  bool ambiguous = false;
};

// Reads a dump; false when the text is none of that unit. Each offset must be
// that of the line's first byte, counted in hexadecimal, octal or decimal.
bool ReadDump(std::string_view text, DumpUnit unit, uint64_t max_size,
              Dump* dump);

// Whether most lines begin as those of a dump do, though none was read.
bool LooksLikeDump(std::string_view text);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_DUMP_H_
