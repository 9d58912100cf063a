// Draws the messages, in the shapes that an installation has.
#include "payloads.h"

#include <array>
#include <random>

namespace {

// Its numbers are laid down by the standard, unlike those of distributions.
class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}

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
void DrawState(Random& random, Node& node) {
  node.uuid = random.Key();
  node.status = random.In100(92) ? 1 : random.From(2, 11);
  node.error = node.status != 1;
}

void DrawStatus(Random& random, model::GetStatusModule& status) {
  status.hwId = random.Of(kPanels);
  status.fwRev = 42;
  status.fontRev = 7;
  status.linearAddr = random.From(1, 12);
  status.nodeAddr = random.From(1, 250);
  status.assyAddr = random.From(1, 6);
  status.assyId = random.From(1, 9);
  status.configRev = random.From(1, 300);
  status.permissionFlags = 31;
  status.frameCount = random.From(1, 2);
  status.dimmingConfig = std::make_unique<model::DimmingValues>();
  status.dimmingConfig->dimmingMode = 1;
  status.dimmingConfig->minimumDimming = 10;
  status.dimmingConfig->maximumDimming = 100;
  status.dimmingConfig->manualDimming = 60;
  status.dimmingConfig->currentDimming = random.From(10, 100);
  status.dimmingConfig->dimmingCalibration = random.From(-3, 3);
  for (int32_t frame = 0; frame < status.frameCount; ++frame) {
    model::FrameData& data = status.frameConfig.emplace_back();
    data.fontStyle = random.From(1, 5);
    data.windowFlags = random.From(0, 255);
    data.windowType = random.In100(80) ? 0 : 1;
    data.productIDLookup = random.From(1, 40);
    data.frameHoldTime = random.From(2, 8);
    data.productIDString = random.Of(kProducts);
  }
  status.lightSensorLvl = random.From(0, 1023);
  status.tempKelvin = random.From(262, 318);
  status.signalDirection = random.From(0, 1);
  status.blankDisplayFlags = random.In100(5) ? 1 : 0;
  status.com1Device = random.From(0, 3);
  status.errorFlags = random.In100(5) ? random.From(1, 255) : 0;
  status.statusRetrieved = true;
}

void DrawModule(Random& random, int32_t place, model::Module& module) {
  DrawState(random, module);
  module.hwId = random.Of(kPanels);
  module.linearAddr = place;
  module.nodeAddr = random.From(1, 250);
  module.assyAddr = place;
  module.assyId = random.From(1, 9);
  module.fw_rev = 42;
  module.font_rev = 7;
  module.backup_comms = random.In100(3);
  if (random.In100(90)) {
    module.extStatus = std::make_unique<model::GetStatusModule>();
    DrawStatus(random, *module.extStatus);
  }
}

// One display in five shows words.
void DrawDisplay(Random& random, int32_t line, model::Display& display) {
  DrawState(random, display);
  display.name = random.Of(kSides) + " line " + std::to_string(line);
  display.subtype = random.In100(80) ? 0 : 1;
  display.displayBlanked = random.In100(2);
  for (int32_t frame = 1; frame <= 2; ++frame) {
    model::FrameContent& content = display.frameSelect.emplace_back();
    content.message = display.subtype * random.From(1, 12);
    content.frame = frame;
    content.price = random.From(1, 8);
  }
  const int32_t modules = random.From(2, 4);
  auto cabinet = std::make_unique<model::CabinetAssemblyConfiguration>();
  cabinet->hwId = random.Of(kPanels);
  cabinet->numPanelsWide = modules;
  cabinet->numPanelsHigh = 1;
  cabinet->panels = modules;
  cabinet->cabinetInches = 24;
  cabinet->possibleDisplayTypes = {0, 1};
  display.assyConfig = std::move(cabinet);
  for (int32_t place = 1; place <= modules; ++place) {
    auto& child = display.children.emplace_back();
    child.module = std::make_unique<model::Module>();
    DrawModule(random, place, *child.module);
  }
}

void DrawDisplays(Random& random, int32_t lines,
                  std::vector<model::ChildTypes>& nodes) {
  for (int32_t line = 1; line <= lines; ++line) {
    auto& child = nodes.emplace_back();
    child.display = std::make_unique<model::Display>();
    DrawDisplay(random, line, *child.display);
  }
}

// Radio networks of eight signs at most, and a connection by cable.
model::ModsConfigured DrawTree(uint32_t seed, int32_t signs) {
  Random random(seed);
  model::ModsConfigured tree;
  for (int32_t network = 1; signs > 0; ++network) {
    auto server = std::make_unique<model::Server>();
    DrawState(random, *server);
    server->name = "Roof radio " + std::to_string(network);
    server->firmwareVersion = "4.2.1";
    server->hardwareVersion = "B";
    server->port = "ttyUSB" + std::to_string(network - 1);
    server->networkId = network;
    server->channel = random.From(1, 26);
    server->kt2 = random.In100(30);
    for (int32_t sign = 0; sign < 8 && signs > 0; ++sign, --signs) {
      auto client = std::make_unique<model::Client>();
      DrawState(random, *client);
      client->name = random.Of(kSides) + " sign";
      client->firmwareVersion = "4.2.1";
      client->hardwareVersion = random.In100(50) ? "A" : "B";
      DrawDisplays(random, random.From(3, 5), client->children);
      server->children.emplace_back().client = std::move(client);
    }
    tree.modsConfigured.emplace_back().server = std::move(server);
  }
  auto direct = std::make_unique<model::Direct>();
  DrawState(random, *direct);
  direct->name = "Shop window";
  direct->port = "ttyS0";
  direct->kt2 = true;
  DrawDisplays(random, 1, direct->children);
  tree.modsConfigured.emplace_back().direct = std::move(direct);
  return tree;
}

model::NetworkStatusReport DrawReport(uint32_t seed, int32_t keys) {
  Random random(seed);
  model::NetworkStatusReport report;
  for (int32_t key = 0; key < keys; ++key) {
    const std::string uuid = random.Key();
    report.status_packet[uuid] = random.In100(92) ? 1 : random.From(2, 6);
    if (random.In100(50)) {
      report.price_sync_status_packet[uuid] = random.In100(90) ? 11 : 9;
    }
  }
  report.network_price_lifecycle = 9;
  return report;
}

model::KT4Products DrawProducts(uint32_t seed, int32_t count) {
  Random random(seed);
  model::KT4Products list;
  list.schema_version = 4;
  for (int32_t number = 1; number <= count; ++number) {
    model::Product& product = list.products.emplace_back();
    product.id = std::to_string(number);
    product.name = random.Of(kProducts);
    product.price = std::to_string(random.From(1, 9)) + "." +
                    std::to_string(random.From(100, 999));
    product.display_price = product.price;
    product.pay_type = random.In100(50) ? "cash" : "credit";
    product.service_type = random.In100(70) ? "self" : "full";
    if (random.In100(30)) product.offset = "0.10";
    product.neg_offset = random.In100(20);
    if (random.In100(20)) product.pct_offset = "2.5";
    product.neg_pct_offset = random.In100(10);
    product.enabled = random.In100(90);
  }
  return list;
}

model::FileMessage DrawFile(uint32_t seed, int32_t size) {
  Random random(seed);
  model::FileMessage file;
  file.fileName = "module-4.2.1.bin";
  for (int32_t i = 0; i < size; ++i) {
    file.fileData.push_back(static_cast<char>(random.From(0, 255)));
  }
  return file;
}

model::HwIdRowInfo DrawBools(uint32_t seed, int32_t count) {
  Random random(seed);
  model::HwIdRowInfo row;
  row.hwId = "D16-24";
  row.pixels = 384;
  row.pixelRows = 24;
  row.pixelColumns = 16;
  row.maxConfigs = count;
  row.heightInches = 24;
  row.pixelPitchMm = 25.4F;
  for (int32_t i = 0; i < count; ++i) {
    row.assemblyTruthTable.push_back(random.In100(40));
  }
  return row;
}

model::AppStates DrawEnums(uint32_t seed, int32_t count) {
  Random random(seed);
  model::AppStates states;
  for (int32_t i = 0; i < count; ++i) states.state.push_back(random.From(0, 8));
  return states;
}

model::Frame DrawFrame() {
  model::Frame frame;
  frame.number = 70000;
  frame.hold_seconds = 30 * 24 * 3600;
  return frame;
}

}  // namespace

Payloads::Payloads()
    : large_tree("tree, 1.2 MB", DrawTree(1, 540)),
      middle_tree("tree, 50 KB", DrawTree(2, 22)),
      small_tree("tree, 5 KB", DrawTree(3, 2)),
      large_report("report, 2,000 keys", DrawReport(4, 2000)),
      small_report("report, 20 keys", DrawReport(5, 20)),
      products("40 products", DrawProducts(6, 40)),
      file("file, 1 MB", DrawFile(7, 1 << 20)),
      bools("1,000 bools", DrawBools(8, 1000)),
      enums("1,000 enums", DrawEnums(9, 1000)),
      frame("frame, 9 bytes", DrawFrame()) {}
