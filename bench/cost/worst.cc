// Searches for each message type the input that takes the most memory for each
// of its bytes, and really parses it, on the heap and on an arena. What holds a
// message of another type can take as much as that one.
//
// Prints one JSON object a line. Ends with status 1 if an input takes more for
// each byte when it is many times as large.
//
// Memory is what the parse holds at its peak, with what the allocator adds,
// and inputs are at least some kilobytes, where the message object itself no
// longer counts. An input is a unit that is repeated: an element of a list that
// is empty or holds one small field, an unknown field, two members of a oneof
// in turn. Numbers of packed lists and entries of maps are left out: one byte
// becomes 16 at most, and 48 of an unknown field.
#include <google/protobuf/arena.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "heap.h"

namespace {

using google::protobuf::Arena;
using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::MessageFactory;

// Units in an input, at least and at most. Lists double their memory, so an
// octave shows all that can happen.
constexpr int kFewest = 2048;
constexpr int kMost = 2 * kFewest + 64;
// Parsed once more so many times as large, to see whether that is different.
constexpr int kTimes = 256;

struct Input {
  std::string bytes;
  std::string unit;                  // in words
  const Descriptor* type = nullptr;  // that the unit belongs to
  bool on_arena = false;
  uint64_t memory = 0;  // that parsing all bytes takes
};

double Ratio(const Input& input) {
  return input.bytes.empty() ? 0
                             : static_cast<double>(input.memory) /
                                   static_cast<double>(input.bytes.size());
}

std::string Varint(uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7) bytes += static_cast<char>(value | 0x80);
  return bytes + static_cast<char>(value);
}

std::string Tag(int number, int wire) { return Varint(number << 3 | wire); }

std::string Record(int number, const std::string& content) {
  return Tag(number, 2) + Varint(content.size()) + content;
}

// What can be repeated, in words with a "7?" for a field that the type lacks.
struct Unit {
  std::string bytes;
  std::string words;
};

// Fields that the type does not have, one of each kind that is kept.
std::vector<Unit> Unknown(const Descriptor& type) {
  int number = 1;
  while (type.FindFieldByNumber(number) != nullptr) ++number;
  const std::string words = std::to_string(number) + '?';
  return {{Record(number, ""), words},
          {Tag(number, 0) + '\0', words},
          {Tag(number, 3) + Tag(number, 4), words}};
}

// What an element of a list may hold: nothing, or one small field.
std::vector<Unit> Elements(const Descriptor& type) {
  std::vector<Unit> elements = Unknown(type);
  elements.emplace_back();
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& field = *type.field(i);
    elements.push_back({field.is_packable() ? Tag(field.number(), 0) + '\1'
                                            : Record(field.number(), ""),
                        field.name()});
  }
  return elements;
}

Unit In(const FieldDescriptor& field, const Unit& content) {
  return {Record(field.number(), content.bytes),
          field.name() + "{" + content.words + "}"};
}

// What can be repeated in a message of the type itself.
std::vector<Unit> Units(const Descriptor& type) {
  std::vector<Unit> units = Unknown(type);
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& field = *type.field(i);
    if (!field.is_repeated() || field.is_map() || field.is_packable()) continue;
    if (field.message_type() == nullptr) {
      units.push_back({Record(field.number(), ""), field.name()});
      continue;
    }
    for (const Unit& element : Elements(*field.message_type())) {
      units.push_back(In(field, element));
    }
  }
  // Two members of a oneof in turn, each of which makes the other go.
  for (int i = 0; i < type.real_oneof_decl_count(); ++i) {
    const auto& oneof = *type.oneof_decl(i);
    for (int j = 0; j < oneof.field_count(); ++j) {
      for (int k = 0; k < j; ++k) {
        const Unit one = In(*oneof.field(j), {}),
                   other = In(*oneof.field(k), {});
        units.push_back(
            {one.bytes + other.bytes, one.words + ' ' + other.words});
      }
    }
  }
  return units;
}

// Calls `use` with a new message.
template <class Use>
void WithMessage(const Descriptor& type, bool on_arena, Use use) {
  Arena arena;
  const Message& prototype =
      *MessageFactory::generated_factory()->GetPrototype(&type);
  Message* const message = prototype.New(on_arena ? &arena : nullptr);
  use(message);
  if (!on_arena) delete message;
}

void Parse(const std::string& bytes, Message* message) {
  if (message->MergeFromString(bytes)) return;
  std::fprintf(stderr, "worst: an input for %s does not parse\n",
               message->GetTypeName().c_str());
  std::exit(1);
}

// The most memory that is held while the bytes are parsed.
uint64_t Peak(const Descriptor& type, bool on_arena, const std::string& bytes) {
  const uint64_t before = HeapNow().live;
  ResetPeak();
  WithMessage(type, on_arena,
              [&bytes](Message* message) { Parse(bytes, message); });
  return HeapNow().peak - before;
}

// As many units as are worst, found by parsing one after the other.
Input Repeated(const Descriptor& type, bool on_arena, const Unit& unit) {
  int worst_count = 0;
  double worst = 0;
  const uint64_t before = HeapNow().live;
  WithMessage(type, on_arena, [&](Message* message) {
    for (int count = 1; count <= kMost; ++count) {
      ResetPeak();
      Parse(unit.bytes, message);
      const double for_each =
          static_cast<double>(HeapNow().peak - before) / count;
      if (count < kFewest || for_each <= worst) continue;
      worst = for_each;
      worst_count = count;
    }
  });
  Input input{"", unit.words, &type, on_arena};
  for (int i = 0; i < worst_count; ++i) input.bytes += unit.bytes;
  input.memory = Peak(type, on_arena, input.bytes);
  return input;
}

// The worst input that is a repetition of something in the type itself.
Input Worst(const Descriptor& type) {
  Input worst;
  for (const Unit& unit : Units(type)) {
    for (const bool on_arena : {false, true}) {
      Input input = Repeated(type, on_arena, unit);
      if (Ratio(input) > Ratio(worst)) worst = std::move(input);
    }
  }
  return worst;
}

// The type, and all that its messages may hold.
void AddWithBelow(const Descriptor& type, std::set<const Descriptor*>* types) {
  if (!types->insert(&type).second) return;
  for (int i = 0; i < type.field_count(); ++i) {
    const FieldDescriptor& field = *type.field(i);
    if (field.message_type() == nullptr || field.is_map()) continue;
    AddWithBelow(*field.message_type(), types);
  }
}

void RefuseMoreForMany(const Input& input) {
  Input many = input;
  for (int i = 1; i < kTimes; ++i) many.bytes += input.bytes;
  many.memory = Peak(*many.type, many.on_arena, many.bytes);
  if (Ratio(many) <= 1.02 * Ratio(input)) return;
  std::fprintf(stderr, "worst: many times the input of %s take more\n",
               input.type->full_name().c_str());
  std::exit(1);
}

}  // namespace

int main() {
  std::map<const Descriptor*, Input> worst;
  for (const auto* file :
       {tarn::Server::descriptor()->file(), tarn::Wifi::descriptor()->file()}) {
    for (int i = 0; i < file->message_type_count(); ++i) {
      const Descriptor& type = *file->message_type(i);
      RefuseMoreForMany(worst[&type] = Worst(type));
    }
  }
  for (const auto& entry : worst) {
    std::set<const Descriptor*> types;
    AddWithBelow(*entry.first, &types);
    const Input& input = worst[*std::max_element(
        types.begin(), types.end(), [&worst](auto* one, auto* other) {
          return Ratio(worst[one]) < Ratio(worst[other]);
        })];
    std::cout << "{\"type\": \"" << entry.first->name() << "\", \"in\": \""
              << input.type->name() << "\", \"unit\": \"" << input.unit
              << "\", \"place\": \"" << (input.on_arena ? "arena" : "heap")
              << "\", \"bytes\": " << input.bytes.size()
              << ", \"memory\": " << input.memory << "}\n";
  }
}
