// Messages of every type, made at random from a seed, for tests that hold
// something against the runtime.
#ifndef TESTS_TARN_MESSAGES_H_
#define TESTS_TARN_MESSAGES_H_

#include <google/protobuf/message.h>

#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace messages {

using Random = std::mt19937;

inline std::string Text(Random& random) {
  static const char* const kTexts[] = {"",
                                       "a",
                                       "Client 1",
                                       "\xC3\x9Cn\xC3\xAF",
                                       "\xE2\x82\xAC 1.99",
                                       "\xF0\x9F\x9A\xAA",
                                       "quote \" ' \\ <b>",
                                       "line\nfeed\ttab\x01\x7F",
                                       "\xC2\x85\xE2\x80\xAE\xEF\xBB\xBF",
                                       "*/ {} [] : , # @unknown"};
  return kTexts[random() % std::size(kTexts)];
}

// A few characters of any kind, but none that UTF-8 does not have.
inline std::string AnyText(Random& random) {
  std::string text;
  for (int i = random() % 8; i > 0; --i) {
    constexpr uint32_t kLimits[] = {0x80,   0x80,    0x800,
                                    0x3000, 0x10000, 0x110000};
    const uint32_t code = random() % kLimits[random() % std::size(kLimits)];
    if (code >= 0xD800 && code < 0xE000) continue;
    if (code < 0x80) {
      text += static_cast<char>(code);
    } else if (code < 0x800) {
      text += static_cast<char>(0xC0 | code >> 6);
    } else if (code < 0x10000) {
      text += static_cast<char>(0xE0 | code >> 12);
    } else {
      text += static_cast<char>(0xF0 | code >> 18);
      text += static_cast<char>(0x80 | (code >> 12 & 0x3F));
    }
    if (code >= 0x800) text += static_cast<char>(0x80 | (code >> 6 & 0x3F));
    if (code >= 0x80) text += static_cast<char>(0x80 | (code & 0x3F));
  }
  return text;
}

// Which texts and floats a message is filled with: those of short lists, at the
// edges of their ranges among others, or any; the only NaN is that of the list.
enum class Values { kListed, kAny };

// Any float that is a number.
inline float AnyFloat(Random& random) {
  const uint32_t bits = random();
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value == value ? value : 0;
}

// Fills fields of a message, some of them. Not deeper than `depth` messages.
inline void Fill(google::protobuf::Message* message, int depth, Random& random,
                 Values values = Values::kListed) {
  using google::protobuf::FieldDescriptor;
  const auto* reflection = message->GetReflection();
  const auto* descriptor = message->GetDescriptor();
  constexpr int32_t kNumbers[] = {
      0, 1, 127, 128, 300, 0x7FFFFFFF, -1, std::numeric_limits<int32_t>::min()};
  constexpr float kFloats[] = {0.0f,
                               -0.0f,
                               1.5f,
                               0.1f,
                               1e20f,
                               3.4028235e38f,
                               1e-45f,
                               std::numeric_limits<float>::infinity(),
                               -std::numeric_limits<float>::infinity(),
                               std::numeric_limits<float>::quiet_NaN()};
  for (int i = 0; i < descriptor->field_count(); ++i) {
    const FieldDescriptor* field = descriptor->field(i);
    const int count = field->is_repeated() ? random() % 3 : random() % 4 != 0;
    for (int j = 0; j < count; ++j) {
      const int32_t number = kNumbers[random() % std::size(kNumbers)];
      const bool add = field->is_repeated();
      switch (field->cpp_type()) {
#define SET(Type, value)                             \
  add ? reflection->Add##Type(message, field, value) \
      : reflection->Set##Type(message, field, value)
        case FieldDescriptor::CPPTYPE_INT32:
          SET(Int32, number);
          break;
        case FieldDescriptor::CPPTYPE_UINT32:
          SET(UInt32, static_cast<uint32_t>(number));
          break;
        case FieldDescriptor::CPPTYPE_BOOL:
          SET(Bool, number % 2 != 0);
          break;
        case FieldDescriptor::CPPTYPE_FLOAT:
          SET(Float, values == Values::kAny
                         ? AnyFloat(random)
                         : kFloats[random() % std::size(kFloats)]);
          break;
        case FieldDescriptor::CPPTYPE_ENUM:
          SET(EnumValue, random() % 8 == 0 ? number : number & 1);
          break;
        case FieldDescriptor::CPPTYPE_STRING:
          SET(String, values == Values::kAny ? AnyText(random) : Text(random));
          break;
#undef SET
        case FieldDescriptor::CPPTYPE_MESSAGE:
          if (depth == 0) break;
          Fill(add ? reflection->AddMessage(message, field)
                   : reflection->MutableMessage(message, field),
               depth - 1, random, values);
          break;
        default:
          GOOGLE_LOG(FATAL) << "no value for " << field->full_name();
      }
    }
  }
}

}  // namespace messages

#endif  // TESTS_TARN_MESSAGES_H_
