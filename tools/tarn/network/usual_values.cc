// Tables of what fields hold, by their names.
#include "usual_values.h"

namespace tarn::tool {
namespace {

using google::protobuf::FieldDescriptor;

// What a text field holds, by its name, or with its message in front where the
// name alone would mislead. Bars separate the choices.
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

// How well an entry of a table fits the field: 0 not, 1 by the name of the
// field, 2 by that of its message, too.
int FitOf(const char* entry, const FieldDescriptor& field) {
  if (entry == field.name()) return 1;
  return entry == field.containing_type()->name() + "." + field.name() ? 2 : 0;
}

template <typename Entry, size_t size>
const Entry* FindEntry(const Entry (&table)[size],
                       const FieldDescriptor& field) {
  const Entry* best = nullptr;
  int fit = 0;
  for (const Entry& entry : table) {
    if (FitOf(entry.field, field) <= fit) continue;
    fit = FitOf(entry.field, field);
    best = &entry;
  }
  return best;
}

}  // namespace

std::string_view UsualTexts(const FieldDescriptor& field) {
  const Texts* texts = FindEntry(kTexts, field);
  return texts == nullptr ? "" : texts->choices;
}

const Range* UsualRange(const FieldDescriptor& field) {
  return FindEntry(kRanges, field);
}

}  // namespace tarn::tool
