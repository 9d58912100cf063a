// Lengths in front of the messages of a stream.
#ifndef TOOLS_TARN_FRAME_H_
#define TOOLS_TARN_FRAME_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "output.h"

namespace tarn::tool {

// The frame before a message: its own size, and the length of the message.
struct Header {
  size_t size;  // 0: it is cut off
  uint64_t length;
};

// The kinds of frames.
inline constexpr const char* kFrames[] = {"varint", "u32be", "u32le"};

// The most bytes that a frame of this kind has.
size_t MostOfHeader(const std::string& frame);

// Reads the frame that the bytes begin with: varint, u32be or u32le.
Header ReadHeader(const std::string& frame, std::string_view bytes);

// Takes framed messages from the bytes and calls `message` for each, until it
// returns false or no message is whole. Returns the bytes from there on.
std::string_view TakeFramed(
    const std::string& frame, std::string_view bytes,
    const std::function<bool(std::string_view)>& message);

// Writes a message after a frame of the kind `frame`.
void WriteFramed(const std::string& frame, std::string_view bytes,
                 Output* output);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_FRAME_H_
