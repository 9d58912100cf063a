// Fills messages field by field, by tables of what fields usually hold.
#include "sampler.h"

#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iterator>

#include "status_words.h"

namespace tarn::tool {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

// What a text field holds, by its name, or with its message in front where the
// name alone would mislead. Choices are parted by bars.
struct Texts {
  const char* field;
  const char* choices;
};
constexpr Texts kTexts[] = {
    {"Server.name", "Roof radio|Main radio|Cabinet radio"},
    {"Client.name", "North sign|South sign|East sign|West sign|Entrance sign"},
    {"Direct.name", "Counter board|Window board|Lobby board"},
    {"Display.name", "Line 1|Line 2|Line 3|Line 4|Banner|Notice"},
    {"Product.name", "Coffee|Tea|Soup of the day|Lunch|Tap water"},
    {"ERTDConnection.name", "Back office|Till|Kitchen"},
    {"name", "North sign|South sign|Entrance sign"},
    {"new_name", "North sign|South sign|Entrance sign"},
    {"firmwareVersion", "4.2.1|4.2.0|4.1.7"},
    {"hardwareVersion", "A|B|C"},
    {"ERTDConnection.port", "9100|9101|502"},
    {"port", "ttyUSB0|ttyUSB1|ttyS1"},
    {"server_port", "ttyUSB0|ttyUSB1|ttyS1"},
    {"ip_address", "192.0.2.10|192.0.2.21|198.51.100.7|2001:db8::17"},
    {"hwId", "D16-24|T16-32|D12-18"},
    {"color", "amber|white|red|green"},
    {"id", "coffee-cash|coffee-credit|tea-cash|tea-credit|soup|lunch"},
    {"product_id", "coffee-cash|coffee-credit|tea-cash|tea-credit|soup|lunch"},
    {"productIDString", "coffee-cash|coffee-credit|tea-cash|tea-credit|soup"},
    {"offset", "0.05|0.10|0.15|0.30"},
    {"pct_offset", "2|2.5|5"},
    {"pay_type", "cash|credit"},
    {"service_type", "counter|takeaway"},
    {"tenths", "small|raised|none"},
    {"ssid", "Sign network|Guests|Workshop"},
    {"pass", "correct horse battery staple|open sesame"},
    {"mode", "auto|manual|sensor"},
    {"description", "Carried out|Timed out|No answer from the radio|Ready"},
    {"command", "reset|detect|blank|unblank"},
    {"type", "pixels|radio|sensor"},
    {"dimensions", "1x1|1x2|2x2|1x3|2x4|2x5"},
    {"messages", "OPEN|CLOSED|CASH ONLY|CREDIT|OPEN 7 - 22 H"},
    {"parameter_name", "name|channel|networkId"},
    {"parameter_value", "North sign|11|7"},
    {"fileName", "fonts-7.bin|modules-214.bin|prices.csv"},
};

// The range of a number field; both ends can occur.
struct Range {
  const char* field;
  int32_t low;
  int32_t high;
};
constexpr Range kRanges[] = {
    {"networkId", 1, 40},
    {"channel", 1, 12},
    {"fw_rev", 205, 214},
    {"fwRev", 205, 214},
    {"font_rev", 7, 12},
    {"fontRev", 7, 12},
    {"configRev", 1, 9},
    {"permissionFlags", 0, 7},
    {"lightSensorLvl", 40, 900},
    {"tempKelvin", 268, 318},
    {"signalDirection", 0, 1},
    {"blankDisplayFlags", 0, 0},
    {"com1Device", 0, 2},
    {"errorFlags", 0, 0},
    {"dimmingMode", 0, 2},
    {"minimumDimming", 5, 15},
    {"maximumDimming", 90, 100},
    {"manualDimming", 40, 80},
    {"currentDimming", 20, 85},
    {"dimmingCalibration", -3, 3},
    {"Dimming.min", 5, 15},
    {"Dimming.max", 90, 100},
    {"Dimming.level", 20, 85},
    {"fontStyle", 1, 5},
    {"windowFlags", 0, 3},
    {"productIDLookup", 1, 6},
    {"frameHoldTime", 3, 12},
    {"hold_seconds", 3, 30},
    {"pixelRows", 12, 24},
    {"pixelColumns", 18, 48},
    {"maxConfigs", 1, 4},
    {"heightInches", 8, 48},
    {"cabinetInches", 12, 96},
    {"numPanelsHigh", 1, 2},
    {"numPanelsWide", 1, 4},
    {"assyId", 1, 4},
    {"schema_version", 1, 4},
    {"price_mode", 1, 3},
    {"Err.code", -20, 120},
    {"status_code", 0, 3},
    {"test_pattern", 0, 8},
    {"layer1_address", 1, 40},
    {"network_number", 1, 4},
    {"linear_address", 1, 40},
    {"cal_level", -10, 10},
    {"linear_address_assignments", 1, 40},
    {"FrameContent.price", 1, 6},
    {"FrameContent.message", 0, 4},
    {"assembly_address_assignments", 1, 40},
};

// Whether an entry of a table is for the field: 2 by its message too.
int Fit(const char* entry, const FieldDescriptor& field) {
  if (entry == field.name()) return 1;
  return entry == field.containing_type()->name() + "." + field.name() ? 2 : 0;
}

template <typename Entry, size_t size>
const Entry* Look(const Entry (&table)[size], const FieldDescriptor& field) {
  const Entry* best = nullptr;
  int fit = 0;
  for (const Entry& entry : table) {
    if (Fit(entry.field, field) <= fit) continue;
    fit = Fit(entry.field, field);
    best = &entry;
  }
  return best;
}

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

// Entries of a list whose length is drawn, at least and at most.
constexpr int kLeastEntries = 2;
constexpr int kMostEntries = 5;

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
    // One after the other, as each processor has its own order of arguments.
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
  const Texts* texts = Look(kTexts, field);
  if (texts == nullptr) return "text " + std::to_string(Below(100));
  const std::string_view choices = texts->choices;
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
  const Range* range = Look(kRanges, field);
  if (range == nullptr) return static_cast<int32_t>(Below(100));
  return range->low + static_cast<int32_t>(Below(range->high - range->low + 1));
}

int32_t Sampler::EnumNumber(const FieldDescriptor& field) {
  const auto& type = *field.enum_type();
  if (&type == tarn::StatusCodes_descriptor() && Chance(85)) return tarn::ok;
  if (&type == tarn::DisplaySubtypes_descriptor() && Chance(70)) {
    return tarn::price;
  }
  // The first value says that nothing is said.
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
  Agree(message);
}

// Makes the fields of a message agree with one another.
void Sampler::Agree(Message* message) {
  const FieldDescriptor* error =
      message->GetDescriptor()->FindFieldByName("error");
  if (error != nullptr) {
    const FieldDescriptor* status =
        message->GetDescriptor()->FindFieldByName("status");
    const auto& reflection = *message->GetReflection();
    const StatusLook look = LookOf(reflection.GetEnumValue(*message, status));
    reflection.SetBool(message, error, look.severity == Severity::kFault);
  }
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
    std::string id = product->name() + "-" + product->pay_type();
    for (char& c : id) {
      c = c == ' ' ? '-' : static_cast<char>(std::tolower(c));
    }
    product->set_id(id);
  } else if (auto* module = dynamic_cast<tarn::Module*>(message)) {
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
  } else if (auto* display = dynamic_cast<tarn::Display*>(message)) {
    tarn::CabinetAssemblyConfiguration& cabinet =
        *display->mutable_assyconfig();
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
  } else if (auto* report = dynamic_cast<tarn::NetworkStatusReport*>(message)) {
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
}

}  // namespace tarn::tool
