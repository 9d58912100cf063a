// Draws by reflection: the type and the name of a field tell what it holds.
#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <string>

#include "messages.h"

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;

std::string Digits(Random& random, int count) {
  std::string digits;
  for (int i = 0; i < count; ++i) digits += char('0' + random.Below(10));
  return digits;
}

std::string Words(Random& random, uint32_t most) {
  static constexpr const char* kWords[] = {"North", "east", "lane",   "sign",
                                           "cash",  "open", "credit", "7"};
  std::string words = kWords[random.Below(8)];
  for (uint32_t more = random.Below(most); more > 0; --more) {
    words += std::string(" ") + kWords[random.Below(8)];
  }
  return words;
}

std::string DrawText(Random& random, const std::string& field) {
  const auto holds = [&field](const char* part) {
    return field.find(part) != std::string::npos;
  };
  if (holds("uuid")) return DrawUuid(random);
  if (holds("Version")) return "3." + Digits(random, 1);
  if (holds("hwId")) return "PX" + Digits(random, 3);
  if (holds("ip_address")) return "10.1.4." + Digits(random, 2);
  if (holds("port")) return "/dev/ttyS" + Digits(random, 1);
  if (holds("price") || holds("offset")) {
    return Digits(random, 1) + "." + Digits(random, 3);
  }
  if (holds("id") || holds("ID")) return Digits(random, 2);
  if (holds("description") || holds("messages")) return Words(random, 8);
  return Words(random, 3);
}

// Mostly small, as counts, addresses and revisions are; seldom negative.
int32_t DrawInt(Random& random) {
  const uint32_t kind = random.Below(100);
  if (kind < 70) return static_cast<int32_t>(random.Below(128));
  if (kind < 92) return static_cast<int32_t>(random.Below(16384));
  if (kind < 98) return static_cast<int32_t>(random.Below(1 << 30));
  return -static_cast<int32_t>(random.Below(1000));
}

// Lists are short, but a list of numbers can also be a whole table. Had the
// compiler seen short ones only, it would copy long ones byte by byte.
uint32_t DrawCount(Random& random, const FieldDescriptor* field) {
  if (!field->is_repeated()) return 1;
  if (field->is_packed() && random.Chance(25)) return random.Below(2000);
  return 1 + random.Below(5);
}

// The kind of node to expect below a message of the given type.
const char* NodeBelow(Random& random, const std::string& type) {
  if (type == "Server") return "client";
  if (type == "Client" || type == "Direct") return "display";
  if (type == "Display") {
    return random.Chance(95) ? "module" : "getStatusModule";
  }
  return random.Chance(80) ? "server" : "direct";
}

void DrawNode(Random& random, const std::string& parent, Message& node) {
  const FieldDescriptor* kind =
      node.GetDescriptor()->FindFieldByName(NodeBelow(random, parent));
  Draw(random, *node.GetReflection()->MutableMessage(&node, kind));
}

void DrawSubmessage(Random& random, const std::string& parent,
                    Message& message) {
  if (message.GetDescriptor()->name() == "ChildTypes") {
    DrawNode(random, parent, message);
  } else {
    Draw(random, message);
  }
}

// Sets a singular field, or adds one element to a repeated one.
void DrawField(Random& random, const FieldDescriptor* field, Message& message) {
  const Reflection* to = message.GetReflection();
  const auto put = [&](auto set, auto add, auto value) {
    field->is_repeated() ? (to->*add)(&message, field, value)
                         : (to->*set)(&message, field, value);
  };
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      put(&Reflection::SetInt32, &Reflection::AddInt32, DrawInt(random));
      break;
    case FieldDescriptor::CPPTYPE_UINT32:
      put(&Reflection::SetUInt32, &Reflection::AddUInt32,
          static_cast<uint32_t>(DrawInt(random)));
      break;
    case FieldDescriptor::CPPTYPE_FLOAT:
      put(&Reflection::SetFloat, &Reflection::AddFloat,
          static_cast<float>(random.Below(400)) / 8 - 30);
      break;
    case FieldDescriptor::CPPTYPE_BOOL:
      put(&Reflection::SetBool, &Reflection::AddBool, random.Chance(40));
      break;
    case FieldDescriptor::CPPTYPE_ENUM: {
      // The value after zero stands for the usual case: ok, Startup.
      const int count = field->enum_type()->value_count();
      const int index = random.Chance(70) ? 1 : random.Below(count);
      put(&Reflection::SetEnumValue, &Reflection::AddEnumValue,
          field->enum_type()->value(index)->number());
      break;
    }
    case FieldDescriptor::CPPTYPE_STRING: {
      const std::string text = field->type() == FieldDescriptor::TYPE_BYTES
                                   ? std::string(random.Below(4000), '\xa5')
                                   : DrawText(random, field->name());
      field->is_repeated() ? to->AddString(&message, field, text)
                           : to->SetString(&message, field, text);
      break;
    }
    case FieldDescriptor::CPPTYPE_MESSAGE: {
      Message* below = field->is_repeated()
                           ? to->AddMessage(&message, field)
                           : to->MutableMessage(&message, field);
      DrawSubmessage(random, message.GetDescriptor()->name(), *below);
      break;
    }
    default:
      break;
  }
}

}  // namespace

uint32_t Random::Below(uint32_t limit) {
  state_ = state_ * 6364136223846793005 + 1442695040888963407;
  return static_cast<uint32_t>(((state_ >> 32) * limit) >> 32);
}

std::string DrawUuid(Random& random) {
  std::string uuid;
  for (int i = 0; i < 36; ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    uuid += dash ? '-' : "0123456789abcdef"[random.Below(16)];
  }
  return uuid;
}

void Draw(Random& random, Message& message) {
  const auto* type = message.GetDescriptor();
  if (type->name() == "ChildTypes") {
    DrawNode(random, "", message);
    return;
  }
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    if (field->is_map() || !random.Chance(85)) continue;
    const uint32_t count = DrawCount(random, field);
    for (uint32_t n = 0; n < count; ++n) DrawField(random, field, message);
  }
}
