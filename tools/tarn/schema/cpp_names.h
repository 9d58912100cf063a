// The names that the generator gives things in C++.
#ifndef TOOLS_TARN_CPP_NAMES_H_
#define TOOLS_TARN_CPP_NAMES_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

namespace tarn::tool {

// The class of a message or enum, or the constant of a value. An underscore
// joins nested names: "tarn::Font_Style".
std::string CppName(const google::protobuf::Descriptor& message);
std::string CppName(const google::protobuf::EnumDescriptor& enumeration);
std::string CppName(const google::protobuf::EnumValueDescriptor& value);

// The name from which those of the members for a field are made.
std::string CppName(const google::protobuf::FieldDescriptor& field);

// The header that declares what a schema file holds: "tarn/Network.pb.h".
std::string HeaderOf(const google::protobuf::FileDescriptor& file);

// The members of the generated class for a field or oneof, without those that
// only arenas need.
std::vector<std::string> Accessors(
    const google::protobuf::FieldDescriptor& field);
std::vector<std::string> Accessors(
    const google::protobuf::OneofDescriptor& oneof);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_CPP_NAMES_H_
