// Builds the tables from the generated descriptors, and the comments from the
// descriptor set that is linked into the tool.
#include "schema.h"

#include <google/protobuf/descriptor.pb.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "failure.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;

constexpr int kMaxFieldNumber = 63;
constexpr char kPackage[] = "tarn.";

enum Wire { kVarint = 0, kLength = 2, kFixed32 = 5 };

std::pair<Kind, Wire> KindOf(const FieldDescriptor& field) {
  switch (field.type()) {
    case FieldDescriptor::TYPE_INT32:
      return {Kind::kInt32, kVarint};
    case FieldDescriptor::TYPE_UINT32:
      return {Kind::kUint32, kVarint};
    case FieldDescriptor::TYPE_BOOL:
      return {Kind::kBool, kVarint};
    case FieldDescriptor::TYPE_ENUM:
      return {Kind::kEnum, kVarint};
    case FieldDescriptor::TYPE_FLOAT:
      return {Kind::kFloat, kFixed32};
    case FieldDescriptor::TYPE_STRING:
      return {Kind::kString, kLength};
    case FieldDescriptor::TYPE_BYTES:
      return {Kind::kBytes, kLength};
    case FieldDescriptor::TYPE_MESSAGE:
      return {Kind::kMessage, kLength};
    default:
      GOOGLE_LOG(FATAL) << field.full_name() << ": a type without a walker";
  }
  return {};
}

template <typename Entity>
void CollectMessages(const Entity& parent, int count,
                     const Descriptor* (Entity::*at)(int) const,
                     std::vector<const Descriptor*>* messages) {
  for (int i = 0; i < count; ++i) {
    const Descriptor* message = (parent.*at)(i);
    if (message->options().map_entry()) continue;
    messages->push_back(message);
    CollectMessages(*message, message->nested_type_count(),
                    &Descriptor::nested_type, messages);
  }
}

// Joins the lines of a comment; an empty line starts a new paragraph, and so
// does an item of a list.
std::string Join(std::string_view comment) {
  std::string joined;
  bool paragraph = false;
  while (!comment.empty()) {
    const size_t size = std::min(comment.find('\n'), comment.size());
    std::string_view line = comment.substr(0, size);
    comment.remove_prefix(std::min(size + 1, comment.size()));
    while (!line.empty() && line.front() == ' ') line.remove_prefix(1);
    while (!line.empty() && line.back() == ' ') line.remove_suffix(1);
    if (line.empty()) {
      paragraph = true;
      continue;
    }
    if (line.substr(0, 2) == "- ") paragraph = true;
    if (!joined.empty()) joined += paragraph ? "\n\n" : " ";
    paragraph = false;
    joined += line;
  }
  return joined;
}

template <typename Entity>
std::string CommentOf(const Entity* entity) {
  google::protobuf::SourceLocation location;
  if (entity == nullptr || !entity->GetSourceLocation(&location)) return "";
  return Join(location.leading_comments);
}

char Lower(char c) { return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c; }

// Levenshtein's distance, case ignored.
size_t Distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (size_t i = 0; i < a.size(); ++i) {
    size_t diagonal = row[0]++;
    for (size_t j = 0; j < b.size(); ++j) {
      const size_t replaced = diagonal + (Lower(a[i]) != Lower(b[j]));
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

}  // namespace

bool IsSecret(const FieldDescriptor& field) {
  return field.full_name() == "tarn.Wifi.pass";
}

Schema::Schema(bool show_secrets) : show_secrets_(show_secrets) {}
Schema::~Schema() = default;

// Uses a class of each file, so that the linker keeps the library.
std::vector<const FileDescriptor*> Schema::files() const {
  return {tarn::Server::descriptor()->file(), tarn::Wifi::descriptor()->file()};
}

const Type& Schema::Find(const std::string& name) {
  const std::string package(kPackage);
  // Builds the one file that has the type.
  const DescriptorPool* pool = DescriptorPool::generated_pool();
  for (const std::string& full : {name, package + name}) {
    const Descriptor* descriptor = pool->FindMessageTypeByName(full);
    if (descriptor != nullptr && full.rfind(package, 0) == 0 &&
        !descriptor->options().map_entry()) {
      return Table(*descriptor);
    }
  }
  std::vector<std::string> names;
  for (const Descriptor* message : Messages()) names.push_back(message->name());
  throw Failure(kUnknownName,
                "no message type " + name + DidYouMean(Bare(name), names));
}

const Type& Schema::Table(const Descriptor& descriptor) {
  std::unique_ptr<Type>& type = types_[&descriptor];
  if (type != nullptr) return *type;
  type = std::make_unique<Type>();
  // Types refer to each other, so a type is entered before its fields are
  // built. The map may move its entries meanwhile.
  Type& table = *type;
  table.descriptor = &descriptor;
  table.index = types_.size() - 1;
  for (int i = 0; i < descriptor.field_count(); ++i) {
    const FieldDescriptor& from = *descriptor.field(i);
    const uint32_t number = from.number();
    GOOGLE_CHECK_LE(number, kMaxFieldNumber) << from.full_name();
    if (table.fields.size() <= number) table.fields.resize(number + 1);
    table.limit = table.fields.size();
    const auto [kind, wire] = KindOf(from);
    Field& field = table.fields[number];
    field.descriptor = &from;
    field.name = from.name();
    field.json_key = '"' + from.json_name() + "\":";
    field.number = number;
    field.tag = number << 3 | wire;
    if (from.is_packable()) field.packed_tag = number << 3 | kLength;
    field.kind = kind;
    field.repeated = from.is_repeated();
    field.map = from.is_map();
    field.secret = IsSecret(from);
    if (field.repeated) field.slot = table.slots++;
    if (const auto* oneof = from.containing_oneof()) {
      for (int j = 0; j < oneof->field_count(); ++j) {
        field.other_members |= uint64_t{1} << oneof->field(j)->number();
      }
      field.other_members &= ~(uint64_t{1} << number);
    }
    if (kind == Kind::kEnum) field.enumeration = &EnumTable(*from.enum_type());
    if (kind == Kind::kMessage) field.type = &Table(*from.message_type());
  }
  GuardSecrets(&table);
  return table;
}

void Schema::GuardSecrets(Type* type) const {
  for (const Field& field : type->fields) type->secret |= field.secret;
  for (Field& field : type->fields) field.maskable = type->secret;
  type->masked = type->secret && !show_secrets_;
}

const Enum& Schema::EnumTable(const EnumDescriptor& descriptor) {
  std::unique_ptr<Enum>& table = enums_[&descriptor];
  if (table != nullptr) return *table;
  table = std::make_unique<Enum>();
  table->descriptor = &descriptor;
  for (int i = 0; i < descriptor.value_count(); ++i) {
    const auto& value = *descriptor.value(i);
    GOOGLE_CHECK(value.number() >= 0 && value.number() < 1024)
        << value.full_name();
    const size_t number = value.number();
    if (table->names.size() <= number) table->names.resize(number + 1);
    if (table->names[number].empty()) table->names[number] = value.name();
  }
  return *table;
}

std::vector<const Descriptor*> Schema::Messages() const {
  std::vector<const Descriptor*> messages;
  for (const FileDescriptor* file : files()) {
    CollectMessages(*file, file->message_type_count(),
                    &FileDescriptor::message_type, &messages);
  }
  return messages;
}

std::vector<const EnumDescriptor*> Schema::Enums() const {
  std::vector<const EnumDescriptor*> enums;
  for (const FileDescriptor* file : files()) {
    for (int i = 0; i < file->enum_type_count(); ++i) {
      enums.push_back(file->enum_type(i));
    }
  }
  for (const Descriptor* message : Messages()) {
    for (int i = 0; i < message->enum_type_count(); ++i) {
      enums.push_back(message->enum_type(i));
    }
  }
  return enums;
}

std::string Schema::Bare(const std::string& name) const {
  const std::string package(kPackage);
  return name.rfind(package, 0) == 0 ? name.substr(package.size()) : name;
}

std::vector<std::string> Schema::Names() const {
  std::vector<std::string> names;
  for (const Descriptor* message : Messages()) {
    names.push_back(Bare(message->full_name()));
    for (int i = 0; i < message->field_count(); ++i) {
      names.push_back(Bare(message->field(i)->full_name()));
    }
    for (int i = 0; i < message->oneof_decl_count(); ++i) {
      names.push_back(Bare(message->oneof_decl(i)->full_name()));
    }
  }
  for (const EnumDescriptor* enumeration : Enums()) {
    const std::string name = Bare(enumeration->full_name());
    names.push_back(name);
    for (int i = 0; i < enumeration->value_count(); ++i) {
      names.push_back(name + '.' + enumeration->value(i)->name());
    }
    for (int i = 0; i < enumeration->value_count(); ++i) {
      names.push_back(Bare(enumeration->value(i)->full_name()));
    }
  }
  return names;
}

const DescriptorPool& Schema::Documented() {
  if (documented_ == nullptr) {
    const std::string_view bytes = DescriptorSetBytes();
    google::protobuf::FileDescriptorSet set;
    GOOGLE_CHECK(set.ParseFromArray(bytes.data(), bytes.size()));
    documented_ = std::make_unique<DescriptorPool>();
    for (const auto& file : set.file()) {
      GOOGLE_CHECK(documented_->BuildFile(file) != nullptr);
    }
  }
  return *documented_;
}

std::string Schema::Comment(const FileDescriptor& file) {
  google::protobuf::SourceLocation location;
  const FileDescriptor* documented = Documented().FindFileByName(file.name());
  documented->GetSourceLocation(
      {google::protobuf::FileDescriptorProto::kSyntaxFieldNumber}, &location);
  std::string text;
  for (const std::string& comment : location.leading_detached_comments) {
    text += comment + '\n';
  }
  return Join(text + location.leading_comments);
}

std::string Schema::Comment(const Descriptor& message) {
  return CommentOf(Documented().FindMessageTypeByName(message.full_name()));
}

std::string Schema::Comment(const FieldDescriptor& field) {
  return CommentOf(Documented().FindFieldByName(field.full_name()));
}

std::string Schema::Comment(const EnumDescriptor& enumeration) {
  return CommentOf(Documented().FindEnumTypeByName(enumeration.full_name()));
}

std::string Schema::Comment(
    const google::protobuf::EnumValueDescriptor& value) {
  return CommentOf(Documented().FindEnumValueByName(value.full_name()));
}

std::string Schema::Comment(const google::protobuf::OneofDescriptor& oneof) {
  return CommentOf(Documented().FindOneofByName(oneof.full_name()));
}

std::string_view FirstSentence(std::string_view comment) {
  comment = comment.substr(0, comment.find("\n\n"));
  const size_t end = comment.find(". ");
  return end == comment.npos ? comment : comment.substr(0, end + 1);
}

std::vector<std::string> Nearest(std::string_view name,
                                 const std::vector<std::string>& candidates,
                                 bool beginnings) {
  constexpr size_t kTelling = 4;  // letters of a beginning
  std::vector<std::pair<size_t, std::string>> near;
  for (const std::string& candidate : candidates) {
    const size_t distance = Distance(name, candidate);
    // The members of what begins with the name are not meant.
    const bool begins = beginnings && name.size() >= kTelling &&
                        candidate.find('.', name.size()) == candidate.npos &&
                        Distance(name, candidate.substr(0, name.size())) == 0;
    if (begins || distance <= std::max<size_t>(2, name.size() / 3)) {
      near.emplace_back(distance, candidate);
    }
  }
  std::stable_sort(near.begin(), near.end(), [](const auto& a, const auto& b) {
    return a.first < b.first;
  });
  if (near.size() > 3) near.resize(3);
  std::vector<std::string> names;
  for (auto& [distance, candidate] : near) names.push_back(candidate);
  return names;
}

std::string DidYouMean(std::string_view name,
                       const std::vector<std::string>& candidates,
                       bool beginnings) {
  const std::vector<std::string> names = Nearest(name, candidates, beginnings);
  std::string text;
  for (size_t i = 0; i < names.size(); ++i) {
    text += i == 0 ? ", did you mean " : i + 1 == names.size() ? " or " : ", ";
    text += names[i];
  }
  return text.empty() ? text : text + "?";
}

}  // namespace tarn::tool
