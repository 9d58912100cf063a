// The parts of fuzz targets that know nothing of a fuzzer.
#include "target.h"

#include <google/protobuf/stubs/logging.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <limits>

#include "encoding.h"
#include "ranking.h"

namespace fuzz {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using tarn::tool::Schema;
using tarn::tool::Type;

Schema* TheSchema() {
  static Schema* const schema = [] {
    google::protobuf::SetLogHandler(nullptr);
    return new Schema();
  }();
  return schema;
}

const std::vector<const Type*>& Types() {
  static const auto& types =
      *new std::vector<const Type*>(tarn::tool::AllTypes(TheSchema()));
  return types;
}

const Type& TypeOf(std::string_view input) {
  const unsigned char number = input.empty() ? 0 : input.front();
  return *Types()[number % Types().size()];
}

void Expect(bool holds, const Type& type, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "%s: broken: %s\n", type.descriptor->full_name().c_str(),
               promise);
  std::abort();
}

std::unique_ptr<google::protobuf::Message> Parsed(const Type& type,
                                                  std::string_view bytes) {
  auto message = tarn::tool::NewMessage(type);
  const int size = static_cast<int>(bytes.size());
  return message->ParseFromArray(bytes.data(), size) ? std::move(message)
                                                     : nullptr;
}

void PlainNans(Message* message) {
  const auto& reflection = *message->GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection.ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT) {
      const float value = reflection.GetFloat(*message, field);
      if (value == value) continue;
      reflection.SetFloat(message, field,
                          std::numeric_limits<float>::quiet_NaN());
    }
    if (field->message_type() == nullptr || field->is_map()) continue;
    if (!field->is_repeated()) {
      PlainNans(reflection.MutableMessage(message, field));
      continue;
    }
    for (int i = 0; i < reflection.FieldSize(*message, field); ++i) {
      PlainNans(reflection.MutableRepeatedMessage(message, field, i));
    }
  }
}

std::string Printed(const std::function<void(tarn::tool::Output*)>& print) {
  // A file in memory takes the place of standard output.
  static const int file = [] {
    const int made = memfd_create("printed", MFD_CLOEXEC);
    if (made < 0 || dup2(made, STDOUT_FILENO) < 0) std::abort();
    return made;
  }();
  tarn::tool::Output output("never");
  print(&output);
  output.Flush();
  std::string text(lseek(file, 0, SEEK_CUR), '\0');
  const ssize_t size = pread(file, &text[0], text.size(), 0);
  if (size != static_cast<ssize_t>(text.size()) || ftruncate(file, 0) != 0 ||
      lseek(file, 0, SEEK_SET) != 0) {
    std::abort();
  }
  return text;
}

}  // namespace fuzz
