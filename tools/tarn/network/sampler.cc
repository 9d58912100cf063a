// Fills messages field by field, with what fields usually hold.
#include "sampler.h"

#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "status_words.h"
#include "usual_values.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

bool NamesNode(const std::string& field) {
  return field == "uuid" ||
         (field.size() > 5 && field.compare(field.size() - 5, 5, "_uuid") == 0);
}

// Whether the entries of a list have different texts in the field.
bool TellsApart(const std::string& field) {
  return field == "name" || field == "id" || field == "product_id" ||
         field == "productIDString" || field == "messages";
}

uint64_t CountOf(std::string_view choices) {
  return std::count(choices.begin(), choices.end(), '|') + 1;
}

std::string Choice(std::string_view choices, uint64_t number) {
  for (; number > 0; --number) choices.remove_prefix(choices.find('|') + 1);
  return std::string(choices.substr(0, choices.find('|')));
}

// The least and the most entries of a list with a random length.
constexpr int kLeastEntries = 2;
constexpr int kMostEntries = 5;

// "coffee-cash": the name and the kind of payment.
std::string IdOf(const tarn::Product& product) {
  std::string id = product.name() + "-" + product.pay_type();
  for (char& c : id) {
    c = c == ' ' ? '-' : static_cast<char>(std::tolower(c));
  }
  return id;
}

// The kind of node that usually stands below a parent.
const Descriptor& KindBelow(const Descriptor& parent) {
  if (&parent == tarn::Server::descriptor()) return *tarn::Client::descriptor();
  if (&parent == tarn::Client::descriptor() ||
      &parent == tarn::Direct::descriptor()) {
    return *tarn::Display::descriptor();
  }
  if (&parent == tarn::Display::descriptor()) {
    return *tarn::Module::descriptor();
  }
  return *tarn::Server::descriptor();
}

int LengthOfNodes(const FieldDescriptor& list, const NetworkShape& shape) {
  const Descriptor* holder = list.containing_type();
  if (holder == tarn::Server::descriptor()) return shape.clients;
  if (holder == tarn::Client::descriptor()) return shape.displays;
  if (holder == tarn::Direct::descriptor()) return shape.displays;
  if (holder == tarn::Display::descriptor()) return shape.modules;
  return 1;
}

}  // namespace

double MostNodes(const Descriptor& type, const NetworkShape& shape) {
  if (&type == tarn::ChildTypes::descriptor()) {
    return 1 + MostNodes(KindBelow(type), shape);
  }
  double nodes = 0;
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& field = *type.field(i);
    if (field.message_type() == nullptr || field.is_map()) continue;
    if (field.message_type() == tarn::ChildTypes::descriptor()) {
      const int length = field.is_repeated() ? LengthOfNodes(field, shape) : 1;
      nodes += length * (1 + MostNodes(KindBelow(type), shape));
    } else {
      nodes += (field.is_repeated() ? kMostEntries : 1) *
               MostNodes(*field.message_type(), shape);
    }
  }
  return nodes;
}

std::string Sampler::Uuid() {
  const uint64_t high = (random_() & ~uint64_t{0xF000}) | 0x4000;
  const uint64_t low = random_() >> 2 | uint64_t{1} << 63;
  char text[40];
  std::snprintf(text, sizeof text, "%08x-%04x-%04x-%04x-%012llx",
                static_cast<unsigned>(high >> 32),
                static_cast<unsigned>(high >> 16 & 0xFFFF),
                static_cast<unsigned>(high & 0xFFFF),
                static_cast<unsigned>(low >> 48),
                static_cast<unsigned long long>(low & 0xFFFFFFFFFFFF));
  return text;
}

std::string Sampler::Text(const FieldDescriptor& field) {
  if (NamesNode(field.name())) return Uuid();
  const std::string& name = field.name();
  if (name == "price" || name == "set_price" || name == "display_price") {
    char text[16];
    // Drawn in separate statements: the order of function arguments differs
    // between processors.
    const int twentieths = static_cast<int>(Below(20));
    const int whole = static_cast<int>(Below(9)) + 1;
    std::snprintf(text, sizeof text, "%d.%02d", whole, twentieths * 5);
    return text;
  }
  if (field.type() == FieldDescriptor::TYPE_BYTES) {
    std::string bytes(8 + Below(57), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random_());
    return bytes;
  }
  const std::string_view choices = UsualTexts(field);
  if (choices.empty()) return "text " + std::to_string(Below(100));
  if (position_ < 0 || !TellsApart(name)) {
    return Choice(choices, Below(CountOf(choices)));
  }
  const uint64_t count = CountOf(choices);
  std::string text = Choice(choices, position_ % count);
  if (position_ >= static_cast<int64_t>(count)) {
    text += ' ' + std::to_string(position_ / count + 1);
  }
  return text;
}

int32_t Sampler::Number(const FieldDescriptor& field) {
  const std::string& name = field.name();
  if (name == "line_num" || name == "number" || name == "frame") {
    return std::max(position_, 0) + 1;
  }
  const Range* range = UsualRange(field);
  if (range == nullptr) return static_cast<int32_t>(Below(100));
  return range->low + static_cast<int32_t>(Below(range->high - range->low + 1));
}

int32_t Sampler::EnumNumber(const FieldDescriptor& field) {
  const auto& type = *field.enum_type();
  if (&type == tarn::StatusCodes_descriptor() && Chance(85)) return tarn::ok;
  if (&type == tarn::DisplaySubtypes_descriptor() && Chance(70)) {
    return tarn::price;
  }
  // The first of many values means that none is given.
  const int skip = type.value_count() > 2 ? 1 : 0;
  return type.value(skip + Below(type.value_count() - skip))->number();
}

int Sampler::Length(const FieldDescriptor& list) {
  if (list.message_type() == tarn::ChildTypes::descriptor()) {
    return LengthOfNodes(list, shape_);
  }
  return kLeastEntries +
         static_cast<int>(Below(kMostEntries - kLeastEntries + 1));
}

void Sampler::Set(Message* message, const FieldDescriptor& field) {
  const auto& reflection = *message->GetReflection();
  const bool add = field.is_repeated();
  switch (field.cpp_type()) {
#define SET(Type, value)                               \
  add ? reflection.Add##Type(message, &field, (value)) \
      : reflection.Set##Type(message, &field, (value))
    case FieldDescriptor::CPPTYPE_INT32:
      return SET(Int32, Number(field));
    case FieldDescriptor::CPPTYPE_UINT32:
      return SET(UInt32, static_cast<uint32_t>(Number(field)));
    case FieldDescriptor::CPPTYPE_BOOL:
      return SET(Bool, Chance(field.name() == "enabled" ? 90 : 40));
    case FieldDescriptor::CPPTYPE_FLOAT:
      return SET(Float, field.name() == "pixelPitchMm"
                            ? 25.4f
                            : -0.5f * static_cast<float>(80 + Below(100)));
    case FieldDescriptor::CPPTYPE_ENUM:
      return SET(EnumValue, EnumNumber(field));
    case FieldDescriptor::CPPTYPE_STRING:
      return SET(String, Text(field));
#undef SET
    case FieldDescriptor::CPPTYPE_MESSAGE: {
      Message* part = add ? reflection.AddMessage(message, &field)
                          : reflection.MutableMessage(message, &field);
      if (field.message_type() == tarn::ChildTypes::descriptor()) {
        return Child(*message->GetDescriptor(), part);
      }
      return Fill(part);
    }
    default:
      GOOGLE_LOG(FATAL) << "no sample of " << field.full_name();
  }
}

void Sampler::Child(const Descriptor& parent, Message* child) {
  if (&parent == tarn::Server::descriptor()) chain_ = 0;
  const Descriptor& kind = KindBelow(parent);
  const Descriptor& node = *tarn::ChildTypes::descriptor();
  for (int i = 0; i < node.field_count(); ++i) {
    if (node.field(i)->message_type() != &kind) continue;
    return Fill(child->GetReflection()->MutableMessage(child, node.field(i)));
  }
}

void Sampler::Fill(Message* message) {
  if (message->GetDescriptor() == tarn::ChildTypes::descriptor()) {
    return Child(*message->GetDescriptor(), message);
  }
  const int outer = position_;
  const Descriptor& type = *message->GetDescriptor();
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& field = *type.field(i);
    if (field.is_map()) continue;
    if (!field.is_repeated()) {
      Set(message, field);
      continue;
    }
    const int length = Length(field);
    for (position_ = 0; position_ < length; ++position_) Set(message, field);
    position_ = outer;
  }
  MakeConsistent(message);
}

// An error flag is set if and only if the status is a fault.
void Sampler::SetErrorByStatus(Message* message) {
  const Descriptor& type = *message->GetDescriptor();
  const FieldDescriptor* error = type.FindFieldByName("error");
  if (error == nullptr) return;
  const FieldDescriptor* status = type.FindFieldByName("status");
  const auto& reflection = *message->GetReflection();
  const StatusLook look = LookOf(reflection.GetEnumValue(*message, status));
  reflection.SetBool(message, error, look.condition == Condition::kFault);
}

void Sampler::MakeConsistent(Message* message) {
  SetErrorByStatus(message);
  if (auto* row = dynamic_cast<tarn::HwIdRowInfo*>(message)) {
    row->set_pixels(row->pixelrows() * row->pixelcolumns());
  } else if (auto* size = dynamic_cast<tarn::DisplaySizeRef*>(message)) {
    size->set_numpanels(size->numpanelshigh() * size->numpanelswide());
    size->set_assyid(std::max(position_, 0) + 1);
  } else if (auto* cabinet =
                 dynamic_cast<tarn::CabinetAssemblyConfiguration*>(message)) {
    cabinet->set_panels(cabinet->numpanelshigh() * cabinet->numpanelswide());
  } else if (auto* record = dynamic_cast<tarn::GetStatusModule*>(message)) {
    record->set_framecount(record->frameconfig_size());
    record->set_statusretrieved(true);
  } else if (auto* product = dynamic_cast<tarn::Product*>(message)) {
    product->set_display_price(product->price());
    product->set_id(IdOf(*product));
  } else if (auto* module = dynamic_cast<tarn::Module*>(message)) {
    MakeModuleConsistent(module);
  } else if (auto* display = dynamic_cast<tarn::Display*>(message)) {
    MakeDisplayConsistent(display);
  } else if (auto* report = dynamic_cast<tarn::NetworkStatusReport*>(message)) {
    FillReport(report);
  }
}

// A module has the next addresses, and its status record repeats them.
void Sampler::MakeModuleConsistent(tarn::Module* module) {
  module->set_linearaddr(++chain_);
  module->set_nodeaddr(++node_);
  module->set_assyaddr(std::max(position_, 0) + 1);
  tarn::GetStatusModule& status = *module->mutable_extstatus();
  status.set_hwid(module->hwid());
  status.set_fwrev(module->fw_rev());
  status.set_fontrev(module->font_rev());
  status.set_linearaddr(module->linearaddr());
  status.set_nodeaddr(module->nodeaddr());
  status.set_assyaddr(module->assyaddr());
  status.set_assyid(module->assyid());
}

// The modules of a display are of one kind and form one assembly.
void Sampler::MakeDisplayConsistent(tarn::Display* display) {
  tarn::CabinetAssemblyConfiguration& cabinet = *display->mutable_assyconfig();
  cabinet.set_numpanelshigh(1);
  cabinet.set_numpanelswide(display->children_size());
  cabinet.set_panels(display->children_size());
  const int32_t assembly = 1 + static_cast<int32_t>(Below(4));
  for (auto& child : *display->mutable_children()) {
    tarn::Module& module = *child.mutable_module();
    module.set_hwid(cabinet.hwid());
    module.set_assyid(assembly);
    module.mutable_extstatus()->set_hwid(cabinet.hwid());
    module.mutable_extstatus()->set_assyid(assembly);
  }
  display->set_displayblanked(display->status() == tarn::command_blank);
}

// Both maps of a report have the same keys.
void Sampler::FillReport(tarn::NetworkStatusReport* report) {
  const int parts = 3 + static_cast<int>(Below(6));
  for (int i = 0; i < parts; ++i) {
    const std::string uuid = Uuid();
    (*report->mutable_status_packet())[uuid] =
        Chance(80) ? tarn::ok : tarn::comm_error;
    (*report->mutable_price_sync_status_packet())[uuid] =
        Chance(80) ? tarn::price_update_ok : tarn::price_sync_pending;
  }
  report->set_network_price_lifecycle(Chance(50) ? tarn::price_update_ok
                                                 : tarn::price_sync_pending);
}

}  // namespace tarn::tool
