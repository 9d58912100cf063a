// A serial line, byte by byte. Each system has its own line_*.c.
#ifndef LINE_H_
#define LINE_H_

#include <stddef.h>
#include <stdint.h>

enum { kSilence = -1, kLineEnds = -2 };

// Waits for a byte and returns it. If `seconds` is not 0 and no byte comes for
// that long, returns kSilence; if no byte will ever come again, kLineEnds.
int ReadByte(unsigned seconds);

void WriteBytes(const uint8_t* bytes, size_t size);

#endif  // LINE_H_
