// Writes the skeleton of a message by its descriptor.
#include "skeleton.h"

#include <algorithm>
#include <vector>

#include "json_writer.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;

class Skeleton {
 public:
  explicit Skeleton(Output* output) : json_(output, JsonWriter::kIndented) {}

  void Print(const Descriptor& message) {
    Message(message);
    json_.EndLine();
  }

 private:
  bool LeadsBack(const Descriptor& message,
                 std::vector<const Descriptor*>* met) {
    if (std::count(path_.begin(), path_.end(), &message) != 0) return true;
    if (std::count(met->begin(), met->end(), &message) != 0) return false;
    met->push_back(&message);
    for (int i = 0; i < message.field_count(); ++i) {
      const Descriptor* held = message.field(i)->message_type();
      if (held != nullptr && LeadsBack(*held, met)) return true;
    }
    return false;
  }

  void Message(const Descriptor& message) {
    path_.push_back(&message);
    json_.BeginObject();
    for (int i = 0; i < message.field_count(); ++i) {
      const FieldDescriptor& field = *message.field(i);
      if (field.containing_oneof() != nullptr && field.index_in_oneof() != 0) {
        continue;
      }
      json_.Key(field.json_name());
      Content(field);
    }
    path_.pop_back();
    json_.EndObject();
  }

  void Content(const FieldDescriptor& field) {
    if (field.is_map()) {
      json_.BeginObject();
      json_.Key("");
      Value(*field.message_type()->map_value());
      return json_.EndObject();
    }
    if (!field.is_repeated()) return Value(field);
    std::vector<const Descriptor*> met;
    json_.BeginList();
    if (field.message_type() == nullptr ||
        !LeadsBack(*field.message_type(), &met)) {
      Value(field);
    }
    json_.EndList();
  }

  void Value(const FieldDescriptor& field) {
    switch (field.cpp_type()) {
      case FieldDescriptor::CPPTYPE_MESSAGE:
        return Message(*field.message_type());
      case FieldDescriptor::CPPTYPE_STRING:
        return json_.String("");
      case FieldDescriptor::CPPTYPE_ENUM:
        return json_.String(field.enum_type()->value(0)->name());
      case FieldDescriptor::CPPTYPE_BOOL:
        return json_.Bool(false);
      default:
        json_.Number(0);
    }
  }

  JsonWriter json_;
  std::vector<const Descriptor*> path_;
};

}  // namespace

void PrintSkeleton(const Descriptor& message, Output* output) {
  Skeleton(output).Print(message);
}

}  // namespace tarn::tool
