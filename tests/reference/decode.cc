// The reference reader of bytes.
#include <climits>
#include <cstring>
#include <utility>

#include "reference.h"

namespace reference {
namespace {

// Reads one input from its beginning. Every function that returns false has
// put down the reason.
class Decoder {
 public:
  explicit Decoder(std::string_view bytes) : bytes_(bytes) {}

  const std::string& reason() const { return reason_; }

  bool ReadMessage(size_t end, int depth, Message* message) {
    while (pos_ < end) {
      uint32_t key;
      if (!ReadKey(end, &key)) return false;
      const Field* field = message->type->Find(key >> 3);
      const auto wire_type = static_cast<wire::Type>(key & 7);
      bool read;
      if (field != nullptr && wire_type == field->wire_type()) {
        read = ReadField(*field, end, depth, message);
      } else if (field != nullptr && field->packed() &&
                 wire_type == wire::kLength) {
        read = ReadPacked(*field, end, &message->fields[field->number]);
      } else {
        read = ReadUnknown(key, end, depth, &message->unknown);
      }
      if (!read) return false;
    }
    return true;
  }

 private:
  bool Fail(std::string reason) {
    reason_ = std::move(reason);
    return false;
  }

  // A varint of at most `size` bytes. Bits beyond the 64th are dropped.
  bool ReadVarint(size_t end, int size, const char* too_long, uint64_t* value) {
    *value = 0;
    for (int i = 0; i < size; ++i) {
      if (pos_ == end) return Fail("truncated");
      const unsigned char byte = bytes_[pos_++];
      *value |= static_cast<uint64_t>(byte & 0x7F) << 7 * i;
      if (byte < 0x80) return true;
    }
    return Fail(too_long);
  }

  bool ReadNumber(size_t end, uint64_t* value) {
    return ReadVarint(end, 10, "varint_too_long", value);
  }

  // A key that may stand between records: none that ends the message.
  bool ReadKey(size_t end, uint32_t* key) {
    if (!ReadAnyKey(end, key)) return false;
    return (*key & 7) != wire::kEnd || Fail("end_group");
  }

  bool ReadAnyKey(size_t end, uint32_t* key) {
    uint64_t value;
    if (!ReadVarint(end, 5, "key_too_long", &value)) return false;
    *key = static_cast<uint32_t>(value);
    return *key != 0 || Fail("zero_key");
  }

  bool ReadLength(size_t end, size_t* record_end) {
    uint64_t length;
    if (!ReadVarint(end, 5, "length_too_long", &length)) return false;
    if (length > INT_MAX - 16) return Fail("length_too_long");
    if (length > end - pos_) {
      return Fail(end == bytes_.size() ? "length_past_end"
                                       : "length_past_record");
    }
    *record_end = pos_ + length;
    return true;
  }

  bool ReadBytes(size_t end, std::string* bytes) {
    size_t record_end;
    if (!ReadLength(end, &record_end)) return false;
    bytes->assign(bytes_.substr(pos_, record_end - pos_));
    pos_ = record_end;
    return true;
  }

  bool ReadText(size_t end, const Field& field, std::string* text) {
    return ReadBytes(end, text) && (IsUtf8(*text) || Fail(field.full_name));
  }

  bool ReadFixed(size_t end, size_t size, uint64_t* value) {
    if (size > end - pos_) return Fail("truncated");
    *value = 0;
    for (size_t i = 0; i < size; ++i) {
      const unsigned char byte = bytes_[pos_++];
      *value |= static_cast<uint64_t>(byte) << 8 * i;
    }
    return true;
  }

  bool ReadScalar(const Field& field, size_t end, Value* value) {
    uint64_t number;
    if (field.kind == Kind::FLOAT) {
      if (!ReadFixed(end, 4, &number)) return false;
    } else {
      if (!ReadNumber(end, &number)) return false;
      if (field.kind == Kind::BOOL) number = number != 0;
    }
    value->bits = static_cast<uint32_t>(number);
    return true;
  }

  bool ReadPacked(const Field& field, size_t end, std::vector<Value>* values) {
    size_t record_end;
    if (!ReadLength(end, &record_end)) return false;
    while (pos_ < record_end) {
      if (!ReadScalar(field, record_end, &values->emplace_back())) return false;
    }
    return true;
  }

  bool ReadField(const Field& field, size_t end, int depth, Message* message) {
    if (field.label == Label::MAP) {
      return ReadEntry(field, end, depth, &message->maps[field.number]);
    }
    if (field.label == Label::ONEOF) {
      for (const Field& member : message->type->fields) {
        if (member.label == Label::ONEOF && member.number != field.number) {
          message->fields.erase(member.number);
        }
      }
    }
    std::vector<Value>& values = message->fields[field.number];
    if (field.label == Label::REPEATED || values.empty()) values.emplace_back();
    Value* value = &values.back();
    switch (field.kind) {
      case Kind::STRING:
        return ReadText(end, field, &value->text);
      case Kind::BYTES:
        return ReadBytes(end, &value->text);
      case Kind::MESSAGE:
        break;
      default:
        return ReadScalar(field, end, value);
    }
    size_t record_end;
    if (!ReadLength(end, &record_end)) return false;
    if (depth == kMaxDepth) return Fail("too_deep");
    if (value->message.empty()) value->message.push_back({field.type});
    return ReadMessage(record_end, depth + 1, &value->message[0]);
  }

  bool ReadEntry(const Field& field, size_t end, int depth,
                 std::map<std::string, uint32_t>* map) {
    size_t record_end;
    if (!ReadLength(end, &record_end)) return false;
    if (depth == kMaxDepth) return Fail("too_deep");
    std::string map_key;
    Value value;
    std::vector<Unknown> dropped;
    while (pos_ < record_end) {
      uint32_t key;
      if (!ReadKey(record_end, &key)) return false;
      bool read;
      if (key == (1 << 3 | wire::kLength)) {
        read = ReadText(record_end, field, &map_key);
      } else if (key == (2 << 3 | wire::kVarint)) {
        read = ReadScalar(field, record_end, &value);
      } else {
        read = ReadUnknown(key, record_end, depth + 1, &dropped);
      }
      if (!read) return false;
    }
    (*map)[map_key] = value.bits;
    return true;
  }

  bool ReadUnknown(uint32_t key, size_t end, int depth,
                   std::vector<Unknown>* records) {
    const auto wire_type = static_cast<wire::Type>(key & 7);
    if (key >> 3 == 0) return Fail("zero_field_number");
    Unknown& record = records->emplace_back(Unknown{key >> 3, wire_type});
    switch (wire_type) {
      case wire::kVarint:
        return ReadNumber(end, &record.value);
      case wire::kFixed64:
        return ReadFixed(end, 8, &record.value);
      case wire::kFixed32:
        return ReadFixed(end, 4, &record.value);
      case wire::kLength:
        return ReadBytes(end, &record.bytes);
      case wire::kStart:
        if (depth == kMaxDepth) return Fail("too_deep");
        return ReadGroup(key, end, depth + 1, &record.group);
      default:
        return Fail("bad_wire_type");
    }
  }

  bool ReadGroup(uint32_t start, size_t end, int depth,
                 std::vector<Unknown>* records) {
    while (pos_ < end) {
      uint32_t key;
      if (!ReadAnyKey(end, &key)) return false;
      if ((key & 7) == wire::kEnd) {
        return key >> 3 == start >> 3 || Fail("group_mismatch");
      }
      if (!ReadUnknown(key, end, depth, records)) return false;
    }
    return Fail("group_not_closed");
  }

  const std::string_view bytes_;
  size_t pos_ = 0;
  std::string reason_;
};

}  // namespace

Decoded Decode(const Type& type, std::string_view bytes) {
  Decoded decoded{{&type}};
  Decoder decoder(bytes);
  decoder.ReadMessage(bytes.size(), 0, &decoded.message);
  decoded.reason = decoder.reason();
  return decoded;
}

// Follows the table of well-formed byte sequences of the Unicode Standard
// (section 3.9, table 3-7).
bool IsUtf8(std::string_view text) {
  const auto in = [&](size_t i, unsigned char low, unsigned char high) {
    const unsigned char byte = i < text.size() ? text[i] : 0;
    return byte >= low && byte <= high;
  };
  for (size_t i = 0; i < text.size();) {
    const unsigned char lead = text[i];
    size_t size = 0;
    if (lead < 0x80) {
      size = 1;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
      size = in(i + 1, 0x80, 0xBF) ? 2 : 0;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      const bool second =
          in(i + 1, lead == 0xE0 ? 0xA0 : 0x80, lead == 0xED ? 0x9F : 0xBF);
      size = second && in(i + 2, 0x80, 0xBF) ? 3 : 0;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      const bool second =
          in(i + 1, lead == 0xF0 ? 0x90 : 0x80, lead == 0xF4 ? 0x8F : 0xBF);
      size = second && in(i + 2, 0x80, 0xBF) && in(i + 3, 0x80, 0xBF) ? 4 : 0;
    }
    if (size == 0) return false;
    i += size;
  }
  return true;
}

}  // namespace reference
