// Every accessor of every field exists and works.
#include <gmock/gmock.h>

#include "reference/messages.h"
#include "reference/schema_counts.h"

namespace {

using tests::As;
using tests::HexOf;
using tests::Message;

template <class T>
T Sample() {
  return static_cast<T>(1.5);
}

// Two fields of the same type have accessors of the same type. Only the number
// of the field that is set afterwards tells them apart.
bool HoldsOnly(int number, const Message& message) {
  std::vector<const google::protobuf::FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  return fields.size() == 1 && fields[0]->number() == number;
}

// Chosen by the label and kind of a field. These functions are compiled for
// every class, so they use the cheapest expectation.
template <class M, class T>
void Number(int number, T (M::*get)() const, void (M::*set)(T),
            void (M::*clear)()) {
  M message;
  EXPECT_TRUE((message.*get)() == T());
  (message.*set)(Sample<T>());
  EXPECT_TRUE((message.*get)() == Sample<T>());
  EXPECT_TRUE(HoldsOnly(number, message));
  (message.*clear)();
  EXPECT_TRUE((message.*get)() == T());
  EXPECT_TRUE(HexOf(message) == "");
}

template <class M, class T, class List>
void Numbers(int number, int (M::*size)() const, T (M::*get)(int) const,
             void (M::*set)(int, T), void (M::*add)(T),
             const List& (M::*list)() const, List* (M::*edit)(),
             void (M::*clear)()) {
  M message;
  EXPECT_TRUE((message.*size)() == 0);
  (message.*add)(T());
  (message.*add)(Sample<T>());
  EXPECT_TRUE(HoldsOnly(number, message));
  EXPECT_TRUE((message.*size)() == 2);
  EXPECT_TRUE((message.*get)(1) == Sample<T>());
  (message.*set)(0, Sample<T>());
  EXPECT_TRUE((message.*get)(0) == Sample<T>());
  EXPECT_TRUE((message.*edit)() == &(message.*list)());
  (message.*edit)()->RemoveLast();
  EXPECT_TRUE((message.*list)().size() == 1);
  (message.*clear)();
  EXPECT_TRUE((message.*size)() == 0);
}

template <class M, class Sub>
void Submessage(int number, bool (M::*has)() const,
                const Sub& (M::*get)() const, Sub* (M::*edit)(),
                Sub* (M::*release)(), void (M::*set)(Sub*),
                Sub* (M::*unsafe_release)(), void (M::*unsafe_set)(Sub*),
                void (M::*clear)()) {
  M message;
  EXPECT_FALSE((message.*has)());
  EXPECT_TRUE(&(message.*get)() == &Sub::default_instance());
  Sub* sub = (message.*edit)();
  EXPECT_TRUE((message.*has)());
  EXPECT_TRUE(HoldsOnly(number, message));
  EXPECT_TRUE(&(message.*get)() == sub);
  EXPECT_TRUE((message.*release)() == sub);
  EXPECT_FALSE((message.*has)());
  EXPECT_TRUE((message.*release)() == nullptr);
  (message.*set)(sub);
  EXPECT_TRUE(&(message.*get)() == sub);
  EXPECT_TRUE((message.*unsafe_release)() == sub);
  EXPECT_FALSE((message.*has)());
  (message.*unsafe_set)(sub);
  EXPECT_TRUE((message.*edit)() == sub);
  (message.*clear)();
  EXPECT_FALSE((message.*has)());
  EXPECT_TRUE(HexOf(message) == "");
}

template <class M, class Sub, class List>
void Submessages(int number, int (M::*size)() const,
                 const Sub& (M::*get)(int) const, Sub* (M::*edit)(int),
                 Sub* (M::*add)(), const List& (M::*list)() const,
                 List* (M::*edit_list)(), void (M::*clear)()) {
  M message;
  EXPECT_TRUE((message.*size)() == 0);
  (message.*add)();
  Sub* sub = (message.*add)();
  EXPECT_TRUE(HoldsOnly(number, message));
  EXPECT_TRUE((message.*size)() == 2);
  EXPECT_TRUE(&(message.*get)(1) == sub);
  EXPECT_TRUE((message.*edit)(1) == sub);
  EXPECT_TRUE((message.*edit_list)() == &(message.*list)());
  (message.*edit_list)()->SwapElements(0, 1);
  EXPECT_TRUE(&(message.*list)().Get(0) == sub);
  (message.*clear)();
  EXPECT_TRUE((message.*size)() == 0);
}

template <class M, class Map>
void Entries(int number, int (M::*size)() const, const Map& (M::*get)() const,
             Map* (M::*edit)(), void (M::*clear)()) {
  M message;
  (*(message.*edit)())["a"] = tarn::ok;
  EXPECT_TRUE(HoldsOnly(number, message));
  EXPECT_TRUE((message.*size)() == 1);
  EXPECT_TRUE((message.*get)().at("a") == tarn::ok);
  (message.*clear)();
  EXPECT_TRUE((message.*size)() == 0);
}

// The setters of text are templates without a single address, so there is a
// function for each form that a caller may use.
struct TextAccess {
  int number;
  const std::string& (*get)(const Message&);
  std::string* (*edit)(Message*);
  void (*set_literal)(Message*, const char*);
  void (*set_part)(Message*, const char*, size_t);
  void (*set_copy)(Message*, const std::string&);
  void (*set_moved)(Message*, std::string&&);
  std::string* (*release)(Message*);
  void (*set_allocated)(Message*, std::string*);
  void (*clear)(Message*);
};

void Text(Message* message, const TextAccess& x) {
  EXPECT_EQ(x.get(*message), "");
  x.set_literal(message, "literal");
  EXPECT_TRUE(HoldsOnly(x.number, *message));
  EXPECT_EQ(x.get(*message), "literal");
  x.set_part(message, "a\0bcd", 3);
  EXPECT_EQ(x.get(*message), std::string("a\0b", 3));
  x.set_moved(message, "moved");
  EXPECT_EQ(x.get(*message), "moved");
  x.set_copy(message, "text");
  EXPECT_EQ(x.get(*message), "text");
  x.edit(message)->append("!");
  EXPECT_EQ(x.get(*message), "text!");
  std::unique_ptr<std::string> taken(x.release(message));
  EXPECT_EQ(*taken, "text!");
  EXPECT_EQ(x.get(*message), "");
  x.set_allocated(message, taken.release());
  EXPECT_EQ(x.get(*message), "text!");
  x.clear(message);
  EXPECT_EQ(HexOf(*message), "");
}

#define TEXT(M, x)                                                            \
  tarn::M message;                                                            \
  Text(&message,                                                              \
       {field_number,                                                         \
        [](const Message& m) -> const std::string& {                          \
          return static_cast<const tarn::M&>(m).x();                          \
        },                                                                    \
        [](Message* m) { return As<tarn::M>(m)->mutable_##x(); },             \
        [](Message* m, const char* v) { As<tarn::M>(m)->set_##x(v); },        \
        [](Message* m, const char* v, size_t n) {                             \
          As<tarn::M>(m)->set_##x(v, n);                                      \
        },                                                                    \
        [](Message* m, const std::string& v) { As<tarn::M>(m)->set_##x(v); }, \
        [](Message* m, std::string&& v) {                                     \
          As<tarn::M>(m)->set_##x(std::move(v));                              \
        },                                                                    \
        [](Message* m) { return As<tarn::M>(m)->release_##x(); },             \
        [](Message* m, std::string* v) {                                      \
          As<tarn::M>(m)->set_allocated_##x(v);                               \
        },                                                                    \
        [](Message* m) { As<tarn::M>(m)->clear_##x(); }});

#define TEXTS(M, x)                                                            \
  tarn::M message;                                                             \
  const char* const pointer = "pointer";                                       \
  const std::string text = "text";                                             \
  message.add_##x(pointer);                                                    \
  EXPECT_TRUE(HoldsOnly(field_number, message));                               \
  message.add_##x(pointer, 5);                                                 \
  message.add_##x(text);                                                       \
  message.add_##x(std::string("moved"));                                       \
  *message.add_##x() = "added";                                                \
  EXPECT_THAT(message.x(), testing::ElementsAre("pointer", "point", "text",    \
                                                "moved", "added"));            \
  message.set_##x(0, text);                                                    \
  message.set_##x(1, pointer);                                                 \
  message.set_##x(2, std::string("set"));                                      \
  message.set_##x(3, pointer, 2);                                              \
  message.mutable_##x(4)->append("!");                                         \
  EXPECT_EQ(message.x##_size(), 5);                                            \
  EXPECT_THAT(message.x(),                                                     \
              testing::ElementsAre("text", "pointer", "set", "po", "added!")); \
  EXPECT_EQ(message.x(4), "added!");                                           \
  EXPECT_EQ(message.mutable_##x(), &message.x());                              \
  message.clear_##x();                                                         \
  EXPECT_EQ(message.x##_size(), 0);

#define NUMBER(M, x, T)                                            \
  Number<tarn::M, T>(field_number, &tarn::M::x, &tarn::M::set_##x, \
                     &tarn::M::clear_##x);
#define NUMBERS(M, x, T, List)                                                 \
  Numbers<tarn::M, T, List>(field_number, &tarn::M::x##_size, &tarn::M::x,     \
                            &tarn::M::set_##x, &tarn::M::add_##x, &tarn::M::x, \
                            &tarn::M::mutable_##x, &tarn::M::clear_##x);
#define SUBMESSAGE(M, x, Sub)                                              \
  Submessage<tarn::M, tarn::Sub>(                                          \
      field_number, &tarn::M::has_##x, &tarn::M::x, &tarn::M::mutable_##x, \
      &tarn::M::release_##x, &tarn::M::set_allocated_##x,                  \
      &tarn::M::unsafe_arena_release_##x,                                  \
      &tarn::M::unsafe_arena_set_allocated_##x, &tarn::M::clear_##x);
#define SUBMESSAGES(M, x, Sub)                                              \
  Submessages<tarn::M, tarn::Sub,                                           \
              google::protobuf::RepeatedPtrField<tarn::Sub>>(               \
      field_number, &tarn::M::x##_size, &tarn::M::x, &tarn::M::mutable_##x, \
      &tarn::M::add_##x, &tarn::M::x, &tarn::M::mutable_##x,                \
      &tarn::M::clear_##x);
#define ENTRIES(M, x, T)                                                    \
  Entries<tarn::M, google::protobuf::Map<std::string, tarn::T>>(            \
      field_number, &tarn::M::x##_size, &tarn::M::x, &tarn::M::mutable_##x, \
      &tarn::M::clear_##x);

#define SINGULAR_INT32(M, x, type) NUMBER(M, x, int32_t)
#define SINGULAR_UINT32(M, x, type) NUMBER(M, x, uint32_t)
#define SINGULAR_BOOL(M, x, type) NUMBER(M, x, bool)
#define SINGULAR_FLOAT(M, x, type) NUMBER(M, x, float)
#define SINGULAR_ENUM(M, x, type) NUMBER(M, x, tarn::type)
#define SINGULAR_STRING(M, x, type) TEXT(M, x)
#define SINGULAR_BYTES(M, x, type) TEXT(M, x)
#define SINGULAR_MESSAGE(M, x, type) SUBMESSAGE(M, x, type)
#define ONEOF_MESSAGE(M, x, type) SUBMESSAGE(M, x, type)
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
    int number;
    void (*run)(int field_number);
  } fields[] = {
#define SCHEMA_FIELD(M, number, name, stem, constant, label, kind, type) \
  {#label " " #kind, #M "." #stem, number,                               \
   [](int field_number) { label##_##kind(M, stem, type) }},
#include "reference/schema_table.inc"
  };
  int count = 0;
  for (const auto& field : fields) {
    if (field.label_and_kind != label_and_kind) continue;
    SCOPED_TRACE(field.field);
    field.run(field.number);
    ++count;
  }
  return count;
}

constexpr std::string_view kNumbers[] = {"SINGULAR INT32", "SINGULAR UINT32",
                                         "SINGULAR BOOL", "SINGULAR FLOAT",
                                         "SINGULAR ENUM"};
constexpr std::string_view kTexts[] = {"SINGULAR STRING", "SINGULAR BYTES"};
constexpr std::string_view kSubmessages[] = {"SINGULAR MESSAGE",
                                             "ONEOF MESSAGE"};
constexpr std::string_view kLists[] = {"REPEATED BOOL", "REPEATED ENUM",
                                       "REPEATED STRING", "REPEATED MESSAGE"};
constexpr std::string_view kMaps[] = {"MAP ENUM"};

TEST(Accessors, NumbersAreSetReadAndCleared) {
  for (const auto kind : kNumbers) EXPECT_GT(RunEach(kind), 0) << kind;
}

TEST(Accessors, TextsAreSetInEveryWayReadAndCleared) {
  for (const auto kind : kTexts) EXPECT_GT(RunEach(kind), 0) << kind;
}

TEST(Accessors, SubmessagesAreMadeHandedOverAndCleared) {
  for (const auto kind : kSubmessages) EXPECT_GT(RunEach(kind), 0) << kind;
}

TEST(Accessors, ListsAreAddedToReadAndCleared) {
  for (const auto kind : kLists) EXPECT_GT(RunEach(kind), 0) << kind;
}

TEST(Accessors, MapsAreEditedReadAndCleared) {
  for (const auto kind : kMaps) EXPECT_GT(RunEach(kind), 0) << kind;
}

TEST(Accessors, EveryFieldIsAmongThoseAbove) {
  int fields = 0;
  for (const auto kind : kNumbers) fields += RunEach(kind);
  for (const auto kind : kTexts) fields += RunEach(kind);
  for (const auto kind : kSubmessages) fields += RunEach(kind);
  for (const auto kind : kLists) fields += RunEach(kind);
  for (const auto kind : kMaps) fields += RunEach(kind);
  EXPECT_EQ(fields, schema_counts::kFields);
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

}  // namespace
