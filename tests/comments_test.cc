// The schema files as they are written, read from the installed descriptor set.
// Their comments are the only documentation, so each must be there and say
// something.
#include <gmock/gmock.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "reference/schema_counts.h"

namespace {

using google::protobuf::Descriptor;
using google::protobuf::DescriptorPool;
using google::protobuf::EnumDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::FileDescriptorSet;
using google::protobuf::SourceLocation;
using testing::AnyOf;
using testing::EndsWith;

// Lower-case words of a text or of a name in any spelling: "fwRev", "fw_rev"
// and "FW rev." all give {"fw", "rev"}.
std::vector<std::string> Words(const std::string& text) {
  std::vector<std::string> words;
  bool inside = false;
  bool after_lower = false;
  for (unsigned char c : text) {
    if (!std::isalnum(c)) {
      inside = false;
      continue;
    }
    if (!inside || (std::isupper(c) && after_lower)) words.emplace_back();
    words.back().push_back(static_cast<char>(std::tolower(c)));
    inside = true;
    after_lower = std::islower(c) != 0;
  }
  return words;
}

// True if a comment has at least two words that are neither in the name nor
// usual filling.
bool SaysSomething(const std::string& name, const std::string& comment) {
  std::set<std::string> idle = {
      "a",  "an",         "and", "for",  "in", "is",    "it",      "of",
      "on", "represents", "the", "this", "to", "field", "message", "value"};
  for (const std::string& word : Words(name)) {
    idle.insert(word);
    idle.insert(word + "s");
  }
  std::set<std::string> own;
  for (const std::string& word : Words(comment)) {
    if (idle.count(word) == 0) own.insert(word);
  }
  return own.size() >= 2;
}

// A comment on one line.
std::string Line(const std::string& comment) {
  std::string line;
  for (const char c : comment) {
    if (c != '\n') line += c;
  }
  return line;
}

// The schema as the installed descriptor set describes it.
class CommentsTest : public testing::Test {
 protected:
  void SetUp() override {
    std::ifstream in(TARN_BINPB, std::ios::binary);
    FileDescriptorSet set;
    ASSERT_TRUE(set.ParseFromIstream(&in)) << TARN_BINPB;
    ASSERT_EQ(set.file_size(), 2);
    for (const auto& file : set.file()) {
      files_.push_back(pool_.BuildFile(file));
      ASSERT_NE(files_.back(), nullptr);
    }
  }

  // Calls `visit` with everything that has a name.
  template <class Visitor>
  void ForEachItem(const Visitor& visit) const {
    const auto visit_enum = [&](const EnumDescriptor* type) {
      visit(type);
      for (int i = 0; i < type->value_count(); ++i) visit(type->value(i));
    };
    for (const FileDescriptor* file : files_) {
      for (int i = 0; i < file->message_type_count(); ++i) {
        const Descriptor* message = file->message_type(i);
        visit(message);
        for (int j = 0; j < message->field_count(); ++j) {
          visit(message->field(j));
        }
        for (int j = 0; j < message->oneof_decl_count(); ++j) {
          visit(message->oneof_decl(j));
        }
        for (int j = 0; j < message->enum_type_count(); ++j) {
          visit_enum(message->enum_type(j));
        }
      }
      for (int i = 0; i < file->enum_type_count(); ++i) {
        visit_enum(file->enum_type(i));
      }
    }
  }

  // Calls `check` with the name and comment of everything that has a name.
  void ForEach(const std::function<void(const std::string& full_name,
                                        const std::string& name,
                                        const std::string& comment)>& check) {
    ForEachItem([&](const auto* item) {
      SourceLocation location;
      const bool found = item->GetSourceLocation(&location);
      check(item->full_name(), item->name(),
            found ? location.leading_comments : "");
      EXPECT_EQ(location.trailing_comments, "") << item->full_name();
    });
  }

  DescriptorPool pool_;
  std::vector<const FileDescriptor*> files_;
};

TEST_F(CommentsTest, EverythingWithANameIsExplained) {
  int visited = 0;
  ForEach([&](const std::string& full_name, const std::string& name,
              const std::string& comment) {
    ++visited;
    EXPECT_TRUE(SaysSomething(name, comment))
        << full_name << ": \"" << comment << "\"";
    EXPECT_EQ(comment.find_last_of('.') + 2, comment.size())
        << full_name << " ends without a full stop: \"" << comment << "\"";
  });
  // And the oneof of ChildTypes.
  EXPECT_EQ(visited, schema_counts::kMessages + schema_counts::kFields + 1 +
                         schema_counts::kEnums + schema_counts::kValues);
}

TEST_F(CommentsTest, MessagesAndEnumsSayWhatTheyRepresent) {
  int types = 0;
  ForEachItem([&](const auto* item) {
    using Item = std::decay_t<decltype(*item)>;
    if constexpr (std::is_same_v<Item, Descriptor> ||
                  std::is_same_v<Item, EnumDescriptor>) {
      ++types;
      SourceLocation location;
      ASSERT_TRUE(item->GetSourceLocation(&location));
      EXPECT_EQ(location.leading_comments.rfind(" Represents ", 0), 0u)
          << item->full_name();
    }
  });
  EXPECT_EQ(types, schema_counts::kMessages + schema_counts::kEnums);
}

TEST_F(CommentsTest, EnumsAreDeclaredAfterAllMessages) {
  for (const FileDescriptor* file : files_) {
    SourceLocation last, first;
    ASSERT_TRUE(file->message_type(file->message_type_count() - 1)
                    ->GetSourceLocation(&last));
    ASSERT_TRUE(file->enum_type(0)->GetSourceLocation(&first));
    EXPECT_LT(last.end_line, first.start_line) << file->name();
  }
}

TEST_F(CommentsTest, NamesInBackticksExist) {
  // A name alone is that of anything; one with dots or colons says where.
  std::set<std::string> known;
  ForEachItem([&](const auto* item) {
    known.insert(item->name());
    known.insert(item->full_name());
    known.insert(item->full_name().substr(std::strlen("tarn.")));
  });
  ForEach([&](const std::string& full_name, const std::string&,
              const std::string& comment) {
    for (size_t start = comment.find('`'); start != std::string::npos;) {
      const size_t end = comment.find('`', start + 1);
      ASSERT_NE(end, std::string::npos) << full_name;
      std::string name = comment.substr(start + 1, end - start - 1);
      const size_t colons = name.find("::");
      if (colons != std::string::npos) name.replace(colons, 2, ".");
      EXPECT_EQ(known.count(name), 1u) << full_name << " speaks of " << name;
      start = comment.find('`', end + 1);
    }
  });
}

TEST_F(CommentsTest, WhatIsLeftToTheProgramsIsSaidToBeAsAgreed) {
  std::set<std::string> open = {
      "tarn.Configure",
      "tarn.Detect",
      "tarn.Display.displayBlanked",
      "tarn.DisplayTPat.client_uuid",
      "tarn.Font.Style",
      "tarn.FontFirmwareUpdate",
      "tarn.ModCalMsg.client_uuid",
      "tarn.Module.backup_comms",
      "tarn.POS.price_mode",
      "tarn.POSDataMsg.transmit",
      "tarn.format_invalid",
      "tarn.retry_mode",
  };
  ForEach([&](const std::string& full_name, const std::string&,
              const std::string& comment) {
    if (open.erase(full_name) == 0) return;
    EXPECT_NE(Line(comment).find("as agreed"), std::string::npos) << full_name;
  });
  EXPECT_TRUE(open.empty()) << *open.begin();
}

// tarn describe --agreement takes apart what these words end.
TEST_F(CommentsTest, AsAgreedEndsAClauseThatSaysWhatIsOpen) {
  int open = 0;
  ForEach([&](const std::string& full_name, const std::string&,
              const std::string& comment) {
    const std::string line = Line(comment);
    const std::string agreed = "agreed";
    for (size_t at = line.find(agreed); at != std::string::npos;
         at = line.find(agreed, at + 1)) {
      ++open;
      const std::string before = line.substr(0, at);
      EXPECT_THAT(before, AnyOf(EndsWith(" is as "), EndsWith(" are as ")))
          << full_name;
      EXPECT_THAT(line[at + agreed.size()], AnyOf('.', ';')) << full_name;
      // More than the verb, after the end of the clause before.
      const size_t start = before.find_last_of(".;");
      const size_t clause = start == std::string::npos ? 0 : start + 1;
      EXPECT_GE(Words(before.substr(clause)).size(), 4u) << full_name;
    }
    EXPECT_EQ(line.find('|'), std::string::npos) << full_name;
  });
  EXPECT_GE(open, 60);
}

TEST_F(CommentsTest, WhatIsKnownIsNotSaidOtherwise) {
  const std::map<std::string, std::string> known = {
      {"tarn.AddressingStatus.assembly_address_assignments",
       "Count of assignments"},
      {"tarn.AddressingStatus.linear_address_assignments",
       "Count of assignments"},
      {"tarn.ChildTypes.direct", "Direct connection"},
      {"tarn.Direct", "a direct connection"},
      {"tarn.Display", "a choice for each frame"},
      {"tarn.Prices.prices", "each price line to set"},
      {"tarn.price_update_uninitialized", "Not initialised yet"},
      {"tarn.retry_mode", "the node itself is retrying"},
  };
  size_t found = 0;
  ForEach([&](const std::string& full_name, const std::string&,
              const std::string& comment) {
    const auto wanted = known.find(full_name);
    if (wanted == known.end()) return;
    ++found;
    EXPECT_NE(Line(comment).find(wanted->second), std::string::npos)
        << full_name << ": " << comment;
  });
  EXPECT_EQ(found, known.size());
}

TEST_F(CommentsTest, BothFilesSayThatNegativeZeroIsSent) {
  for (const FileDescriptor* file : files_) {
    SourceLocation location;
    ASSERT_TRUE(file->GetSourceLocation(
        {google::protobuf::FileDescriptorProto::kSyntaxFieldNumber},
        &location));
    ASSERT_EQ(location.leading_detached_comments.size(), 1u);
    EXPECT_NE(location.leading_detached_comments[0].find("-0.0 is sent"),
              std::string::npos)
        << file->name();
  }
}

TEST(SaysSomething, RejectsEmptyAndRepeatedNames) {
  EXPECT_FALSE(SaysSomething("fwRev", ""));
  EXPECT_FALSE(SaysSomething("fwRev", " The fw rev.\n"));
  EXPECT_FALSE(
      SaysSomething("ERTDConnection", " Represents an ERTDConnection."));
  EXPECT_FALSE(SaysSomething("line_num", " Number of the line_num field."));
  EXPECT_TRUE(SaysSomething("fwRev", " Revision of the board's firmware.\n"));
}

}  // namespace
