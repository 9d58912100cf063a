// The generator's naming rules.
#include "cpp_names.h"

#include <cctype>

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;

template <typename Type>
std::string ClassName(const Type& type) {
  std::string name = type.name();
  for (const Descriptor* outer = type.containing_type(); outer != nullptr;
       outer = outer->containing_type()) {
    name.insert(0, outer->name() + "_");
  }
  return type.file()->package() + "::" + name;
}

std::string CppType(const FieldDescriptor& field) {
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return "int32_t";
    case FieldDescriptor::CPPTYPE_UINT32:
      return "uint32_t";
    case FieldDescriptor::CPPTYPE_STRING:
      return "std::string";
    case FieldDescriptor::CPPTYPE_ENUM:
      return CppName(*field.enum_type());
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return CppName(*field.message_type());
    default:
      return field.cpp_type_name();
  }
}

std::string Lower(std::string text) {
  for (char& c : text) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return text;
}

std::vector<std::string> MapAccessors(const FieldDescriptor& field) {
  const std::string x = CppName(field);
  const std::string map = "google::protobuf::Map<" +
                          CppType(*field.message_type()->map_key()) + ", " +
                          CppType(*field.message_type()->map_value()) + ">";
  return {"int " + x + "_size() const", "const " + map + "& " + x + "() const",
          map + "* mutable_" + x + "()", "void clear_" + x + "()"};
}

std::vector<std::string> ListAccessors(const FieldDescriptor& field) {
  const std::string x = CppName(field);
  const std::string type = CppType(field);
  const bool text = field.cpp_type() == FieldDescriptor::CPPTYPE_STRING;
  const bool objects = text || field.message_type() != nullptr;
  const std::string list =
      objects ? "google::protobuf::RepeatedPtrField<" + type + ">"
              : "google::protobuf::RepeatedField<" +
                    (field.enum_type() != nullptr ? "int" : type) + ">";
  std::vector<std::string> accessors{
      "int " + x + "_size() const",
      (objects ? "const " + type + "& " : type + " ") + x +
          "(int index) const"};
  if (text) {
    accessors.push_back("void set_" + x +
                        "(int index, const std::string& value)");
  }
  if (objects) {
    accessors.push_back(type + "* mutable_" + x + "(int index)");
    accessors.push_back(type + "* add_" + x + "()");
  } else {
    accessors.push_back("void set_" + x + "(int index, " + type + " value)");
    accessors.push_back("void add_" + x + "(" + type + " value)");
  }
  accessors.push_back("const " + list + "& " + x + "() const");
  accessors.push_back(list + "* mutable_" + x + "()");
  accessors.push_back("void clear_" + x + "()");
  return accessors;
}

}  // namespace

std::string CppName(const Descriptor& message) { return ClassName(message); }

std::string CppName(const EnumDescriptor& enumeration) {
  return ClassName(enumeration);
}

std::string CppName(const google::protobuf::EnumValueDescriptor& value) {
  const EnumDescriptor& type = *value.type();
  return type.containing_type() == nullptr
             ? type.file()->package() + "::" + value.name()
             : CppName(type) + "_" + value.name();
}

std::string CppName(const FieldDescriptor& field) {
  return Lower(field.name());
}

std::string HeaderOf(const google::protobuf::FileDescriptor& file) {
  const std::string& name = file.name();
  return file.package() + "/" + name.substr(0, name.rfind('.')) + ".pb.h";
}

std::vector<std::string> Accessors(const FieldDescriptor& field) {
  if (field.is_map()) return MapAccessors(field);
  if (field.is_repeated()) return ListAccessors(field);
  const std::string x = CppName(field);
  const std::string type = CppType(field);
  const bool text = field.cpp_type() == FieldDescriptor::CPPTYPE_STRING;
  std::vector<std::string> accessors;
  if (field.message_type() != nullptr) {
    accessors.push_back("bool has_" + x + "() const");
  }
  if (text || field.message_type() != nullptr) {
    accessors.push_back("const " + type + "& " + x + "() const");
    if (text) {
      accessors.push_back("void set_" + x + "(const std::string& value)");
    }
    accessors.push_back(type + "* mutable_" + x + "()");
    accessors.push_back(type + "* release_" + x + "()");
    accessors.push_back("void set_allocated_" + x + "(" + type + "* " + x +
                        ")");
  } else {
    accessors.push_back(type + " " + x + "() const");
    accessors.push_back("void set_" + x + "(" + type + " value)");
  }
  accessors.push_back("void clear_" + x + "()");
  return accessors;
}

std::vector<std::string> Accessors(
    const google::protobuf::OneofDescriptor& oneof) {
  const std::string x = Lower(oneof.name());
  std::string cases = oneof.name() + "Case";
  cases.front() = static_cast<char>(std::toupper(cases.front()));
  return {cases + " " + x + "_case() const", "void clear_" + x + "()"};
}

}  // namespace tarn::tool
