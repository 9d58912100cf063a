// Two messages differ if and only if their canonical bytes differ, apart from
// the order of nodes.
#include "difference.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>
#include <tarn/Network.pb.h>

#include <algorithm>
#include <map>

#include "encoding.h"
#include "node_order.h"
#include "reference/corpus_files.h"
#include "reference/fill.h"

namespace tarn::tool {
namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using node_order::ArrangeNodes;
using node_order::InOrder;
using node_order::Nodes;
using tests::Random;

std::string Words(const Difference::Text& text) {
  std::string words;
  if (text) text([&](std::string_view piece) { words += piece; });
  return words;
}

class DifferenceTest : public testing::Test {
 protected:
  // The runtime would log every rejected text.
  DifferenceTest() { google::protobuf::SetLogHandler(nullptr); }

  // How many differences there are.
  int Count(const Message& a, const Message& b) {
    int count = 0;
    Compare(a, b, true, [&](const Difference& difference) {
      ++count;
      if (difference.change != Difference::kChanged) return;
      EXPECT_NE(Words(difference.before), Words(difference.after))
          << difference.path << "\n"
          << a.Utf8DebugString() << "---\n"
          << b.Utf8DebugString();
    });
    return count;
  }

  void ExpectDifferentAsBytesAre(const Message& a, const Message& b) {
    const bool same = InOrder(a) == InOrder(b);
    ++(same ? same_ : different_);
    EXPECT_EQ(Count(a, b) == 0, same) << a.GetTypeName() << "\n"
                                      << a.Utf8DebugString() << "---\n"
                                      << b.Utf8DebugString();
    EXPECT_EQ(Count(b, a) == 0, same) << a.GetTypeName();
    EXPECT_EQ(Count(a, a), 0) << a.Utf8DebugString();
  }

  std::unique_ptr<Message> Parsed(const Type& type, const std::string& bytes) {
    std::unique_ptr<Message> message = NewMessage(type);
    if (!message->ParseFromString(bytes)) return nullptr;
    return message;
  }

  Schema schema_;
  int same_ = 0;
  int different_ = 0;
};

TEST_F(DifferenceTest, EachPairOfTheCorpusDiffersAsItsBytesDo) {
  std::map<std::string, std::vector<std::unique_ptr<Message>>> by_type;
  for (const auto& [path, name, bytes] :
       tests::CorpusFiles(CORPUS, {"valid", "accepted"}, ".binpb")) {
    by_type[name].push_back(Parsed(schema_.Find(name), bytes));
    ASSERT_NE(by_type[name].back(), nullptr) << path;
  }
  EXPECT_EQ(by_type.size(), schema_.Messages().size());
  for (const auto& [name, messages] : by_type) {
    for (const auto& a : messages) {
      for (const auto& b : messages) ExpectDifferentAsBytesAre(*a, *b);
    }
  }
  EXPECT_GT(same_, 600);
  EXPECT_GT(different_, 4000);
}

// Makes texts that look alike.
void ConfuseTexts(Message* message, Random& random) {
  constexpr const char* kTexts[] = {"",     "a",         "a again, 2",  "a#2",
                                    "\x01", "\\x01",     "\\",          "\"",
                                    "b",    "a\" → \"b", "\xE2\x80\xAE"};
  const auto& reflection = *message->GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection.ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    const bool text = field->cpp_type() == FieldDescriptor::CPPTYPE_STRING;
    if (field->is_map() || (!text && field->message_type() == nullptr)) {
      continue;
    }
    const bool list = field->is_repeated();
    const int size = list ? reflection.FieldSize(*message, field) : 1;
    for (int i = 0; i < size; ++i) {
      const char* value = kTexts[random() % std::size(kTexts)];
      if (!text) {
        ConfuseTexts(list ? reflection.MutableRepeatedMessage(message, field, i)
                          : reflection.MutableMessage(message, field),
                     random);
      } else if (list) {
        reflection.SetRepeatedString(message, field, i, value);
      } else {
        reflection.SetString(message, field, value);
      }
    }
  }
}

// Calls `change` for a message and all messages in it.
void ForAllIn(Message* message, const std::function<void(Message*)>& change) {
  change(message);
  const auto& reflection = *message->GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection.ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->message_type() == nullptr || field->is_map()) continue;
    const bool list = field->is_repeated();
    const int size = list ? reflection.FieldSize(*message, field) : 1;
    for (int i = 0; i < size; ++i) {
      ForAllIn(list ? reflection.MutableRepeatedMessage(message, field, i)
                    : reflection.MutableMessage(message, field),
               change);
    }
  }
}

void SwapElements(Message* message, Random& random) {
  const auto& reflection = *message->GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection.ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (!field->is_repeated() || field->is_map()) continue;
    const int size = reflection.FieldSize(*message, field);
    reflection.SwapElements(message, field, random() % size, random() % size);
  }
}

void AddUnknown(Message* message, Random& random) {
  auto* fields = message->GetReflection()->MutableUnknownFields(message);
  const int number = 100 + random() % 2;
  const int value = random() % 2;
  switch (random() % 20) {
    case 0:
      return fields->AddVarint(number, value);
    case 1:
      return fields->AddFixed32(number, value);
    case 2:
      return fields->AddFixed64(number, value);
    case 3:
      return fields->AddLengthDelimited(number, value == 0 ? "\\x08" : "\x08");
    case 4:
      return fields->AddGroup(number)->AddVarint(1, value);
    default:
      return;
  }
}

TEST_F(DifferenceTest, EachPairOfRandomMessagesDiffersAsItsBytesDo) {
  Random random(7);
  tests::EdgeValues values(&random);
  for (const auto* descriptor : schema_.Messages()) {
    const Type& type = schema_.Table(*descriptor);
    for (int round = 0; round < 30; ++round) {
      const auto a = NewMessage(type);
      tests::Fill(a.get(), &values, 4);
      ConfuseTexts(a.get(), random);
      const auto other = NewMessage(type);
      tests::Fill(other.get(), &values, 4);
      ExpectDifferentAsBytesAre(*a, *other);
      // The same message with one byte changed and its nodes in another order.
      std::string bytes = a->SerializeAsString();
      for (int i = 0; i < 10 && !bytes.empty(); ++i) {
        std::string changed = bytes;
        changed[random() % bytes.size()] ^= 1 << random() % 8;
        const auto b = Parsed(type, changed);
        if (b != nullptr) ExpectDifferentAsBytesAre(*a, *b);
      }
      const auto shuffled = Parsed(type, bytes);
      ArrangeNodes(shuffled.get(), [&](Nodes* nodes) {
        std::shuffle(nodes->begin(), nodes->end(), random);
      });
      ExpectDifferentAsBytesAre(*a, *shuffled);
      const auto swapped = Parsed(type, bytes);
      ForAllIn(swapped.get(), [&](Message* m) { SwapElements(m, random); });
      ExpectDifferentAsBytesAre(*a, *swapped);
      const auto one = Parsed(type, bytes);
      ForAllIn(one.get(), [&](Message* m) { AddUnknown(m, random); });
      const auto two = Parsed(type, bytes);
      ForAllIn(two.get(), [&](Message* m) { AddUnknown(m, random); });
      ExpectDifferentAsBytesAre(*one, *two);
    }
  }
  EXPECT_GT(same_, 1500);
  EXPECT_GT(different_, 5000);
}

TEST_F(DifferenceTest, UnknownFieldsAreComparedByNumberTypeAndValue) {
  const Type& type = schema_.Find("Wifi");
  std::vector<std::unique_ptr<Message>> messages;
  for (const int number : {100, 101}) {
    for (const int value : {0, 1}) {
      for (int kind = 0; kind < 5; ++kind) {
        messages.push_back(NewMessage(type));
        Message& message = *messages.back();
        auto* fields = message.GetReflection()->MutableUnknownFields(&message);
        if (kind == 0) fields->AddVarint(number, value);
        if (kind == 1) fields->AddFixed32(number, value);
        if (kind == 2) fields->AddFixed64(number, value);
        if (kind == 3)
          fields->AddLengthDelimited(number, std::string(value, 0));
        if (kind == 4) fields->AddGroup(number)->AddVarint(1, value);
      }
    }
  }
  for (const auto& a : messages) {
    for (const auto& b : messages) {
      EXPECT_EQ(Count(*a, *b), a == b ? 0 : 1);
      ExpectDifferentAsBytesAre(*a, *b);
    }
  }
}

TEST_F(DifferenceTest, ManyNodesOfOneUuidKeepTheirOrder) {
  Random random(13);
  for (const char* uuid : {"same", ""}) {
    tarn::ModsConfigured a, b;
    for (int i = 0; i < 60; ++i) {
      tarn::Client* client = a.add_modsconfigured()->mutable_client();
      client->set_uuid(uuid);
      client->set_name(std::to_string(i));
      a.add_modsconfigured()->mutable_display()->set_uuid(std::to_string(i));
    }
    b = a;
    // Each goes to a new place, but the clients after one another.
    auto& nodes = *b.mutable_modsconfigured();
    std::shuffle(nodes.pointer_begin(), nodes.pointer_end(), random);
    int i = 0;
    for (auto& node : nodes) {
      if (node.has_client())
        node.mutable_client()->set_name(std::to_string(i++));
    }
    EXPECT_EQ(Count(a, b), 0);
    nodes.Mutable(0)->Swap(nodes.Mutable(1));
    ExpectDifferentAsBytesAre(a, b);
    for (auto& node : nodes) {
      if (node.has_client())
        node.mutable_client()->set_name(std::to_string(--i));
    }
    EXPECT_GT(Count(a, b), 0);
    ExpectDifferentAsBytesAre(a, b);
  }
}

TEST_F(DifferenceTest, NodesThatMoveAreFoundWhereverTheyGo) {
  const auto parse = [&](const std::string& text) {
    const Type& type = schema_.Find("ModsConfigured");
    return Parsed(type, EncodeText(type, text, ""));
  };
  const auto a = parse(
      "modsConfigured { server { uuid: 'p' children { client { uuid: 'c'"
      "  children { display { uuid: 'd' } } children { module { } } } } } }"
      "modsConfigured { server { uuid: 'q' } }");
  const auto b = parse(
      "modsConfigured { server { uuid: 'q' children { client { uuid: 'c'"
      "  children { module { } } children { display { uuid: 'd' } } } } } }"
      "modsConfigured { server { uuid: 'p' } }");
  std::vector<std::string> moves;
  Compare(*a, *b, true, [&](const Difference& difference) {
    EXPECT_EQ(difference.change, Difference::kMoved);
    moves.push_back(difference.node->label + ": " + difference.path_before +
                    " in " + difference.from->node.label + " → " +
                    difference.node_path + " in " + difference.to->node.label);
  });
  EXPECT_EQ(moves, std::vector<std::string>{
                       "client c: 0.0 in server p → 0.0 in server q"});
}

}  // namespace
}  // namespace tarn::tool
