// How a simulated site is built, and what happens there.
#include "life.h"

#include <algorithm>
#include <cstdio>

namespace fleet {
namespace {

constexpr const char* kProducts[] = {"regular", "plus", "diesel", "gas"};

template <typename Node>
void Name(const std::string& name, const std::string& uuid, Node* node) {
  node->set_name(name);
  node->set_uuid(uuid);
  node->set_status(tarn::ok);
}

}  // namespace

uint64_t Chance::Next() {
  state_ += 0x9e3779b97f4a7c15;
  uint64_t mixed = (state_ ^ (state_ >> 30)) * 0xbf58476d1ce4e5b9;
  mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
  return mixed ^ (mixed >> 31);
}

std::string RandomPrice(Chance* chance) {
  const int cents = 100 + chance->Below(200);
  char text[8];
  std::snprintf(text, sizeof text, "%d.%02d", cents / 100, cents % 100);
  return text;
}

Site::Site(uint64_t seed, int number)
    : chance_(seed ^ (0x5851f42d4c957f2d * static_cast<uint64_t>(number + 1))) {
  char name[24];
  std::snprintf(name, sizeof name, "site-%06d", number);
  name_ = name;
  tarn::Server* server = tree_.add_modsconfigured()->mutable_server();
  Name("Roof radio", Uuid(), server);
  server->set_firmwareversion("4.2.1");
  server->set_port("ttyUSB0");
  server->set_networkid(1 + number % 250);
  server->set_channel(11 + chance_.Below(16));
  const int signs = 1 + chance_.Below(3);
  for (int i = 0; i < signs; ++i) AddSign(server, i);
  weak_radio_ = radios_[static_cast<size_t>(chance_.Below(signs))];
  for (const char* id : kProducts) {
    tarn::Product* product = products_.add_products();
    product->set_id(id);
    product->set_price(RandomPrice(&chance_));
    product->set_enabled(true);
  }
  products_.set_schema_version(1);
}

// A sign is a radio with two displays of three modules each.
void Site::AddSign(tarn::Server* server, int number) {
  tarn::Client* radio = server->add_children()->mutable_client();
  Name("Sign " + std::to_string(number + 1), Uuid(), radio);
  radio->set_firmwareversion("4.2.1");
  radios_.push_back(radio);
  for (int i = 1; i <= 2; ++i) {
    tarn::Display* display = radio->add_children()->mutable_display();
    Name(radio->name() + " line " + std::to_string(i), Uuid(), display);
    displays_.push_back({display, radio, tarn::price_update_ok});
    for (int place = 1; place <= 3; ++place) {
      tarn::Module* module = display->add_children()->mutable_module();
      module->set_uuid(Uuid());
      module->set_hwid("D16-24");
      module->set_status(tarn::ok);
      module->set_linearaddr(place);
      module->set_fw_rev(214);
      modules_.push_back(module);
    }
  }
}

std::string Site::Uuid() {
  const uint64_t high = chance_.Next(), low = chance_.Next();
  char text[40];
  std::snprintf(text, sizeof text, "%08x-%04x-4%03x-a%03x-%012llx",
                static_cast<unsigned>(high >> 32),
                static_cast<unsigned>(high >> 16 & 0xffff),
                static_cast<unsigned>(high & 0xfff),
                static_cast<unsigned>(low >> 52),
                static_cast<unsigned long long>(low & 0xffffffffffff));
  return text;
}

std::vector<Outgoing> Site::WholeState() {
  changes_.Clear();
  tarn::NetworkStatusReport report;
  auto& statuses = *report.mutable_status_packet();
  const tarn::Server& server = tree_.modsconfigured(0).server();
  statuses[server.uuid()] = server.status();
  for (const tarn::Client* radio : radios_) {
    statuses[radio->uuid()] = radio->status();
  }
  for (const Line& line : displays_) {
    statuses[line.node->uuid()] = line.node->status();
    (*report.mutable_price_sync_status_packet())[line.node->uuid()] = line.sync;
  }
  for (const tarn::Module* module : modules_) {
    statuses[module->uuid()] = module->status();
  }
  return {{"ModsConfigured", tree_.SerializeAsString()},
          {"KT4Products", products_.SerializeAsString()},
          {"NetworkStatusReport", report.SerializeAsString()}};
}

std::vector<Outgoing> Site::Step(int hour) {
  if (away_ > 0) {
    return --away_ == 0 ? WholeState() : std::vector<Outgoing>();
  }
  std::vector<Outgoing> out;
  const int event = chance_.Below(100);
  if (event < 50) {
    const int module = chance_.Below(static_cast<int>(modules_.size()));
    FailOrRecover(modules_[static_cast<size_t>(module)]);
  } else if (event < 85) {
    const int radio = chance_.Below(static_cast<int>(radios_.size()));
    FailOrRecover(radios_[static_cast<size_t>(radio)], hour);
  } else if (event < 97) {
    ChangePrice(&out);
  } else {
    away_ = 1 + chance_.Below(20);
    return out;
  }
  TakeReport(&out);
  return out;
}

Outgoing Site::Report(size_t bytes) {
  constexpr size_t kEntry = 42;  // a key of 36 bytes, its status, three tags
  tarn::NetworkStatusReport report;
  auto& statuses = *report.mutable_status_packet();
  do {
    statuses[Uuid()] = tarn::comm_error;
  } while ((statuses.size() + 1) * kEntry <= bytes);
  return {"NetworkStatusReport", report.SerializeAsString()};
}

std::vector<Outgoing> Site::Apply(const std::string& key,
                                  const tarn::Prices& prices) {
  std::vector<Outgoing> out;
  std::vector<Line*> concerned;
  for (const tarn::Price& price : prices.prices()) {
    for (tarn::Product& product : *products_.mutable_products()) {
      if (product.id() == price.product_id()) {
        product.set_price(price.set_price());
      }
    }
    if (price.line_num() >= 1 && price.line_num() <= lines()) {
      concerned.push_back(
          &displays_[static_cast<size_t>(price.line_num() - 1)]);
    }
  }
  for (Line* line : concerned) SetSync(line, tarn::price_sync_pending);
  SetSync(key, tarn::price_sync_pending);
  TakeReport(&out);
  tarn::StatusCodes all = tarn::price_update_ok;
  for (Line* line : concerned) {
    SetSync(line, line->radio->status() == tarn::ok
                      ? tarn::price_update_ok
                      : tarn::price_update_failure);
    if (line->sync != tarn::price_update_ok) all = line->sync;
  }
  SetSync(key, concerned.empty() ? tarn::price_update_failure : all);
  TakeReport(&out);
  return out;
}

void Site::Set(const std::string& uuid, tarn::StatusCodes status) {
  (*changes_.mutable_status_packet())[uuid] = status;
}

void Site::SetSync(Line* line, tarn::StatusCodes status) {
  line->sync = status;
  SetSync(line->node->uuid(), status);
}

void Site::SetSync(const std::string& key, tarn::StatusCodes status) {
  (*changes_.mutable_price_sync_status_packet())[key] = status;
}

// A module fails once in 15 times that it is drawn, and recovers every third.
void Site::FailOrRecover(tarn::Module* module) {
  const bool was_ok = module->status() == tarn::ok;
  if (chance_.Below(was_ok ? 15 : 3) > 0) return;
  module->set_status(was_ok ? tarn::comm_error : tarn::ok);
  Set(module->uuid(), module->status());
}

// A radio takes its displays with it; a weak one often, from 22 to 5 o'clock.
void Site::FailOrRecover(tarn::Client* radio, int hour) {
  const bool was_ok = radio->status() == tarn::ok;
  const bool night = hour >= 22 || hour < 5;
  const int odds = !was_ok ? 2 : (night && radio == weak_radio_) ? 3 : 40;
  if (chance_.Below(odds) > 0) return;
  radio->set_status(was_ok ? tarn::comm_error : tarn::ok);
  Set(radio->uuid(), radio->status());
  for (Line& line : displays_) {
    if (line.radio != radio) continue;
    line.node->set_status(radio->status());
    Set(line.node->uuid(), line.node->status());
    if (!was_ok && line.sync != tarn::price_update_ok) {
      SetSync(&line, tarn::price_update_ok);
    }
  }
}

// Somebody at the site sets a price by hand.
void Site::ChangePrice(std::vector<Outgoing>* out) {
  products_.mutable_products(chance_.Below(products_.products_size()))
      ->set_price(RandomPrice(&chance_));
  out->push_back({"KT4Products", products_.SerializeAsString()});
}

// Moves the changes into a report, if there are any.
void Site::TakeReport(std::vector<Outgoing>* out) {
  tarn::StatusCodes worst = tarn::price_update_ok;
  for (const Line& line : displays_) {
    if (line.sync == tarn::price_update_failure) worst = line.sync;
    if (line.sync == tarn::price_sync_pending &&
        worst == tarn::price_update_ok) {
      worst = line.sync;
    }
  }
  if (changes_.status_packet().empty() &&
      changes_.price_sync_status_packet().empty()) {
    return;
  }
  changes_.set_network_price_lifecycle(worst);
  out->push_back({"NetworkStatusReport", changes_.SerializeAsString()});
  changes_.Clear();
}

}  // namespace fleet
