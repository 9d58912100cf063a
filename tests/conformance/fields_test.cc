// What every field may hold, and under which keys and lengths.
#include <climits>
#include <string>
#include <vector>

#include "agreement.h"
#include "values.h"

namespace conformance {
namespace {

TEST_F(Conformance, ContentsOfEveryField) {
  ExpectAtLeast(37000);
  const std::vector<std::string> varints = Varints();
  const std::vector<std::string> fixed32s = Fixed32s();
  for (const Type& type : reference::Types()) {
    for (const Field& field : type.fields) {
      std::vector<std::string> contents;
      if (field.wire_type() == wire::kVarint) {
        contents = varints;
      } else if (field.wire_type() == wire::kFixed32) {
        contents = fixed32s;
      } else {
        std::vector<std::string> bodies = GoodTexts();
        if (field.kind == Kind::MESSAGE) bodies = CanonicalCases(*field.type);
        for (const std::string& body : bodies) {
          contents.push_back(Writer().Varint(body.size()).Raw(body).bytes());
        }
      }
      const std::string usual = SampleBytes(type, field);
      for (const std::string& content : contents) {
        const std::string record =
            Writer().Tag(field.number, field.wire_type()).Raw(content).bytes();
        Case(type, record);
        Case(type, usual + record);
        Case(type, record + usual);
        if (field.packed()) {
          Case(type, Writer().Bytes(field.number, content).bytes());
          Case(type, Writer().Bytes(field.number, "\1" + content).bytes());
        }
      }
    }
  }
}

TEST_F(Conformance, WireTypesOfEveryField) {
  ExpectAtLeast(19000);
  for (const Type& type : reference::Types()) {
    for (const Field& field : type.fields) {
      const std::string usual = SampleBytes(type, field);
      std::vector<std::string> records = UnknownRecords(field.number);
      for (const char* body : {"\1\2", "\x80", "\x0A\x01x", "\x08\x80"}) {
        records.push_back(Writer().Bytes(field.number, body).bytes());
      }
      for (int wire_type = 0; wire_type < 8; ++wire_type) {
        const Writer tag =
            Writer().Tag(field.number, static_cast<wire::Type>(wire_type));
        for (const char* rest : {"", "\1", "\1\1", "\1\1\1\1\1\1\1\1"}) {
          records.push_back(tag.bytes() + rest);
        }
      }
      // A group that ends under another number.
      records.push_back(Writer()
                            .Tag(field.number, wire::kStart)
                            .Tag(field.number + 1, wire::kEnd)
                            .bytes());
      for (const std::string& record : records) {
        Case(type, record);
        Case(type, usual + record + usual);
      }
    }
  }
}

TEST_F(Conformance, KeysAndLengths) {
  ExpectAtLeast(8000);
  const uint64_t lengths[] = {
      INT_MAX - 17ull,  INT_MAX - 16ull, INT_MAX - 15ull, INT_MAX, 1ull << 31,
      (1ull << 32) + 1, 1ull << 34,      1ull << 35,      ~0ull};
  for (const Type& type : reference::Types()) {
    for (const Field& field : type.fields) {
      const std::string usual = SampleBytes(type, field, 0);
      const uint64_t key = static_cast<uint64_t>(field.number) << 3 |
                           (field.packed() ? wire::kLength : field.wire_type());
      const std::string rest =
          usual.substr(Writer().Varint(key).bytes().size());
      for (int size = key < 0x80 ? 1 : 2; size <= 6; ++size) {
        Case(type, Writer().Overlong(key, size).Raw(rest).bytes());
      }
      // Bits of the key beyond the 32nd are dropped.
      for (uint64_t high : {1ull << 32, 1ull << 34, 7ull << 32}) {
        Case(type, Writer().Varint(key | high).Raw(rest).bytes());
      }
      for (int number : {0, 1 << 28, (1 << 29) - 1}) {
        Case(type, Writer().Tag(number, wire::kLength).bytes() + rest);
      }
      const Writer tag = Writer().Tag(field.number, wire::kLength);
      for (uint64_t length : lengths) {
        Case(type, tag.bytes() + Writer().Varint(length).bytes() + "ab");
      }
      for (int size = 1; size <= 6; ++size) {
        Case(type, tag.bytes() + Writer().Overlong(0, size).bytes());
        Case(type, tag.bytes() + Writer().Overlong(2, size).bytes() + "\1\1");
        Case(type, tag.bytes() + Writer().Overlong(3, size).bytes() + "\1\1");
      }
    }
  }
}

TEST_F(Conformance, PackedAndUnpackedMixes) {
  ExpectAtLeast(1700);
  for (const Type& type : reference::Types()) {
    for (const Field& field : type.fields) {
      if (!field.packed()) continue;
      const int n = field.number;
      const std::string pieces[] = {
          Writer().Packed(n, {}).bytes(),
          Writer().Packed(n, {1, 0, 2}).bytes(),
          Writer().Packed(n, {-1, 99}).bytes(),
          Writer().Int(n, 1).bytes(),
          Writer().Int(n, -2).bytes(),
          Writer().Message(n, Writer().Overlong(5, 7)).bytes(),
          Writer().Bytes(n, "\x80").bytes(),
          Writer().Fixed32(n, 1).bytes(),
      };
      for (const std::string& a : pieces) {
        Case(type, a);
        for (const std::string& b : pieces) {
          Case(type, a + b);
          for (const std::string& c : pieces) Case(type, a + b + c);
        }
      }
    }
  }
}

}  // namespace
}  // namespace conformance
