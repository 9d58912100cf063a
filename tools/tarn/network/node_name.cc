// Names nodes by their fields.
#include "node_name.h"

#include <charconv>

#include "failure.h"
#include "output.h"
#include "value_text.h"

namespace tarn::tool {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

constexpr const char* kAddressFields[] = {"port",       "networkId", "channel",
                                          "linearAddr", "nodeAddr",  "assyAddr",
                                          "assyId"};

// A field of text or number in words: the beginning of a long text, and nothing
// for zero or where there is no such field.
std::string ShortField(const Message& message, const char* name) {
  const FieldDescriptor* field = message.GetDescriptor()->FindFieldByName(name);
  if (field == nullptr) return "";
  const auto& reflection = *message.GetReflection();
  if (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
    std::string scratch;
    return Shortened(reflection.GetStringReference(message, field, &scratch));
  }
  const int32_t number = reflection.GetInt32(message, field);
  return number == 0 ? "" : std::to_string(number);
}

}  // namespace

NodeName NameNode(const std::string& kind, const Message* node) {
  NodeName name;
  name.kind = kind;
  name.label = KindWord(kind);
  if (node == nullptr) return name;
  name.name = ShortField(*node, "name");
  name.uuid = ShortField(*node, "uuid");
  const std::string hardware = ShortField(*node, "hwId");
  if (!name.name.empty()) {
    name.label += ' ' + InQuotes(name.name);
  } else {
    if (!hardware.empty()) name.label += ' ' + Escaped(hardware);
    if (!name.uuid.empty()) name.label += ' ' + Escaped(name.uuid);
  }
  if (!name.uuid.empty()) return name;
  for (const auto& [field, value] : AddressOf(node)) {
    name.label += ' ' + field + ' ' + Escaped(value);
  }
  return name;
}

void WriteName(const NodeName& name, JsonWriter* json) {
  json->Key("kind").String(KindName(name.kind));
  if (!name.name.empty()) json->Key("name").String(name.name);
  if (!name.uuid.empty()) json->Key("uuid").String(name.uuid);
}

std::string LabelOf(const std::string& kind, const Message* node,
                    size_t columns) {
  std::string word = KindWord(kind);
  if (node == nullptr) return word;
  const std::string name = TextField(*node, "name");
  if (!name.empty()) return word + ' ' + InQuotes(name, columns);
  for (const char* field : {"hwId", "uuid"}) {
    const std::string text = TextField(*node, field);
    if (!text.empty()) return word + ' ' + Escaped(text, "\\", columns);
  }
  return word;
}

void AppendPlace(int place, std::string* path) {
  if (!path->empty()) *path += '.';
  *path += std::to_string(place);
}

std::vector<int> ParsePath(const std::string& path) {
  std::vector<int> places;
  const char* p = path.data();
  const char* const end = p + path.size();
  while (true) {
    int place;
    const auto [next, error] = std::from_chars(p, end, place);
    const bool digit = p < end && *p >= '0' && *p <= '9';
    if (error != std::errc() || !digit) break;
    places.push_back(place);
    if (next == end) return places;
    if (*next != '.') break;
    p = next + 1;
  }
  throw Failure(kUsage, path + " is no path of a node, such as 0.3.2");
}

std::vector<std::pair<std::string, std::string>> AddressOf(
    const Message* node) {
  std::vector<std::pair<std::string, std::string>> address;
  if (node == nullptr) return address;
  for (const char* field : kAddressFields) {
    const std::string text = ShortField(*node, field);
    if (!text.empty()) address.emplace_back(field, text);
  }
  return address;
}

std::string KindName(const std::string& kind) {
  return kind.empty() ? "none" : kind;
}

std::string KindWord(const std::string& kind) {
  if (kind == "direct") return "direct link";
  if (kind == "getStatusModule") return "status record";
  return kind.empty() ? "kindless node" : kind;
}

std::string TextField(const Message& message, const char* name) {
  const FieldDescriptor* field = message.GetDescriptor()->FindFieldByName(name);
  if (field == nullptr) return "";
  return message.GetReflection()->GetString(message, field);
}

}  // namespace tarn::tool
