// The messages in examples/*.txtpb: each parses, and together they describe an
// installation that could stand somewhere.
#include <gmock/gmock.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/text_format.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

using google::protobuf::TextFormat;
using tarn::ChildTypes;
using testing::Contains;
using testing::Each;
using testing::MatchesRegex;
using Nodes = google::protobuf::RepeatedPtrField<ChildTypes>;

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file) << path;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

template <typename T>
T Load(const std::string& name) {
  T message;
  EXPECT_TRUE(TextFormat::ParseFromString(
      ReadFile(std::filesystem::path(EXAMPLES_DIR) / name), &message))
      << name;
  return message;
}

// All nodes of the installation, by kind.
struct Network {
  std::vector<const tarn::Server*> servers;
  std::vector<const tarn::Client*> clients;
  std::vector<const tarn::Direct*> direct;
  std::vector<const tarn::Display*> displays;
  std::vector<const tarn::Module*> modules;
  std::vector<std::string> uuids;
};

template <typename Node>
void Add(const Node& node, std::vector<const Node*>* list, Network* network) {
  list->push_back(&node);
  network->uuids.push_back(node.uuid());
}

void Collect(const Nodes& nodes, Network* network) {
  for (const ChildTypes& child : nodes) {
    switch (child.types_case()) {
      case ChildTypes::kServer:
        Add(child.server(), &network->servers, network);
        Collect(child.server().children(), network);
        break;
      case ChildTypes::kClient:
        Add(child.client(), &network->clients, network);
        Collect(child.client().children(), network);
        break;
      case ChildTypes::kDirect:
        Add(child.direct(), &network->direct, network);
        Collect(child.direct().children(), network);
        break;
      case ChildTypes::kDisplay:
        Add(child.display(), &network->displays, network);
        Collect(child.display().children(), network);
        break;
      case ChildTypes::kModule:
        Add(child.module(), &network->modules, network);
        break;
      default:
        ADD_FAILURE() << "a node of no use here: " << child.DebugString();
    }
  }
}

class Installation : public testing::Test {
 protected:
  void SetUp() override {
    configured_ = Load<tarn::ModsConfigured>("installation.txtpb");
    Collect(configured_.modsconfigured(), &network_);
    hardware_ = Load<tarn::HwIdGroups>("hardware.txtpb");
  }

  std::set<std::string> ProductIds() const {
    std::set<std::string> ids;
    const auto list = Load<tarn::KT4Products>("products_kt4.txtpb");
    for (const tarn::Product& product : list.products()) {
      EXPECT_TRUE(ids.insert(product.id()).second) << product.id();
    }
    return ids;
  }

  tarn::ModsConfigured configured_;
  Network network_;
  tarn::HwIdGroups hardware_;
};

TEST_F(Installation, EveryFileParsesAsTheTypeThatItNames) {
  const std::regex header(
      "# proto-file: (Tarn|Network)\\.proto\n"
      "# proto-message: ([A-Za-z0-9.]+)\n");
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(EXAMPLES_DIR)) {
    if (entry.path().extension() != ".txtpb") continue;
    ++files;
    const std::string text = ReadFile(entry);
    std::smatch match;
    ASSERT_TRUE(std::regex_search(text, match, header,
                                  std::regex_constants::match_continuous))
        << entry;
    const auto* type = google::protobuf::DescriptorPool::generated_pool()
                           ->FindMessageTypeByName(match[2]);
    ASSERT_NE(type, nullptr) << entry;
    EXPECT_EQ(type->file()->name(), match[1].str() + ".proto") << entry;
    const std::unique_ptr<google::protobuf::Message> message(
        google::protobuf::MessageFactory::generated_factory()
            ->GetPrototype(type)
            ->New());
    EXPECT_TRUE(TextFormat::ParseFromString(text, message.get())) << entry;
    EXPECT_GT(message->ByteSizeLong(), 0u) << entry;
  }
  EXPECT_GE(files, 10);
}

TEST_F(Installation, HasEveryKindOfNodeAndSixtyModules) {
  EXPECT_EQ(network_.servers.size(), 1u);
  EXPECT_EQ(network_.clients.size(), 3u);
  EXPECT_EQ(network_.direct.size(), 1u);
  EXPECT_EQ(network_.displays.size(), 16u);
  EXPECT_EQ(network_.modules.size(), 60u);
}

TEST_F(Installation, UuidsAreRandomOnesAndUnique) {
  EXPECT_THAT(network_.uuids,
              Each(MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-"
                                "[89ab][0-9a-f]{3}-[0-9a-f]{12}")));
  const std::set<std::string> unique(network_.uuids.begin(),
                                     network_.uuids.end());
  EXPECT_EQ(unique.size(), network_.uuids.size());
}

TEST_F(Installation, OneModuleIsOutOfContactAndOneDisplayIsBlanked) {
  std::map<int, int> statuses;
  for (const tarn::Module* module : network_.modules) {
    ++statuses[module->status()];
    EXPECT_EQ(module->error(), module->status() == tarn::comm_error);
  }
  EXPECT_EQ(statuses[tarn::comm_error], 1);
  int blanked = 0;
  for (const tarn::Display* display : network_.displays) {
    blanked += display->displayblanked();
    EXPECT_EQ(display->displayblanked(),
              display->status() == tarn::command_blank);
  }
  EXPECT_EQ(blanked, 1);
}

TEST_F(Installation, DisplaysAreWholeAndOfBothSubtypes) {
  std::set<int> subtypes;
  for (const tarn::Display* display : network_.displays) {
    SCOPED_TRACE(display->name());
    subtypes.insert(display->subtype());
    const tarn::CabinetAssemblyConfiguration& cabinet = display->assyconfig();
    EXPECT_EQ(cabinet.panels(),
              cabinet.numpanelshigh() * cabinet.numpanelswide());
    EXPECT_EQ(cabinet.panels(), display->children_size());
    EXPECT_THAT(cabinet.possibledisplaytypes(), Contains(display->subtype()));
    EXPECT_GT(display->frameselect_size(), 0);
    int place = 0;
    for (const ChildTypes& child : display->children()) {
      EXPECT_EQ(child.module().assyaddr(), ++place);
      EXPECT_EQ(child.module().hwid(), cabinet.hwid());
      EXPECT_EQ(child.module().extstatus().framecount(),
                display->frameselect_size());
      for (const auto& frame : child.module().extstatus().frameconfig()) {
        EXPECT_EQ(frame.windowtype(), display->subtype());
      }
    }
  }
  EXPECT_EQ(subtypes, (std::set<int>{tarn::price, tarn::message}));
}

TEST_F(Installation, CabinetsAreAmongThoseOnOffer) {
  const auto offered =
      Load<tarn::CabinetAssemblyConfigurations>("cabinets.txtpb");
  std::set<std::string> known;
  for (const auto& cabinet : offered.cabinet_assembly_configurations()) {
    known.insert(cabinet.SerializeAsString());
  }
  for (const tarn::Display* display : network_.displays) {
    EXPECT_EQ(known.count(display->assyconfig().SerializeAsString()), 1u)
        << display->name();
  }
}

TEST_F(Installation, ModulesReportWhatTheirNodesSay) {
  std::set<int> addresses;
  for (const tarn::Module* module : network_.modules) {
    const tarn::GetStatusModule& report = module->extstatus();
    EXPECT_TRUE(report.statusretrieved());
    EXPECT_EQ(report.hwid(), module->hwid());
    EXPECT_EQ(report.fwrev(), module->fw_rev());
    EXPECT_EQ(report.fontrev(), module->font_rev());
    EXPECT_EQ(report.linearaddr(), module->linearaddr());
    EXPECT_EQ(report.nodeaddr(), module->nodeaddr());
    EXPECT_EQ(report.assyaddr(), module->assyaddr());
    EXPECT_EQ(report.assyid(), module->assyid());
    EXPECT_EQ(report.framecount(), report.frameconfig_size());
    EXPECT_TRUE(addresses.insert(report.nodeaddr()).second);
    EXPECT_GE(report.tempkelvin(), 280);
    EXPECT_LE(report.tempkelvin(), 330);
    const tarn::DimmingValues& dimming = report.dimmingconfig();
    EXPECT_LE(dimming.minimumdimming(), dimming.currentdimming());
    EXPECT_LE(dimming.currentdimming(), dimming.maximumdimming());
  }
  EXPECT_EQ(*addresses.begin(), 1);
  EXPECT_EQ(*addresses.rbegin(), 60);
}

TEST_F(Installation, HardwareIsInTheCatalogue) {
  std::map<std::string, const tarn::HwIdRowInfo*> panels;
  for (const tarn::HwIdRowInfo& panel : hardware_.hwidrowinfo()) {
    panels[panel.hwid()] = &panel;
    EXPECT_EQ(panel.pixels(), panel.pixelrows() * panel.pixelcolumns());
    EXPECT_EQ(panel.assemblytruthtable_size(),
              hardware_.truthtablesizeref_size());
  }
  std::map<int, int> size_by_id;
  for (int i = 0; i < hardware_.truthtablesizeref_size(); ++i) {
    const tarn::DisplaySizeRef& size = hardware_.truthtablesizeref(i);
    EXPECT_EQ(size.numpanels(), size.numpanelshigh() * size.numpanelswide());
    size_by_id[size.assyid()] = i;
  }
  for (const tarn::Display* display : network_.displays) {
    SCOPED_TRACE(display->name());
    const tarn::Module& module = display->children(0).module();
    ASSERT_EQ(panels.count(module.hwid()), 1u);
    ASSERT_EQ(size_by_id.count(module.assyid()), 1u);
    const int size = size_by_id[module.assyid()];
    EXPECT_TRUE(panels[module.hwid()]->assemblytruthtable(size));
    EXPECT_EQ(hardware_.truthtablesizeref(size).numpanelshigh(),
              display->assyconfig().numpanelshigh());
    EXPECT_EQ(hardware_.truthtablesizeref(size).numpanelswide(),
              display->assyconfig().numpanelswide());
  }
}

TEST_F(Installation, FramesAndPricesSpeakOfProductsThatExist) {
  const std::set<std::string> ids = ProductIds();
  std::map<int, std::string> lines;
  const auto prices = Load<tarn::Prices>("prices.txtpb");
  for (const tarn::Price& price : prices.prices()) {
    EXPECT_EQ(ids.count(price.product_id()), 1u) << price.product_id();
    EXPECT_TRUE(lines.emplace(price.line_num(), price.product_id()).second);
  }
  for (const tarn::Module* module : network_.modules) {
    for (const auto& frame : module->extstatus().frameconfig()) {
      if (frame.windowtype() != tarn::price) continue;
      EXPECT_EQ(lines[frame.productidlookup()], frame.productidstring());
    }
  }
}

TEST_F(Installation, AddressingCountsTheModules) {
  const auto run = Load<tarn::AddressingStatus>("addressing.txtpb");
  const int modules = static_cast<int>(network_.modules.size());
  EXPECT_EQ(run.linear_address_assignments(), modules);
  EXPECT_EQ(run.assembly_address_assignments(), modules);
}

}  // namespace
