// What a name of the schema stands for, and what there is to know of it.
#ifndef TOOLS_TARN_DESCRIPTION_H_
#define TOOLS_TARN_DESCRIPTION_H_

#include <google/protobuf/descriptor.h>

#include <cstdint>
#include <string>
#include <vector>

#include "output.h"
#include "schema.h"

namespace tarn::tool {

// What a name stands for: exactly one of these is set.
struct Entity {
  const google::protobuf::Descriptor* message = nullptr;
  const google::protobuf::FieldDescriptor* field = nullptr;
  const google::protobuf::OneofDescriptor* oneof = nullptr;
  const google::protobuf::EnumDescriptor* enumeration = nullptr;
  const google::protobuf::EnumValueDescriptor* value = nullptr;
};

// Finds Server, Server.status, StatusCodes or ok, with the package or without.
// An unknown name is a Failure that offers the nearest ones.
Entity FindEntity(const Schema& schema, const std::string& name);

// Describes it: a page for people, or a JSON object in one line.
void PrintPage(const Entity& entity, Schema* schema, Output* output);
void PrintDescription(const Entity& entity, Schema* schema, Output* output);

// The full names of the fields that hold a message or enum, which is given by
// its descriptor.
std::vector<std::string> UsesOf(const Schema& schema, const void* type);

// What a field holds in the end: of a map, its values.
const google::protobuf::FieldDescriptor& HeldBy(
    const google::protobuf::FieldDescriptor& field);

// The tag that a sender writes: of a list of numbers, that of the one record
// with all of them.
uint32_t TagOf(const Field& field);
const Field& TableOf(Schema* schema,
                     const google::protobuf::FieldDescriptor& field);

// The bytes of a varint, as "82 01".
std::string HexOfVarint(uint32_t varint);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_DESCRIPTION_H_
