// Messages that are cut off, changed, or hold texts that are not UTF-8.
#include <string>
#include <vector>

#include "agreement.h"
#include "values.h"

namespace conformance {
namespace {

TEST_F(Conformance, Truncations) {
  ExpectAtLeast(5600);
  for (const Type& type : reference::Types()) {
    for (const std::string& bytes : CanonicalCases(type)) {
      for (size_t size = 0; size <= bytes.size(); ++size) {
        Case(type, bytes.substr(0, size));
      }
    }
  }
}

TEST_F(Conformance, BitFlips) {
  ExpectAtLeast(13000);
  for (const Type& type : reference::Types()) {
    for (const std::string& bytes : CanonicalCases(type)) {
      for (size_t i = 0; i < bytes.size(); ++i) {
        std::string flipped = bytes;
        flipped[i] ^= 1 << Pick(random_, 8);
        Case(type, flipped);
      }
    }
    const std::string small = SampleBytes(type, 0);
    for (size_t i = 0; i < small.size() * 8; ++i) {
      std::string flipped = small;
      flipped[i / 8] ^= 1 << i % 8;
      Case(type, flipped);
    }
  }
}

TEST_F(Conformance, BadUtf8) {
  ExpectAtLeast(6800);
  for (const Type& type : reference::Types()) {
    for (const Field& field : type.fields) {
      const bool map = field.label == Label::MAP;
      if (!map && field.kind != Kind::STRING && field.kind != Kind::BYTES) {
        continue;
      }
      for (const std::string& bad : BadTexts()) {
        for (const std::string& text :
             {bad, "ab" + bad + "cd", std::string(40, 'x') + bad,
              "\xE2\x82\xAC" + bad}) {
          const Writer entry = Writer().Bytes(1, text).Int(2, 1);
          Case(type, map ? Writer().Message(field.number, entry).bytes()
                         : Writer().Bytes(field.number, text).bytes());
        }
      }
    }
  }
}

}  // namespace
}  // namespace conformance
