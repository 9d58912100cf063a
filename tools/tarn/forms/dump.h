// Dumps: lines with an offset, digits and often characters, as xxd, hexdump,
// od, tcpdump and others print them.
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
  // Every line has characters, and they match its bytes.
  bool verified = false;
  // Clearly a dump: it has several lines, colons or characters, not just a
  // number before other numbers.
  bool certain = false;
  // The groups of digits can be bytes or words.
  bool ambiguous = false;
  // The offset of the first line, unless it is an address in memory.
  uint64_t skipped = 0;
  // Of what is no dump: the first line that does not fit.
  size_t broken_line = 0;
  // How many bytes are missing before that line; less than 0: too many; 0: the
  // line cannot be read.
  int64_t missing = 0;
  // The offsets around a line that stands for what somebody left out; the end
  // is 0 if there is none.
  uint64_t gap_begin = 0;
  uint64_t gap_end = 0;
};

// Reads a dump. Returns false if the text is not a dump of that unit, and notes
// the line that does not fit. Each offset must be that of the first
// byte of its line, in hexadecimal, octal or decimal.
bool ReadDump(std::string_view text, DumpUnit unit, uint64_t max_size,
              Dump* dump);

// Of two that are no dump: whether the first is more like one. Other units and
// bases fail at once, or later by chance.
bool GotFurther(const Dump& dump, const Dump& other);
// Why a text that looks like a dump is none.
std::string WhyNoDump(const Dump& dump);

// The offset that a line begins with, and what follows it.
struct DumpLine {
  std::string_view digits;
  std::string_view rest;
  bool colon = false;
};
// Returns false if the line begins with no offset.
bool SplitDumpLine(std::string_view line, DumpLine* start);

// Whether a line stands for lines that somebody left out.
bool IsElision(std::string_view line);

// Whether a line has an offset and hexadecimal digits after it, such as
// "00000010: 0a0b 0c0d" or "0x0010  0a 0b".
bool IsDumpLine(std::string_view line);

// Whether most lines begin like those of a dump, although it could not be read
// as one.
bool LooksLikeDump(std::string_view text);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_DUMP_H_
