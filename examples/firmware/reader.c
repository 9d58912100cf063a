// Decodes any message and encodes it again, to try a chip with. A frame holds
// the number of a type, as they follow one another in types.inc, and a message;
// the answer holds the verdict and what was decoded. An empty frame asks how
// much of the stack was in use at most, and ends the program.
#include <pb_encode.h>
#include <stddef.h>
#include <string.h>

#include "Network.pb.h"
#include "Tarn.pb.h"
#include "frames.h"
#include "line.h"
#include "strict.h"

enum { kRoom = 1 << 15, kStack = 1 << 13, kOwn = 256, kPaint = 0xA5 };

#define TYPE(name) name##_fields,
static const pb_msgdesc_t* const types[] = {
#include "types.inc"
};
#undef TYPE
#define TYPE(name) name name##_value;
static union {
#include "types.inc"
} message;
#undef TYPE

static uint8_t bytes[1 + kRoom];

// Paints what the stack of main() can grow into, and counts what is not painted
// any more. `top` is the frame of main().
static void PaintStack(volatile uint8_t* top) {
  for (size_t i = kOwn; i < kStack; ++i) top[-(ptrdiff_t)i] = kPaint;
}

static size_t UsedStack(const volatile uint8_t* top) {
  size_t used = kStack - 1;
  while (used >= kOwn && top[-(ptrdiff_t)used] == kPaint) --used;
  return used;
}

// Leaves the answer in `bytes`, and returns its size.
static size_t Answer(size_t size) {
  const size_t number = bytes[0];
  if (number >= sizeof types / sizeof *types) return 0;
  // The decoder leaves the callbacks of a message as they are.
  memset(&message, 0, sizeof message);
  const Verdict verdict =
      DecodeStrictly(types[number], bytes + 1, size - 1, &message);
  pb_ostream_t output = pb_ostream_from_buffer(bytes + 1, kRoom);
  bytes[0] = (uint8_t)verdict;
  if (verdict == kDecoded && !pb_encode(&output, types[number], &message)) {
    return 0;
  }
  return 1 + output.bytes_written;
}

int main(void) {
  size_t size;
  PaintStack(__builtin_frame_address(0));
  for (;;) {
    const FrameResult result = ReadFrame(bytes, sizeof bytes, &size);
    if (result == kNoMoreFrames) return 0;
    if (result == kFrame && size == 0) break;
    WriteFrame(bytes, result == kFrame ? Answer(size) : 0);
  }
  const uint32_t used = (uint32_t)UsedStack(__builtin_frame_address(0));
  memcpy(bytes, &used, sizeof used);
  WriteFrame(bytes, sizeof used);
  return 0;
}
