// Compares the schema as the runtime sees it with the table that the parties
// agreed on: names, numbers, types and order, and nothing else is there.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <map>
#include <string>
#include <vector>

#include "reference/schema_counts.h"

namespace {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;

enum class Label { SINGULAR, REPEATED, ONEOF, MAP };
enum class Kind { INT32, UINT32, BOOL, FLOAT, STRING, BYTES, ENUM, MESSAGE };

struct FileRow {
  std::string name;
  int messages;
};
struct MessageRow {
  std::string file;
  int index;
  std::string name;
};
struct FieldRow {
  std::string message;
  int number;
  std::string name;
  Label label;
  Kind kind;
  std::string type;
};
struct EnumRow {
  std::string file;
  std::string full_name;
  std::vector<std::pair<std::string, int>> values;
};

const std::vector<FileRow> kFiles = {
#define SCHEMA_FILE(stem) {#stem ".proto", schema_counts::MessagesOf(#stem)},
#include "reference/schema_table.inc"
};

const std::vector<MessageRow> kMessages = {
#define SCHEMA_MESSAGE(file, index, name) {#file ".proto", index, #name},
#include "reference/schema_table.inc"
};

const std::vector<FieldRow> kFields = {
#define SCHEMA_FIELD(message, number, name, stem, constant, label, kind, type) \
  {#message, number, #name, Label::label, Kind::kind, #type},
#include "reference/schema_table.inc"
};

std::map<std::string, EnumRow> Enums() {
  std::map<std::string, EnumRow> enums;
#define SCHEMA_ENUM(file, type, full_name) \
  enums[#type] = {#file ".proto", full_name, {}};
#define SCHEMA_VALUE(type, name, number) \
  enums[#type].values.push_back({#name, number});
#include "reference/schema_table.inc"
  return enums;
}

const FileDescriptor* File(const std::string& name) {
  return DescriptorPool::generated_pool()->FindFileByName(name);
}

const Descriptor* Message(const std::string& name) {
  return DescriptorPool::generated_pool()->FindMessageTypeByName("tarn." +
                                                                 name);
}

FieldDescriptor::Type WireKind(Kind kind) {
  switch (kind) {
    case Kind::INT32:
      return FieldDescriptor::TYPE_INT32;
    case Kind::UINT32:
      return FieldDescriptor::TYPE_UINT32;
    case Kind::BOOL:
      return FieldDescriptor::TYPE_BOOL;
    case Kind::FLOAT:
      return FieldDescriptor::TYPE_FLOAT;
    case Kind::STRING:
      return FieldDescriptor::TYPE_STRING;
    case Kind::BYTES:
      return FieldDescriptor::TYPE_BYTES;
    case Kind::ENUM:
      return FieldDescriptor::TYPE_ENUM;
    case Kind::MESSAGE:
      return FieldDescriptor::TYPE_MESSAGE;
  }
  return FieldDescriptor::TYPE_GROUP;
}

// Checks the type of a field, or of the values of a map.
void ExpectType(const FieldRow& row, const FieldDescriptor* field) {
  EXPECT_EQ(field->type(), WireKind(row.kind));
  if (row.kind == Kind::ENUM) {
    EXPECT_EQ(field->enum_type()->full_name(), Enums()[row.type].full_name);
  }
  if (row.kind == Kind::MESSAGE) {
    EXPECT_EQ(field->message_type(), Message(row.type));
  }
}

void ExpectField(const FieldRow& row, const FieldDescriptor* field) {
  EXPECT_EQ(field->number(), row.number);
  EXPECT_EQ(field->name(), row.name);
  EXPECT_EQ(field->full_name(), "tarn." + row.message + "." + row.name);
  EXPECT_EQ(field->is_repeated(),
            row.label == Label::REPEATED || row.label == Label::MAP);
  EXPECT_EQ(field->is_map(), row.label == Label::MAP);
  EXPECT_FALSE(field->has_default_value());
  EXPECT_FALSE(field->has_optional_keyword());
  EXPECT_EQ(field->real_containing_oneof() != nullptr,
            row.label == Label::ONEOF);
  EXPECT_EQ(field->is_packed(), row.label == Label::REPEATED &&
                                    row.kind != Kind::STRING &&
                                    row.kind != Kind::MESSAGE);
  EXPECT_EQ(field->has_presence(),
            row.label == Label::ONEOF ||
                (row.label == Label::SINGULAR && row.kind == Kind::MESSAGE));
  EXPECT_EQ(field->options().ByteSizeLong(), 0u);
  if (row.label == Label::MAP) {
    const Descriptor* entry = field->message_type();
    ASSERT_EQ(entry->field_count(), 2);
    EXPECT_EQ(entry->field(0)->type(), FieldDescriptor::TYPE_STRING);
    EXPECT_EQ(entry->map_key()->number(), 1);
    EXPECT_EQ(entry->map_value()->number(), 2);
    ExpectType(row, entry->map_value());
  } else {
    ExpectType(row, field);
  }
}

TEST(Schema, BothFilesAreInThePoolUnderTheirPlainNames) {
  for (const FileRow& row : kFiles) {
    const FileDescriptor* file = File(row.name);
    ASSERT_NE(file, nullptr) << row.name;
    EXPECT_EQ(file->name(), row.name);
    EXPECT_EQ(file->package(), "tarn");
    EXPECT_EQ(file->syntax(), FileDescriptor::SYNTAX_PROTO3);
    EXPECT_EQ(file->message_type_count(), row.messages);
    EXPECT_EQ(file->dependency_count(), 0);
    EXPECT_EQ(file->service_count(), 0);
    EXPECT_EQ(file->extension_count(), 0);
    EXPECT_EQ(file->options().ByteSizeLong(), 0u);
  }
}

TEST(Schema, ClassesBelongToTheFilesInThePool) {
  EXPECT_EQ(tarn::Price::descriptor()->file(), File("Tarn.proto"));
  EXPECT_EQ(tarn::Server::descriptor()->file(), File("Network.proto"));
}

TEST(Schema, MessagesStandInTheAgreedOrder) {
  for (const MessageRow& row : kMessages) {
    const FileDescriptor* file = File(row.file);
    ASSERT_LT(row.index, file->message_type_count());
    EXPECT_EQ(file->message_type(row.index)->name(), row.name);
    EXPECT_EQ(file->message_type(row.index)->full_name(), "tarn." + row.name);
    EXPECT_EQ(file->message_type(row.index)->extension_range_count(), 0);
    EXPECT_EQ(file->message_type(row.index)->options().ByteSizeLong(), 0u);
  }
}

TEST(Schema, EveryFieldHasTheAgreedNumberNameAndType) {
  std::map<std::string, int> index;
  for (const FieldRow& row : kFields) {
    SCOPED_TRACE(row.message + "." + row.name);
    const Descriptor* message = Message(row.message);
    ASSERT_NE(message, nullptr);
    // Fields are declared in the order of their numbers, so the table's order
    // is that of the descriptor.
    const int i = index[row.message]++;
    ASSERT_LT(i, message->field_count());
    ExpectField(row, message->field(i));
  }
  for (const MessageRow& row : kMessages) {
    EXPECT_EQ(index[row.name], Message(row.name)->field_count()) << row.name;
  }
}

TEST(Schema, OnlyTheTreeNodeHasAOneof) {
  for (const MessageRow& row : kMessages) {
    const Descriptor* message = Message(row.name);
    EXPECT_EQ(message->oneof_decl_count(), row.name == "ChildTypes" ? 1 : 0)
        << row.name;
  }
  const auto* types = Message("ChildTypes")->oneof_decl(0);
  EXPECT_EQ(types->name(), "types");
  EXPECT_EQ(types->field_count(), 6);
}

TEST(Schema, NestedTypesAreTheFontStyleAndTheTwoMapEntries) {
  for (const MessageRow& row : kMessages) {
    const Descriptor* message = Message(row.name);
    EXPECT_EQ(message->enum_type_count(), row.name == "Font" ? 1 : 0)
        << row.name;
    EXPECT_EQ(message->nested_type_count(),
              row.name == "NetworkStatusReport" ? 2 : 0)
        << row.name;
  }
  const Descriptor* report = Message("NetworkStatusReport");
  EXPECT_EQ(report->nested_type(0)->name(), "StatusPacketEntry");
  EXPECT_EQ(report->nested_type(1)->name(), "PriceSyncStatusPacketEntry");
  EXPECT_TRUE(report->nested_type(0)->options().map_entry());
  EXPECT_TRUE(report->nested_type(1)->options().map_entry());
}

TEST(Schema, EveryEnumHasTheAgreedValues) {
  for (const auto& [type, row] : Enums()) {
    SCOPED_TRACE(type);
    const EnumDescriptor* descriptor =
        DescriptorPool::generated_pool()->FindEnumTypeByName(row.full_name);
    ASSERT_NE(descriptor, nullptr);
    EXPECT_EQ(descriptor->file(), File(row.file));
    ASSERT_EQ(descriptor->value_count(), static_cast<int>(row.values.size()));
    for (int i = 0; i < descriptor->value_count(); ++i) {
      EXPECT_EQ(descriptor->value(i)->name(), row.values[i].first);
      EXPECT_EQ(descriptor->value(i)->number(), row.values[i].second);
      EXPECT_EQ(descriptor->value(i)->options().ByteSizeLong(), 0u);
    }
    EXPECT_EQ(descriptor->options().ByteSizeLong(), 0u);
  }
}

TEST(Schema, TopLevelEnumsStandInTheAgreedOrder) {
  ASSERT_EQ(File("Tarn.proto")->enum_type_count(), 1);
  EXPECT_EQ(File("Tarn.proto")->enum_type(0)->name(), "AppState");
  ASSERT_EQ(File("Network.proto")->enum_type_count(), 2);
  EXPECT_EQ(File("Network.proto")->enum_type(0)->name(), "StatusCodes");
  EXPECT_EQ(File("Network.proto")->enum_type(1)->name(), "DisplaySubtypes");
}

}  // namespace
