// Writes JSON Schemas. null stands for a value that is absent, so that every
// definition takes it, too.
#include "json_schema.h"

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "description.h"
#include "json_writer.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::OneofDescriptor;

constexpr char kLimits[] =
    "Values of JSON that Protocol Buffers read as this message. Some rules "
    "cannot be said here. Also refused are: a name twice in one object; "
    "objects nested more than 100 deep; a string with half of a surrogate "
    "pair; a float in a string that is too large.";

// The largest number that is rounded to a float.
constexpr char kMostFloat[] = "3.4028235677973362e+38";

// What a float can be as a string: C's strtod() reads it. Spaces are taken only
// between other white space and the number.
constexpr char kFloat[] =
    "^(([\\t-\\r][\\t-\\r ]*)?[+-]?("
    "([0-9]+(\\.[0-9]*)?|\\.[0-9]+)([Ee][+-]?[0-9]+)?|"
    "0[Xx]([0-9A-Fa-f]+(\\.[0-9A-Fa-f]*)?|\\.[0-9A-Fa-f]+)([Pp][+-]?[0-9]+)?"
    ")([\\t-\\r ]*[\\t-\\r])?|NaN|-?Infinity)$";

constexpr char kBool[] =
    "^([Tt]([Rr][Uu][Ee])?|[Yy]([Ee][Ss])?|1|"
    "[Ff]([Aa][Ll][Ss][Ee])?|[Nn][Oo]?|0)$";

// Base64 of any bytes: the bits after the last byte are zero. The padding can
// be left out.
std::string Base64Of(const std::string& alphabet) {
  const std::string digit = "[A-Za-z0-9" + alphabet + "]";
  return "(" + digit + "{4})*(" + digit + "[AQgw](==)?|" + digit +
         "{2}[AEIMQUYcgkosw048]=?)?";
}

// Decimal digits of the numbers up to `most`, which has several digits.
std::string UpTo(const std::string& most) {
  std::string pattern = "0*([0-9]{1," + std::to_string(most.size() - 1) + "}";
  for (size_t i = 0; i < most.size(); ++i) {
    const char least = i == 0 ? '1' : '0';
    if (most[i] == least) continue;
    const char greatest = static_cast<char>(most[i] - 1);
    const size_t rest = most.size() - 1 - i;
    pattern += '|' + most.substr(0, i) + '[' + least + '-' + greatest + ']';
    if (rest > 0) pattern += "[0-9]{" + std::to_string(rest) + '}';
  }
  return pattern + '|' + most + ')';
}

// A number of an enum as digits.
std::string DigitsOf(int32_t number) {
  const std::string digits = std::to_string(number);
  if (number < 0) return "-0*" + digits.substr(1);
  return (number == 0 ? "[+-]?0*" : "\\+?0*") + digits;
}

// The names of a field in JSON: that of JSON, and that of the schema file if it
// differs.
std::vector<std::string> NamesOf(const FieldDescriptor& field) {
  if (field.name() == field.json_name()) return {field.name()};
  return {field.json_name(), field.name()};
}

class JsonSchema {
 public:
  JsonSchema(Schema* schema, Output* output)
      : schema_(*schema), json_(output, JsonWriter::kIndented) {}

  void Print(const Descriptor& message) {
    Reach(message);
    json_.BeginObject();
    json_.Key("$schema").String("https://json-schema.org/draft/2020-12/schema");
    json_.Key("title").String(schema_.Bare(message.full_name()));
    json_.Key("description").String(kLimits);
    json_.Key("type").String("object");
    Reference(schema_.Bare(message.full_name()));
    json_.Key("$defs").BeginObject();
    for (const Descriptor* type : schema_.Messages()) {
      if (Begin(*type)) Message(*type);
    }
    for (const EnumDescriptor* type : schema_.Enums()) {
      if (Begin(*type)) Enumeration(*type);
    }
    Scalars();
    json_.EndObject();
    json_.EndObject();
    json_.EndLine();
  }

 private:
  // The name of the definition of what a field holds.
  std::string DefinitionOf(const FieldDescriptor& field) const {
    const FieldDescriptor& held = HeldBy(field);
    if (held.message_type() != nullptr) {
      return schema_.Bare(held.message_type()->full_name());
    }
    if (held.enum_type() != nullptr) {
      return schema_.Bare(held.enum_type()->full_name());
    }
    return held.type_name();
  }

  // Finds the definitions that a message needs.
  void Reach(const Descriptor& message) {
    if (!reached_.insert(schema_.Bare(message.full_name())).second) return;
    for (int i = 0; i < message.field_count(); ++i) {
      const FieldDescriptor& held = HeldBy(*message.field(i));
      if (held.message_type() != nullptr) {
        Reach(*held.message_type());
      } else {
        reached_.insert(DefinitionOf(held));
      }
    }
  }

  // Begins the definition of a type if it is needed.
  template <typename Type>
  bool Begin(const Type& type) {
    const std::string name = schema_.Bare(type.full_name());
    if (reached_.count(name) == 0) return false;
    json_.Key(name).BeginObject();
    json_.Key("title").String(name);
    json_.Key("description").String(schema_.Comment(type));
    return true;
  }

  void Reference(const std::string& name) {
    json_.Key("$ref").String("#/$defs/" + name);
  }
  void Texts(const char* key, const std::vector<std::string>& texts) {
    json_.Key(key).BeginList();
    for (const std::string& text : texts) json_.String(text);
    json_.EndList();
  }

  void Message(const Descriptor& message) {
    Texts("type", {"object", "null"});
    json_.Key("properties").BeginObject();
    for (int i = 0; i < message.field_count(); ++i) {
      for (const std::string& name : NamesOf(*message.field(i))) {
        Property(*message.field(i), name);
      }
    }
    json_.EndObject();
    json_.Key("additionalProperties").Bool(false);
    Rules(message);
    json_.EndObject();
  }

  // What concerns several fields at once.
  void Rules(const Descriptor& message) {
    std::vector<const FieldDescriptor*> renamed;
    for (int i = 0; i < message.field_count(); ++i) {
      const FieldDescriptor& field = *message.field(i);
      if (NamesOf(field).size() > 1) renamed.push_back(&field);
    }
    if (renamed.empty() && message.oneof_decl_count() == 0) return;
    json_.Key("allOf").BeginList();
    for (const FieldDescriptor* field : renamed) NotBoth(*field);
    for (int i = 0; i < message.oneof_decl_count(); ++i) {
      AtMostOne(*message.oneof_decl(i));
    }
    json_.EndList();
  }

  void Property(const FieldDescriptor& field, const std::string& name) {
    json_.Key(name).BeginObject();
    json_.Key("description").String(schema_.Comment(field));
    Content(field);
    json_.EndObject();
  }

  void Content(const FieldDescriptor& field) {
    if (!field.is_repeated()) return Reference(DefinitionOf(field));
    if (field.is_map()) {
      Texts("type", {"object", "null"});
      return Elements("additionalProperties", field);
    }
    if (field.message_type() != nullptr) {
      Texts("type", {"array", "null"});
      return Elements("items", field);
    }
    // One value is read as a list of one.
    json_.Key("anyOf").BeginList();
    json_.BeginObject();
    Texts("type", {"array", "null"});
    Elements("items", field);
    json_.EndObject();
    json_.BeginObject();
    Reference(DefinitionOf(field));
    json_.EndObject();
    json_.EndList();
  }

  void Elements(const char* key, const FieldDescriptor& field) {
    json_.Key(key).BeginObject();
    Reference(DefinitionOf(field));
    json_.EndObject();
  }

  // A field is not there under both of its names.
  void NotBoth(const FieldDescriptor& field) {
    json_.BeginObject();
    json_.Key("not").BeginObject();
    json_.Key("type").String("object");
    Texts("required", NamesOf(field));
    json_.EndObject();
    json_.EndObject();
  }

  // Exactly one is true: no member is set, or this one, or that one.
  void AtMostOne(const OneofDescriptor& oneof) {
    std::vector<std::string> names;
    for (int i = 0; i < oneof.field_count(); ++i) {
      for (const std::string& name : NamesOf(*oneof.field(i))) {
        names.push_back(name);
      }
    }
    json_.BeginObject();
    json_.Key("description").String(schema_.Comment(oneof));
    json_.Key("oneOf").BeginList();
    json_.BeginObject();
    json_.Key("properties").BeginObject();
    for (const std::string& name : names) {
      json_.Key(name).BeginObject();
      json_.Key("type").String("null");
      json_.EndObject();
    }
    json_.EndObject();
    json_.EndObject();
    for (const std::string& name : names) IsSet(name);
    json_.EndList();
    json_.EndObject();
  }

  void IsSet(const std::string& name) {
    json_.BeginObject();
    json_.Key("type").String("object");
    Texts("required", {name});
    json_.Key("properties").BeginObject();
    json_.Key(name).BeginObject();
    json_.Key("not").BeginObject();
    json_.Key("type").String("null");
    json_.EndObject();
    json_.EndObject();
    json_.EndObject();
    json_.EndObject();
  }

  void Enumeration(const EnumDescriptor& enumeration) {
    json_.Key("anyOf").BeginList();
    std::string numbers;
    for (int i = 0; i < enumeration.value_count(); ++i) {
      const auto& value = *enumeration.value(i);
      json_.BeginObject();
      json_.Key("const").String(value.name());
      json_.Key("description").String(schema_.Comment(value));
      json_.EndObject();
      numbers += i == 0 ? "" : "|";
      numbers += DigitsOf(value.number());
    }
    json_.BeginObject();
    json_.Key("description")
        .String("A number, also one that has no name; in a string it has one.");
    Texts("type", {"integer", "string", "null"});
    Range("-2147483648", "2147483647");
    Pattern("^(" + numbers + ")$");
    json_.EndObject();
    json_.EndList();
    json_.EndObject();
  }

  void Scalars() {
    if (Begin("int32", {"integer", "string", "null"},
              "A whole number, or its digits in a string.")) {
      Range("-2147483648", "2147483647");
      Pattern("^(\\+?" + UpTo("2147483647") + "|-" + UpTo("2147483648") + ")$");
      json_.EndObject();
    }
    if (Begin("uint32", {"integer", "string", "null"},
              "A whole number that is not negative, or its digits in a "
              "string.")) {
      Range("0", "4294967295");
      Pattern("^\\+?" + UpTo("4294967295") + "$");
      json_.EndObject();
    }
    if (Begin("bool", {"boolean", "string", "null"},
              "true or false, or a word for it in a string.")) {
      Pattern(kBool);
      json_.EndObject();
    }
    if (Begin("float", {"number", "string", "null"},
              "A number, or a string with a number, NaN, Infinity or "
              "-Infinity.")) {
      Range("-" + std::string(kMostFloat), kMostFloat);
      json_.Key("pattern").String(kFloat);
      json_.EndObject();
    }
    if (Begin("string", {"string", "null"}, "Any text.")) json_.EndObject();
    if (Begin("bytes", {"string", "null"},
              "Base64, also with the alphabet for file names and addresses; "
              "padding can be left out.")) {
      json_.Key("contentEncoding").String("base64");
      Pattern("^(" + Base64Of("+/") + "|" + Base64Of("_-") + ")$");
      json_.EndObject();
    }
  }

  // Begins the definition of a scalar type if it is needed.
  bool Begin(const std::string& name, const std::vector<std::string>& types,
             const char* description) {
    if (reached_.count(name) == 0) return false;
    json_.Key(name).BeginObject();
    json_.Key("description").String(description);
    Texts("type", types);
    return true;
  }

  void Range(const std::string& least, const std::string& most) {
    json_.Key("minimum").Value().Write(least);
    json_.Key("maximum").Value().Write(most);
  }

  // For some programs, "$" also stands before a line feed at the end.
  void Pattern(const std::string& pattern) {
    json_.Key("pattern").String(pattern);
    json_.Key("not").BeginObject();
    json_.Key("type").String("string");
    json_.Key("pattern").String("\n");
    json_.EndObject();
  }

  Schema& schema_;
  JsonWriter json_;
  std::set<std::string> reached_;
};

}  // namespace

void PrintJsonSchema(const Descriptor& message, Schema* schema,
                     Output* output) {
  JsonSchema(schema, output).Print(message);
}

}  // namespace tarn::tool
