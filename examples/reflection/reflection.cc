// Walks through any message by reflection and prints a line for each value. A
// program like this needs no change when the schema gets a new message.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/text_format.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <new>
#include <string>
#include <vector>

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

void Walk(const Message& message, const std::string& path);

// Prints one value. `index` is -1 where the field is not repeated.
void PrintValue(const Message& message, const FieldDescriptor& field, int index,
                const std::string& path) {
  if (field.cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
    const Reflection& reflection = *message.GetReflection();
    Walk(index < 0 ? reflection.GetMessage(message, &field)
                   : reflection.GetRepeatedMessage(message, &field, index),
         path);
    return;
  }
  std::string value;
  google::protobuf::TextFormat::PrintFieldValueToString(message, &field, index,
                                                        &value);
  std::cout << path << " = " << value << '\n';
}

// Prints all values below a message; `path` names it.
void Walk(const Message& message, const std::string& path) {
  const Reflection& reflection = *message.GetReflection();
  // Only fields that are set: values other than zero, and present messages.
  std::vector<const FieldDescriptor*> fields;
  reflection.ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) {
    const std::string name = path + "." + field->name();
    if (!field->is_repeated()) {
      PrintValue(message, *field, -1, name);
      continue;
    }
    for (int i = 0; i < reflection.FieldSize(message, field); ++i) {
      PrintValue(message, *field, i, name + "[" + std::to_string(i) + "]");
    }
  }
}

}  // namespace

int main() {
  // A message that ran out of memory may not even bear to be destroyed.
  std::set_new_handler([] {
    std::fputs("reflection: out of memory\n", stderr);
    std::_Exit(5);
  });

  tarn::KT4Products list;
  tarn::Product* product = list.add_products();
  product->set_id("coffee");
  product->set_price("2.50");
  product->set_enabled(true);
  list.set_schema_version(1);
  Walk(list, "KT4Products");

  tarn::ChildTypes node;
  tarn::Display* display = node.mutable_display();
  display->set_name("North line 1");
  display->set_status(tarn::price_sync_pending);
  display->add_children()->mutable_module()->set_hwid("D16-24");
  display->mutable_assyconfig()->add_possibledisplaytypes(tarn::price);
  display->mutable_assyconfig()->add_possibledisplaytypes(tarn::message);
  Walk(node, "ChildTypes");
  return std::cout.flush() ? 0 : 5;
}
