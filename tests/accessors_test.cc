// Every accessor of every field is there under its name and does what it says;
// so do the constants, default instances and descriptors of every class.
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/generated_message_reflection.h>

#include "reference/messages.h"

// Declared as a program that links them by name would.
extern const google::protobuf::internal::DescriptorTable
    descriptor_table_Tarn_2eproto;
extern const google::protobuf::internal::DescriptorTable
    descriptor_table_Network_2eproto;
const google::protobuf::internal::DescriptorTable*
descriptor_table_Tarn_2eproto_getter();
const google::protobuf::internal::DescriptorTable*
descriptor_table_Network_2eproto_getter();

namespace {

using tests::ForEachClass;
using tests::HexOf;

template <class T>
T Sample() {
  return static_cast<T>(1.5);
}

// The accessors of a field go to one of these by its label and kind.
template <class M, class T>
void Number(T (M::*get)() const, void (M::*set)(T), void (M::*clear)()) {
  M message;
  EXPECT_EQ((message.*get)(), T());
  (message.*set)(Sample<T>());
  EXPECT_EQ((message.*get)(), Sample<T>());
  EXPECT_NE(HexOf(message), "");
  (message.*clear)();
  EXPECT_EQ((message.*get)(), T());
  EXPECT_EQ(HexOf(message), "");
}

template <class M, class T, class List>
void Numbers(int (M::*size)() const, T (M::*get)(int) const,
             void (M::*set)(int, T), void (M::*add)(T),
             const List& (M::*list)() const, List* (M::*edit)(),
             void (M::*clear)()) {
  M message;
  EXPECT_EQ((message.*size)(), 0);
  (message.*add)(T());
  (message.*add)(Sample<T>());
  EXPECT_EQ((message.*size)(), 2);
  EXPECT_EQ((message.*get)(1), Sample<T>());
  (message.*set)(0, Sample<T>());
  EXPECT_EQ((message.*get)(0), Sample<T>());
  EXPECT_EQ((message.*edit)(), &(message.*list)());
  (message.*edit)()->RemoveLast();
  EXPECT_EQ((message.*list)().size(), 1);
  (message.*clear)();
  EXPECT_EQ((message.*size)(), 0);
}

template <class M, class Sub>
void Submessage(bool (M::*has)() const, const Sub& (M::*get)() const,
                Sub* (M::*edit)(), Sub* (M::*release)(), void (M::*set)(Sub*),
                Sub* (M::*unsafe_release)(), void (M::*unsafe_set)(Sub*),
                void (M::*clear)()) {
  M message;
  EXPECT_FALSE((message.*has)());
  EXPECT_EQ(&(message.*get)(), &Sub::default_instance());
  Sub* sub = (message.*edit)();
  EXPECT_TRUE((message.*has)());
  EXPECT_EQ(&(message.*get)(), sub);
  EXPECT_EQ((message.*release)(), sub);
  EXPECT_FALSE((message.*has)());
  EXPECT_EQ((message.*release)(), nullptr);
  (message.*set)(sub);
  EXPECT_EQ(&(message.*get)(), sub);
  EXPECT_EQ((message.*unsafe_release)(), sub);
  EXPECT_FALSE((message.*has)());
  (message.*unsafe_set)(sub);
  EXPECT_EQ((message.*edit)(), sub);
  (message.*clear)();
  EXPECT_FALSE((message.*has)());
  EXPECT_EQ(HexOf(message), "");
}

template <class M, class Sub, class List>
void Submessages(int (M::*size)() const, const Sub& (M::*get)(int) const,
                 Sub* (M::*edit)(int), Sub* (M::*add)(),
                 const List& (M::*list)() const, List* (M::*edit_list)(),
                 void (M::*clear)()) {
  M message;
  EXPECT_EQ((message.*size)(), 0);
  (message.*add)();
  Sub* sub = (message.*add)();
  EXPECT_EQ((message.*size)(), 2);
  EXPECT_EQ(&(message.*get)(1), sub);
  EXPECT_EQ((message.*edit)(1), sub);
  EXPECT_EQ((message.*edit_list)(), &(message.*list)());
  (message.*edit_list)()->SwapElements(0, 1);
  EXPECT_EQ(&(message.*list)().Get(0), sub);
  (message.*clear)();
  EXPECT_EQ((message.*size)(), 0);
}

template <class M, class Map>
void Entries(int (M::*size)() const, const Map& (M::*get)() const,
             Map* (M::*edit)(), void (M::*clear)()) {
  M message;
  (*(message.*edit)())["a"] = tarn::ok;
  EXPECT_EQ((message.*size)(), 1);
  EXPECT_EQ((message.*get)().at("a"), tarn::ok);
  (message.*clear)();
  EXPECT_EQ((message.*size)(), 0);
}

// The setters of text are templates, so this one is written out as a macro.
#define TEXT(M, x)                                             \
  {                                                            \
    tarn::M message;                                           \
    EXPECT_EQ(message.x(), "");                                \
    message.set_##x("literal");                                \
    EXPECT_EQ(message.x(), "literal");                         \
    const char* const pointer = "pointer";                     \
    message.set_##x(pointer);                                  \
    EXPECT_EQ(message.x(), "pointer");                         \
    message.set_##x(pointer, 5);                               \
    EXPECT_EQ(message.x(), "point");                           \
    message.set_##x(std::string("a\0b", 3));                   \
    EXPECT_EQ(message.x(), std::string("a\0b", 3));            \
    const std::string text = "text";                           \
    message.set_##x(text);                                     \
    EXPECT_EQ(message.x(), text);                              \
    message.mutable_##x()->append("!");                        \
    EXPECT_EQ(message.x(), "text!");                           \
    std::unique_ptr<std::string> taken(message.release_##x()); \
    EXPECT_EQ(*taken, "text!");                                \
    EXPECT_EQ(message.x(), "");                                \
    message.set_allocated_##x(taken.release());                \
    EXPECT_EQ(message.x(), "text!");                           \
    message.clear_##x();                                       \
    EXPECT_EQ(HexOf(message), "");                             \
  }

#define TEXTS(M, x)                                 \
  {                                                 \
    tarn::M message;                                \
    EXPECT_EQ(message.x##_size(), 0);               \
    const char* const pointer = "pointer";          \
    const std::string text = "text";                \
    message.add_##x(pointer);                       \
    message.add_##x(pointer, 5);                    \
    message.add_##x(text);                          \
    message.add_##x(std::string("moved"));          \
    *message.add_##x() = "added";                   \
    EXPECT_EQ(message.x##_size(), 5);               \
    EXPECT_EQ(message.x(0), "pointer");             \
    EXPECT_EQ(message.x(1), "point");               \
    EXPECT_EQ(message.x(2), "text");                \
    EXPECT_EQ(message.x(3), "moved");               \
    EXPECT_EQ(message.x(4), "added");               \
    message.set_##x(0, pointer);                    \
    message.set_##x(1, text);                       \
    message.set_##x(2, std::string("set"));         \
    message.set_##x(3, pointer, 2);                 \
    message.mutable_##x(4)->append("!");            \
    EXPECT_EQ(message.x(1), "text");                \
    EXPECT_EQ(message.x(2), "set");                 \
    EXPECT_EQ(message.x(3), "po");                  \
    EXPECT_EQ(message.x(4), "added!");              \
    EXPECT_EQ(message.mutable_##x(), &message.x()); \
    message.clear_##x();                            \
    EXPECT_EQ(message.x##_size(), 0);               \
  }

#define NUMBER(M, x) \
  Number(&tarn::M::x, &tarn::M::set_##x, &tarn::M::clear_##x);
#define NUMBERS(M, x, T, List)                                                 \
  Numbers<tarn::M, T, List>(&tarn::M::x##_size, &tarn::M::x,                   \
                            &tarn::M::set_##x, &tarn::M::add_##x, &tarn::M::x, \
                            &tarn::M::mutable_##x, &tarn::M::clear_##x);
#define SUBMESSAGE(M, x)                                            \
  Submessage(&tarn::M::has_##x, &tarn::M::x, &tarn::M::mutable_##x, \
             &tarn::M::release_##x, &tarn::M::set_allocated_##x,    \
             &tarn::M::unsafe_arena_release_##x,                    \
             &tarn::M::unsafe_arena_set_allocated_##x, &tarn::M::clear_##x);
#define SUBMESSAGES(M, x, Sub)                                \
  Submessages<tarn::M, tarn::Sub,                             \
              google::protobuf::RepeatedPtrField<tarn::Sub>>( \
      &tarn::M::x##_size, &tarn::M::x, &tarn::M::mutable_##x, \
      &tarn::M::add_##x, &tarn::M::x, &tarn::M::mutable_##x,  \
      &tarn::M::clear_##x);
#define ENTRIES(M, x, T)                                         \
  Entries<tarn::M, google::protobuf::Map<std::string, tarn::T>>( \
      &tarn::M::x##_size, &tarn::M::x, &tarn::M::mutable_##x,    \
      &tarn::M::clear_##x);

#define SINGULAR_INT32(M, x, type) NUMBER(M, x)
#define SINGULAR_UINT32(M, x, type) NUMBER(M, x)
#define SINGULAR_BOOL(M, x, type) NUMBER(M, x)
#define SINGULAR_FLOAT(M, x, type) NUMBER(M, x)
#define SINGULAR_ENUM(M, x, type) NUMBER(M, x)
#define SINGULAR_STRING(M, x, type) TEXT(M, x)
#define SINGULAR_BYTES(M, x, type) TEXT(M, x)
#define SINGULAR_MESSAGE(M, x, type) SUBMESSAGE(M, x)
#define ONEOF_MESSAGE(M, x, type) SUBMESSAGE(M, x)
#define REPEATED_BOOL(M, x, type) \
  NUMBERS(M, x, bool, google::protobuf::RepeatedField<bool>)
#define REPEATED_ENUM(M, x, type) \
  NUMBERS(M, x, tarn::type, google::protobuf::RepeatedField<int>)
#define REPEATED_STRING(M, x, type) TEXTS(M, x)
#define REPEATED_MESSAGE(M, x, type) SUBMESSAGES(M, x, type)
#define MAP_ENUM(M, x, type) ENTRIES(M, x, type)

// Runs the accessors of every field with this label and kind, and says how many
// such fields there are.
int RunEach(std::string_view label_and_kind) {
  const struct {
    std::string_view label_and_kind;
    const char* field;
    void (*run)();
  } fields[] = {
#define SCHEMA_FIELD(M, number, name, stem, constant, label, kind, type) \
  {#label " " #kind, #M "." #stem, [] { label##_##kind(M, stem, type) }},
#include "reference/schema_table.inc"
  };
  int count = 0;
  for (const auto& field : fields) {
    if (field.label_and_kind != label_and_kind) continue;
    SCOPED_TRACE(field.field);
    field.run();
    ++count;
  }
  return count;
}

TEST(Accessors, NumbersAreSetReadAndCleared) {
  EXPECT_EQ(RunEach("SINGULAR INT32"), 69);
  EXPECT_EQ(RunEach("SINGULAR UINT32"), 2);
  EXPECT_EQ(RunEach("SINGULAR BOOL"), 21);
  EXPECT_EQ(RunEach("SINGULAR FLOAT"), 4);
  EXPECT_EQ(RunEach("SINGULAR ENUM"), 9);
}

TEST(Accessors, TextsAreSetInEveryWayReadAndCleared) {
  EXPECT_EQ(RunEach("SINGULAR STRING"), 58);
  EXPECT_EQ(RunEach("SINGULAR BYTES"), 1);
}

TEST(Accessors, SubmessagesAreMadeHandedOverAndCleared) {
  EXPECT_EQ(RunEach("SINGULAR MESSAGE"), 4);
  EXPECT_EQ(RunEach("ONEOF MESSAGE"), 6);
}

TEST(Accessors, ListsAreAddedToReadAndCleared) {
  EXPECT_EQ(RunEach("REPEATED BOOL"), 1);
  EXPECT_EQ(RunEach("REPEATED ENUM"), 2);
  EXPECT_EQ(RunEach("REPEATED STRING"), 2);
  EXPECT_EQ(RunEach("REPEATED MESSAGE"), 26);
}

TEST(Accessors, MapsAreEditedReadAndCleared) {
  EXPECT_EQ(RunEach("MAP ENUM"), 2);
}

TEST(Accessors, OddNamesAreKept) {
  tarn::Price price;
  price.set_set_price("1.5");
  EXPECT_EQ(price.set_price(), "1.5");
  price.mutable_set_price()->append("0");
  EXPECT_EQ(HexOf(price), "1A 04 31 2E 35 30");
  price.clear_set_price();
  tarn::Product product;
  product.set_price("2");
  EXPECT_EQ(HexOf(product), "2A 01 32");

  tarn::CashCreditMsg texts;
  texts.add__1hx1w()->set_dimensions("a");
  texts.add__2hx5w();
  texts.mutable__1hx1w(0)->set_dimensions("b");
  EXPECT_EQ(texts._1hx1w_size(), 1);
  EXPECT_EQ(texts._1hx1w(0).dimensions(), "b");
  EXPECT_EQ(HexOf(texts), "0A 03 0A 01 62 3A 00");
  texts.clear__1hx1w();
  EXPECT_EQ(HexOf(texts), "3A 00");

  tarn::ChildTypes node;
  node.mutable_getstatusmodule()->set_statusretrieved(true);
  EXPECT_EQ(node.types_case(), tarn::ChildTypes::kGetStatusModule);
  EXPECT_EQ(HexOf(node), "32 03 98 01 01");
}

TEST(Constants, FieldNumbersAreNamedAfterTheFields) {
#define SCHEMA_FIELD(M, number, name, stem, constant, label, kind, type) \
  EXPECT_EQ(int{tarn::M::k##constant##FieldNumber}, number);
#include "reference/schema_table.inc"
}

TEST(Constants, IndexInTheFileIsThatOfTheDeclaration) {
  // The constant also counts nested messages, ahead of the one they stand in:
  // the two entry types of the report's maps.
#define SCHEMA_MESSAGE(file, place, name)              \
  EXPECT_EQ(tarn::name::descriptor()->index(), place); \
  EXPECT_EQ(tarn::name::kIndexInFileMessages,          \
            place + 2 * (std::string_view(#name) == "NetworkStatusReport"));
#include "reference/schema_table.inc"
}

TEST(DefaultInstances, AreTheExportedObjectsOfEveryClass) {
#define SCHEMA_MESSAGE(file, place, name)                                 \
  EXPECT_EQ(static_cast<const void*>(&tarn::_##name##_default_instance_), \
            static_cast<const void*>(&tarn::name::default_instance()));
#include "reference/schema_table.inc"
}

TEST(DefaultInstances, AreThePrototypesOfTheRuntime) {
  ForEachClass([](auto* type) {
    using M = std::remove_pointer_t<decltype(type)>;
    EXPECT_EQ(
        google::protobuf::MessageFactory::generated_factory()->GetPrototype(
            M::descriptor()),
        &M::default_instance());
  });
}

TEST(Classes, KnowTheirDescriptorAndReflection) {
  ForEachClass([](auto* type) {
    using M = std::remove_pointer_t<decltype(type)>;
    const M message;
    const google::protobuf::Message& base = message;
    const auto* descriptor = M::descriptor();
    EXPECT_EQ(descriptor->full_name(), message.GetTypeName());
    EXPECT_EQ(M::GetDescriptor(), descriptor);
    EXPECT_EQ(base.GetDescriptor(), descriptor);
    EXPECT_EQ(base.GetReflection(), M::GetReflection());
    EXPECT_EQ(message.GetMetadata().descriptor, descriptor);
    EXPECT_EQ(message.GetMetadata().reflection, M::GetReflection());
    EXPECT_NE(message.GetClassData(), nullptr);
    EXPECT_EQ(descriptor, google::protobuf::DescriptorPool::generated_pool()
                              ->FindMessageTypeByName(message.GetTypeName()));
  });
}

TEST(Classes, AreMadeNewThroughAnyMessage) {
  ForEachClass([](auto* type) {
    using M = std::remove_pointer_t<decltype(type)>;
    const google::protobuf::Message& base = M::default_instance();
    std::unique_ptr<google::protobuf::Message> made(base.New());
    EXPECT_NE(dynamic_cast<M*>(made.get()), nullptr);
    std::unique_ptr<M> own(M::default_instance().New());
    EXPECT_NE(own.get(), &M::default_instance());
  });
}

TEST(DescriptorTables, AreExportedWithTheirGetters) {
  const auto* tarn_table = descriptor_table_Tarn_2eproto_getter();
  const auto* network_table = descriptor_table_Network_2eproto_getter();
  EXPECT_EQ(tarn_table, &descriptor_table_Tarn_2eproto);
  EXPECT_EQ(network_table, &descriptor_table_Network_2eproto);
  EXPECT_STREQ(tarn_table->filename, "Tarn.proto");
  EXPECT_STREQ(network_table->filename, "Network.proto");
  EXPECT_EQ(tarn_table->num_messages, 28);
  // The two entry types of the maps count as messages here.
  EXPECT_EQ(network_table->num_messages, 25 + 2);
}

TEST(DescriptorTables, HoldTheSerializedFiles) {
  for (const auto* table :
       {&descriptor_table_Tarn_2eproto, &descriptor_table_Network_2eproto}) {
    google::protobuf::FileDescriptorProto file, built;
    ASSERT_TRUE(file.ParseFromArray(table->descriptor, table->size));
    EXPECT_EQ(file.name(), table->filename);
    EXPECT_EQ(file.package(), "tarn");
    google::protobuf::DescriptorPool::generated_pool()
        ->FindFileByName(table->filename)
        ->CopyTo(&built);
    EXPECT_EQ(built.message_type_size(), file.message_type_size());
    EXPECT_EQ(built.enum_type_size(), file.enum_type_size());
  }
}

}  // namespace
