// Reads every file of corpus/ with the library: what is valid, accepted or
// rejected there must be so here, as bytes, text and JSON.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/message.h>
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "reference/reference.h"
#include "reference/wire.h"

namespace {

namespace fs = std::filesystem;
namespace pb = google::protobuf;

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

// The files of one case, by what follows its name: ".binpb", ".json".
struct Case {
  std::string type;
  std::string name;
  std::map<std::string, std::string> files;

  const std::string& bytes() const { return files.at(".binpb"); }
  const reference::Type& table() const { return reference::TypeNamed(type); }
};

// The cases of a kind ("valid"), each with exactly the files it must have.
std::vector<Case> Cases(const std::string& kind,
                        const std::set<std::string>& suffixes) {
  std::map<fs::path, Case> cases;
  for (const auto& entry :
       fs::recursive_directory_iterator(fs::path(CORPUS_DIR) / kind)) {
    if (entry.is_directory()) continue;
    const fs::path& path = entry.path();
    const std::string file = path.filename().string();
    const size_t dot = std::min(file.find('.'), file.size());
    const std::string name = file.substr(0, dot);
    Case& found = cases[path.parent_path() / name];
    found.type = path.parent_path().filename().string();
    found.name = kind + "/" + found.type + "/" + name;
    found.files[file.substr(dot)] = ReadFile(path);
  }
  std::vector<Case> complete;
  for (auto& [path, found] : cases) {
    std::set<std::string> present;
    for (const auto& [suffix, content] : found.files) present.insert(suffix);
    EXPECT_EQ(present, suffixes) << path;
    if (present == suffixes) complete.push_back(std::move(found));
  }
  EXPECT_GE(complete.size(), 100u) << kind;
  return complete;
}

std::vector<Case> ValidCases() {
  return Cases("valid", {".binpb", ".txtpb", ".json"});
}

// A new message of the type, of the generated class.
std::unique_ptr<pb::Message> New(const std::string& type) {
  const pb::Descriptor* descriptor =
      pb::DescriptorPool::generated_pool()->FindMessageTypeByName("tarn." +
                                                                  type);
  if (descriptor == nullptr) return nullptr;
  return std::unique_ptr<pb::Message>(
      pb::MessageFactory::generated_factory()->GetPrototype(descriptor)->New());
}

// The canonical bytes, in hexadecimal digits for the messages of failed tests.
std::string Canonical(const pb::Message& message) {
  std::string bytes;
  {
    pb::io::StringOutputStream stream(&bytes);
    pb::io::CodedOutputStream coded(&stream);
    coded.SetSerializationDeterministic(true);
    message.SerializeToCodedStream(&coded);
  }
  EXPECT_EQ(message.ByteSizeLong(), bytes.size());
  return wire::ToHex(bytes);
}

std::string FromText(const std::string& type, const std::string& text) {
  const auto message = New(type);
  if (!pb::TextFormat::ParseFromString(text, message.get())) {
    return "not parsed: " + text;
  }
  return Canonical(*message);
}

std::string FromJson(const std::string& type, const std::string& json) {
  const auto message = New(type);
  const auto status = pb::util::JsonStringToMessage(json, message.get());
  if (!status.ok()) return status.ToString() + ": " + json;
  return Canonical(*message);
}

TEST(Corpus, HasNothingButCases) {
  std::set<std::string> entries;
  for (const auto& entry : fs::directory_iterator(CORPUS_DIR)) {
    entries.insert(entry.path().filename().string());
  }
  EXPECT_EQ(entries, (std::set<std::string>{"README.md", "accepted", "rejected",
                                            "runtime_limits.txt", "valid"}));
  for (const char* kind : {"accepted", "rejected", "valid"}) {
    for (const auto& entry :
         fs::directory_iterator(fs::path(CORPUS_DIR) / kind)) {
      EXPECT_NE(New(entry.path().filename().string()), nullptr) << entry.path();
    }
  }
}

TEST(Corpus, ValidBytesAreWrittenBackAsTheyCame) {
  for (const Case& valid : ValidCases()) {
    SCOPED_TRACE(valid.name);
    const auto message = New(valid.type);
    ASSERT_TRUE(message->ParseFromString(valid.bytes()));
    EXPECT_EQ(Canonical(*message), wire::ToHex(valid.bytes()));
  }
}

TEST(Corpus, TextAndJsonOfAValidCaseGiveItsBytes) {
  for (const Case& valid : ValidCases()) {
    SCOPED_TRACE(valid.name);
    const std::string bytes = wire::ToHex(valid.bytes());
    EXPECT_EQ(FromText(valid.type, valid.files.at(".txtpb")), bytes);
    EXPECT_EQ(FromJson(valid.type, valid.files.at(".json")), bytes);
  }
}

TEST(Corpus, PrintedTextAndJsonOfAValidCaseGiveItsBytes) {
  for (const Case& valid : ValidCases()) {
    SCOPED_TRACE(valid.name);
    const auto message = New(valid.type);
    ASSERT_TRUE(message->ParseFromString(valid.bytes()));
    const std::string bytes = wire::ToHex(valid.bytes());
    std::string text;
    ASSERT_TRUE(pb::TextFormat::PrintToString(*message, &text));
    EXPECT_EQ(FromText(valid.type, text), bytes);
    std::string json;
    ASSERT_TRUE(pb::util::MessageToJsonString(*message, &json).ok());
    // The runtime prints -0.0 as -0, and reads that as the integer 0.
    const bool negative_zero =
        valid.name.find("/negative_zero_is_written") != std::string::npos;
    EXPECT_EQ(FromJson(valid.type, json), negative_zero ? "" : bytes);
  }
}

TEST(Corpus, AcceptedBytesAreWrittenBackAsTheirCanonicalForm) {
  for (const Case& accepted :
       Cases("accepted", {".binpb", ".canonical.binpb"})) {
    SCOPED_TRACE(accepted.name);
    const std::string& canonical = accepted.files.at(".canonical.binpb");
    const auto message = New(accepted.type);
    ASSERT_TRUE(message->ParseFromString(accepted.bytes()));
    EXPECT_EQ(Canonical(*message), wire::ToHex(canonical));
    ASSERT_TRUE(message->ParseFromString(canonical));
    EXPECT_EQ(Canonical(*message), wire::ToHex(canonical));
  }
}

// The runtime's reports, collected while it lives.
class Log {
 public:
  Log() { Lines().clear(), old_ = pb::SetLogHandler(&Keep); }
  ~Log() { pb::SetLogHandler(old_); }
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  const std::string& lines() const { return Lines(); }

 private:
  static std::string& Lines() {
    static auto* const lines = new std::string;
    return *lines;
  }
  static void Keep(pb::LogLevel, const char*, int, const std::string& line) {
    Lines() += line + "\n";
  }

  pb::LogHandler* old_;
};

TEST(Corpus, RejectedBytesFailForTheReasonGiven) {
  for (const Case& rejected : Cases("rejected", {".binpb", ".reason"})) {
    SCOPED_TRACE(rejected.name);
    std::string reason = rejected.files.at(".reason");
    ASSERT_FALSE(reason.empty());
    EXPECT_EQ(reason.back(), '\n');
    reason.pop_back();

    const Log log;
    EXPECT_FALSE(New(rejected.type)->ParseFromString(rejected.bytes()));
    EXPECT_EQ(reference::Decode(rejected.table(), rejected.bytes()).reason,
              reason);
    if (reason.rfind("tarn.", 0) == 0) {
      EXPECT_NE(log.lines().find("'" + reason + "'"), std::string::npos)
          << log.lines();
    } else {
      EXPECT_EQ(log.lines(), "");
    }
  }
}

std::vector<const pb::Descriptor*> AllMessages() {
  std::vector<const pb::Descriptor*> messages;
  for (const pb::FileDescriptor* file : {tarn::Price::descriptor()->file(),
                                         tarn::Server::descriptor()->file()}) {
    for (int i = 0; i < file->message_type_count(); ++i) {
      messages.push_back(file->message_type(i));
    }
  }
  return messages;
}

std::vector<const pb::FieldDescriptor*> SetFields(const pb::Message& message) {
  std::vector<const pb::FieldDescriptor*> fields;
  message.GetReflection()->ListFields(message, &fields);
  return fields;
}

TEST(Corpus, EveryFieldHasAValidCaseOfItsOwn) {
  std::map<std::string, std::string> bytes;
  for (const Case& valid : ValidCases()) bytes[valid.name] = valid.bytes();
  const std::vector<const pb::Descriptor*> messages = AllMessages();
  EXPECT_EQ(messages.size(), reference::Types().size());
  for (const pb::Descriptor* descriptor : messages) {
    const std::string folder = "valid/" + descriptor->name();
    EXPECT_EQ(bytes.count(folder + "/empty"), 1u)
        << "script/make-corpus makes " << folder << "/empty";
    for (int i = 0; i < descriptor->field_count(); ++i) {
      const pb::FieldDescriptor* field = descriptor->field(i);
      SCOPED_TRACE(field->full_name());
      const auto own = bytes.find(folder + "/only_" + field->name());
      ASSERT_TRUE(own != bytes.end())
          << "script/make-corpus makes " << folder << "/only_" << field->name();
      const auto message = New(descriptor->name());
      ASSERT_TRUE(message->ParseFromString(own->second));
      EXPECT_EQ(SetFields(*message),
                std::vector<const pb::FieldDescriptor*>{field});
    }
  }
}

using FieldValue = std::pair<const pb::FieldDescriptor*, int>;

// The numbers that enum fields hold, here and in all messages below.
void AddEnumValues(const pb::Message& message, std::set<FieldValue>* values) {
  const pb::Reflection* reflection = message.GetReflection();
  for (const pb::FieldDescriptor* field : SetFields(message)) {
    const bool list = field->is_repeated();
    const int size = list ? reflection->FieldSize(message, field) : 1;
    for (int i = 0; i < size; ++i) {
      if (field->message_type() != nullptr) {
        AddEnumValues(list ? reflection->GetRepeatedMessage(message, field, i)
                           : reflection->GetMessage(message, field),
                      values);
      } else if (field->enum_type() != nullptr) {
        values->insert(
            {field, list ? reflection->GetRepeatedEnumValue(message, field, i)
                         : reflection->GetEnumValue(message, field)});
      }
    }
  }
}

TEST(Corpus, EveryEnumValueHasAValidCaseInEveryField) {
  std::set<FieldValue> values;
  for (const Case& valid : ValidCases()) {
    const auto message = New(valid.type);
    ASSERT_TRUE(message->ParseFromString(valid.bytes())) << valid.name;
    AddEnumValues(*message, &values);
  }
  for (const pb::Descriptor* descriptor : AllMessages()) {
    for (int i = 0; i < descriptor->field_count(); ++i) {
      const pb::FieldDescriptor* field = descriptor->field(i);
      // A singular field at zero is not on the wire; an entry of a map is.
      const bool has_zero = field->is_repeated();
      if (field->is_map()) field = field->message_type()->map_value();
      if (field->enum_type() == nullptr) continue;
      for (int v = 0; v < field->enum_type()->value_count(); ++v) {
        const int number = field->enum_type()->value(v)->number();
        if (number == 0 && !has_zero) continue;
        EXPECT_EQ(values.count({field, number}), 1u)
            << field->full_name() << " = " << number;
      }
    }
  }
}

TEST(Corpus, EveryTextHasARejectedCase) {
  std::set<std::string> reasons;
  for (const Case& rejected : Cases("rejected", {".binpb", ".reason"})) {
    std::string reason = rejected.files.at(".reason");
    reason.pop_back();
    reasons.insert(reason);
  }
  for (const reference::Type& type : reference::Types()) {
    for (const reference::Field& field : type.fields) {
      if (field.kind == reference::Kind::STRING ||
          field.label == reference::Label::MAP) {
        EXPECT_EQ(reasons.count(field.full_name), 1u)
            << "script/make-corpus makes one for " << field.full_name;
      }
    }
  }
}

}  // namespace
