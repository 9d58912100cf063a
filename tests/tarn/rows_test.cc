// The tables and rows that are made of messages.
#include "rows.h"

#include <gmock/gmock.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <map>
#include <memory>
#include <set>

#include "reference/fill.h"

namespace {

using google::protobuf::Descriptor;
using tarn::tool::Column;
using tarn::tool::ColumnType;
using tarn::tool::RowTables;
using tarn::tool::RowValue;
using tarn::tool::Table;
using testing::ElementsAre;
using testing::IsEmpty;
using Row = std::map<std::string, RowValue>;

std::vector<const Descriptor*> AllTypes() {
  std::vector<const Descriptor*> types;
  for (const auto* file : {tarn::Price::descriptor()->file(),
                           tarn::Server::descriptor()->file()}) {
    for (int i = 0; i < file->message_type_count(); ++i) {
      types.push_back(file->message_type(i));
    }
  }
  return types;
}

// A copy of a value, whose text lives as long as the program.
RowValue Kept(const RowValue& value) {
  static std::set<std::string> texts;
  const auto* text = std::get_if<std::string_view>(&value);
  return text == nullptr ? value
                         : std::string_view(*texts.emplace(*text).first);
}

// The rows of one table, by the names of its columns.
std::vector<Row> RowsOf(const google::protobuf::Message& message,
                        const std::string& table_name,
                        const tarn::tool::RowOrigin& origin = {}) {
  std::vector<Row> rows;
  tarn::tool::WriteRows(
      message, origin,
      [&](const Table& table, const std::vector<RowValue>& row) {
        if (table.name != table_name) return;
        rows.emplace_back();
        for (size_t i = 0; i < row.size(); ++i) {
          rows.back()[table.columns[i].name] = Kept(row[i]);
        }
      });
  return rows;
}

RowValue Text(std::string_view text) { return text; }
RowValue Number(int64_t number) { return number; }
const RowValue kNull;

TEST(RowTables, EveryFieldHasAColumnButThoseOfWifi) {
  std::set<std::string> fields;
  for (const Table& table : RowTables()) {
    for (const Column& column : table.columns) {
      fields.insert(column.fields.begin(), column.fields.end());
    }
  }
  std::vector<std::string> missing;
  for (const Descriptor* type : AllTypes()) {
    for (int i = 0; i < type->field_count(); ++i) {
      if (type->field(i)->message_type() == nullptr &&
          fields.count(type->field(i)->full_name()) == 0) {
        missing.push_back(type->field(i)->full_name());
      }
    }
  }
  EXPECT_THAT(missing, ElementsAre("tarn.Wifi.ssid", "tarn.Wifi.pass"));
}

TEST(RowTables, NamesAreUniqueInLowerCase) {
  const std::string letters = "abcdefghijklmnopqrstuvwxyz0123456789_";
  std::set<std::string> tables;
  for (const Table& table : RowTables()) {
    EXPECT_EQ(table.name.find_first_not_of(letters), std::string::npos);
    EXPECT_TRUE(tables.insert(table.name).second) << table.name;
    std::set<std::string> columns;
    for (const Column& column : table.columns) {
      EXPECT_EQ(column.name.find_first_not_of(letters), std::string::npos);
      EXPECT_TRUE(columns.insert(column.name).second)
          << table.name << "." << column.name;
      EXPECT_FALSE(column.comment.empty() && column.fields.empty());
    }
    ASSERT_GE(table.columns.size(), 3u);
    EXPECT_EQ(table.columns[0].name, "site");
    EXPECT_EQ(table.columns[1].name, "time");
    EXPECT_EQ(table.columns[2].name, "sequence");
  }
}

TEST(Rows, ValuesHaveTheTypesOfTheirColumns) {
  tests::Random random(1);
  tests::EdgeValues values(&random);
  std::map<std::string, int> rows;
  for (const Descriptor* type : AllTypes()) {
    for (int depth = 0; depth < 20; ++depth) {
      const std::unique_ptr<google::protobuf::Message> message(
          google::protobuf::MessageFactory::generated_factory()
              ->GetPrototype(type)
              ->New());
      tests::Fill(message.get(), &values, depth % 8);
      tarn::tool::WriteRows(
          *message, {"site", "2026-01-31T08:30:00Z", 7},
          [&](const Table& table, const std::vector<RowValue>& row) {
            ++rows[table.name];
            ASSERT_EQ(row.size(), table.columns.size());
            EXPECT_EQ(row[0], Text("site"));
            EXPECT_EQ(row[1], Text("2026-01-31T08:30:00Z"));
            EXPECT_EQ(row[2], Number(7));
            for (size_t i = 0; i < row.size(); ++i) {
              constexpr ColumnType kTypes[] = {
                  ColumnType::kInteger, ColumnType::kReal, ColumnType::kText};
              if (row[i] == kNull) continue;
              EXPECT_EQ(kTypes[row[i].index() - 1], table.columns[i].type)
                  << table.name << "." << table.columns[i].name;
            }
          });
    }
  }
  EXPECT_EQ(rows.size(), RowTables().size());
}

TEST(Rows, OriginsThatAreNotGivenAreNull) {
  const std::vector<Row> rows = RowsOf(tarn::Price(), "price");
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].at("site"), kNull);
  EXPECT_EQ(rows[0].at("time"), kNull);
  EXPECT_EQ(rows[0].at("sequence"), Number(0));
}

TEST(Rows, FieldsThatAKindLacksAreNullAndAbsentPartsToo) {
  tarn::Module module;
  Row row = RowsOf(module, "node").at(0);
  EXPECT_EQ(row.at("hw_id"), Text(""));
  EXPECT_EQ(row.at("port"), kNull);
  EXPECT_EQ(row.at("ext_status_temp_kelvin"), kNull);
  module.mutable_extstatus();
  row = RowsOf(module, "node").at(0);
  EXPECT_EQ(row.at("ext_status_temp_kelvin"), Number(0));
  EXPECT_EQ(row.at("ext_status_dimming_config_dimming_mode"), kNull);
}

TEST(Rows, ANumberThatNoNameIsDeclaredForIsItsOwnName) {
  tarn::Server server;
  server.set_status(static_cast<tarn::StatusCodes>(-17));
  const Row row = RowsOf(server, "node").at(0);
  EXPECT_EQ(row.at("status"), Number(-17));
  EXPECT_EQ(row.at("status_name"), Text("-17"));
}

TEST(Rows, FloatsKeepTheirShortestDigits) {
  tarn::ClientStatusMsg message;
  message.set_rx_signal_str_db(-0.1f);
  message.set_tx_signal_str_db(16777217);
  const Row row = RowsOf(message, "client_status_msg").at(0);
  EXPECT_EQ(row.at("rx_signal_str_db"), RowValue(-0.1));
  EXPECT_EQ(row.at("tx_signal_str_db"), RowValue(16777216.0));
}

TEST(Rows, LongUuidsAreNotRepeated) {
  tarn::Server server;
  server.add_children();
  server.set_uuid(std::string(64, 'u'));
  EXPECT_EQ(RowsOf(server, "node").at(1).at("parent_uuid"),
            Text(server.uuid()));
  server.set_uuid(std::string(65, 'u'));
  EXPECT_EQ(RowsOf(server, "node").at(1).at("parent_uuid"), kNull);
  EXPECT_EQ(RowsOf(server, "node").at(1).at("parent"), Number(0));
}

TEST(Rows, NothingOfAWifiIsShown) {
  tarn::Wifi wifi;
  wifi.set_ssid("net");
  wifi.set_pass("secret");
  EXPECT_EQ(RowsOf(wifi, "record").at(0).at("record_type"), Text("tarn.Wifi"));
  EXPECT_THAT(RowsOf(wifi, "wifi"), IsEmpty());
}

TEST(Rows, PathsCountTheTopNodesOfAllLists) {
  tarn::AddressingStatus message;
  message.add_mod_list()->add_modsavailable()->mutable_server()->add_children();
  message.add_mod_list()->add_modsavailable();
  std::vector<RowValue> paths;
  std::vector<RowValue> fields;
  for (const Row& row : RowsOf(message, "node")) {
    paths.push_back(row.at("path"));
    fields.push_back(row.at("field"));
  }
  EXPECT_THAT(paths, ElementsAre(Text("0"), Text("0.0"), Text("1")));
  EXPECT_THAT(fields,
              ElementsAre(Text("mod_list[0].modsAvailable"), Text("children"),
                          Text("mod_list[1].modsAvailable")));
}

}  // namespace
