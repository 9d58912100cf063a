// `office` against everything that a network can send it, over real sockets,
// and `site` and `office` together.
#include <gmock/gmock.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "process.h"

namespace {

using testing::HasSubstr;
using testing::Not;

enum Exit {
  kFine = 0,
  kDifferent = 1,
  kUsage = 2,
  kMalformed = 3,
  kUnknownType = 4,
  kInputOutput = 5
};

std::string Varint(uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7) {
    bytes += static_cast<char>(value | 0x80);
  }
  return bytes + static_cast<char>(value);
}

std::string Frame(const std::string& type, const std::string& message) {
  return Varint(type.size()) + type + Varint(message.size()) + message;
}

template <typename T>
std::string Frame(const T& message) {
  return Frame(message.GetTypeName(), message.SerializeAsString());
}

std::string PriceRecord(int line) {
  tarn::Prices prices;
  tarn::Price* price = prices.add_prices();
  price->set_line_num(line);
  price->set_product_id("coffee");
  price->set_set_price("2.50");
  return Frame(prices);
}

// The record that says how many came before it.
std::string SentRecord(int before) {
  tarn::BaseMsg sent;
  sent.set_command("sent");
  sent.set_value(before);
  return Frame(sent);
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string ProgramPath(const std::string& name) {
  return std::string(PROGRAMS_DIR) + "/" + name;
}

class Office : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "/office_test.XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override {
    process_.reset();
    std::filesystem::remove_all(folder_);
  }

  std::string StorePath() const { return folder_ + "/store"; }
  std::string Stored() const { return ReadFile(StorePath()); }
  std::string Rejected() const { return ReadFile(StorePath() + ".rejected"); }

  std::vector<std::string> Command(
      const std::vector<std::string>& options) const {
    std::vector<std::string> command = {ProgramPath("office"), "--store",
                                        StorePath()};
    command.insert(command.end(), options.begin(), options.end());
    return command;
  }

  // Starts office and waits until it can be connected to.
  void Start(const std::vector<std::string>& options,
             rlim_t largest_file = RLIM_INFINITY) {
    process_ = std::make_unique<Process>(Command(options), largest_file);
    process_->AwaitOut("\n");
    std::smatch match;
    ASSERT_TRUE(std::regex_search(process_->out(), match,
                                  std::regex("127\\.0\\.0\\.1:([0-9]+)")))
        << process_->out() << process_->err();
    port_ = std::stoi(match[1]);
  }

  // Sends `stream` as the only peer, and returns office's exit status.
  int Receive(const std::string& stream,
              std::vector<std::string> options = {}) {
    options.insert(options.end(), {"--until-peers", "1"});
    Start(options);
    Connection peer(port_);
    peer_ = peer.address();
    peer.Send(stream);
    peer.Finish();
    return process_->Wait();
  }

  // What office says on stderr about a record of the only peer.
  std::string Complaint(int record, size_t offset, const std::string& reason,
                        const std::string& outcome) const {
    return "office: " + peer_ + ": record " + std::to_string(record) +
           " at byte " + std::to_string(offset) + ": " + reason + "; " +
           outcome + "\n";
  }

  std::string folder_;
  std::unique_ptr<Process> process_;
  int port_ = 0;
  std::string peer_;
};

const char kRejected[] = "record rejected";
const char kClosed[] = "connection closed";

TEST_F(Office, StoreHoldsTheBytesOfTheStreamThatCame) {
  const std::string stream = PriceRecord(1) + PriceRecord(2) + SentRecord(2);
  EXPECT_EQ(Receive(stream), kFine);
  EXPECT_EQ(Stored(), stream);
  EXPECT_EQ(process_->err(), "");
  EXPECT_THAT(process_->out(), HasSubstr("sent             3\n"
                                         "received         3\n"
                                         "stored           3\n"
                                         "read back        3\n"
                                         "compared equal   3\n"));
  EXPECT_FALSE(std::filesystem::exists(StorePath() + ".rejected"));
}

TEST_F(Office, TakesAStreamThatComesByteByByte) {
  const std::string stream = PriceRecord(1) + PriceRecord(2) + SentRecord(2);
  Start({"--until-peers", "1"});
  Connection peer(port_);
  for (const char byte : stream) peer.Send({&byte, 1});
  peer.Finish();
  EXPECT_EQ(process_->Wait(), kFine);
  EXPECT_EQ(Stored(), stream);
}

TEST_F(Office, TakesAnEmptyMessage) {
  EXPECT_EQ(Receive(Frame(tarn::Prices()) + SentRecord(1)), kFine);
}

TEST_F(Office, KeepsValuesThatItsSchemaDoesNotKnow) {
  const std::string unknown = Frame("tarn.Price", "\x08\x02\x7a\x01x");
  EXPECT_EQ(Receive(unknown + SentRecord(1)), kFine);
  EXPECT_EQ(Stored(), unknown + SentRecord(1));
}

TEST_F(Office, ComparesNansEqual) {
  const std::string nan("\x15\x01\x00\xc0\x7f", 5);
  EXPECT_EQ(Receive(Frame("tarn.CCMsgDefinitions", nan) + SentRecord(1)),
            kFine);
}

TEST_F(Office, ReportsATruncatedRecordAndKeepsWhatCame) {
  const std::string good = PriceRecord(1);
  const std::string torn = PriceRecord(2).substr(0, 20);
  EXPECT_EQ(Receive(good + torn), kDifferent);
  EXPECT_EQ(
      process_->err(),
      Complaint(2, good.size(),
                "closed by the peer in the middle of the record", kClosed));
  EXPECT_EQ(Stored(), good);
  EXPECT_THAT(Rejected(), HasSubstr(Varint(torn.size()) + torn));
}

TEST_F(Office, NamesTheFieldOfBadUtf8AndGoesOn) {
  tarn::ModsConfigured network;
  network.add_modsconfigured()->mutable_server()->set_name("Roof \xc3\x28");
  std::string bytes;
  testing::internal::CaptureStderr();  // The runtime complains here as well.
  bytes = Frame(network);
  testing::internal::GetCapturedStderr();
  const std::string rest = PriceRecord(1) + SentRecord(2);
  EXPECT_EQ(Receive(bytes + rest), kDifferent);
  EXPECT_EQ(
      process_->err(),
      Complaint(1, 0, "the text in tarn.Server.name is not UTF-8", kRejected));
  EXPECT_EQ(Stored(), rest);
  EXPECT_THAT(Rejected(), HasSubstr(Varint(bytes.size()) + bytes));
  EXPECT_THAT(process_->out(), HasSubstr("rejected         1\n"));
}

TEST_F(Office, RejectsAnUnknownTypeAndGoesOn) {
  const std::string unknown = Frame("tarn.Nothing", "whatever");
  const std::string rest = PriceRecord(1) + SentRecord(2);
  EXPECT_EQ(Receive(unknown + rest), kDifferent);
  EXPECT_EQ(
      process_->err(),
      Complaint(1, 0, "no message type is called tarn.Nothing", kRejected));
  EXPECT_EQ(Stored(), rest);
  EXPECT_THAT(Rejected(), HasSubstr(unknown));
}

TEST_F(Office, KnowsNeitherTheRuntimesTypesNorMapEntries) {
  EXPECT_EQ(Receive(Frame("google.protobuf.Any", "") +
                    Frame("tarn.NetworkStatusReport.StatusPacketEntry", "") +
                    Frame("tarn.Server.name", "")),
            kDifferent);
  EXPECT_THAT(process_->err(), HasSubstr("record 1 at"));
  EXPECT_THAT(process_->err(), HasSubstr("record 2 at"));
  EXPECT_THAT(process_->err(), HasSubstr("record 3 at"));
  EXPECT_EQ(Stored(), "");
}

TEST_F(Office, RejectsAMalformedMessageAndGoesOn) {
  const std::string malformed = Frame("tarn.Prices", "\x0a\x7f");
  const std::string rest = PriceRecord(1) + SentRecord(2);
  EXPECT_EQ(Receive(malformed + rest), kDifferent);
  EXPECT_EQ(process_->err(),
            Complaint(1, 0, "malformed tarn.Prices", kRejected));
  EXPECT_EQ(Stored(), rest);
}

TEST_F(Office, RejectsATreeThatIsNestedTooDeep) {
  tarn::ModsConfigured network;
  tarn::ChildTypes* node = network.add_modsconfigured();
  for (int i = 0; i < 60; ++i) {
    node = node->mutable_client()->add_children();
  }
  EXPECT_EQ(Receive(Frame(network) + SentRecord(1)), kDifferent);
  EXPECT_EQ(process_->err(),
            Complaint(1, 0, "malformed tarn.ModsConfigured", kRejected));
}

TEST_F(Office, ClosesOnALengthOfTwoGigabytesAndServesTheOthers) {
  Start({"--until-peers", "2"});
  Connection other(port_);
  other.Send(PriceRecord(1));
  process_->AwaitOut("tarn.Prices");
  Connection hostile(port_);
  peer_ = hostile.address();
  hostile.Send(PriceRecord(2));
  hostile.Send(Varint(11) + "tarn.Prices" + Varint(2147483648) + "abc");
  hostile.AwaitClosed();
  other.Send(PriceRecord(3) + SentRecord(2));
  other.Finish();
  EXPECT_EQ(process_->Wait(), kDifferent);
  EXPECT_EQ(process_->err(),
            Complaint(2, PriceRecord(2).size(),
                      "the message is said to have 2147483648 bytes, and the "
                      "limit is 67108864",
                      kClosed));
  EXPECT_EQ(Stored(),
            PriceRecord(1) + PriceRecord(2) + PriceRecord(3) + SentRecord(2));
}

TEST_F(Office, ClosesOnALengthThatDoesNotEnd) {
  const std::string good = PriceRecord(1);
  EXPECT_EQ(Receive(good + std::string(6, '\x80')), kDifferent);
  EXPECT_EQ(process_->err(),
            Complaint(2, good.size(),
                      "the length of the type name is a varint of more than 5 "
                      "bytes",
                      kClosed));
  EXPECT_EQ(Stored(), good);
  EXPECT_THAT(Rejected(), HasSubstr("\x06" + std::string(6, '\x80')));
}

TEST_F(Office, ClosesOnAMessageLengthThatDoesNotEnd) {
  EXPECT_EQ(Receive(Varint(11) + "tarn.Prices" + std::string(6, '\xff')),
            kDifferent);
  EXPECT_THAT(process_->err(), HasSubstr("the length of the message is a "
                                         "varint of more than 5 bytes"));
}

TEST_F(Office, ClosesOnATypeNameThatIsTooLong) {
  EXPECT_EQ(Receive(Frame(std::string(257, 'a'), "")), kDifferent);
  EXPECT_EQ(process_->err(),
            Complaint(1, 0,
                      "the type name is said to have 257 bytes, and the limit "
                      "is 256",
                      kClosed));
}

TEST_F(Office, RejectsATypeNameOfTheGreatestLengthAndGoesOn) {
  EXPECT_EQ(Receive(Frame(std::string(256, 'a'), "") + PriceRecord(1)),
            kDifferent);
  EXPECT_THAT(process_->err(), HasSubstr(kRejected));
  EXPECT_EQ(Stored(), PriceRecord(1));
}

TEST_F(Office, ClosesOnControlCharactersInATypeName) {
  EXPECT_EQ(Receive(Frame("tarn.\x1b[2JPrices", "")), kDifferent);
  EXPECT_EQ(process_->err(),
            Complaint(1, 0, "the type name is not valid", kClosed));
  EXPECT_THAT(process_->err(), Not(HasSubstr("\x1b")));
}

TEST_F(Office, ClosesOnAnEmptyTypeName) {
  EXPECT_EQ(Receive(std::string(2, '\0')), kDifferent);
  EXPECT_THAT(process_->err(), HasSubstr("the type name is not valid"));
}

TEST_F(Office, ClosesOnAnotherProtocol) {
  EXPECT_EQ(
      Receive("GET / HTTP/1.1\r\nHost: office\r\n\r\n" + std::string(100, 'x')),
      kDifferent);
  EXPECT_THAT(process_->err(), HasSubstr("the type name is not valid"));
}

TEST_F(Office, SendsAStalledPeerAwayAndServesTheOthers) {
  Start({"--until-peers", "2", "--idle-timeout", "2"});
  Connection stalled(port_);
  peer_ = stalled.address();
  stalled.Send(PriceRecord(1) + PriceRecord(2).substr(0, 5));
  stalled.AwaitClosed();
  Connection other(port_);
  other.Send(PriceRecord(3) + SentRecord(1));
  other.Finish();
  EXPECT_EQ(process_->Wait(), kDifferent);
  EXPECT_EQ(process_->err(),
            Complaint(2, PriceRecord(1).size(),
                      "silent for 2 s in the middle of the record", kClosed));
  EXPECT_EQ(Stored(), PriceRecord(1) + PriceRecord(3) + SentRecord(1));
}

TEST_F(Office, SendsASilentPeerAway) {
  Start({"--until-peers", "1", "--idle-timeout", "2"});
  Connection silent(port_);
  silent.AwaitClosed();
  EXPECT_EQ(process_->Wait(), kDifferent);
  EXPECT_THAT(process_->err(), HasSubstr("silent for 2 s between records"));
}

TEST_F(Office, TurnsPeersBeyondTheLimitAway) {
  Start({"--until-peers", "1", "--max-peers", "1"});
  Connection first(port_);
  first.Send(PriceRecord(1));
  process_->AwaitOut("tarn.Prices");
  Connection second(port_);
  second.AwaitClosed();
  first.Send(SentRecord(1));
  first.Finish();
  EXPECT_EQ(process_->Wait(), kDifferent);
  EXPECT_THAT(process_->err(),
              HasSubstr(second.address() +
                        ": record 1 at byte 0: turned away, the limit of peers "
                        "at a time is 1; connection closed"));
  EXPECT_EQ(Stored(), PriceRecord(1) + SentRecord(1));
}

TEST_F(Office, TakesManyPeersAtOnce) {
  constexpr int kPeers = 8;
  constexpr int kRecords = 20;
  Start({"--until-peers", std::to_string(kPeers)});
  std::list<Connection> peers;
  for (int i = 0; i < kPeers; ++i) peers.emplace_back(port_);
  for (int i = 0; i < kRecords; ++i) {
    // In two pieces, so that every record of a peer waits while others' come.
    for (Connection& peer : peers) peer.Send(PriceRecord(i).substr(0, 7));
    for (Connection& peer : peers) peer.Send(PriceRecord(i).substr(7));
  }
  for (Connection& peer : peers) peer.Send(SentRecord(kRecords));
  for (Connection& peer : peers) peer.HalfClose();
  const std::string total = std::to_string(kPeers * (kRecords + 1));
  EXPECT_EQ(process_->Wait(), kFine) << process_->err();
  EXPECT_THAT(process_->out(), HasSubstr("compared equal   " + total + "\n"));
}

TEST_F(Office, TakesNoMemoryForALengthThatIsOnlyAnnounced) {
  const auto resident_mb = [this] {
    std::ifstream file("/proc/" + std::to_string(process_->pid()) + "/statm");
    long total = 0;
    long resident = 0;
    file >> total >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024) / 1024;
  };
  Start({"--max-record", "1GiB", "--until-peers", "5"});
  const long before = resident_mb();
  std::list<Connection> hostile;
  for (int i = 0; i < 4; ++i) {
    hostile.emplace_back(port_).Send(Varint(11) + "tarn.Prices" +
                                     Varint(1 << 30) + "abc");
  }
  Connection other(port_);
  other.Send(PriceRecord(1) + SentRecord(1));
  process_->AwaitOut("tarn.BaseMsg");
  EXPECT_LT(resident_mb() - before, 64);
  other.Finish();
  for (Connection& each : hostile) each.Finish();
  EXPECT_EQ(process_->Wait(), kDifferent);
}

TEST_F(Office, TakesRecordsUpToTheLimitOfItsOption) {
  const std::string prices = "\x0a\x08\x1a\x06";
  const std::string ten_bytes = Frame("tarn.Prices", prices + "123456");
  EXPECT_EQ(Receive(ten_bytes + ten_bytes, {"--max-record", "10"}), kDifferent);
  EXPECT_EQ(Stored(), ten_bytes + ten_bytes);
  EXPECT_EQ(process_->err(), "");
}

TEST_F(Office, ClosesBeyondTheLimitOfItsOption) {
  EXPECT_EQ(Receive(Frame("tarn.Prices", std::string(11, 'x')),
                    {"--max-record", "10"}),
            kDifferent);
  EXPECT_THAT(process_->err(), HasSubstr("said to have 11 bytes, and the "
                                         "limit is 10"));
}

TEST_F(Office, NoticesThatRecordsAreMissing) {
  EXPECT_EQ(Receive(PriceRecord(1) + SentRecord(2)), kDifferent);
  EXPECT_THAT(process_->out(), HasSubstr("sent             3\n"
                                         "received         2\n"));
}

TEST_F(Office, NoticesThatAPeerDidNotSayHowManyItSent) {
  EXPECT_EQ(Receive(PriceRecord(1)), kDifferent);
  EXPECT_THAT(process_->out(), HasSubstr("not known: 1 peer"));
}

TEST_F(Office, DoesNotBelieveANegativeCount) {
  EXPECT_EQ(Receive(PriceRecord(1) + SentRecord(-5)), kDifferent);
}

TEST_F(Office, AppendsToTheStoreOfAnEarlierRun) {
  const std::string stream = PriceRecord(1) + SentRecord(1);
  EXPECT_EQ(Receive(stream), kFine);
  EXPECT_EQ(Receive(stream), kFine);
  EXPECT_THAT(process_->out(), HasSubstr("(2 records so far)"));
  EXPECT_EQ(Stored(), stream + stream);
}

TEST_F(Office, LeavesATornStoreAsItIs) {
  const std::string content = PriceRecord(1) + PriceRecord(2).substr(0, 9);
  std::ofstream(StorePath()) << content;
  Process office(Command({"--until-peers", "1"}));
  EXPECT_EQ(office.Wait(), kInputOutput);
  EXPECT_THAT(
      office.err(),
      HasSubstr("ends in the middle of the record at byte " +
                std::to_string(PriceRecord(1).size()) + ", 9 bytes into it"));
  EXPECT_EQ(Stored(), content);
}

TEST_F(Office, LeavesAFileThatIsNoStoreAsItIs) {
  const std::string content = PriceRecord(1) + "#!/bin/sh\necho hello\n";
  std::ofstream(StorePath()) << content;
  Process office(Command({"--until-peers", "1"}));
  EXPECT_EQ(office.Wait(), kInputOutput);
  EXPECT_THAT(office.err(), HasSubstr("holds no record at byte " +
                                      std::to_string(PriceRecord(1).size())));
  EXPECT_EQ(Stored(), content);
}

TEST_F(Office, DoesNotShareItsStore) {
  Start({});
  Process second(Command({}));
  EXPECT_EQ(second.Wait(), kInputOutput);
  EXPECT_THAT(second.err(), HasSubstr("another program may be using"));
}

TEST_F(Office, SaysWhyItCannotOpenItsStore) {
  Process office({ProgramPath("office"), "--store", folder_ + "/no/store"});
  EXPECT_EQ(office.Wait(), kInputOutput);
  EXPECT_THAT(office.err(), HasSubstr("no/store: No such file or directory"));
}

TEST_F(Office, KeepsWholeRecordsWhenTheDiskIsFull) {
  const std::string good = PriceRecord(1);
  Start({}, good.size() + 10);
  Connection peer(port_);
  peer.Send(good + PriceRecord(2) + PriceRecord(3));
  peer.AwaitClosed();
  EXPECT_EQ(process_->Wait(), kInputOutput);
  EXPECT_THAT(process_->err(), HasSubstr("cannot write " + StorePath()));
  EXPECT_THAT(process_->err(), HasSubstr("File too large"));
  EXPECT_EQ(Stored(), good);
}

TEST_F(Office, EndsOnASignalAndKeepsWhatCame) {
  Start({});
  Connection peer(port_);
  peer_ = peer.address();
  peer.Send(PriceRecord(1) + PriceRecord(2).substr(0, 9));
  process_->AwaitOut("2.50");
  process_->Signal(SIGTERM);
  EXPECT_EQ(process_->Wait(), kDifferent);
  EXPECT_EQ(Stored(), PriceRecord(1));
}

TEST_F(Office, EndsWellOnASignalWhenAllArrived) {
  Start({});
  Connection peer(port_);
  peer.Send(PriceRecord(1) + SentRecord(1));
  peer.Finish();
  process_->Signal(SIGINT);
  EXPECT_EQ(process_->Wait(), kFine);
}

TEST_F(Office, PrintsControlCharactersOfOthersAsCodes) {
  tarn::ModsConfigured network;
  tarn::Server* server = network.add_modsconfigured()->mutable_server();
  server->set_name("a\x1b[31mb\r\nc\xc2\x9b\xe2\x80\xae");
  server->set_port("\x07");
  tarn::Err error;
  error.set_description("\x1b]0;title\x07");
  tarn::Prices prices;
  prices.add_prices()->set_set_price("\x1b[2J");
  EXPECT_EQ(
      Receive(Frame(network) + Frame(error) + Frame(prices) + SentRecord(3)),
      kFine);
  EXPECT_THAT(process_->out(), Not(HasSubstr("\x1b")));
  EXPECT_THAT(process_->out(), Not(HasSubstr("\r")));
  EXPECT_THAT(process_->out(), Not(HasSubstr("\x07")));
  EXPECT_THAT(process_->out(), Not(HasSubstr("\xc2\x9b")));
  EXPECT_THAT(process_->out(), Not(HasSubstr("\xe2\x80\xae")));
  EXPECT_THAT(process_->out(),
              HasSubstr("a\\u{1b}[31mb\\u{d}\\u{a}c\\u{9b}\\u{202e}"));
}

TEST_F(Office, DrawsEveryModuleThatNeedsSomebody) {
  tarn::ModsConfigured network;
  tarn::Client* client = network.add_modsconfigured()->mutable_client();
  client->add_children()->mutable_module()->set_hwid("below-client");
  tarn::Display* display = client->add_children()->mutable_display();
  display->set_status(tarn::comm_error);
  for (int place = 1; place <= 4; ++place) {
    tarn::Module* module = display->add_children()->mutable_module();
    module->set_hwid("place-" + std::to_string(place));
    module->set_status(place == 2 ? tarn::ok : tarn::comm_error);
    module->set_assyaddr(place);
  }
  EXPECT_EQ(Receive(Frame(network) + SentRecord(1)), kFine);
  for (const char* drawn : {"below-client", "place-1", "place-3", "place-4"}) {
    EXPECT_THAT(process_->out(), HasSubstr(drawn));
  }
  EXPECT_THAT(process_->out(), Not(HasSubstr("place-2")));
  EXPECT_THAT(process_->out(), HasSubstr("   ├─ module 1"));
  EXPECT_THAT(process_->out(), HasSubstr("   └─ module 4"));
}

TEST_F(Office, PrintsNumbersThatTheSchemaDoesNotKnow) {
  tarn::ModsConfigured network;
  network.add_modsconfigured()->mutable_client()->set_status(
      static_cast<tarn::StatusCodes>(99));
  network.add_modsconfigured();
  tarn::NetworkStatusReport report;
  (*report.mutable_status_packet())["x"] = static_cast<tarn::StatusCodes>(-7);
  EXPECT_EQ(Receive(Frame(network) + Frame(report) + SentRecord(2)), kFine);
  EXPECT_THAT(process_->out(), HasSubstr("status 99"));
  EXPECT_THAT(process_->out(), HasSubstr("status -7"));
  EXPECT_THAT(process_->out(), HasSubstr("(nothing)"));
}

TEST_F(Office, ShowsNoPassPhrase) {
  tarn::Wifi wifi;
  wifi.set_ssid("till");
  wifi.set_pass("correct horse");
  EXPECT_EQ(Receive(Frame(wifi) + SentRecord(1)), kFine);
  EXPECT_THAT(process_->out(), HasSubstr("till"));
  EXPECT_THAT(process_->out(), HasSubstr("***"));
  EXPECT_THAT(process_->out(), Not(HasSubstr("correct horse")));
}

TEST_F(Office, ColoursOnlyWhenAsked) {
  EXPECT_EQ(Receive(PriceRecord(1) + SentRecord(1), {"--color", "always"}),
            kFine);
  EXPECT_THAT(process_->out(), HasSubstr("\x1b["));
  EXPECT_EQ(Receive(PriceRecord(1) + SentRecord(1)), kFine);
  EXPECT_THAT(process_->out(), Not(HasSubstr("\x1b[")));
}

// Every message of the schema, empty, has a form to be printed in.
TEST_F(Office, PrintsEveryMessageOfTheSchema) {
  std::string stream;
  int count = 0;
  for (const auto* file : {tarn::Price::descriptor()->file(),
                           tarn::Server::descriptor()->file()}) {
    for (int i = 0; i < file->message_type_count(); ++i, ++count) {
      stream += Frame(file->message_type(i)->full_name(), "");
    }
  }
  EXPECT_GT(count, 50);
  EXPECT_EQ(Receive(stream + SentRecord(count)), kFine);
}

TEST_F(Office, RejectsWrongOptions) {
  for (const std::vector<std::string>& options :
       std::vector<std::vector<std::string>>{{"--listen", "nowhere"},
                                             {"--max-record", "0"},
                                             {"--max-record", "3GiB"},
                                             {"--idle-timeout", "0"},
                                             {"--max-peers", "x"},
                                             {"--color", "red"},
                                             {"--what"}}) {
    Process office(Command(options));
    EXPECT_EQ(office.Wait(), kUsage) << options.front();
    EXPECT_NE(office.err(), "");
  }
}

class Site : public Office {
 protected:
  std::string Write(const std::string& name, const std::string& content) {
    const std::string path = folder_ + "/" + name;
    std::ofstream(path) << content;
    return path;
  }

  std::vector<std::string> SiteCommand(const std::string& path) const {
    return {ProgramPath("site"),
            "--retry",
            "30",
            "--connect",
            "127.0.0.1:" + std::to_string(port_),
            path};
  }

  // What site says about a file, having ended with `status`.
  std::string Complaint(const std::string& path, Exit status) const {
    Process site(SiteCommand(path));
    EXPECT_EQ(site.Wait(), status);
    return site.err();
  }
};

TEST_F(Site, SendsTheWholeInstallation) {
  Start({"--until-peers", "1"});
  Process site(SiteCommand(EXAMPLES_DIR));
  EXPECT_EQ(site.Wait(), kFine) << site.err();
  EXPECT_EQ(site.out(), "site: sent 12 records\n");
  EXPECT_EQ(process_->Wait(), kFine);
  EXPECT_EQ(process_->err(), "");
  const std::string printed = process_->out();
  // Ports are different each time, and so is the name of the store.
  const std::string rest =
      std::regex_replace(printed.substr(printed.find('\n') + 1),
                         std::regex("127\\.0\\.0\\.1:[0-9]+ [^\n]*"), "PEER");
  EXPECT_EQ(rest,
            ReadFile(std::string(EXAMPLES_DIR) + "/site_office/expected.txt"));
}

TEST_F(Site, WaitsForAnOfficeThatIsNotUpYet) {
  const std::string port_file = folder_ + "/port";
  Process site({ProgramPath("site"), "--retry", "60", "--port-file", port_file,
                std::string(EXAMPLES_DIR) + "/prices.txtpb"});
  Start({"--until-peers", "1", "--port-file", port_file});
  EXPECT_EQ(site.Wait(), kFine) << site.err();
  EXPECT_EQ(process_->Wait(), kFine);
}

TEST_F(Site, GivesUpWhenThereIsNoOffice) {
  Process site({ProgramPath("site"), "--retry", "1", "--port-file",
                folder_ + "/port", EXAMPLES_DIR});
  EXPECT_EQ(site.Wait(), kInputOutput);
  EXPECT_THAT(site.err(), HasSubstr("gave up after 1 s"));
}

TEST_F(Site, NoticesThatTheOfficeDoesNotTakeEverything) {
  Start({"--max-record", "1"});
  EXPECT_THAT(Complaint(EXAMPLES_DIR, kInputOutput),
              HasSubstr("the office does not take"));
}

TEST_F(Site, SaysWhereAFileIsMalformed) {
  const std::string path = Write(
      "a.txtpb", "# proto-message: tarn.Prices\nprices { line_nmu: 1 }\n");
  EXPECT_THAT(Complaint(path, kMalformed), HasSubstr(path + ":2:18: "));
}

TEST_F(Site, SaysWhichTextIsNotUtf8) {
  const std::string path =
      Write("a.txtpb", "# proto-message: tarn.Wifi\nssid: \"\\303(\"\n");
  EXPECT_EQ(Complaint(path, kMalformed),
            "site: " + path + ": the text in tarn.Wifi.ssid is not UTF-8\n");
}

TEST_F(Site, SurvivesTextThatIsNestedTooDeep) {
  std::string text = "# proto-message: tarn.ModsConfigured\nmodsConfigured {";
  for (int i = 0; i < 100000; ++i) text += "client { children {";
  EXPECT_THAT(Complaint(Write("a.txtpb", text), kMalformed),
              HasSubstr("a.txtpb:"));
}

TEST_F(Site, SaysWhichTypeIsUnknown) {
  const std::string path = Write("a.txtpb", "# proto-message: tarn.Nothing\n");
  EXPECT_EQ(Complaint(path, kUnknownType),
            "site: " + path + ": no message type is called tarn.Nothing\n");
}

TEST_F(Site, WantsToKnowTheTypeOfAFile) {
  EXPECT_THAT(Complaint(Write("a.txtpb", "state: Ready\n"), kMalformed),
              HasSubstr("no line says \"# proto-message: TYPE\""));
}

TEST_F(Site, SaysWhyItCannotReadAFile) {
  EXPECT_THAT(Complaint(folder_ + "/none", kInputOutput),
              HasSubstr("none: No such file or directory"));
}

TEST_F(Site, WantsAFolderWithMessages) {
  EXPECT_THAT(Complaint(folder_, kUsage), HasSubstr("holds no *.txtpb"));
}

}  // namespace
