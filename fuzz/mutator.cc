// Changes messages by their descriptors: a field anywhere in them gets another
// value, goes, comes or changes places with another. Every second change is one
// of bytes, as the fuzzer makes it.
#include <google/protobuf/message.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "encoding.h"
#include "reference/fill.h"
#include "target.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t most);

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

class Mutator {
 public:
  explicit Mutator(unsigned seed) : random_(seed), values_(&random_) {}

  size_t Below(size_t limit) { return random_() % limit; }

  // Goes down to a message inside, and changes a field of it.
  void Change(Message* message) {
    std::vector<const FieldDescriptor*> fields;
    const auto& reflection = *message->GetReflection();
    reflection.ListFields(*message, &fields);
    for (size_t tries = fields.size(); tries > 0 && Below(4) != 0; --tries) {
      const FieldDescriptor* field = fields[Below(fields.size())];
      if (field->message_type() == nullptr || field->is_map()) continue;
      if (!field->is_repeated()) {
        return Change(reflection.MutableMessage(message, field));
      }
      const int size = reflection.FieldSize(*message, field);
      return Change(reflection.MutableRepeatedMessage(
          message, field, static_cast<int>(Below(size))));
    }
    const auto& type = *message->GetDescriptor();
    if (type.field_count() == 0) return;
    ChangeField(message,
                type.field(static_cast<int>(Below(type.field_count()))));
  }

 private:
  void ChangeField(Message* message, const FieldDescriptor* field) {
    const auto& reflection = *message->GetReflection();
    const int size =
        field->is_repeated() ? reflection.FieldSize(*message, field) : 0;
    const size_t what = Below(8);
    if (what == 0) return reflection.ClearField(message, field);
    if (what == 1 && size > 0 && !field->is_map()) {
      return reflection.RemoveLast(message, field);
    }
    if (what == 2 && size > 1 && !field->is_map()) {
      return reflection.SwapElements(message, field,
                                     static_cast<int>(Below(size)),
                                     static_cast<int>(Below(size)));
    }
    if (what == 3 && size > 0 && field->message_type() != nullptr &&
        !field->is_map()) {
      const int from = static_cast<int>(Below(size));
      Message* added = reflection.AddMessage(message, field);
      return added->CopyFrom(
          reflection.GetRepeatedMessage(*message, field, from));
    }
    tests::FillField(message, field, &values_, static_cast<int>(Below(3)));
  }

  tests::Random random_;
  tests::AnyValues values_;
};

// Writes a message after the options of an input; 0: there is no room for it.
size_t Write(const Message& message, uint8_t* data, size_t most) {
  const std::string bytes = message.SerializeAsString();
  const size_t size = fuzz::kOptions + bytes.size();
  if (size > most) return 0;
  std::copy(bytes.begin(), bytes.end(), data + fuzz::kOptions);
  return size;
}

std::unique_ptr<Message> Read(const uint8_t* data, size_t size,
                              const uint8_t* type) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const char first = static_cast<char>(*type);
  return size < fuzz::kOptions ? nullptr
                               : fuzz::Parsed(fuzz::TypeOf({&first, 1}),
                                              input.substr(fuzz::kOptions));
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size,
                                          size_t most, unsigned seed) {
  Mutator mutator(seed);
  const auto message = mutator.Below(2) == 0 ? nullptr : Read(data, size, data);
  if (message == nullptr) return LLVMFuzzerMutate(data, size, most);
  for (size_t changes = 1 + mutator.Below(3); changes > 0; --changes) {
    mutator.Change(message.get());
  }
  if (mutator.Below(4) == 0) {
    LLVMFuzzerMutate(data + 1, fuzz::kOptions - 1, fuzz::kOptions - 1);
  }
  const size_t written = Write(*message, data, most);
  return written > 0 ? written : LLVMFuzzerMutate(data, size, most);
}

// The second message is merged into the first.
extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t* data1, size_t size1,
                                            const uint8_t* data2, size_t size2,
                                            uint8_t* out, size_t most,
                                            unsigned) {
  const auto message = Read(data1, size1, data1);
  const auto other = Read(data2, size2, data1);
  if (message == nullptr || other == nullptr || fuzz::kOptions > most) return 0;
  message->MergeFrom(*other);
  std::memcpy(out, data1, fuzz::kOptions);
  return Write(*message, out, most);
}
