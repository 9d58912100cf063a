// Messages of records that are drawn at random. They are made as bytes, and not
// by tests/reference/fill.h, because most are such as no writer makes: with
// overlong varints, unknown fields and lists in parts, or broken.
#include <string>
#include <vector>

#include "agreement.h"
#include "values.h"

namespace conformance {
namespace {

std::string RandomMessage(const Type& type, int depth, Random& random);

std::string RandomRecord(const Type& type, int depth, Random& random) {
  static const std::vector<std::string> varints = Varints();
  static const std::vector<std::string> fixed32s = Fixed32s();
  if (Pick(random, 8) == 0) {
    const std::vector<std::string> unknown =
        UnknownRecords(1 + Pick(random, 30));
    return unknown[Pick(random, unknown.size())];
  }
  const Field& field = type.fields[Pick(random, type.fields.size())];
  Writer record;
  if (field.label == Label::MAP) {
    const std::string key(Pick(random, 3), 'a' + Pick(random, 3));
    return record
        .Message(field.number, Writer().Bytes(1, key).Int(2, Pick(random, 14)))
        .bytes();
  }
  if (field.kind == Kind::MESSAGE) {
    return record
        .Bytes(field.number,
               depth == 0 ? "" : RandomMessage(*field.type, depth - 1, random))
        .bytes();
  }
  if (field.wire_type() == wire::kLength) {
    const bool bad = Pick(random, 100) == 0;
    const std::vector<std::string>& texts = bad ? BadTexts() : GoodTexts();
    return record.Bytes(field.number, texts[Pick(random, texts.size())])
        .bytes();
  }
  // The last entries of both lists are broken, and drawn less often.
  const std::vector<std::string>& values =
      field.wire_type() == wire::kVarint ? varints : fixed32s;
  const size_t sound = values.size() - (Pick(random, 50) == 0 ? 0 : 4);
  const std::string& value = values[Pick(random, sound)];
  if (field.packed() && Pick(random, 2) == 0) {
    return record.Bytes(field.number, value + value).bytes();
  }
  return record.Tag(field.number, field.wire_type()).Raw(value).bytes();
}

std::string RandomMessage(const Type& type, int depth, Random& random) {
  std::string bytes;
  for (int count = Pick(random, 6); count > 0; --count) {
    bytes += RandomRecord(type, depth, random);
  }
  return bytes;
}

TEST_F(Conformance, RandomMessages) {
  ExpectAtLeast(25000);
  for (const Type& type : reference::Types()) {
    for (int i = 0; i < 300; ++i) {
      std::string bytes = RandomMessage(type, 4, random_);
      Case(type, bytes);
      if (bytes.empty()) continue;
      bytes[Pick(random_, bytes.size())] = static_cast<char>(random_());
      Case(type, bytes);
    }
  }
}

}  // namespace
}  // namespace conformance
