// The description of an entity as a JSON object.
#include <google/protobuf/descriptor.pb.h>

#include "cpp_names.h"
#include "description.h"
#include "json_writer.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::EnumValueDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::OneofDescriptor;

class Describer {
 public:
  Describer(Schema* schema, Output* output) : schema_(*schema), json_(output) {}

  void Describe(const Entity& entity) {
    if (entity.message != nullptr) {
      Message(*entity.message);
    } else if (entity.field != nullptr) {
      OneField(*entity.field);
    } else if (entity.oneof != nullptr) {
      Oneof(*entity.oneof);
    } else if (entity.enumeration != nullptr) {
      Enumeration(*entity.enumeration);
    } else {
      Value(*entity.value);
    }
    json_.EndLine();
  }

 private:
  template <typename Descriptor>
  void Begin(const char* kind, const Descriptor& descriptor) {
    json_.BeginObject();
    json_.Key("kind").String(kind);
    json_.Key("name").String(descriptor.full_name());
    json_.Key("comment").String(schema_.Comment(descriptor));
  }
  void Texts(const char* key, const std::vector<std::string>& texts) {
    json_.Key(key).BeginList();
    for (const std::string& text : texts) json_.String(text);
    json_.EndList();
  }
  template <typename Type>
  void DeclaredIn(const Type& type) {
    json_.Key("file").String(type.file()->name());
    json_.Key("class").String(CppName(type));
    json_.Key("header").String(HeaderOf(*type.file()));
    Texts("usedIn", UsesOf(schema_, &type));
  }

  void Message(const Descriptor& message) {
    Begin("message", message);
    DeclaredIn(message);
    json_.Key("fields").BeginList();
    for (int i = 0; i < message.field_count(); ++i) OneField(*message.field(i));
    json_.EndList();
    json_.EndObject();
  }

  void Type(const char* key, const FieldDescriptor& field) {
    const auto* message = field.message_type();
    const auto* enumeration = field.enum_type();
    json_.Key(key).String(message != nullptr       ? message->full_name()
                          : enumeration != nullptr ? enumeration->full_name()
                                                   : field.type_name());
  }

  void OneField(const FieldDescriptor& field) {
    Begin("field", field);
    json_.Key("number").Number(field.number());
    if (field.is_map()) {
      Type("keyType", *field.message_type()->map_key());
      Type("type", *field.message_type()->map_value());
    } else {
      Type("type", field);
    }
    json_.Key("repeated").Bool(field.is_repeated());
    const uint32_t tag = TagOf(TableOf(&schema_, field));
    json_.Key("tag").String(HexOfVarint(tag));
    json_.Key("wireType").String(kWireNames[tag & 7]);
    json_.Key("jsonName").String(field.json_name());
    if (field.containing_oneof() != nullptr) {
      json_.Key("oneof").String(field.containing_oneof()->full_name());
    }
    if (!field.containing_type()->options().map_entry()) {
      Texts("accessors", Accessors(field));
    }
    Texts("usedIn", UsesOf(schema_, field.containing_type()));
    json_.EndObject();
  }

  void Oneof(const OneofDescriptor& oneof) {
    Begin("oneof", oneof);
    json_.Key("fields").BeginList();
    for (int i = 0; i < oneof.field_count(); ++i) OneField(*oneof.field(i));
    json_.EndList();
    json_.EndObject();
  }

  void Enumeration(const EnumDescriptor& enumeration) {
    Begin("enum", enumeration);
    DeclaredIn(enumeration);
    json_.Key("values").BeginList();
    for (int i = 0; i < enumeration.value_count(); ++i) {
      Value(*enumeration.value(i));
    }
    json_.EndList();
    json_.EndObject();
  }

  void Value(const EnumValueDescriptor& value) {
    Begin("value", value);
    json_.Key("number").Number(value.number());
    json_.Key("enum").String(value.type()->full_name());
    json_.Key("constant").String(CppName(value));
    json_.EndObject();
  }

  Schema& schema_;
  JsonWriter json_;
};

}  // namespace

void PrintDescription(const Entity& entity, Schema* schema, Output* output) {
  Describer(schema, output).Describe(entity);
}

}  // namespace tarn::tool
