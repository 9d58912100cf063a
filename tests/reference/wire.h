// A writer of wire bytes that does not use the runtime. Tests make the bytes
// that they expect with it, from the rules of the encoding alone.
#ifndef TESTS_REFERENCE_WIRE_H_
#define TESTS_REFERENCE_WIRE_H_

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

namespace wire {

enum Type {
  kVarint = 0,
  kFixed64 = 1,
  kLength = 2,
  kStart = 3,
  kEnd = 4,
  kFixed32 = 5
};

// Collects bytes, one record after another. Nothing is checked, so that broken
// messages can be written as well.
class Writer {
 public:
  // Any bytes as they are, for what no other call can write.
  Writer& Raw(std::string_view bytes) {
    bytes_.append(bytes);
    return *this;
  }

  // A varint in its shortest form.
  Writer& Varint(uint64_t value) {
    for (; value >= 0x80; value >>= 7) Byte(value | 0x80);
    return Byte(value);
  }

  // A varint of `size` bytes, 1 to 10, made longer by zero bits at its top.
  Writer& Overlong(uint64_t value, int size) {
    for (; size > 1; --size, value >>= 7) Byte(value | 0x80);
    return Byte(value & 0x7F);
  }

  Writer& Tag(int number, Type type) {
    return Varint(static_cast<uint64_t>(number) << 3 | type);
  }

  // int32 and enums: sign-extended to 64 bits, so negatives take ten bytes.
  Writer& Int(int number, int64_t value) {
    return Tag(number, kVarint).Varint(static_cast<uint64_t>(value));
  }

  // uint32 and bool, and any varint of up to 64 bits.
  Writer& Uint(int number, uint64_t value) {
    return Tag(number, kVarint).Varint(value);
  }

  Writer& Fixed32(int number, uint32_t bits) {
    return Tag(number, kFixed32).LittleEndian(bits, 4);
  }

  Writer& Fixed64(int number, uint64_t bits) {
    return Tag(number, kFixed64).LittleEndian(bits, 8);
  }

  Writer& Float(int number, float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return Fixed32(number, bits);
  }

  // A string, bytes, or a message that is already written.
  Writer& Bytes(int number, std::string_view value) {
    return Tag(number, kLength).Varint(value.size()).Raw(value);
  }

  Writer& Message(int number, const Writer& message) {
    return Bytes(number, message.bytes());
  }

  // Varints in one packed record.
  Writer& Packed(int number, std::initializer_list<int64_t> values) {
    Writer body;
    for (int64_t value : values) body.Varint(static_cast<uint64_t>(value));
    return Message(number, body);
  }

  // A group. No message of the schema has one, but a newer schema may.
  Writer& Group(int number, const Writer& content) {
    return Tag(number, kStart).Raw(content.bytes()).Tag(number, kEnd);
  }

  const std::string& bytes() const { return bytes_; }

 private:
  Writer& Byte(uint64_t value) {
    bytes_.push_back(static_cast<char>(value));
    return *this;
  }

  Writer& LittleEndian(uint64_t bits, int size) {
    for (; size > 0; --size, bits >>= 8) Byte(bits);
    return *this;
  }

  std::string bytes_;
};

// Bytes from hexadecimal digits; spaces are skipped: Hex("0A 02 08 01").
inline std::string Hex(std::string_view digits) {
  std::string bytes;
  int half = -1;
  for (char c : digits) {
    if (c == ' ') continue;
    const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
    if (half < 0) {
      half = digit;
    } else {
      bytes.push_back(static_cast<char>(half << 4 | digit));
      half = -1;
    }
  }
  return bytes;
}

// The bytes as hexadecimal digits, for messages of failed tests.
inline std::string ToHex(std::string_view bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string digits;
  for (unsigned char byte : bytes) {
    if (!digits.empty()) digits.push_back(' ');
    digits.push_back(kDigits[byte >> 4]);
    digits.push_back(kDigits[byte & 15]);
  }
  return digits;
}

}  // namespace wire

#endif  // TESTS_REFERENCE_WIRE_H_
