// Frames on a line: the length of a message as a varint, then the message.
#ifndef FRAMES_H_
#define FRAMES_H_

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

typedef enum {
  kFrame,        // a whole one
  kBrokenFrame,  // too large, or cut off by a second of silence; it is over
  kNoMoreFrames
} FrameResult;

// Reads the next frame. A frame of more than `room` bytes is read to its end
// and is broken. A length that is none ends with a second of silence: what
// follows it cannot be told from a message.
FrameResult ReadFrame(uint8_t* bytes, size_t room, size_t* size);

void WriteFrame(const uint8_t* bytes, size_t size);

#endif  // FRAMES_H_
