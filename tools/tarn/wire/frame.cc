// Reads the length in front of a message.
#include "frame.h"

#include "walker.h"

namespace tarn::tool {

size_t MostOfHeader(const std::string& frame) {
  return frame == "varint" ? 10 : 4;
}

Header ReadHeader(const std::string& frame, std::string_view bytes) {
  const size_t most = MostOfHeader(frame);
  bytes = bytes.substr(0, most);
  uint64_t length = 0;
  if (frame == "varint") {
    const char* end =
        ReadVarint(bytes.data(), bytes.data() + bytes.size(), most, &length);
    if (end == nullptr) return {0, 0};
    return {static_cast<size_t>(end - bytes.data()), length};
  }
  if (bytes.size() < most) return {0, 0};
  for (size_t i = 0; i < most; ++i) {
    const size_t from = frame == "u32be" ? i : most - 1 - i;
    length = length << 8 | static_cast<unsigned char>(bytes[from]);
  }
  return {most, length};
}

void WriteFramed(const std::string& frame, std::string_view bytes,
                 Output* output) {
  char* out = output->Reserve(10);
  uint64_t length = bytes.size();
  if (frame == "varint") {
    for (; length >= 0x80; length >>= 7) {
      *out++ = static_cast<char>(length | 0x80);
    }
    *out++ = static_cast<char>(length);
  } else if (frame != "none") {
    for (int i = 0; i < 4; ++i) {
      *out++ =
          static_cast<char>(length >> (frame == "u32be" ? 24 - 8 * i : 8 * i));
    }
  }
  output->Advance(out);
  output->Write(bytes);
}

}  // namespace tarn::tool
