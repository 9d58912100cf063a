// A program changes a price that was written with a newer schema. It passes on
// the field that this schema added, without knowing that field.
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/unknown_field_set.h>
#include <tarn/Tarn.pb.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <new>
#include <string>

namespace {

using google::protobuf::DescriptorPool;
using google::protobuf::DynamicMessageFactory;
using google::protobuf::FieldDescriptorProto;
using google::protobuf::FileDescriptorProto;

// Today's schema of application messages, with a field added to Price.
FileDescriptorProto NewerSchema() {
  FileDescriptorProto file;
  tarn::Price::descriptor()->file()->CopyTo(&file);
  const int index = tarn::Price::descriptor()->index();
  FieldDescriptorProto* field = file.mutable_message_type(index)->add_field();
  field->set_name("currency");
  field->set_number(4);
  field->set_label(FieldDescriptorProto::LABEL_OPTIONAL);
  field->set_type(FieldDescriptorProto::TYPE_STRING);
  return file;
}

// The program between a newer sender and a newer receiver. It does not know the
// currency; it changes the price.
std::string ChangePrice(const std::string& bytes) {
  tarn::Price price;
  if (!price.ParseFromString(bytes)) return "";
  const auto& unknown = price.GetReflection()->GetUnknownFields(price);
  std::cout << "in between: price " << price.set_price() << ", and "
            << unknown.field_count() << " field not known: number "
            << unknown.field(0).number() << "\n\n";
  price.set_set_price("2.60");
  return price.SerializeAsString();
}

}  // namespace

int main() {
  // A message that ran out of memory may not even bear to be destroyed.
  std::set_new_handler([] {
    std::fputs("unknown_fields: out of memory\n", stderr);
    std::_Exit(5);
  });

  DescriptorPool pool;
  const auto* type =
      pool.BuildFile(NewerSchema())->FindMessageTypeByName("Price");
  DynamicMessageFactory factory;
  const auto* prototype = factory.GetPrototype(type);

  tarn::Price known;
  known.set_line_num(2);
  known.set_product_id("coffee");
  known.set_set_price("2.50");

  const std::unique_ptr<google::protobuf::Message> newer(prototype->New());
  newer->ParseFromString(known.SerializeAsString());
  newer->GetReflection()->SetString(newer.get(),
                                    type->FindFieldByName("currency"), "EUR");
  std::cout << "sent:\n" << newer->DebugString() << '\n';

  const std::string bytes = ChangePrice(newer->SerializeAsString());
  newer->ParseFromString(bytes);
  std::cout << "received:\n" << newer->DebugString();
  return std::cout.flush() ? 0 : 5;
}
