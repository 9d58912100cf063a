// Reads and writes frames.
#include "frames.h"

#include "line.h"

enum { kSeconds = 1, kLongestLength = 5 };

static FrameResult AwaitSilence(void) {
  int byte;
  do {
    byte = ReadByte(kSeconds);
  } while (byte >= 0);
  return kBrokenFrame;
}

// A length is below 4 GiB: five bytes hold it.
static FrameResult ReadLength(uint32_t* length) {
  uint64_t bits = 0;
  for (int i = 0; i < kLongestLength; ++i) {
    const int byte = ReadByte(i == 0 ? 0 : kSeconds);
    if (byte < 0) return i == 0 ? kNoMoreFrames : kBrokenFrame;
    bits |= (uint64_t)(byte & 0x7F) << (7 * i);
    if (byte >= 0x80) continue;
    *length = (uint32_t)bits;
    return bits > UINT32_MAX ? AwaitSilence() : kFrame;
  }
  return AwaitSilence();
}

FrameResult ReadFrame(uint8_t* bytes, size_t room, size_t* size) {
  uint32_t length;
  const FrameResult result = ReadLength(&length);
  if (result != kFrame) return result;
  for (uint32_t i = 0; i < length; ++i) {
    const int byte = ReadByte(kSeconds);
    if (byte < 0) return kBrokenFrame;
    if (i < room) bytes[i] = (uint8_t)byte;
  }
  *size = length;
  return length <= room ? kFrame : kBrokenFrame;
}

void WriteFrame(const uint8_t* bytes, size_t size) {
  uint8_t length[kLongestLength];
  size_t used = 0;
  for (size_t rest = size; used == 0 || rest > 0; rest >>= 7) {
    length[used++] = (uint8_t)((rest & 0x7F) | (rest > 0x7F ? 0x80 : 0));
  }
  WriteBytes(length, used);
  WriteBytes(bytes, size);
}
