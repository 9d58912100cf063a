// The library held against the reference on cases derived from the schema:
// every field, every form of its records, and what may come between them.
#include <google/protobuf/arena.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/message.h>
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "reference/reference.h"
#include "reference/wire.h"

namespace {

namespace pb = google::protobuf;
using reference::Field;
using reference::Kind;
using reference::Label;
using reference::Type;
using wire::Writer;

constexpr int kLeastCases = 160000;
constexpr int kShownFailures = 20;
constexpr unsigned kSeed = 20210321;

using Random = std::mt19937;

int Pick(Random& random, size_t count) {
  return static_cast<int>(random() % count);
}

const pb::Message* Prototype(const Type& type) {
  return pb::MessageFactory::generated_factory()->GetPrototype(
      pb::DescriptorPool::generated_pool()->FindMessageTypeByName("tarn." +
                                                                  type.name));
}

std::string Serialized(const pb::Message& message) {
  std::string bytes;
  {
    pb::io::StringOutputStream stream(&bytes);
    pb::io::CodedOutputStream coded(&stream);
    coded.SetSerializationDeterministic(true);
    message.SerializeToCodedStream(&coded);
  }
  return bytes;
}

bool Equal(const pb::Message& left, const pb::Message& right) {
  pb::util::DefaultFieldComparator floats;
  floats.set_treat_nan_as_equal(true);
  pb::util::MessageDifferencer differencer;
  differencer.set_field_comparator(&floats);
  return differencer.Compare(left, right);
}

// What is wrong with a message that was parsed and should be written as
// `canonical`; empty when nothing is.
std::string Disagreement(const pb::Message& message,
                         const std::string& canonical) {
  const std::string bytes = Serialized(message);
  if (bytes != canonical) return "accepted as " + wire::ToHex(bytes);
  if (message.ByteSizeLong() != bytes.size()) {
    return "a size of " + std::to_string(message.ByteSizeLong());
  }
  const std::unique_ptr<pb::Message> again(message.New());
  if (!again->ParseFromString(bytes)) return "rejected when read again";
  if (!Equal(message, *again)) return "not equal when read again";
  return "";
}

// Runs cases and counts them by family.
class Conformance {
 public:
  void Begin(const std::string& family) { families_.push_back({family}); }

  void Case(const Type& type, const std::string& bytes) {
    const reference::Decoded decoded = reference::Decode(type, bytes);
    const bool accepted = decoded.accepted();
    ++(accepted ? families_.back().accepted : families_.back().rejected);
    const std::string canonical =
        accepted ? reference::Encode(decoded.message) : "";

    const pb::Message* prototype = Prototype(type);
    const std::unique_ptr<pb::Message> heap(prototype->New());
    Compare("heap", type, bytes, decoded, canonical,
            heap->ParseFromString(bytes), *heap);

    // On the arena the same bytes come in pieces, too short for the parser to
    // read a number or a text in one go.
    arena_.Reset();
    pb::Message* on_arena = prototype->New(&arena_);
    pb::io::ArrayInputStream pieces(bytes.data(),
                                    static_cast<int>(bytes.size()), 5);
    Compare("arena", type, bytes, decoded, canonical,
            on_arena->ParseFromZeroCopyStream(&pieces), *on_arena);
  }

  // Merging two messages gives what parsing their concatenation gives. Holds
  // for canonical bytes, which set no field to its default.
  void Merge(const Type& type, const std::string& first,
             const std::string& second) {
    Case(type, first + second);
    const pb::Message* prototype = Prototype(type);
    const std::unique_ptr<pb::Message> target(prototype->New());
    arena_.Reset();
    pb::Message* source = prototype->New(&arena_);
    ASSERT_TRUE(target->ParseFromString(first));
    ASSERT_TRUE(source->ParseFromString(second));
    target->MergeFrom(*source);
    const reference::Decoded decoded = reference::Decode(type, first + second);
    Compare("merge", type, first + second, decoded,
            reference::Encode(decoded.message), true, *target);
  }

  int Report() const {
    int total = 0;
    std::printf("%-28s %8s %8s %8s\n", "family", "cases", "accepted",
                "rejected");
    for (const Family& family : families_) {
      const int cases = family.accepted + family.rejected;
      EXPECT_GT(cases, 0) << family.name;
      std::printf("%-28s %8d %8d %8d\n", family.name.c_str(), cases,
                  family.accepted, family.rejected);
      total += cases;
    }
    std::printf("%-28s %8d\n", "total", total);
    return total;
  }

 private:
  struct Family {
    std::string name;
    int accepted = 0;
    int rejected = 0;
  };

  void Compare(const char* place, const Type& type, const std::string& bytes,
               const reference::Decoded& decoded, const std::string& canonical,
               bool parsed, const pb::Message& message) {
    std::string runtime = parsed ? "accepted" : "rejected";
    if (parsed == decoded.accepted()) {
      if (parsed) runtime = Disagreement(message, canonical);
      if (!parsed || runtime.empty()) return;
    }
    if (++failures_ > kShownFailures) {
      if (failures_ == kShownFailures + 1) ADD_FAILURE() << "and more";
      return;
    }
    ADD_FAILURE() << families_.back().name << ", " << type.name << ", " << place
                  << "\n  input:     " << wire::ToHex(bytes)
                  << "\n  runtime:   " << runtime << "\n  reference: "
                  << (decoded.accepted()
                          ? "accepted as " + wire::ToHex(canonical)
                          : "rejected, " + decoded.reason);
  }

  std::vector<Family> families_;
  pb::Arena arena_;
  int failures_ = 0;
};

std::string SampleBytes(const Type& type, int depth) {
  return reference::Encode(reference::Sample(type, depth));
}

std::string SampleBytes(const Type& type, const Field& field, int depth = 1) {
  return reference::Encode(reference::Sample(type, field, depth));
}

std::string Join(const std::vector<std::string>& parts) {
  std::string whole;
  for (const std::string& part : parts) whole += part;
  return whole;
}

// One record for each field, members of a oneof included.
std::vector<std::string> FieldRecords(const Type& type) {
  std::vector<std::string> records;
  for (const Field& field : type.fields) {
    records.push_back(SampleBytes(type, field));
  }
  return records;
}

// Canonical messages of a type, small and large.
std::vector<std::string> CanonicalCases(const Type& type) {
  std::vector<std::string> cases = FieldRecords(type);
  cases.insert(cases.end(), {"", SampleBytes(type, 0), SampleBytes(type, 2)});
  return cases;
}

// Varints that mean something else in 32 bits, in 64, as a boolean, or when
// read in the wrong number of bytes.
std::vector<std::string> Varints() {
  std::vector<std::string> varints;
  for (uint64_t value : {0ull,
                         1ull,
                         2ull,
                         99ull,
                         127ull,
                         128ull,
                         1000ull,
                         16383ull,
                         16384ull,
                         1ull << 21,
                         1ull << 28,
                         (1ull << 31) - 1,
                         1ull << 31,
                         (1ull << 32) - 1,
                         1ull << 32,
                         (1ull << 32) + 1,
                         1ull << 35,
                         (1ull << 63) - 1,
                         1ull << 63,
                         ~0ull,
                         ~0ull - 1,
                         ~0ull << 31,
                         (~0ull << 31) - 1}) {
    const size_t shortest = Writer().Varint(value).bytes().size();
    for (int size : {1, 2, 4, 5, 6, 9, 10}) {
      if (size < static_cast<int>(shortest)) continue;
      varints.push_back(Writer().Overlong(value, size).bytes());
    }
  }
  const std::string nine(9, '\xFF');
  const std::string nine_zero(9, '\x80');
  varints.insert(varints.end(),
                 {nine + "\x7F", nine_zero + "\x02", nine_zero + "\x7E",
                  nine + "\xFF\x01", nine_zero + "\x80\x01", nine, ""});
  return varints;
}

std::vector<std::string> Fixed32s() {
  std::vector<std::string> values;
  for (uint32_t bits :
       {0u, 0x80000000u, 1u, 0x80000001u, 0x007FFFFFu, 0x00800000u, 0x3F800000u,
        0xBF800000u, 0xC22A0000u, 0x7F7FFFFFu, 0xFF7FFFFFu, 0x7F800000u,
        0xFF800000u, 0x7FC00000u, 0xFFC00000u, 0x7F800001u, 0xFFA5A5A5u}) {
    const std::string record = Writer().Fixed32(1, bits).bytes();
    values.push_back(record.substr(1));
  }
  for (size_t size : {0, 1, 2, 3}) values.push_back(std::string(size, '\1'));
  return values;
}

const std::vector<std::string>& BadTexts() {
  static const auto* const texts = new std::vector<std::string>{
      "\xC3\x28",                  // lead without its tail
      "\xC3",                      // cut after the lead
      "\x80",                      // tail without a lead
      "\xBF\xBF",                  // two of them
      "\xC0\x80",                  // overlong NUL
      "\xC1\xBF",                  // overlong, two bytes
      "\xE0\x80\x80",              // overlong, three bytes
      "\xE0\x9F\xBF",              // the highest of these
      "\xF0\x80\x80\x80",          // overlong, four bytes
      "\xF0\x8F\xBF\xBF",          // the highest of these
      "\xED\xA0\x80",              // first surrogate
      "\xED\xBF\xBF",              // last surrogate
      "\xED\xA0\xBD\xED\xB8\x80",  // a pair of surrogates
      "\xF4\x90\x80\x80",          // beyond U+10FFFF
      "\xF5\x80\x80\x80",          // a lead beyond the last
      "\xF8\x88\x80\x80\x80",      // five bytes
      "\xFC\x84\x80\x80\x80\x80",  // six bytes
      "\xFE",
      "\xFF",
      "\xFF\xFE",      // byte-order mark of UTF-16
      "\xE2\x82",      // cut after two of three
      "\xE2\x28\xA1",  // broken second byte
      "\xE2\x82\x28",  // broken third byte
      "\xF0\x9F\x98",  // cut after three of four
      "\xF0\x28\x8C\xBC",
      "\xF0\x90\x28\xBC",
      "\xF0\x9F\x98\x28"};
  return *texts;
}

const std::vector<std::string>& GoodTexts() {
  static const auto* const texts = new std::vector<std::string>{
      "",
      std::string(1, '\0'),
      std::string(300, '\0'),
      "0",
      std::string(127, 'x'),
      std::string(128, 'x'),
      "\x7F",
      "\xC2\x80",
      "\xDF\xBF",
      "\xE0\xA0\x80",
      "\xED\x9F\xBF",
      "\xEE\x80\x80",
      "\xEF\xBB\xBF",  // byte-order mark
      "\xEF\xBF\xBF",  // U+FFFF, no character but well-formed
      "\xF0\x90\x80\x80",
      "\xF4\x8F\xBF\xBF"};  // U+10FFFF
  return *texts;
}

// Every record that a schema of tomorrow might hold under one number.
std::vector<std::string> UnknownRecords(int number) {
  const Writer inner = Writer().Uint(1, 5).Bytes(2, "x").Fixed32(3, 7);
  return {
      Writer().Uint(number, 0).bytes(),
      Writer().Uint(number, ~0ull).bytes(),
      Writer().Tag(number, wire::kVarint).Overlong(3, 10).bytes(),
      Writer().Fixed32(number, 0x80000000).bytes(),
      Writer().Fixed64(number, 0x8877665544332211).bytes(),
      Writer().Bytes(number, "").bytes(),
      Writer().Bytes(number, "\xFF\xFE").bytes(),
      Writer().Tag(number, wire::kLength).Overlong(2, 5).Raw("ab").bytes(),
      Writer().Group(number, {}).bytes(),
      Writer().Group(number, inner).bytes(),
      Writer().Group(number, Writer().Group(1, inner).Group(2, {})).bytes(),
  };
}

void ContentsOfEveryField(Conformance& run) {
  const std::vector<std::string> varints = Varints();
  const std::vector<std::string> fixed32s = Fixed32s();
  for (const Type& type : reference::Types()) {
    for (const Field& field : type.fields) {
      std::vector<std::string> contents;
      if (field.wire_type() == wire::kVarint) {
        contents = varints;
      } else if (field.wire_type() == wire::kFixed32) {
        contents = fixed32s;
      } else {
        std::vector<std::string> bodies = GoodTexts();
        if (field.kind == Kind::MESSAGE) bodies = CanonicalCases(*field.type);
        for (const std::string& body : bodies) {
          contents.push_back(Writer().Varint(body.size()).Raw(body).bytes());
        }
      }
      const std::string usual = SampleBytes(type, field);
      for (const std::string& content : contents) {
        const std::string record =
            Writer().Tag(field.number, field.wire_type()).Raw(content).bytes();
        run.Case(type, record);
        run.Case(type, usual + record);
        run.Case(type, record + usual);
        if (field.packed()) {
          run.Case(type, Writer().Bytes(field.number, content).bytes());
          run.Case(type, Writer().Bytes(field.number, "\1" + content).bytes());
        }
      }
    }
  }
}

void WireTypesOfEveryField(Conformance& run) {
  for (const Type& type : reference::Types()) {
    for (const Field& field : type.fields) {
      const std::string usual = SampleBytes(type, field);
      std::vector<std::string> records = UnknownRecords(field.number);
      for (const char* body : {"\1\2", "\x80", "\x0A\x01x", "\x08\x80"}) {
        records.push_back(Writer().Bytes(field.number, body).bytes());
      }
      for (int wire_type = 0; wire_type < 8; ++wire_type) {
        const Writer tag =
            Writer().Tag(field.number, static_cast<wire::Type>(wire_type));
        for (const char* rest : {"", "\1", "\1\1", "\1\1\1\1\1\1\1\1"}) {
          records.push_back(tag.bytes() + rest);
        }
      }
      // A group that ends under another number.
      records.push_back(Writer()
                            .Tag(field.number, wire::kStart)
                            .Tag(field.number + 1, wire::kEnd)
                            .bytes());
      for (const std::string& record : records) {
        run.Case(type, record);
        run.Case(type, usual + record + usual);
      }
    }
  }
}

void KeysAndLengths(Conformance& run) {
  const uint64_t lengths[] = {
      INT_MAX - 17ull,  INT_MAX - 16ull, INT_MAX - 15ull, INT_MAX, 1ull << 31,
      (1ull << 32) + 1, 1ull << 34,      1ull << 35,      ~0ull};
  for (const Type& type : reference::Types()) {
    for (const Field& field : type.fields) {
      const std::string usual = SampleBytes(type, field, 0);
      const uint64_t key = static_cast<uint64_t>(field.number) << 3 |
                           (field.packed() ? wire::kLength : field.wire_type());
      const std::string rest =
          usual.substr(Writer().Varint(key).bytes().size());
      for (int size = key < 0x80 ? 1 : 2; size <= 6; ++size) {
        run.Case(type, Writer().Overlong(key, size).Raw(rest).bytes());
      }
      // Bits of the key beyond the 32nd are dropped.
      for (uint64_t high : {1ull << 32, 1ull << 34, 7ull << 32}) {
        run.Case(type, Writer().Varint(key | high).Raw(rest).bytes());
      }
      for (int number : {0, 1 << 28, (1 << 29) - 1}) {
        run.Case(type, Writer().Tag(number, wire::kLength).bytes() + rest);
      }
      const Writer tag = Writer().Tag(field.number, wire::kLength);
      for (uint64_t length : lengths) {
        run.Case(type, tag.bytes() + Writer().Varint(length).bytes() + "ab");
      }
      for (int size = 1; size <= 6; ++size) {
        run.Case(type, tag.bytes() + Writer().Overlong(0, size).bytes());
        run.Case(type,
                 tag.bytes() + Writer().Overlong(2, size).bytes() + "\1\1");
        run.Case(type,
                 tag.bytes() + Writer().Overlong(3, size).bytes() + "\1\1");
      }
    }
  }
}

void PackedAndUnpackedMixes(Conformance& run) {
  for (const Type& type : reference::Types()) {
    for (const Field& field : type.fields) {
      if (!field.packed()) continue;
      const int n = field.number;
      const std::string pieces[] = {
          Writer().Packed(n, {}).bytes(),
          Writer().Packed(n, {1, 0, 2}).bytes(),
          Writer().Packed(n, {-1, 99}).bytes(),
          Writer().Int(n, 1).bytes(),
          Writer().Int(n, -2).bytes(),
          Writer().Message(n, Writer().Overlong(5, 7)).bytes(),
          Writer().Bytes(n, "\x80").bytes(),
          Writer().Fixed32(n, 1).bytes(),
      };
      for (const std::string& a : pieces) {
        run.Case(type, a);
        for (const std::string& b : pieces) {
          run.Case(type, a + b);
          for (const std::string& c : pieces) run.Case(type, a + b + c);
        }
      }
    }
  }
}

void Truncations(Conformance& run) {
  for (const Type& type : reference::Types()) {
    for (const std::string& bytes : CanonicalCases(type)) {
      for (size_t size = 0; size <= bytes.size(); ++size) {
        run.Case(type, bytes.substr(0, size));
      }
    }
  }
}

void BitFlips(Conformance& run, Random& random) {
  for (const Type& type : reference::Types()) {
    for (const std::string& bytes : CanonicalCases(type)) {
      for (size_t i = 0; i < bytes.size(); ++i) {
        std::string flipped = bytes;
        flipped[i] ^= 1 << Pick(random, 8);
        run.Case(type, flipped);
      }
    }
    const std::string small = SampleBytes(type, 0);
    for (size_t i = 0; i < small.size() * 8; ++i) {
      std::string flipped = small;
      flipped[i / 8] ^= 1 << i % 8;
      run.Case(type, flipped);
    }
  }
}

void DuplicatesAndOrders(Conformance& run, Random& random) {
  for (const Type& type : reference::Types()) {
    std::vector<std::string> records = FieldRecords(type);
    for (const std::string& a : records) {
      for (const std::string& b : records) {
        run.Case(type, a + b);
        run.Case(type, a + b + a);
      }
    }
    std::reverse(records.begin(), records.end());
    run.Case(type, Join(records));
    for (int i = 0; i < 20; ++i) {
      std::shuffle(records.begin(), records.end(), random);
      run.Case(type, Join(records) + records[0]);
    }
  }
}

void UnknownFieldsBetween(Conformance& run) {
  for (const Type& type : reference::Types()) {
    std::vector<std::string> unknown;
    for (int number : {type.fields.back().number + 1, 15, 16, 2047, 2048, 19000,
                       (1 << 29) - 1}) {
      if (type.Find(number) != nullptr) continue;
      for (std::string& record : UnknownRecords(number)) {
        unknown.push_back(std::move(record));
      }
    }
    const std::vector<std::string> records = FieldRecords(type);
    for (size_t i = 0; i < unknown.size(); ++i) {
      run.Case(type, unknown[i]);
      run.Case(type, unknown[i] + unknown[(i + 7) % unknown.size()]);
      // Each record in turn has it before itself and another behind.
      std::vector<std::string> mixed = records;
      mixed[i % records.size()].insert(0, unknown[i]);
      mixed[(i + 1) % records.size()] += unknown[(i + 5) % unknown.size()];
      run.Case(type, Join(mixed));
    }
  }
}

void BadUtf8(Conformance& run) {
  for (const Type& type : reference::Types()) {
    for (const Field& field : type.fields) {
      const bool map = field.label == Label::MAP;
      if (!map && field.kind != Kind::STRING && field.kind != Kind::BYTES) {
        continue;
      }
      for (const std::string& bad : BadTexts()) {
        for (const std::string& text :
             {bad, "ab" + bad + "cd", std::string(40, 'x') + bad,
              "\xE2\x82\xAC" + bad}) {
          const Writer entry = Writer().Bytes(1, text).Int(2, 1);
          run.Case(type, map ? Writer().Message(field.number, entry).bytes()
                             : Writer().Bytes(field.number, text).bytes());
        }
      }
    }
  }
}

void OneofSequences(Conformance& run) {
  const Type& node = reference::TypeNamed("ChildTypes");
  const Type& list = reference::TypeNamed("ModsAvailable");
  for (const Field& first : node.fields) {
    for (const Field& second : node.fields) {
      const std::string forms[] = {
          SampleBytes(node, first, 0) + SampleBytes(node, second, 0),
          SampleBytes(node, first, 1) + SampleBytes(node, second, 2),
          Writer().Bytes(first.number, "").bytes() + SampleBytes(node, second),
          SampleBytes(node, first) + Writer().Bytes(second.number, "").bytes(),
          SampleBytes(node, first) + Writer().Uint(second.number, 1).bytes(),
          Writer().Fixed32(first.number, 1).bytes() + SampleBytes(node, second),
          SampleBytes(node, first) +
              Writer().Bytes(second.number, "\x80").bytes(),
          SampleBytes(node, first) + Writer().Uint(9, 9).bytes() +
              SampleBytes(node, second),
      };
      for (const std::string& form : forms) {
        run.Case(node, form);
        run.Case(list, Writer().Bytes(1, form).bytes());
        for (const Field& third : node.fields) {
          run.Case(node, form + SampleBytes(node, third, 0));
        }
      }
    }
  }
}

void MapEntries(Conformance& run) {
  const Type& report = reference::TypeNamed("NetworkStatusReport");
  const std::string pieces[] = {
      Writer().Bytes(1, "a").bytes(),
      Writer().Bytes(1, "").bytes(),
      Writer().Int(2, 1).bytes(),
      Writer().Int(2, 99).bytes(),
      Writer().Int(2, -1).bytes(),
      Writer().Tag(2, wire::kVarint).Overlong(2, 10).bytes(),
      Writer().Overlong(0x0A, 3).Raw("\1b").bytes(),
      Writer().Uint(1, 7).bytes(),
      Writer().Bytes(2, "x").bytes(),
      Writer().Fixed64(3, 7).bytes(),
      Writer().Group(4, Writer().Uint(1, 1)).bytes(),
      Writer().Bytes(1, "\xFF").bytes(),
      Writer().Tag(4, wire::kEnd).bytes(),
      std::string(1, '\0'),
  };
  std::vector<std::string> entries = {""};
  for (const std::string& a : pieces) {
    entries.push_back(a);
    for (const std::string& b : pieces) {
      entries.push_back(a + b);
      for (const std::string& c : pieces) entries.push_back(a + b + c);
    }
  }
  for (int number : {1, 2}) {
    const std::string before =
        Writer()
            .Message(number, Writer().Bytes(1, "a").Int(2, 5))
            .Message(number, Writer().Bytes(1, "B").Int(2, 6))
            .bytes();
    for (const std::string& entry : entries) {
      const std::string record = Writer().Bytes(number, entry).bytes();
      run.Case(report, record);
      run.Case(report, before + record);
      run.Case(report, record + before);
    }
    // Entries that run past the end, or that end inside a key or a value.
    for (const std::string& piece : pieces) {
      const Writer tag = Writer().Tag(number, wire::kLength);
      run.Case(report,
               tag.bytes() + Writer().Varint(piece.size() + 1).bytes() + piece);
      run.Case(report, tag.bytes() + Writer().Varint(1).bytes() + piece);
    }
  }
}

// Whether messages of the type can hold others of their own type.
bool IsRecursive(const Type& type) {
  for (const char* name : {"ChildTypes", "Server", "Client", "Display",
                           "Direct", "ModsAvailable"}) {
    if (type.name == name) return true;
  }
  return false;
}

// `depth` messages, each inside the one before, and `leaf` inside the last.
std::string Nested(const Type& type, int depth, const std::string& leaf,
                   Random& random) {
  if (depth == 0) return leaf;
  std::vector<const Field*> ways;
  for (const Field& field : type.fields) {
    if (field.type != nullptr && IsRecursive(*field.type)) {
      ways.push_back(&field);
    }
  }
  const Field& way = *ways[Pick(random, ways.size())];
  return Writer()
      .Bytes(way.number, Nested(*way.type, depth - 1, leaf, random))
      .bytes();
}

std::string NestedGroups(int depth, const std::string& leaf) {
  std::string groups = leaf;
  for (int i = 0; i < depth; ++i) {
    groups = Writer().Group(100, Writer().Raw(groups)).bytes();
  }
  return groups;
}

void Depths(Conformance& run, Random& random) {
  for (const Type& type : reference::Types()) {
    const bool holds_nodes =
        std::any_of(type.fields.begin(), type.fields.end(), [](auto& field) {
          return field.type != nullptr && IsRecursive(*field.type);
        });
    for (int depth : {1, 50, 98, 99, 100, 101, 102, 200}) {
      run.Case(type, NestedGroups(depth, ""));
      run.Case(type, NestedGroups(depth, Writer().Bytes(1, "x").bytes()));
      if (!holds_nodes) continue;
      for (int i = 0; i < 10; ++i) {
        const std::string chain = Nested(type, depth, "", random);
        run.Case(type, chain);
        // Another chain behind it starts at the top again.
        run.Case(type, chain + Nested(type, 100, "", random));
        for (int groups : {1, 2, 3}) {
          run.Case(type, Nested(type, depth, NestedGroups(groups, ""), random));
        }
        run.Case(type, Nested(type, depth, Writer().Bytes(100, "\xA\0").bytes(),
                              random));
      }
    }
  }
  const Type& report = reference::TypeNamed("NetworkStatusReport");
  for (int depth : {97, 98, 99, 100, 101}) {
    run.Case(report, Writer().Bytes(1, NestedGroups(depth, "")).bytes());
  }
}

void Merges(Conformance& run, Random& random) {
  for (const Type& type : reference::Types()) {
    const std::vector<std::string> cases = CanonicalCases(type);
    for (const std::string& first : cases) {
      run.Merge(type, first, first);
      for (int i = 0; i < 6; ++i) {
        run.Merge(type, first, cases[Pick(random, cases.size())]);
      }
      run.Merge(type, first + UnknownRecords(50)[9],
                SampleBytes(type, 1) + UnknownRecords(51)[4]);
    }
  }
}

std::string RandomMessage(const Type& type, int depth, Random& random);

std::string RandomRecord(const Type& type, int depth, Random& random) {
  static const std::vector<std::string> varints = Varints();
  static const std::vector<std::string> fixed32s = Fixed32s();
  if (Pick(random, 8) == 0) {
    const std::vector<std::string> unknown =
        UnknownRecords(1 + Pick(random, 30));
    return unknown[Pick(random, unknown.size())];
  }
  const Field& field = type.fields[Pick(random, type.fields.size())];
  Writer record;
  if (field.label == Label::MAP) {
    const std::string key(Pick(random, 3), 'a' + Pick(random, 3));
    return record
        .Message(field.number, Writer().Bytes(1, key).Int(2, Pick(random, 14)))
        .bytes();
  }
  if (field.kind == Kind::MESSAGE) {
    return record
        .Bytes(field.number,
               depth == 0 ? "" : RandomMessage(*field.type, depth - 1, random))
        .bytes();
  }
  if (field.wire_type() == wire::kLength) {
    const bool bad = Pick(random, 100) == 0;
    const std::vector<std::string>& texts = bad ? BadTexts() : GoodTexts();
    return record.Bytes(field.number, texts[Pick(random, texts.size())])
        .bytes();
  }
  // The last entries of both lists are broken, and drawn less often.
  const std::vector<std::string>& values =
      field.wire_type() == wire::kVarint ? varints : fixed32s;
  const size_t sound = values.size() - (Pick(random, 50) == 0 ? 0 : 4);
  const std::string& value = values[Pick(random, sound)];
  if (field.packed() && Pick(random, 2) == 0) {
    return record.Bytes(field.number, value + value).bytes();
  }
  return record.Tag(field.number, field.wire_type()).Raw(value).bytes();
}

std::string RandomMessage(const Type& type, int depth, Random& random) {
  std::string bytes;
  for (int count = Pick(random, 6); count > 0; --count) {
    bytes += RandomRecord(type, depth, random);
  }
  return bytes;
}

void RandomMessages(Conformance& run, Random& random) {
  for (const Type& type : reference::Types()) {
    for (int i = 0; i < 300; ++i) {
      std::string bytes = RandomMessage(type, 4, random);
      run.Case(type, bytes);
      if (bytes.empty()) continue;
      bytes[Pick(random, bytes.size())] = static_cast<char>(random());
      run.Case(type, bytes);
    }
  }
}

TEST(Conformance, LibraryAgreesWithTheReferenceOnEveryCase) {
  // Keeps the library linked: nothing else here names one of its symbols.
  tarn::Price::descriptor();
  tarn::Server::descriptor();
  ASSERT_EQ(reference::Types().size(), 53u);

  const char* chosen = std::getenv("CONFORMANCE_SEED");
  const unsigned seed =
      chosen != nullptr ? std::strtoul(chosen, nullptr, 10) : kSeed;
  std::printf("seed %u (CONFORMANCE_SEED sets another)\n", seed);
  Random random(seed);
  const pb::LogSilencer no_reports_of_bad_text;

  Conformance run;
  run.Begin("contents of every field");
  ContentsOfEveryField(run);
  run.Begin("wire types of every field");
  WireTypesOfEveryField(run);
  run.Begin("keys and lengths");
  KeysAndLengths(run);
  run.Begin("packed and unpacked mixes");
  PackedAndUnpackedMixes(run);
  run.Begin("truncations");
  Truncations(run);
  run.Begin("bit flips");
  BitFlips(run, random);
  run.Begin("duplicates and orders");
  DuplicatesAndOrders(run, random);
  run.Begin("unknown fields between");
  UnknownFieldsBetween(run);
  run.Begin("bad UTF-8");
  BadUtf8(run);
  run.Begin("oneof sequences");
  OneofSequences(run);
  run.Begin("map entries");
  MapEntries(run);
  run.Begin("depths");
  Depths(run, random);
  run.Begin("merges");
  Merges(run, random);
  run.Begin("random messages");
  RandomMessages(run, random);
  EXPECT_GE(run.Report(), kLeastCases);
}

}  // namespace
