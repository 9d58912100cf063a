// The constants, default instances and descriptors of every class exist and
// agree.
#include <gmock/gmock.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/generated_message_reflection.h>

#include <fstream>
#include <map>

#include "reference/messages.h"
#include "reference/schema_counts.h"

// Declared as in a program that links them by name.
extern const google::protobuf::internal::DescriptorTable
    descriptor_table_Tarn_2eproto;
extern const google::protobuf::internal::DescriptorTable
    descriptor_table_Network_2eproto;
const google::protobuf::internal::DescriptorTable*
descriptor_table_Tarn_2eproto_getter();
const google::protobuf::internal::DescriptorTable*
descriptor_table_Network_2eproto_getter();

namespace {

using tests::HexOf;
using tests::Message;

TEST(Constants, FieldNumbersAreNamedAfterTheFields) {
#define SCHEMA_FIELD(M, number, name, stem, constant, label, kind, type) \
  static_assert(tarn::M::k##constant##FieldNumber == number,             \
                #M "." #name                                             \
                   " has another number in tests/reference/schema_table.inc");
#include "reference/schema_table.inc"
}

TEST(Constants, IndexInTheFileIsThatOfTheDeclaration) {
  // The constant counts the entry types of maps as well, each before the
  // message that has the map.
#define SCHEMA_MESSAGE(file, place, name)                          \
  static_assert(tarn::name::kIndexInFileMessages ==                \
                    place + schema_counts::MapsUpTo(#file, #name), \
                #name " has another place in " #file               \
                      ".proto than in tests/reference/schema_table.inc");
#include "reference/schema_table.inc"
}

// What a class offers without an object.
struct Statics {
  const Message* default_instance;
  const Message* internal_default_instance;
  const void* exported_default_instance;
  const google::protobuf::Descriptor* descriptor;
  const google::protobuf::Descriptor* descriptor_again;
  const google::protobuf::Reflection* reflection;
  google::protobuf::Metadata metadata;
  const void* class_data;
  std::string full_name;
  Message* (*make)();
};

std::vector<Statics> Classes() {
  return {
#define SCHEMA_MESSAGE(file, place, name)         \
  {&tarn::name::default_instance(),               \
   tarn::name::internal_default_instance(),       \
   &tarn::_##name##_default_instance_,            \
   tarn::name::descriptor(),                      \
   tarn::name::GetDescriptor(),                   \
   tarn::name::GetReflection(),                   \
   tarn::name::default_instance().GetMetadata(),  \
   tarn::name::default_instance().GetClassData(), \
   "tarn." #name,                                 \
   []() -> Message* { return tarn::name::default_instance().New(); }},
#include "reference/schema_table.inc"
  };
}

TEST(DefaultInstances, AreTheExportedObjectsAndPrototypesOfTheRuntime) {
  for (const Statics& each : Classes()) {
    EXPECT_EQ(each.default_instance, each.internal_default_instance);
    EXPECT_EQ(each.default_instance, each.exported_default_instance);
    EXPECT_EQ(
        google::protobuf::MessageFactory::generated_factory()->GetPrototype(
            each.descriptor),
        each.default_instance);
  }
}

TEST(DefaultInstances, StayAsTheyAreWhateverIsDoneWithCopies) {
  tests::ForEachMessage([](const Message& prototype) {
    const auto message = tests::Filled(prototype);
    message->MergeFrom(prototype);
    EXPECT_NE(HexOf(*message), "");
    EXPECT_EQ(HexOf(prototype), "");
  });
}

TEST(Classes, KnowTheirDescriptorAndReflection) {
  const auto* pool = google::protobuf::DescriptorPool::generated_pool();
  for (const Statics& each : Classes()) {
    std::unique_ptr<Message> made(each.make());
    EXPECT_NE(made.get(), each.default_instance);
    EXPECT_EQ(made->GetTypeName(), each.full_name);
    EXPECT_EQ(each.descriptor->full_name(), each.full_name);
    EXPECT_EQ(each.descriptor, pool->FindMessageTypeByName(each.full_name));
    EXPECT_EQ(each.descriptor, each.descriptor_again);
    EXPECT_EQ(each.descriptor, made->GetDescriptor());
    EXPECT_EQ(each.descriptor, each.metadata.descriptor);
    EXPECT_EQ(each.descriptor->file()->message_type(each.descriptor->index()),
              each.descriptor);
    EXPECT_EQ(each.reflection, made->GetReflection());
    EXPECT_EQ(each.reflection, each.metadata.reflection);
    EXPECT_NE(each.class_data, nullptr);
  }
}

TEST(DescriptorTables, AreExportedWithTheirGetters) {
  const auto* tarn_table = descriptor_table_Tarn_2eproto_getter();
  const auto* network_table = descriptor_table_Network_2eproto_getter();
  EXPECT_EQ(tarn_table, &descriptor_table_Tarn_2eproto);
  EXPECT_EQ(network_table, &descriptor_table_Network_2eproto);
  EXPECT_STREQ(tarn_table->filename, "Tarn.proto");
  EXPECT_STREQ(network_table->filename, "Network.proto");
  EXPECT_EQ(tarn_table->num_messages, schema_counts::MessagesOf("Tarn"));
  // The entry types of the maps count as messages here.
  EXPECT_EQ(network_table->num_messages,
            schema_counts::MessagesOf("Network") + schema_counts::kMaps);
}

void ClearJsonNames(google::protobuf::DescriptorProto* message) {
  for (auto& field : *message->mutable_field()) field.clear_json_name();
  for (auto& nested : *message->mutable_nested_type()) ClearJsonNames(&nested);
}

TEST(DescriptorTables, HoldTheFilesAsTheCompilerReadsThem) {
  std::ifstream in(TARN_BINPB, std::ios::binary);
  google::protobuf::FileDescriptorSet set;
  ASSERT_TRUE(set.ParseFromIstream(&in)) << TARN_BINPB;
  std::map<std::string, std::string> read;
  for (auto& file : *set.mutable_file()) {
    // Neither comments nor the names that JSON derives are in the tables.
    file.clear_source_code_info();
    for (auto& message : *file.mutable_message_type()) ClearJsonNames(&message);
    read[file.name()] = file.SerializeAsString();
  }
  for (const auto* table :
       {&descriptor_table_Tarn_2eproto, &descriptor_table_Network_2eproto}) {
    EXPECT_TRUE(std::string(table->descriptor, table->size) ==
                read[table->filename])
        << table->filename;
  }
}

}  // namespace
