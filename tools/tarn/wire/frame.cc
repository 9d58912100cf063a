// Reads the length in front of a message.
#include "frame.h"

#include <google/protobuf/io/coded_stream.h>

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

std::string_view TakeFramed(
    const std::string& frame, std::string_view bytes,
    const std::function<bool(std::string_view)>& message) {
  while (!bytes.empty()) {
    const Header header = ReadHeader(frame, bytes);
    if (header.size == 0 || header.length > bytes.size() - header.size ||
        !message(bytes.substr(header.size, header.length))) {
      break;
    }
    bytes.remove_prefix(header.size + header.length);
  }
  return bytes;
}

void WriteFramed(const std::string& frame, std::string_view bytes,
                 Output* output) {
  using google::protobuf::io::CodedOutputStream;
  char* room = output->Reserve(10);
  uint8_t* out = reinterpret_cast<uint8_t*>(room);
  const uint32_t length = static_cast<uint32_t>(bytes.size());
  if (frame == "varint") {
    out = CodedOutputStream::WriteVarint32ToArray(length, out);
  } else if (frame == "u32le") {
    out = CodedOutputStream::WriteLittleEndian32ToArray(length, out);
  } else if (frame == "u32be") {
    for (int shift = 24; shift >= 0; shift -= 8) *out++ = length >> shift;
  }
  output->Advance(reinterpret_cast<char*>(out));
  output->Write(bytes);
}

}  // namespace tarn::tool
