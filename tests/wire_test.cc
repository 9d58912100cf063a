// Every field of every message as it stands on the wire, byte by byte.
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/message_differencer.h>

#include <set>

#include "reference/messages.h"

namespace {

using google::protobuf::util::MessageDifferencer;
using tests::FromHex;
using tests::HexOf;
using tests::Message;
using tests::Rewritten;
using wire::Writer;

// A message with every field set, and its encoding. Numbers are those of the
// fields wherever that tells them apart.
struct Encoding {
  const Message* prototype;
  const char* text;
  const char* hex;
};

// clang-format off: its releases lay this out in different ways.
#define ENCODING(name, text, hex) \
  { &tarn::name::default_instance(), text, hex }
// clang-format on

const Encoding kEncodings[] = {
    ENCODING(AppStates, "state: [Ready, Offline]", "0A 02 02 05"),
    ENCODING(AppSettings,
             "ertd_support: true ertd_broadcast: true sso_support: true",
             "08 01 10 01 18 01"),
    ENCODING(Prices, "prices { line_num: 1 } prices { line_num: 2 }",
             "0A 02 08 01 0A 02 08 02"),
    ENCODING(Price, "line_num: 1 product_id: 'b' set_price: 'c'",
             "08 01 12 01 62 1A 01 63"),
    ENCODING(POS, "price_mode: 1", "08 01"),
    ENCODING(POSDataMsg, "data: 1 transmit: true", "08 01 10 01"),
    ENCODING(Wifi, "ssid: 'a' pass: 'b'", "0A 01 61 12 01 62"),
    ENCODING(Dimming, "mode: 'a' level: 2 min: 3 max: 4",
             "0A 01 61 10 02 18 03 20 04"),
    ENCODING(Format, "tenths: 'a'", "0A 01 61"),
    ENCODING(Err, "code: 1 description: 'b'", "08 01 12 01 62"),
    ENCODING(ProductMappingKT2, "products { id: 'a' } products { name: 'b' }",
             "0A 03 0A 01 61 0A 03 12 01 62"),
    ENCODING(Product,
             "id: 'a' name: 'b' offset: 'c' neg_offset: true price: 'e' "
             "pay_type: 'f' service_type: 'g' display_price: 'h' "
             "pct_offset: 'i' neg_pct_offset: true enabled: true",
             "0A 01 61 12 01 62 1A 01 63 20 01 2A 01 65 32 01 66 3A 01 67 "
             "42 01 68 4A 01 69 50 01 58 01"),
    ENCODING(KT4Products, "products { id: 'a' } schema_version: 2",
             "0A 03 0A 01 61 10 02"),
    ENCODING(ERTDConnection, "name: 'a' ip_address: 'b' port: 'c'",
             "0A 01 61 12 01 62 1A 01 63"),
    ENCODING(ERTDConfiguration,
             "ertd_connections { name: 'a' } ertd_connections { port: 'c' }",
             "0A 03 0A 01 61 0A 03 1A 01 63"),
    ENCODING(Frame, "number: 3 hold_seconds: 5", "08 03 10 05"),
    ENCODING(Frames, "frames { number: 3 hold_seconds: 5 }",
             "0A 04 08 03 10 05"),
    ENCODING(Font, "style: Digital", "08 04"),
    ENCODING(DisplayMsg, "messages: 'a' messages: 'b'", "0A 01 61 0A 01 62"),
    ENCODING(TestMessage, "type: 'a' subtype: 2 description: 'c'",
             "0A 01 61 10 02 1A 01 63"),
    ENCODING(TestUpdateMsg, "type: 'a' pass: true", "0A 01 61 10 01"),
    ENCODING(BaseMsg, "command: 'a' value: 2 description: 'c' status: true",
             "0A 01 61 10 02 1A 01 63 20 01"),
    ENCODING(ModCalMsg,
             "network_number: 1 linear_address: 2 cal_level: 3 "
             "client_uuid: 'd'",
             "08 01 10 02 18 03 22 01 64"),
    ENCODING(ClientStatusMsg,
             "client_uuid: 'a' rx_signal_str_db: -42.5 tx_signal_str_db: 1",
             "0A 01 61 15 00 00 2A C2 1D 00 00 80 3F"),
    ENCODING(ClientRadioConfigMsg,
             "success: true networkId: 2 channel: 3 name: 'd'",
             "08 01 10 02 18 03 22 01 64"),
    ENCODING(DisplayTPat, "test_pattern: 1 layer1_address: 2 client_uuid: 'c'",
             "08 01 10 02 1A 01 63"),
    ENCODING(FileMessage, "fileName: 'a' fileData: '\\377\\000\\376'",
             "0A 01 61 12 03 FF 00 FE"),
    ENCODING(RenameRadio,
             "success: true radio_uuid: 'b' new_name: 'c' server_port: 'd'",
             "08 01 12 01 62 1A 01 63 22 01 64"),

    ENCODING(ChildTypes, "server { name: 'a' }", "0A 03 0A 01 61"),
    ENCODING(ChildTypes, "client { name: 'a' }", "12 03 0A 01 61"),
    ENCODING(ChildTypes, "display { name: 'a' }", "1A 03 0A 01 61"),
    ENCODING(ChildTypes, "module { uuid: 'a' }", "22 03 0A 01 61"),
    ENCODING(ChildTypes, "direct { name: 'a' }", "2A 03 0A 01 61"),
    ENCODING(ChildTypes, "getStatusModule { hwId: 'a' }", "32 03 0A 01 61"),
    ENCODING(ModifyChildTypeMsg,
             "child_uuid: 'a' parameter_name: 'b' parameter_value: 'c'",
             "0A 01 61 12 01 62 1A 01 63"),
    ENCODING(ModsAvailable, "modsAvailable {} modsAvailable { client {} }",
             "0A 00 0A 02 12 00"),
    ENCODING(ModsConfigured, "modsConfigured {} modsConfigured { direct {} }",
             "0A 00 0A 02 2A 00"),
    ENCODING(PendingModConfiguration,
             "pendingModConfiguration {} pendingModConfiguration { module {} }",
             "0A 00 0A 02 22 00"),
    ENCODING(Direct,
             "name: 'a' status: comm_error error: true uuid: 'd' children {} "
             "port: 'f' kt2: true",
             "0A 01 61 10 02 18 01 22 01 64 2A 00 32 01 66 38 01"),
    ENCODING(Server,
             "name: 'a' status: ok error: true uuid: 'd' firmwareVersion: 'e' "
             "hardwareVersion: 'f' children {} port: 'h' networkId: 9 "
             "channel: 10 kt2: true",
             "0A 01 61 10 01 18 01 22 01 64 2A 01 65 32 01 66 3A 00 42 01 68 "
             "48 09 50 0A 58 01"),
    ENCODING(Client,
             "name: 'a' status: ok error: true uuid: 'd' firmwareVersion: 'e' "
             "hardwareVersion: 'f' children {}",
             "0A 01 61 10 01 18 01 22 01 64 2A 01 65 32 01 66 3A 00"),
    ENCODING(FrameContent, "message: 1 frame: 2 price: 3", "08 01 10 02 18 03"),
    ENCODING(Display,
             "name: 'a' status: price_update_ok error: true uuid: 'd' "
             "subtype: message frameSelect { frame: 2 } children {} "
             "assyConfig { panels: 4 } displayBlanked: true",
             "0A 01 61 10 0B 18 01 22 01 64 28 01 32 02 10 02 3A 00 "
             "42 02 20 04 48 01"),
    ENCODING(Module,
             "uuid: 'a' hwId: 'b' status: power_outage linearAddr: 4 "
             "nodeAddr: 5 assyAddr: 6 assyId: 7 fw_rev: 8 font_rev: 9 "
             "extStatus { fwRev: 2 } error: true backup_comms: true",
             "0A 01 61 12 01 62 18 03 20 04 28 05 30 06 38 07 40 08 48 09 "
             "52 02 10 02 58 01 60 01"),
    ENCODING(CCMsgDefinitions,
             "dimensions: 'a' pixelPitchMm: 1 messages: 'c' messages: 'd'",
             "0A 01 61 15 00 00 80 3F 1A 01 63 1A 01 64"),
    ENCODING(CashCreditMsg,
             "_1hx1w {} _1hx2w {} _2hx2w {} _1hx3w {} _2hx3w {} _2hx4w {} "
             "_2hx5w { dimensions: 'a' }",
             "0A 00 12 00 1A 00 22 00 2A 00 32 00 3A 03 0A 01 61"),
    ENCODING(HwIdRowInfo,
             "hwId: 'a' pixels: 2 pixelRows: 3 pixelColumns: 4 maxConfigs: 5 "
             "heightInches: 6 pixelPitchMm: 1 "
             "assemblyTruthTable: [true, false, true]",
             "0A 01 61 10 02 18 03 20 04 28 05 30 06 3D 00 00 80 3F "
             "42 03 01 00 01"),
    ENCODING(HwIdColInfo, "hwId: 'a' color: 'b'", "0A 01 61 12 01 62"),
    ENCODING(DisplaySizeRef,
             "numPanelsHigh: 2 numPanelsWide: 3 assyId: 4 numPanels: 6",
             "08 02 10 03 18 04 20 06"),
    ENCODING(HwIdGroups,
             "hwIdRowInfo { pixels: 2 } hwIdColInfo { color: 'b' } "
             "truthTableSizeRef { assyId: 3 }",
             "0A 02 10 02 12 03 12 01 62 1A 02 18 03"),
    ENCODING(CabinetAssemblyConfiguration,
             "hwId: 'a' numPanelsWide: 3 numPanelsHigh: 2 panels: 6 "
             "cabinetInches: 5 possibleDisplayTypes: [price, message]",
             "0A 01 61 10 03 18 02 20 06 28 05 32 02 00 01"),
    ENCODING(CabinetAssemblyConfigurations,
             "cabinet_assembly_configurations { panels: 4 } "
             "cabinet_assembly_configurations {}",
             "0A 02 20 04 0A 00"),
    ENCODING(AddressingStatus,
             "status_code: 1 linear_address_assignments: 2 "
             "assembly_address_assignments: 3 mod_list { modsAvailable {} }",
             "08 01 10 02 18 03 22 02 0A 00"),
    ENCODING(DisplayConfigMsg, "display { name: 'a' } client_uuid: 'b'",
             "0A 03 0A 01 61 12 01 62"),
    ENCODING(FrameData,
             "fontStyle: 1 windowFlags: 2 windowType: message "
             "productIDLookup: 4 frameHoldTime: 5 productIDString: 'f'",
             "08 01 10 02 18 01 20 04 28 05 32 01 66"),
    ENCODING(DimmingValues,
             "dimmingMode: 1 minimumDimming: 2 maximumDimming: 3 "
             "manualDimming: 4 currentDimming: 5 dimmingCalibration: 6",
             "08 01 10 02 18 03 20 04 28 05 30 06"),
    ENCODING(GetStatusModule,
             "hwId: 'a' fwRev: 2 fontRev: 3 linearAddr: 4 nodeAddr: 5 "
             "assyAddr: 6 assyId: 7 configRev: 8 permissionFlags: 9 "
             "frameCount: 10 dimmingConfig { dimmingMode: 1 } "
             "frameConfig { fontStyle: 1 } frameConfig {} lightSensorLvl: 13 "
             "tempKelvin: 14 signalDirection: 15 blankDisplayFlags: 16 "
             "com1Device: 17 errorFlags: 18 statusRetrieved: true",
             "0A 01 61 10 02 18 03 20 04 28 05 30 06 38 07 40 08 48 09 50 0A "
             "5A 02 08 01 62 02 08 01 62 00 68 0D 70 0E 78 0F 80 01 10 "
             "88 01 11 90 01 12 98 01 01"),
    ENCODING(NetworkStatusReport,
             "status_packet { key: 'a' value: ok } "
             "price_sync_status_packet { key: 'b' value: price_sync_pending } "
             "network_price_lifecycle: price_update_uninitialized",
             "0A 05 0A 01 61 10 01 12 05 0A 01 62 10 09 18 0A"),
};

TEST(Wire, EveryFieldOfEveryMessageIsWrittenUnderItsTag) {
  for (const Encoding& each : kEncodings) {
    SCOPED_TRACE(each.prototype->GetTypeName());
    std::unique_ptr<Message> message(each.prototype->New());
    ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(each.text,
                                                              message.get()));
    EXPECT_EQ(HexOf(*message), each.hex);
    EXPECT_EQ(message->ByteSizeLong(), wire::Hex(each.hex).size());
  }
}

TEST(Wire, EveryFieldOfEveryMessageIsReadFromItsTag) {
  for (const Encoding& each : kEncodings) {
    SCOPED_TRACE(each.prototype->GetTypeName());
    std::unique_ptr<Message> message(each.prototype->New());
    ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(each.text,
                                                              message.get()));
    const auto read = tests::FromBytes(*each.prototype, wire::Hex(each.hex));
    EXPECT_TRUE(MessageDifferencer::Equals(*read, *message));
    EXPECT_TRUE(read->GetReflection()->GetUnknownFields(*read).empty());
  }
}

TEST(Wire, EncodingsAboveCoverEveryFieldOfEveryMessage) {
  std::set<std::string> covered;
  for (const Encoding& each : kEncodings) {
    const auto message = tests::FromBytes(*each.prototype, wire::Hex(each.hex));
    std::vector<const tests::FieldDescriptor*> fields;
    message->GetReflection()->ListFields(*message, &fields);
    for (const auto* field : fields) covered.insert(field->full_name());
  }
  tests::ForEachField([&](const Message&, const tests::FieldDescriptor* field) {
    EXPECT_EQ(covered.count(field->full_name()), 1u)
        << "no encoding above has " << field->full_name();
  });
}

TEST(Wire, ModuleHasStatusAtThreeAndErrorAtEleven) {
  tarn::Module module;
  module.set_status(tarn::ok);
  EXPECT_EQ(HexOf(module), "18 01");
  module.set_error(true);
  EXPECT_EQ(HexOf(module), "18 01 58 01");
  tarn::Server server;
  tarn::Client client;
  tarn::Direct direct;
  tarn::Display display;
  server.set_status(tarn::ok);
  client.set_status(tarn::ok);
  direct.set_status(tarn::ok);
  display.set_status(tarn::ok);
  for (const Message* node :
       {static_cast<Message*>(&server), static_cast<Message*>(&client),
        static_cast<Message*>(&direct), static_cast<Message*>(&display)}) {
    EXPECT_EQ(HexOf(*node), "10 01");
  }
}

TEST(Wire, TwoHighByThreeWideTakesOtherNumbersInEachMessage) {
  tarn::DisplaySizeRef size;
  size.set_numpanelshigh(2);
  size.set_numpanelswide(3);
  EXPECT_EQ(HexOf(size), "08 02 10 03");
  tarn::CabinetAssemblyConfiguration cabinet;
  cabinet.set_numpanelshigh(2);
  cabinet.set_numpanelswide(3);
  EXPECT_EQ(HexOf(cabinet), "10 03 18 02");
}

TEST(Wire, ElementsOfTheLastSizeStandUnderTag3A) {
  tarn::CashCreditMsg texts;
  texts.add__2hx5w()->add_messages("a");
  texts.add__2hx5w();
  EXPECT_EQ(HexOf(texts), "3A 03 1A 01 61 3A 00");
}

TEST(Wire, RunOfFramesIsReadInOrderAlsoWhenBroken) {
  const auto status = FromHex<tarn::GetStatusModule>(
      "62 02 08 01 62 02 08 02 10 05 62 02 08 03");
  ASSERT_EQ(status.frameconfig_size(), 3);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(status.frameconfig(i).fontstyle(), i + 1);
  }
  EXPECT_EQ(status.fwrev(), 5);
}

TEST(Wire, OnlySuccessOfARenamingIsTwoBytes) {
  tarn::RenameRadio rename;
  rename.set_success(true);
  EXPECT_EQ(HexOf(rename), "08 01");
}

TEST(Wire, FileDataKeepsEveryOneOfThe256Bytes) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all.push_back(char(byte));
  tarn::FileMessage file;
  file.set_filedata(all);
  const Writer expected = Writer().Bytes(2, all);
  EXPECT_EQ(HexOf(file), HexOf(expected));
  EXPECT_EQ(tests::FromBytes<tarn::FileMessage>(expected.bytes()).filedata(),
            all);
}

TEST(Wire, ValuesAreNotCheckedAgainstEachOther) {
  // Values above the maximum or below the minimum, negative times, equal
  // numbers, wrong counts of panels: all are kept as they came.
  for (const char* dimming : {"10 09 18 05 20 01", "18 01 20 05"}) {
    EXPECT_EQ(Rewritten<tarn::Dimming>(dimming), dimming);
  }
  const auto minus_one = HexOf(Writer().Int(2, -1));
  EXPECT_EQ(Rewritten<tarn::Frame>("08 01 " + minus_one), "08 01 " + minus_one);
  EXPECT_EQ(Rewritten<tarn::Frames>("0A 02 08 01 0A 02 08 01"),
            "0A 02 08 01 0A 02 08 01");
  EXPECT_EQ(Rewritten<tarn::DisplaySizeRef>("08 02 10 03 20 63"),
            "08 02 10 03 20 63");
}

TEST(Wire, LengthsOfSubmessagesAreThoseJustComputed) {
  // A size that grows past 127 takes a second byte at every level above.
  tarn::ModsConfigured tree;
  auto* server = tree.add_modsconfigured()->mutable_server();
  for (size_t size : {100, 200, 20000, 5, 0}) {
    const std::string name(size, 'n');
    server->set_name(name);
    Writer inner;
    if (size > 0) inner.Bytes(1, name);
    const Writer expected = Writer().Message(1, Writer().Message(1, inner));
    EXPECT_EQ(HexOf(tree), HexOf(expected));
    EXPECT_EQ(tree.GetCachedSize(), static_cast<int>(expected.bytes().size()));
    EXPECT_EQ(server->GetCachedSize(), static_cast<int>(inner.bytes().size()));
  }
}

}  // namespace
