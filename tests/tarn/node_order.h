// Compares messages without the order of their nodes.
#ifndef TESTS_TARN_NODE_ORDER_H_
#define TESTS_TARN_NODE_ORDER_H_

#include <google/protobuf/message.h>
#include <tarn/Network.pb.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "encoding.h"

namespace node_order {

using Nodes = std::vector<tarn::ChildTypes>;

inline std::string UuidOf(const tarn::ChildTypes& node) {
  switch (node.types_case()) {
    case tarn::ChildTypes::kServer:
      return node.server().uuid();
    case tarn::ChildTypes::kClient:
      return node.client().uuid();
    case tarn::ChildTypes::kDisplay:
      return node.display().uuid();
    case tarn::ChildTypes::kModule:
      return node.module().uuid();
    case tarn::ChildTypes::kDirect:
      return node.direct().uuid();
    default:
      return "";
  }
}

// Calls `arrange` for each list of nodes in a message, innermost first.
inline void ArrangeNodes(google::protobuf::Message* message,
                         const std::function<void(Nodes* nodes)>& arrange) {
  using google::protobuf::FieldDescriptor;
  const auto& reflection = *message->GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection.ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->message_type() == nullptr || field->is_map()) continue;
    if (!field->is_repeated()) {
      ArrangeNodes(reflection.MutableMessage(message, field), arrange);
      continue;
    }
    const int size = reflection.FieldSize(*message, field);
    for (int i = 0; i < size; ++i) {
      ArrangeNodes(reflection.MutableRepeatedMessage(message, field, i),
                   arrange);
    }
    if (field->message_type() != tarn::ChildTypes::descriptor()) continue;
    Nodes nodes(size);
    for (int i = 0; i < size; ++i) {
      nodes[i].CopyFrom(reflection.GetRepeatedMessage(*message, field, i));
    }
    arrange(&nodes);
    for (int i = 0; i < size; ++i) {
      reflection.MutableRepeatedMessage(message, field, i)->CopyFrom(nodes[i]);
    }
  }
}

// Canonical bytes with the nodes of each list by kind and uuid.
inline std::string InOrder(const google::protobuf::Message& message) {
  const std::unique_ptr<google::protobuf::Message> ordered(message.New());
  ordered->CopyFrom(message);
  ArrangeNodes(ordered.get(), [](Nodes* nodes) {
    std::stable_sort(nodes->begin(), nodes->end(),
                     [](const auto& a, const auto& b) {
                       return std::make_pair(a.types_case(), UuidOf(a)) <
                              std::make_pair(b.types_case(), UuidOf(b));
                     });
  });
  return tarn::tool::Canonical(*ordered);
}

}  // namespace node_order

#endif  // TESTS_TARN_NODE_ORDER_H_
