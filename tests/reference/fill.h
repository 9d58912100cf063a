// Messages of every type with arbitrary values, made by their descriptors.
#ifndef TESTS_REFERENCE_FILL_H_
#define TESTS_REFERENCE_FILL_H_

#include <google/protobuf/message.h>
#include <tarn/Network.pb.h>

#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <string>

namespace tests {

using Random = std::mt19937;

// Chooses the values of a message: how many a field has, and which.
class Values {
 public:
  virtual ~Values() = default;
  // How many values a list has, or a singular field: 0 or 1.
  virtual int Count(bool list) = 0;
  virtual int32_t Int32() = 0;
  virtual bool Bool() = 0;
  virtual float Float() = 0;
  virtual int Enum() = 0;
  virtual std::string Text(const std::string& field) = 0;
};

// Every field has a value, and lists have two. No value is the default, and
// none is like those beside it. Another seed gives other values.
class EveryField : public Values {
 public:
  explicit EveryField(int seed) : next_(seed) {}
  int Count(bool list) override { return list ? 2 : 1; }
  int32_t Int32() override { return -++next_; }
  bool Bool() override { return true; }
  float Float() override { return ++next_ + 0.5f; }
  int Enum() override { return 1 + ++next_ % 9; }
  std::string Text(const std::string& field) override {
    return field + " " + std::to_string(++next_);
  }

 private:
  int next_;
};

// Some fields have values that are often read wrongly, such as those at the
// ends of their ranges.
class EdgeValues : public Values {
 public:
  explicit EdgeValues(Random* random) : random_(*random) {}
  int Count(bool list) override { return list ? Below(3) : Below(4) != 0; }
  int32_t Int32() override {
    constexpr int32_t kNumbers[] = {
        0,   1,          127, 128,
        300, 0x7FFFFFFF, -1,  std::numeric_limits<int32_t>::min()};
    return kNumbers[Below(std::size(kNumbers))];
  }
  bool Bool() override { return Below(2) != 0; }
  float Float() override {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kFloats[] = {
        0.0f,       -0.0f,
        1.5f,       0.1f,
        1e20f,      3.4028235e38f,
        1e-45f,     kInfinity,
        -kInfinity, std::numeric_limits<float>::quiet_NaN()};
    return kFloats[Below(std::size(kFloats))];
  }
  int Enum() override { return Below(8) == 0 ? Int32() : Below(2); }
  std::string Text(const std::string&) override {
    constexpr const char* kTexts[] = {"",
                                      "a",
                                      "Client 1",
                                      "\xC3\x9Cn\xC3\xAF",
                                      "\xE2\x82\xAC 1.99",
                                      "\xF0\x9F\x9A\xAA",
                                      "quote \" ' \\ <b>",
                                      "line\nfeed\ttab\x01\x7F",
                                      "\xC2\x85\xE2\x80\xAE\xEF\xBB\xBF",
                                      "*/ {} [] : , # @unknown"};
    return kTexts[Below(std::size(kTexts))];
  }

 protected:
  uint32_t Below(uint32_t limit) { return random_() % limit; }

  Random& random_;
};

// Some fields have values; texts and floats are any that there are, but for
// NaN, of which many look the same as text.
class AnyValues : public EdgeValues {
 public:
  using EdgeValues::EdgeValues;
  float Float() override {
    const uint32_t bits = random_();
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value == value ? value : 0;
  }
  // A few characters of any kind, but none that UTF-8 does not have.
  std::string Text(const std::string&) override {
    std::string text;
    for (int i = Below(8); i > 0; --i) {
      constexpr uint32_t kLimits[] = {0x80,   0x80,    0x800,
                                      0x3000, 0x10000, 0x110000};
      const uint32_t code = Below(kLimits[Below(std::size(kLimits))]);
      if (code >= 0xD800 && code < 0xE000) continue;
      const auto tail = [&](int shift) {
        text += static_cast<char>(0x80 | (code >> shift & 0x3F));
      };
      if (code < 0x80) {
        text += static_cast<char>(code);
      } else if (code < 0x800) {
        text += static_cast<char>(0xC0 | code >> 6);
      } else if (code < 0x10000) {
        text += static_cast<char>(0xE0 | code >> 12);
      } else {
        text += static_cast<char>(0xF0 | code >> 18);
        tail(12);
      }
      if (code >= 0x800) tail(6);
      if (code >= 0x80) tail(0);
    }
    return text;
  }
};

// Fills a message, and those in it down to `depth` levels: the ones below stay
// empty. Of a oneof the member stays that is declared last.
inline void Fill(google::protobuf::Message* message, Values* values, int depth);

// Sets a singular field, or adds an element.
inline void FillField(google::protobuf::Message* message,
                      const google::protobuf::FieldDescriptor* field,
                      Values* values, int depth) {
  using google::protobuf::FieldDescriptor;
  const auto* reflection = message->GetReflection();
  const bool list = field->is_repeated();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return reflection->SetInt32(message, field, values->Int32());
    case FieldDescriptor::CPPTYPE_UINT32:
      return reflection->SetUInt32(message, field, values->Int32());
    case FieldDescriptor::CPPTYPE_FLOAT:
      return reflection->SetFloat(message, field, values->Float());
    case FieldDescriptor::CPPTYPE_BOOL:
      return list ? reflection->AddBool(message, field, values->Bool())
                  : reflection->SetBool(message, field, values->Bool());
    case FieldDescriptor::CPPTYPE_ENUM:
      return list ? reflection->AddEnumValue(message, field, values->Enum())
                  : reflection->SetEnumValue(message, field, values->Enum());
    case FieldDescriptor::CPPTYPE_STRING: {
      const std::string text = values->Text(field->name());
      return list ? reflection->AddString(message, field, text)
                  : reflection->SetString(message, field, text);
    }
    default:
      break;
  }
  if (field->is_map()) {
    // Not by reflection: the runtime loses entries that are parsed into a map
    // after reflection has changed it.
    auto* report = static_cast<tarn::NetworkStatusReport*>(message);
    auto* map = field->number() == 1
                    ? report->mutable_status_packet()
                    : report->mutable_price_sync_status_packet();
    (*map)[values->Text("key")] =
        static_cast<tarn::StatusCodes>(values->Enum());
    return;
  }
  auto* inner = list ? reflection->AddMessage(message, field)
                     : reflection->MutableMessage(message, field);
  if (depth > 0) Fill(inner, values, depth - 1);
}

inline void Fill(google::protobuf::Message* message, Values* values,
                 int depth) {
  for (int i = 0; i < message->GetDescriptor()->field_count(); ++i) {
    const auto* field = message->GetDescriptor()->field(i);
    for (int n = values->Count(field->is_repeated()); n > 0; --n) {
      FillField(message, field, values, depth);
    }
  }
}

// A message with every field set.
inline void FillEveryField(google::protobuf::Message* message, int seed = 1,
                           int depth = 2) {
  EveryField values(seed);
  Fill(message, &values, depth);
}
inline std::unique_ptr<google::protobuf::Message> Filled(
    const google::protobuf::Message& prototype, int seed = 1) {
  std::unique_ptr<google::protobuf::Message> message(prototype.New());
  FillEveryField(message.get(), seed);
  return message;
}

}  // namespace tests

#endif  // TESTS_REFERENCE_FILL_H_
