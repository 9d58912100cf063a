// Where reading a message ends: at the end of its bytes, at a zero key, at an
// end-group key, in the middle of broken input, and on streams of every kind.
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/util/delimited_message_util.h>

#include <sstream>

#include "reference/captured_log.h"
#include "reference/messages.h"

namespace {

using google::protobuf::io::ArrayInputStream;
using google::protobuf::io::ArrayOutputStream;
using google::protobuf::io::CodedInputStream;
using google::protobuf::io::CodedOutputStream;
using tests::FieldDescriptor;
using tests::ForEachField;
using tests::ForEachMessage;
using tests::FromHex;
using tests::HexOf;
using tests::Message;
using tests::Parses;
using wire::Writer;

// What reading a message from a coded stream gives.
struct Reading {
  bool read;
  uint32_t last_tag;
  bool whole;  // The stream says that the message ended where it may.
  std::string hex;
};

Reading Read(std::string_view digits) {
  const std::string bytes = wire::Hex(digits);
  CodedInputStream input(reinterpret_cast<const uint8_t*>(bytes.data()),
                         bytes.size());
  tarn::Err error;
  Reading reading;
  reading.read = error.MergeFromCodedStream(&input);
  reading.whole = input.ConsumedEntireMessage();
  reading.last_tag = 0;
  for (uint32_t tag : {0x0Cu, 0x14u, 0x1Cu}) {
    if (input.LastTagWas(tag)) reading.last_tag = tag;
  }
  reading.hex = HexOf(error);
  return reading;
}

TEST(Termination, MessageEndsAtTheEndOfItsBytes) {
  const Reading reading = Read("08 05 12 01 61");
  EXPECT_TRUE(reading.read);
  EXPECT_TRUE(reading.whole);
  EXPECT_EQ(reading.last_tag, 0u);
  EXPECT_EQ(reading.hex, "08 05 12 01 61");
}

TEST(Termination, ZeroKeyEndsTheMessageButNotAWholeParse) {
  const Reading reading = Read("08 05 00 12 01 61");
  EXPECT_TRUE(reading.read);
  EXPECT_EQ(reading.hex, "08 05");
  EXPECT_FALSE(reading.whole);
  EXPECT_FALSE(Parses<tarn::Err>("08 05 00 12 01 61"));
  EXPECT_FALSE(Parses<tarn::Err>("08 05 00"));
  EXPECT_FALSE(Parses<tarn::Err>("00"));
}

TEST(Termination, EndGroupKeyEndsTheMessageButNotAWholeParse) {
  for (int number : {1, 2, 3}) {
    const std::string key = HexOf(Writer().Tag(number, wire::kEnd));
    const Reading reading = Read("08 05 " + key + " 12 01 61");
    EXPECT_TRUE(reading.read);
    EXPECT_EQ(reading.hex, "08 05");
    EXPECT_EQ(reading.last_tag, static_cast<uint32_t>(number) << 3 | 4);
    EXPECT_FALSE(reading.whole);
    EXPECT_FALSE(Parses<tarn::Err>("08 05 " + key));
  }
}

TEST(Termination, EndOfAGroupNeverOpenedFailsTheParseOfEveryMessage) {
  ForEachMessage([](const Message& prototype) {
    std::unique_ptr<Message> message(prototype.New());
    for (int number : {1, 2, 1000}) {
      EXPECT_FALSE(
          message->ParseFromString(Writer().Tag(number, wire::kEnd).bytes()));
    }
  });
}

TEST(Termination, GroupMustEndUnderItsOwnNumber) {
  EXPECT_TRUE(Parses<tarn::Err>("9B 06 08 01 9C 06"));
  EXPECT_FALSE(Parses<tarn::Err>("9B 06 08 01 A4 06"));
  EXPECT_FALSE(Parses<tarn::Err>("9B 06 08 01"));
  EXPECT_FALSE(Parses<tarn::Err>("9B 06 00 9C 06"));
}

TEST(Termination, ZeroOrEndGroupKeyInsideARecordFailsTheParse) {
  ForEachField([](const Message& prototype, const FieldDescriptor* field) {
    if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) return;
    std::unique_ptr<Message> message(prototype.New());
    for (const char* content : {"00", "0C", "14", "08 01 00", "00 08 01"}) {
      EXPECT_FALSE(message->ParseFromString(
          Writer().Bytes(field->number(), wire::Hex(content)).bytes()))
          << content;
    }
  });
}

TEST(Termination, FieldNumberZeroFailsTheParseOfEveryMessage) {
  ForEachMessage([](const Message& prototype) {
    std::unique_ptr<Message> message(prototype.New());
    for (const char* key : {"00", "01", "02", "03", "04", "05", "06", "07"}) {
      EXPECT_FALSE(
          message->ParseFromString(wire::Hex(key) + std::string(10, '\0')))
          << key;
    }
  });
}

TEST(Termination, WireTypesSixAndSevenFailTheParseOfEveryField) {
  ForEachField([](const Message& prototype, const FieldDescriptor* field) {
    std::unique_ptr<Message> message(prototype.New());
    for (int type : {6, 7}) {
      const uint64_t key = static_cast<uint64_t>(field->number()) << 3 | type;
      EXPECT_FALSE(message->ParseFromString(
          Writer().Varint(key).Raw("\x01\x01\x01\x01").bytes()));
    }
  });
}

// The sizes at which an encoding can be cut between two top-level fields. Such
// a cut leaves a shorter message; any other leaves a broken one.
std::vector<bool> Boundaries(const std::string& bytes) {
  std::vector<bool> ends(bytes.size() + 1);
  size_t at = 0;
  const auto varint = [&] {
    uint64_t value = 0;
    for (int shift = 0;; shift += 7) {
      const uint8_t byte = bytes[at++];
      value |= static_cast<uint64_t>(byte & 0x7F) << shift;
      if (byte < 0x80) return value;
    }
  };
  while (at < bytes.size()) {
    ends[at] = true;
    switch (varint() & 7) {
      case wire::kVarint:
        varint();
        break;
      case wire::kLength: {
        const uint64_t size = varint();
        at += size;
        break;
      }
      case wire::kFixed32:
        at += 4;
        break;
      default:
        ADD_FAILURE() << "no field of the schema has this wire type";
        return ends;
    }
  }
  ends[bytes.size()] = true;
  return ends;
}

TEST(Termination, InputCutAtAnyByteParsesOnlyBetweenFields) {
  ForEachMessage([](const Message& prototype) {
    const auto full = tests::Filled(prototype);
    const std::string bytes = tests::BytesOf(*full);
    const std::vector<bool> ends = Boundaries(bytes);
    std::unique_ptr<Message> message(prototype.New());
    for (size_t size = 0; size <= bytes.size(); ++size) {
      EXPECT_EQ(message->ParseFromArray(bytes.data(), size), ends[size])
          << size;
    }
  });
}

TEST(Termination, LengthPastTheEndFailsTheParseOfEveryRecord) {
  ForEachField([](const Message& prototype, const FieldDescriptor* field) {
    std::unique_ptr<Message> message(prototype.New());
    for (uint64_t size :
         {uint64_t{3}, uint64_t{0x7FFFFFFF}, uint64_t{0x80000000},
          uint64_t{0xFFFFFFFF}, uint64_t{1} << 32, ~uint64_t{}}) {
      const Writer bytes = Writer()
                               .Tag(field->number(), wire::kLength)
                               .Varint(size)
                               .Raw(wire::Hex("08 01"));
      EXPECT_FALSE(message->ParseFromString(bytes.bytes())) << size;
    }
  });
}

TEST(Termination, LengthPastTheEnclosingRecordFailsTheParse) {
  // The text runs into the field after the record that holds it.
  EXPECT_FALSE(Parses<tarn::ERTDConfiguration>("0A 03 0A 03 61 0A 00"));
  EXPECT_FALSE(Parses<tarn::KT4Products>("0A 03 0A 02 61 10 07"));
  EXPECT_FALSE(Parses<tarn::Frames>("0A 01 08 03"));
  EXPECT_FALSE(Parses<tarn::GetStatusModule>("5A 02 08 80 01"));
  EXPECT_FALSE(Parses<tarn::GetStatusModule>("62 03 32 02 61 08 01"));
  EXPECT_FALSE(Parses<tarn::Frames>("0A 02 08 03 0A 02 08"));
}

TEST(Termination, FieldsComeInAnyOrder) {
  const auto pattern = FromHex<tarn::DisplayTPat>("1A 01 61 10 02 08 03");
  EXPECT_EQ(HexOf(pattern), "08 03 10 02 1A 01 61");
  EXPECT_EQ(tests::Rewritten<tarn::GetStatusModule>(
                "98 01 01 62 00 0A 01 61 5A 00 62 02 08 01"),
            "0A 01 61 5A 00 62 00 62 02 08 01 98 01 01");
}

TEST(Termination, InterleavedListsKeepTheirOwnOrder) {
  const auto groups = FromHex<tarn::HwIdGroups>(
      "1A 02 08 01 0A 02 10 01 12 03 0A 01 61 0A 02 10 02 1A 02 08 02");
  EXPECT_EQ(groups.hwidrowinfo_size(), 2);
  EXPECT_EQ(groups.hwidcolinfo_size(), 1);
  EXPECT_EQ(groups.truthtablesizeref_size(), 2);
  EXPECT_EQ(HexOf(groups),
            "0A 02 10 01 0A 02 10 02 12 03 0A 01 61 1A 02 08 01 1A 02 08 02");
}

TEST(Streams, EveryWayOfReadingGivesTheSameMessage) {
  ForEachMessage([](const Message& prototype) {
    const std::string bytes = tests::BytesOf(*tests::Filled(prototype));
    const std::string hex = wire::ToHex(bytes);
    std::unique_ptr<Message> message(prototype.New());
    const auto expect = [&](bool read) {
      EXPECT_TRUE(read);
      EXPECT_EQ(HexOf(*message), hex);
      message->Clear();
    };
    expect(message->ParseFromString(bytes));
    expect(message->ParsePartialFromString(bytes));
    expect(message->MergeFromString(bytes));
    expect(message->ParseFromArray(bytes.data(), bytes.size()));
    expect(message->ParsePartialFromArray(bytes.data(), bytes.size()));
    for (int block : {1, 2, 3, 7, 16, 17, 4096}) {
      ArrayInputStream tiny(bytes.data(), bytes.size(), block);
      expect(message->ParseFromZeroCopyStream(&tiny));
      ArrayInputStream bounded(bytes.data(), bytes.size(), block);
      expect(message->ParseFromBoundedZeroCopyStream(&bounded, bytes.size()));
      ArrayInputStream raw(bytes.data(), bytes.size(), block);
      CodedInputStream coded(&raw);
      expect(message->ParseFromCodedStream(&coded));
    }
    std::istringstream stream(bytes), partial(bytes);
    expect(message->ParseFromIstream(&stream));
    expect(message->ParsePartialFromIstream(&partial));
  });
}

TEST(Streams, BrokenTextAndCutInputFailInBlocksOfAnySize) {
  tests::CapturedLog log;
  const std::string broken =
      Writer().Bytes(1, std::string(40, 'a') + "\xC3\x28").bytes();
  const std::string cut = Writer().Bytes(1, "abcdef").bytes().substr(0, 5);
  for (int block : {1, 2, 3, 7, 16, 17, 4096}) {
    for (const std::string& bytes : {broken, cut}) {
      ArrayInputStream input(bytes.data(), bytes.size(), block);
      EXPECT_FALSE(tarn::Wifi().ParseFromZeroCopyStream(&input));
    }
  }
}

TEST(Streams, CharacterSplitBetweenBlocksIsWhole) {
  const std::string text = "5\u00E4\u20AC\U0001F600";
  const std::string bytes = Writer().Bytes(1, text).Bytes(2, text).bytes();
  for (int block = 1; block <= 20; ++block) {
    ArrayInputStream input(bytes.data(), bytes.size(), block);
    tarn::Wifi wifi;
    EXPECT_TRUE(wifi.ParseFromZeroCopyStream(&input));
    EXPECT_EQ(wifi.ssid(), text);
    EXPECT_EQ(wifi.pass(), text);
  }
}

TEST(Streams, BoundedReadStopsAtItsBound) {
  const std::string bytes = wire::Hex("08 05 12 01 61");
  ArrayInputStream input(bytes.data(), bytes.size());
  tarn::Err error;
  EXPECT_TRUE(error.ParseFromBoundedZeroCopyStream(&input, 2));
  EXPECT_EQ(HexOf(error), "08 05");
  ArrayInputStream longer(bytes.data(), bytes.size());
  EXPECT_FALSE(error.ParseFromBoundedZeroCopyStream(&longer, 6));
}

// The runtime cannot give back what it has read of the next block.
TEST(Streams, BoundedReadThrowsAtAnEndOfAGroupBeforeTheEndOfABlock) {
  tests::CapturedLog log;
  const std::string bytes = wire::Hex("08 05 0C 12 01 61 12 01 61 12 01 61");
  tarn::Err error;
  ArrayInputStream blocks(bytes.data(), bytes.size(), 6);
  EXPECT_THROW(error.ParseFromBoundedZeroCopyStream(&blocks, bytes.size()),
               google::protobuf::FatalException);
  ArrayInputStream one(bytes.data(), bytes.size());
  EXPECT_FALSE(error.ParseFromBoundedZeroCopyStream(&one, bytes.size()));
  ArrayInputStream unbounded(bytes.data(), bytes.size(), 6);
  EXPECT_FALSE(error.ParseFromZeroCopyStream(&unbounded));
  std::istringstream stream(bytes);
  EXPECT_FALSE(error.ParseFromIstream(&stream));
  EXPECT_FALSE(error.ParseFromString(bytes));
}

TEST(Streams, EveryWayOfWritingGivesTheSameBytes) {
  ForEachMessage([](const Message& prototype) {
    const auto message = tests::Filled(prototype);
    // One order of map entries for all: that of the map itself.
    const std::string bytes = message->SerializeAsString();
    const auto size = bytes.size();
    EXPECT_EQ(message->ByteSizeLong(), size);
    EXPECT_EQ(message->GetCachedSize(), static_cast<int>(size));
    std::string text = "before ";
    EXPECT_TRUE(message->AppendToString(&text));
    EXPECT_EQ(text, "before " + bytes);
    EXPECT_TRUE(message->SerializeToString(&text));
    EXPECT_EQ(text, bytes);
    EXPECT_TRUE(message->SerializePartialToString(&text));
    EXPECT_EQ(text, bytes);
    EXPECT_EQ(message->SerializePartialAsString(), bytes);
    std::vector<char> array(size);
    EXPECT_TRUE(message->SerializeToArray(array.data(), size));
    EXPECT_EQ(std::string(array.data(), size), bytes);
    array.assign(size, 0);
    auto* begin = reinterpret_cast<uint8_t*>(array.data());
    EXPECT_EQ(message->SerializeWithCachedSizesToArray(begin), begin + size);
    EXPECT_EQ(std::string(array.data(), size), bytes);
    std::ostringstream stream;
    EXPECT_TRUE(message->SerializeToOstream(&stream));
    EXPECT_EQ(stream.str(), bytes);
    for (int block : {1, 2, 7, 16, 4096}) {
      array.assign(size, 0);
      ArrayOutputStream out(array.data(), size, block);
      EXPECT_TRUE(message->SerializeToZeroCopyStream(&out));
      EXPECT_EQ(std::string(array.data(), size), bytes);
      array.assign(size, 0);
      ArrayOutputStream raw(array.data(), size, block);
      {
        CodedOutputStream coded(&raw);
        message->SerializeWithCachedSizes(&coded);
        EXPECT_FALSE(coded.HadError());
      }
      EXPECT_EQ(std::string(array.data(), size), bytes);
    }
  });
}

TEST(Streams, WritingWhereThereIsNoRoomReturnsFalse) {
  ForEachMessage([](const Message& prototype) {
    const auto message = tests::Filled(prototype);
    const int size = static_cast<int>(message->ByteSizeLong());
    std::vector<char> array(size);
    EXPECT_FALSE(message->SerializeToArray(array.data(), size - 1));
    ArrayOutputStream out(array.data(), size - 1);
    EXPECT_FALSE(message->SerializeToZeroCopyStream(&out));
    std::ostringstream closed;
    closed.setstate(std::ios::failbit);
    EXPECT_FALSE(message->SerializeToOstream(&closed));
  });
}

TEST(Streams, ReadingFromAFailedStreamReadsNothing) {
  std::istringstream failed("\x08\x05");
  failed.setstate(std::ios::badbit);
  tarn::Err error;
  EXPECT_FALSE(error.ParseFromIstream(&failed));
}

TEST(Streams, DelimitedRecordsFollowEachOther) {
  using google::protobuf::util::ParseDelimitedFromZeroCopyStream;
  using google::protobuf::util::SerializeDelimitedToOstream;
  std::ostringstream out;
  tarn::Err error;
  error.set_code(5);
  tarn::AppStates states;
  states.add_state(tarn::Ready);
  EXPECT_TRUE(SerializeDelimitedToOstream(error, &out));
  EXPECT_TRUE(SerializeDelimitedToOstream(tarn::Err(), &out));
  EXPECT_TRUE(SerializeDelimitedToOstream(states, &out));
  EXPECT_EQ(wire::ToHex(out.str()), "02 08 05 00 03 0A 01 02");

  const std::string bytes = out.str();
  ArrayInputStream in(bytes.data(), bytes.size(), 1);
  bool clean_eof = false;
  const auto next = [&](Message* message) {
    message->Clear();
    return ParseDelimitedFromZeroCopyStream(message, &in, &clean_eof);
  };
  EXPECT_TRUE(next(&error));
  EXPECT_EQ(HexOf(error), "08 05");
  EXPECT_TRUE(next(&error));
  EXPECT_EQ(HexOf(error), "");
  EXPECT_TRUE(next(&states));
  EXPECT_EQ(HexOf(states), "0A 01 02");
  EXPECT_FALSE(next(&error));
  EXPECT_TRUE(clean_eof);
}

TEST(Streams, DelimitedRecordThatIsCutOffFails) {
  const std::string bytes = wire::Hex("05 08 05 12");
  ArrayInputStream in(bytes.data(), bytes.size());
  tarn::Err error;
  bool clean_eof = true;
  EXPECT_FALSE(google::protobuf::util::ParseDelimitedFromZeroCopyStream(
      &error, &in, &clean_eof));
  EXPECT_FALSE(clean_eof);
}

}  // namespace
