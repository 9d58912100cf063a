// The lists of values, and how messages are made of them.
#include "values.h"

#include <cstdint>
#include <string>
#include <vector>

namespace conformance {

std::string SampleBytes(const Type& type, int depth) {
  return reference::Encode(reference::Sample(type, depth));
}

std::string SampleBytes(const Type& type, const Field& field, int depth) {
  return reference::Encode(reference::Sample(type, field, depth));
}

std::string Join(const std::vector<std::string>& parts) {
  std::string whole;
  for (const std::string& part : parts) whole += part;
  return whole;
}

std::vector<std::string> FieldRecords(const Type& type) {
  std::vector<std::string> records;
  for (const Field& field : type.fields) {
    records.push_back(SampleBytes(type, field));
  }
  return records;
}

std::vector<std::string> CanonicalCases(const Type& type) {
  std::vector<std::string> cases = FieldRecords(type);
  cases.insert(cases.end(), {"", SampleBytes(type, 0), SampleBytes(type, 2)});
  return cases;
}

std::vector<std::string> Varints() {
  std::vector<std::string> varints;
  for (uint64_t value : {0ull,
                         1ull,
                         2ull,
                         99ull,
                         127ull,
                         128ull,
                         1000ull,
                         16383ull,
                         16384ull,
                         1ull << 21,
                         1ull << 28,
                         (1ull << 31) - 1,
                         1ull << 31,
                         (1ull << 32) - 1,
                         1ull << 32,
                         (1ull << 32) + 1,
                         1ull << 35,
                         (1ull << 63) - 1,
                         1ull << 63,
                         ~0ull,
                         ~0ull - 1,
                         ~0ull << 31,
                         (~0ull << 31) - 1}) {
    const size_t shortest = Writer().Varint(value).bytes().size();
    for (int size : {1, 2, 4, 5, 6, 9, 10}) {
      if (size < static_cast<int>(shortest)) continue;
      varints.push_back(Writer().Overlong(value, size).bytes());
    }
  }
  const std::string nine(9, '\xFF');
  const std::string nine_zero(9, '\x80');
  varints.insert(varints.end(),
                 {nine + "\x7F", nine_zero + "\x02", nine_zero + "\x7E",
                  nine + "\xFF\x01", nine_zero + "\x80\x01", nine, ""});
  return varints;
}

std::vector<std::string> Fixed32s() {
  std::vector<std::string> values;
  for (uint32_t bits :
       {0u, 0x80000000u, 1u, 0x80000001u, 0x007FFFFFu, 0x00800000u, 0x3F800000u,
        0xBF800000u, 0xC22A0000u, 0x7F7FFFFFu, 0xFF7FFFFFu, 0x7F800000u,
        0xFF800000u, 0x7FC00000u, 0xFFC00000u, 0x7F800001u, 0xFFA5A5A5u}) {
    const std::string record = Writer().Fixed32(1, bits).bytes();
    values.push_back(record.substr(1));
  }
  for (size_t size : {0, 1, 2, 3}) values.push_back(std::string(size, '\1'));
  return values;
}

const std::vector<std::string>& BadTexts() {
  static const auto* const texts = new std::vector<std::string>{
      "\xC3\x28",                  // lead without its tail
      "\xC3",                      // cut after the lead
      "\x80",                      // tail without a lead
      "\xBF\xBF",                  // two of them
      "\xC0\x80",                  // overlong NUL
      "\xC1\xBF",                  // overlong, two bytes
      "\xE0\x80\x80",              // overlong, three bytes
      "\xE0\x9F\xBF",              // the highest of these
      "\xF0\x80\x80\x80",          // overlong, four bytes
      "\xF0\x8F\xBF\xBF",          // the highest of these
      "\xED\xA0\x80",              // first surrogate
      "\xED\xBF\xBF",              // last surrogate
      "\xED\xA0\xBD\xED\xB8\x80",  // a pair of surrogates
      "\xF4\x90\x80\x80",          // beyond U+10FFFF
      "\xF5\x80\x80\x80",          // a lead beyond the last
      "\xF8\x88\x80\x80\x80",      // five bytes
      "\xFC\x84\x80\x80\x80\x80",  // six bytes
      "\xFE",
      "\xFF",
      "\xFF\xFE",      // byte-order mark of UTF-16
      "\xE2\x82",      // cut after two of three
      "\xE2\x28\xA1",  // broken second byte
      "\xE2\x82\x28",  // broken third byte
      "\xF0\x9F\x98",  // cut after three of four
      "\xF0\x28\x8C\xBC",
      "\xF0\x90\x28\xBC",
      "\xF0\x9F\x98\x28"};
  return *texts;
}

const std::vector<std::string>& GoodTexts() {
  static const auto* const texts = new std::vector<std::string>{
      "",
      std::string(1, '\0'),
      std::string(300, '\0'),
      "0",
      std::string(127, 'x'),
      std::string(128, 'x'),
      "\x7F",
      "\xC2\x80",
      "\xDF\xBF",
      "\xE0\xA0\x80",
      "\xED\x9F\xBF",
      "\xEE\x80\x80",
      "\xEF\xBB\xBF",  // byte-order mark
      "\xEF\xBF\xBF",  // U+FFFF, no character but well-formed
      "\xF0\x90\x80\x80",
      "\xF4\x8F\xBF\xBF"};  // U+10FFFF
  return *texts;
}

std::vector<std::string> UnknownRecords(int number) {
  const Writer inner = Writer().Uint(1, 5).Bytes(2, "x").Fixed32(3, 7);
  return {
      Writer().Uint(number, 0).bytes(),
      Writer().Uint(number, ~0ull).bytes(),
      Writer().Tag(number, wire::kVarint).Overlong(3, 10).bytes(),
      Writer().Fixed32(number, 0x80000000).bytes(),
      Writer().Fixed64(number, 0x8877665544332211).bytes(),
      Writer().Bytes(number, "").bytes(),
      Writer().Bytes(number, "\xFF\xFE").bytes(),
      Writer().Tag(number, wire::kLength).Overlong(2, 5).Raw("ab").bytes(),
      Writer().Group(number, {}).bytes(),
      Writer().Group(number, inner).bytes(),
      Writer().Group(number, Writer().Group(1, inner).Group(2, {})).bytes(),
  };
}

}  // namespace conformance
