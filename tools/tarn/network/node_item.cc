// Looks into nodes: by generated code where many are compared, else by
// reflection.
#include "node_item.h"

#include <tarn/Network.pb.h>

#include <typeinfo>
#include <vector>

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;

// The fields that matter here of one kind of node.
struct KindFields {
  const FieldDescriptor* member = nullptr;
  const FieldDescriptor* uuid = nullptr;
  const FieldDescriptor* children = nullptr;
};

// By the number of the member of ChildTypes.
const KindFields& FieldsOfKind(int number) {
  static const auto& table = *[] {
    const Descriptor& type = *tarn::ChildTypes::descriptor();
    auto* kinds = new std::vector<KindFields>;
    for (int i = 0; i < type.field_count(); ++i) {
      const FieldDescriptor* member = type.field(i);
      const size_t index = member->number();
      if (kinds->size() <= index) kinds->resize(index + 1);
      const Descriptor& node = *member->message_type();
      (*kinds)[index] = {member, node.FindFieldByName("uuid"),
                         node.FindFieldByName("children")};
    }
    return kinds;
  }();
  return table[number];
}

// The number of the node kind that the type is; 0 if it is not a node.
int KindOfType(const Descriptor& type) {
  const Descriptor& node = *tarn::ChildTypes::descriptor();
  for (int i = 0; i < node.field_count(); ++i) {
    if (node.field(i)->message_type() == &type) return node.field(i)->number();
  }
  return 0;
}

// The ChildTypes that holds a node; null if there is none.
const tarn::ChildTypes* WrapperOf(const NodeItem& item) {
  // Asking for the descriptor would take longer than all else here.
  return typeid(item) == typeid(tarn::ChildTypes)
             ? static_cast<const tarn::ChildTypes*>(&item)
             : nullptr;
}

std::string_view UuidOf(const NodeItem& item) {
  if (const tarn::ChildTypes* wrapper = WrapperOf(item)) {
    switch (wrapper->types_case()) {
      case tarn::ChildTypes::kServer:
        return wrapper->server().uuid();
      case tarn::ChildTypes::kClient:
        return wrapper->client().uuid();
      case tarn::ChildTypes::kDisplay:
        return wrapper->display().uuid();
      case tarn::ChildTypes::kModule:
        return wrapper->module().uuid();
      case tarn::ChildTypes::kDirect:
        return wrapper->direct().uuid();
      case tarn::ChildTypes::kGetStatusModule:
      case tarn::ChildTypes::TYPES_NOT_SET:
        return {};
    }
  }
  const FieldDescriptor* uuid = FieldsOfKind(KindOf(item)).uuid;
  if (uuid == nullptr) return {};
  std::string scratch;
  return item.GetReflection()->GetStringReference(item, uuid, &scratch);
}

}  // namespace

bool IsNode(const Descriptor& type) {
  return &type == tarn::ChildTypes::descriptor() || KindOfType(type) != 0;
}

int KindOf(const NodeItem& item) {
  const tarn::ChildTypes* wrapper = WrapperOf(item);
  return wrapper != nullptr ? wrapper->types_case()
                            : KindOfType(*item.GetDescriptor());
}

NodeKey KeyOf(const NodeItem& item) { return {KindOf(item), UuidOf(item)}; }

NodeParts PartsOf(const NodeItem& item) {
  NodeParts parts;
  parts.member = FieldsOfKind(KindOf(item)).member;
  if (WrapperOf(item) == nullptr) {
    parts.message = &item;
    return parts;
  }
  parts.wrapper = &item;
  if (parts.member != nullptr) {
    parts.message = &item.GetReflection()->GetMessage(item, parts.member);
  }
  return parts;
}

int NodeList::size() const {
  if (message == nullptr || field == nullptr) return message != nullptr;
  const auto& reflection = *message->GetReflection();
  return field->is_repeated() ? reflection.FieldSize(*message, field)
                              : reflection.HasField(*message, field);
}

const NodeItem& NodeList::at(int i) const {
  if (field == nullptr) return *message;
  const auto& reflection = *message->GetReflection();
  return field->is_repeated()
             ? reflection.GetRepeatedMessage(*message, field, i)
             : reflection.GetMessage(*message, field);
}

NodeList ChildrenOf(const NodeItem& item) {
  const FieldDescriptor* children = FieldsOfKind(KindOf(item)).children;
  if (children == nullptr) return {};
  return {PartsOf(item).message, children};
}

}  // namespace tarn::tool
