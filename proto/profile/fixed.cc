// Messages that never change, in the shapes that an installation has.
#include <array>
#include <cstdio>
#include <random>

#include "messages.h"

namespace {

// Its numbers are laid down by the standard, unlike those of distributions.
class Engine {
 public:
  explicit Engine(uint32_t seed) : engine_(seed) {}

  // From low to high, both included.
  int32_t From(int32_t low, int32_t high) {
    return low + static_cast<int32_t>(engine_() %
                                      (static_cast<uint32_t>(high - low) + 1));
  }
  bool In100(int32_t percent) { return From(1, 100) <= percent; }
  template <size_t kSize>
  std::string Of(const std::array<const char*, kSize>& texts) {
    return texts[static_cast<size_t>(From(0, kSize - 1))];
  }
  std::string Key() {
    std::string key = "xxxxxxxx-xxxx-4xxx-xxxx-xxxxxxxxxxxx";
    for (char& c : key) {
      if (c == 'x') c = "0123456789abcdef"[From(0, 15)];
    }
    return key;
  }

 private:
  std::mt19937 engine_;
};

constexpr std::array<const char*, 4> kPanels = {"D10-18", "D16-24", "D24-36",
                                                "M16-48"};
constexpr std::array<const char*, 4> kSides = {"North", "East", "South",
                                               "West"};
constexpr std::array<const char*, 6> kProducts = {
    "Regular", "Plus", "Premium", "Diesel", "Super E10", "Autogas"};

// Nearly all equipment works; what does not has one of the other states.
template <typename Node>
void SetState(Engine& engine, Node* node) {
  node->set_uuid(engine.Key());
  node->set_status(static_cast<tarn::StatusCodes>(
      engine.In100(92) ? 1 : engine.From(2, 11)));
  node->set_error(node->status() != tarn::ok);
}

void SetStatus(Engine& engine, tarn::GetStatusModule* status) {
  status->set_hwid(engine.Of(kPanels));
  status->set_fwrev(42);
  status->set_fontrev(7);
  status->set_linearaddr(engine.From(1, 12));
  status->set_nodeaddr(engine.From(1, 250));
  status->set_assyaddr(engine.From(1, 6));
  status->set_assyid(engine.From(1, 9));
  status->set_configrev(engine.From(1, 300));
  status->set_permissionflags(31);
  status->set_framecount(engine.From(1, 2));
  tarn::DimmingValues* dimming = status->mutable_dimmingconfig();
  dimming->set_dimmingmode(1);
  dimming->set_minimumdimming(10);
  dimming->set_maximumdimming(100);
  dimming->set_manualdimming(60);
  dimming->set_currentdimming(engine.From(10, 100));
  dimming->set_dimmingcalibration(engine.From(-3, 3));
  for (int32_t frame = 0; frame < status->framecount(); ++frame) {
    tarn::FrameData* data = status->add_frameconfig();
    data->set_fontstyle(engine.From(1, 5));
    data->set_windowflags(engine.From(0, 255));
    data->set_windowtype(engine.In100(80) ? tarn::price : tarn::message);
    data->set_productidlookup(engine.From(1, 40));
    data->set_frameholdtime(engine.From(2, 8));
    data->set_productidstring(engine.Of(kProducts));
  }
  status->set_lightsensorlvl(engine.From(0, 1023));
  status->set_tempkelvin(engine.From(262, 318));
  status->set_signaldirection(engine.From(0, 1));
  status->set_blankdisplayflags(engine.In100(5) ? 1 : 0);
  status->set_com1device(engine.From(0, 3));
  status->set_errorflags(engine.In100(5) ? engine.From(1, 255) : 0);
  status->set_statusretrieved(true);
}

void SetModule(Engine& engine, int32_t place, tarn::Module* module) {
  SetState(engine, module);
  module->set_hwid(engine.Of(kPanels));
  module->set_linearaddr(place);
  module->set_nodeaddr(engine.From(1, 250));
  module->set_assyaddr(place);
  module->set_assyid(engine.From(1, 9));
  module->set_fw_rev(42);
  module->set_font_rev(7);
  module->set_backup_comms(engine.In100(3));
  if (engine.In100(90)) SetStatus(engine, module->mutable_extstatus());
}

// One display in five shows words.
void SetDisplay(Engine& engine, int32_t line, tarn::Display* display) {
  SetState(engine, display);
  display->set_name(engine.Of(kSides) + " line " + std::to_string(line));
  display->set_subtype(engine.In100(80) ? tarn::price : tarn::message);
  display->set_displayblanked(engine.In100(2));
  for (int32_t frame = 1; frame <= 2; ++frame) {
    tarn::FrameContent* content = display->add_frameselect();
    content->set_message(display->subtype() * engine.From(1, 12));
    content->set_frame(frame);
    content->set_price(engine.From(1, 8));
  }
  const int32_t modules = engine.From(2, 4);
  tarn::CabinetAssemblyConfiguration* cabinet = display->mutable_assyconfig();
  cabinet->set_hwid(engine.Of(kPanels));
  cabinet->set_numpanelswide(modules);
  cabinet->set_numpanelshigh(1);
  cabinet->set_panels(modules);
  cabinet->set_cabinetinches(24);
  cabinet->add_possibledisplaytypes(tarn::price);
  cabinet->add_possibledisplaytypes(tarn::message);
  for (int32_t place = 1; place <= modules; ++place) {
    SetModule(engine, place, display->add_children()->mutable_module());
  }
}

template <typename Parent>
void AddDisplays(Engine& engine, int32_t lines, Parent* parent) {
  for (int32_t line = 1; line <= lines; ++line) {
    SetDisplay(engine, line, parent->add_children()->mutable_display());
  }
}

// Believable, and without an order that anything could profit from.
std::string KeyOf(uint64_t number) {
  const uint64_t a = (number + 1) * 0x9E3779B97F4A7C15;
  const uint64_t b = (a ^ a >> 29) * 0xBF58476D1CE4E5B9;
  char text[40];
  std::snprintf(
      text, sizeof text, "%08x-%04x-%04x-%04x-%012llx",
      static_cast<unsigned>(a >> 32), static_cast<unsigned>(a & 0xFFFF),
      static_cast<unsigned>(a >> 16 & 0xFFFF), static_cast<unsigned>(b >> 48),
      static_cast<unsigned long long>(b & 0xFFFFFFFFFFFF));
  return text;
}

}  // namespace

tarn::ModsConfigured FixedNetwork(uint32_t seed, int32_t signs) {
  Engine engine(seed);
  tarn::ModsConfigured tree;
  for (int32_t network = 1; signs > 0; ++network) {
    tarn::Server* server = tree.add_modsconfigured()->mutable_server();
    SetState(engine, server);
    server->set_name("Roof radio " + std::to_string(network));
    server->set_firmwareversion("4.2.1");
    server->set_hardwareversion("B");
    server->set_port("ttyUSB" + std::to_string(network - 1));
    server->set_networkid(network);
    server->set_channel(engine.From(1, 26));
    server->set_kt2(engine.In100(30));
    for (int32_t sign = 0; sign < 8 && signs > 0; ++sign, --signs) {
      tarn::Client* client = server->add_children()->mutable_client();
      SetState(engine, client);
      client->set_name(engine.Of(kSides) + " sign");
      client->set_firmwareversion("4.2.1");
      client->set_hardwareversion(engine.In100(50) ? "A" : "B");
      AddDisplays(engine, engine.From(3, 5), client);
    }
  }
  tarn::Direct* direct = tree.add_modsconfigured()->mutable_direct();
  SetState(engine, direct);
  direct->set_name("Shop window");
  direct->set_port("ttyS0");
  direct->set_kt2(true);
  AddDisplays(engine, 1, direct);
  return tree;
}

tarn::KT4Products FixedProducts(uint32_t seed, int32_t count) {
  Engine engine(seed);
  tarn::KT4Products list;
  list.set_schema_version(4);
  for (int32_t number = 1; number <= count; ++number) {
    tarn::Product* product = list.add_products();
    product->set_id(std::to_string(number));
    product->set_name(engine.Of(kProducts));
    const std::string cents = std::to_string(engine.From(100, 999));
    product->set_price(std::to_string(engine.From(1, 9)) + "." + cents);
    product->set_display_price(product->price());
    product->set_pay_type(engine.In100(50) ? "cash" : "credit");
    product->set_service_type(engine.In100(70) ? "self" : "full");
    if (engine.In100(30)) product->set_offset("0.10");
    product->set_neg_offset(engine.In100(20));
    if (engine.In100(20)) product->set_pct_offset("2.5");
    product->set_neg_pct_offset(engine.In100(10));
    product->set_enabled(engine.In100(90));
  }
  return list;
}

tarn::ModsConfigured FixedNodes(uint64_t nodes) {
  constexpr int kDisplaysOfClient = 4;
  constexpr int kModulesOfDisplay = 12;
  tarn::ModsConfigured tree;
  tarn::Server* server = tree.add_modsconfigured()->mutable_server();
  server->set_name("Main radio");
  server->set_uuid(KeyOf(0));
  tarn::Client* client = nullptr;
  tarn::Display* display = nullptr;
  for (uint64_t node = 1; node < nodes; ++node) {
    if (display != nullptr && display->children_size() < kModulesOfDisplay) {
      tarn::Module* module = display->add_children()->mutable_module();
      module->set_uuid(KeyOf(node));
      module->set_hwid("D16-24");
      module->set_status(tarn::ok);
      module->set_linearaddr(static_cast<int32_t>(node % 200));
      module->set_fw_rev(214);
    } else if (client != nullptr &&
               client->children_size() < kDisplaysOfClient) {
      display = client->add_children()->mutable_display();
      display->set_name("Line 1");
      display->set_uuid(KeyOf(node));
      display->set_status(tarn::ok);
    } else {
      client = server->add_children()->mutable_client();
      client->set_name("North sign");
      client->set_uuid(KeyOf(node));
      display = nullptr;
    }
  }
  return tree;
}

tarn::NetworkStatusReport FixedStatuses(uint64_t keys) {
  tarn::NetworkStatusReport report;
  for (uint64_t key = 0; key < keys; ++key) {
    (*report.mutable_status_packet())[KeyOf(key)] = tarn::ok;
  }
  return report;
}
