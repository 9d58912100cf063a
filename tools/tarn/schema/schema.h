// The message types: flat tables for the walker, look-up by name, and the
// comments of the schema files.
#ifndef TOOLS_TARN_SCHEMA_H_
#define TOOLS_TARN_SCHEMA_H_

#include <google/protobuf/descriptor.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tarn::tool {

struct Type;

enum class Kind : uint8_t {
  kNone,  // no such field
  kInt32,
  kUint32,
  kBool,
  kEnum,
  kFloat,
  kString,
  kBytes,
  kMessage,  // map entries too
};

// The name of a wire type from 0 to 5, as JSON and tables have it.
inline constexpr std::string_view kWireNames[] = {
    "varint", "fixed64", "length", "start", "end", "fixed32"};

struct Enum {
  const google::protobuf::EnumDescriptor* descriptor;
  std::vector<std::string_view> names;  // by number; empty: not declared

  // The name of a number, empty when it is not declared.
  std::string_view Name(int32_t number) const {
    const uint32_t index = static_cast<uint32_t>(number);
    return index < names.size() ? names[index] : std::string_view();
  }
};

// A field as the walker and the printers need it.
struct Field {
  const google::protobuf::FieldDescriptor* descriptor = nullptr;
  const Type* type = nullptr;         // of a message
  const Enum* enumeration = nullptr;  // of an enum
  std::string_view name;
  std::string json_key;        // with quotes and colon, ready to write
  uint64_t other_members = 0;  // bits of the other members of its oneof
  uint32_t number = 0;
  uint32_t tag = 0;         // of one value
  uint32_t packed_tag = 0;  // of many values in one record; 0: cannot be
  int slot = -1;            // counter of a repeated field within its record
  Kind kind = Kind::kNone;
  bool repeated = false;
  bool map = false;
  bool secret = false;    // hidden unless --show-secrets is given
  bool maskable = false;  // it, or another field of its message, is secret
};

// A message type. Field numbers are below 64, so that a set of fields fits into
// one word. If one is not, building the table stops the program.
struct Type {
  const google::protobuf::Descriptor* descriptor;
  std::vector<Field> fields;  // by number
  uint32_t limit = 0;         // the number of fields
  int slots = 0;              // repeated fields
  size_t index = 0;           // among the types of the schema that has it
  bool secret = false;        // has a secret field
  bool masked = false;        // errors and paths must hide its bytes

  const Field* Find(uint32_t number) const {
    return number < limit && fields[number].kind != Kind::kNone
               ? &fields[number]
               : nullptr;
  }
};

// Stands for a text that is not shown.
inline constexpr std::string_view kMask = "***";

// Whether the text of a field is shown to nobody who does not ask for it.
bool IsSecret(const google::protobuf::FieldDescriptor& field);

class Schema {
 public:
  explicit Schema(bool show_secrets = false);
  ~Schema();

  // The table of a type named `Server` or `tarn.Server`. An unknown name is a
  // Failure that offers the nearest names.
  const Type& Find(const std::string& name);
  const Type& Table(const google::protobuf::Descriptor& descriptor);

  // The two schema files, in the order of their names in the library. The first
  // use of a file builds its descriptors, which takes a large part of a short
  // run.
  std::vector<const google::protobuf::FileDescriptor*> files() const;

  // All message types of both files as declared, nested ones included but no
  // map entries.
  std::vector<const google::protobuf::Descriptor*> Messages() const;
  std::vector<const google::protobuf::EnumDescriptor*> Enums() const;

  // A full name without its package.
  std::string Bare(const std::string& name) const;

  // The names of everything that has a comment. Enum values come twice: with
  // the name of their enum and without.
  std::vector<std::string> Names() const;

  // The comments at the start of a file, before its first statement, joined in
  // the same way as those below.
  std::string Comment(const google::protobuf::FileDescriptor& file);

  // The comment in front of a message, field, enum or enum value, given by its
  // full name; lines are joined; paragraphs, and the items of a list, which
  // begin with "- ", are kept apart by "\n\n".
  std::string Comment(const google::protobuf::Descriptor& message);
  std::string Comment(const google::protobuf::FieldDescriptor& field);
  std::string Comment(const google::protobuf::EnumDescriptor& enumeration);
  std::string Comment(const google::protobuf::EnumValueDescriptor& value);
  std::string Comment(const google::protobuf::OneofDescriptor& oneof);

 private:
  const google::protobuf::DescriptorPool& Documented();
  void GuardSecrets(Type* type) const;
  const Enum& EnumTable(const google::protobuf::EnumDescriptor& descriptor);

  const bool show_secrets_;
  std::unordered_map<const google::protobuf::Descriptor*, std::unique_ptr<Type>>
      types_;
  std::unordered_map<const google::protobuf::EnumDescriptor*,
                     std::unique_ptr<Enum>>
      enums_;
  std::unique_ptr<google::protobuf::DescriptorPool> documented_;
};

// The first sentence of a comment.
std::string_view FirstSentence(std::string_view comment);

// Up to three candidates that are most like the name or, if asked for, begin
// with it, the nearest first. Case does not count.
std::vector<std::string> Nearest(std::string_view name,
                                 const std::vector<std::string>& candidates,
                                 bool beginnings = true);

// ", did you mean A, B or C?"; empty if no candidate is near.
std::string DidYouMean(std::string_view name,
                       const std::vector<std::string>& candidates,
                       bool beginnings = true);

// The descriptor set of both schema files with comments, as bytes.
std::string_view DescriptorSetBytes();

}  // namespace tarn::tool

#endif  // TOOLS_TARN_SCHEMA_H_
