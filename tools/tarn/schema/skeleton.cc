// Writes the skeleton of a message by its descriptor.
#include "skeleton.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;

class Skeleton {
 public:
  explicit Skeleton(Output* output) : out_(*output) {}

  void Print(const Descriptor& message) {
    Message(message);
    out_.Write('\n');
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
    out_.Write('{');
    bool first = true;
    for (int i = 0; i < message.field_count(); ++i) {
      const FieldDescriptor& field = *message.field(i);
      if (field.containing_oneof() != nullptr && field.index_in_oneof() != 0) {
        continue;
      }
      out_.Write(first ? "\n" : ",\n");
      first = false;
      Indent();
      out_.JsonString(field.json_name());
      out_.Write(": ");
      List(field);
    }
    path_.pop_back();
    out_.Write('\n');
    Indent();
    out_.Write('}');
  }

  void List(const FieldDescriptor& field) {
    if (field.is_map()) {
      out_.Write("{\"\": ");
      Value(*field.message_type()->map_value());
      return out_.Write('}');
    }
    if (!field.is_repeated()) return Value(field);
    std::vector<const Descriptor*> met;
    out_.Write('[');
    if (field.message_type() == nullptr ||
        !LeadsBack(*field.message_type(), &met)) {
      Value(field);
    }
    out_.Write(']');
  }

  void Value(const FieldDescriptor& field) {
    switch (field.cpp_type()) {
      case FieldDescriptor::CPPTYPE_MESSAGE:
        return Message(*field.message_type());
      case FieldDescriptor::CPPTYPE_STRING:
        return out_.Write("\"\"");
      case FieldDescriptor::CPPTYPE_ENUM:
        return out_.JsonString(field.enum_type()->value(0)->name());
      case FieldDescriptor::CPPTYPE_BOOL:
        return out_.Write("false");
      default:
        out_.Write('0');
    }
  }

  void Indent() { out_.Spaces(2 * path_.size()); }

  Output& out_;
  std::vector<const Descriptor*> path_;
};

}  // namespace

void PrintSkeleton(const Descriptor& message, Output* output) {
  Skeleton(output).Print(message);
}

}  // namespace tarn::tool
