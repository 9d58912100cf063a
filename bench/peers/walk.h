// Defines Walk(message, visitor) for all messages of a contestant: the sum of
// what the visitor makes of every value. Whoever includes it defines first:
//   MESSAGE_OF(Type)  the type of an argument that is a message of that type
//   GET(name, lower, Camel)   the value of a number in the message m
//   TEXT(name, lower, Camel)  of a text, as std::string_view
//   HAS(...), SUB(...)        whether there is a message in the field, and it
//   MANY(...)                 what to iterate over the elements of a list
//   IS(number, name, lower, Camel, type), CHOSEN(...)  the same for a oneof
//   ELEMENT(x), TEXT_ELEMENT(x), KEY(x), MAPPED(x)     parts of an element
// visitors.h is to be included before, outside of any namespace.
#define WALK_NUMBER(number, name, lower, Camel, kind, type) \
  sum += v.Value(number, GET(name, lower, Camel));
#define WALK_ENUM WALK_NUMBER
#define WALK_STRING(number, name, lower, Camel, kind, type) \
  sum += v.Value(number, TEXT(name, lower, Camel));
#define WALK_BYTES WALK_STRING
#define WALK_MESSAGE(number, name, lower, Camel, kind, type) \
  if (HAS(name, lower, Camel)) {                             \
    sum += Walk(SUB(name, lower, Camel), v.Sub(number, 0));  \
  }
#define WALK_CHOICE(number, name, lower, Camel, kind, type)    \
  if (IS(number, name, lower, Camel, type)) {                  \
    sum += Walk(CHOSEN(name, lower, Camel), v.Sub(number, 0)); \
  }
#define WALK_EACH(name, lower, Camel, add)           \
  {                                                  \
    uint32_t i = 0;                                  \
    for (const auto& x : MANY(name, lower, Camel)) { \
      sum += add;                                    \
      ++i;                                           \
    }                                                \
    (void)i;                                         \
  }
#define WALK_NUMBERS(number, name, lower, Camel, kind, type) \
  WALK_EACH(name, lower, Camel, v.Item(number, i, ELEMENT(x)))
#define WALK_ENUMS WALK_NUMBERS
#define WALK_STRINGS(number, name, lower, Camel, kind, type) \
  WALK_EACH(name, lower, Camel, v.Item(number, i, TEXT_ELEMENT(x)))
#define WALK_MESSAGES(number, name, lower, Camel, kind, type) \
  WALK_EACH(name, lower, Camel, Walk(ELEMENT(x), v.Sub(number, i)))
#define WALK_MAP(number, name, lower, Camel, kind, type) \
  WALK_EACH(name, lower, Camel, v.Item(number, KEY(x), MAPPED(x)))
#define WALK_FIELD(what, ...) WALK_##what(__VA_ARGS__)

#define DECLARE_WALK(Type) \
  template <typename V>    \
  uint64_t Walk(MESSAGE_OF(Type) m, V v);
SCHEMA_MESSAGES(DECLARE_WALK)

#define DEFINE_WALK(Type)                        \
  template <typename V>                          \
  uint64_t Walk(MESSAGE_OF(Type) m, V v) {       \
    uint64_t sum = v.Present();                  \
    SCHEMA_FIELDS_##Type(WALK_FIELD) return sum; \
  }
SCHEMA_MESSAGES(DEFINE_WALK)
