// Searches for each message type the input that takes the most memory for each
// of its bytes, and really parses it.
//
// Usage: worst                    one JSON object a line, for all types
//        worst TYPE heap|arena    writes that type's worst input
//
// Memory is what the parse holds at its peak, with what the allocator adds,
// and inputs are at least some kilobytes, where the message object itself no
// longer counts. An input is a unit that is repeated: an element of a list, an
// entry of a map, an unknown field. What goes into an element is found by
// adding whatever takes more memory for each byte than the input so far.
#include <google/protobuf/arena.h>
#include <google/protobuf/unknown_field_set.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "heap.h"

namespace {

using google::protobuf::Arena;
using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using google::protobuf::Message;
using google::protobuf::MessageFactory;
using google::protobuf::UnknownField;
using google::protobuf::UnknownFieldSet;

// Units in an input, at least and at most. Lists double their memory, so an
// octave shows all that can happen.
constexpr int kFewest = 2048;
constexpr int kMost = 2 * kFewest + 64;
// Parsed once more so many times as large, to see whether that is different.
constexpr int kTimes = 256;
// Records inside one another that a search goes down.
constexpr int kDepth = 12;

std::string Varint(uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7) bytes += static_cast<char>(value | 0x80);
  return bytes + static_cast<char>(value);
}

std::string Tag(int number, int wire) { return Varint(number << 3 | wire); }

std::string Record(int number, const std::string& content) {
  return Tag(number, 2) + Varint(content.size()) + content;
}

const Message& Prototype(const Descriptor& type) {
  return *MessageFactory::generated_factory()->GetPrototype(&type);
}

// The fields of some bytes by name: "children{module{} 15?}".
std::string Describe(const Descriptor& type, const std::string& bytes) {
  UnknownFieldSet fields;
  if (!fields.ParseFromString(bytes)) return "?";
  std::string text;
  for (int i = 0; i < fields.field_count(); ++i) {
    const UnknownField& unknown = fields.field(i);
    const FieldDescriptor* field = type.FindFieldByNumber(unknown.number());
    if (!text.empty()) text += ' ';
    if (field == nullptr) {
      text += std::to_string(unknown.number()) + '?';
      continue;
    }
    text += field->name();
    if (field->message_type() == nullptr) continue;
    text += '{' + Describe(*field->message_type(), unknown.length_delimited()) +
            '}';
  }
  return text;
}

// What is found of one way to allocate; the search is the same for both.
class Searcher {
 public:
  explicit Searcher(bool on_arena) : on_arena_(on_arena) {}

  struct Input {
    std::string bytes;
    std::string unit;                       // in words
    const Descriptor* unit_type = nullptr;  // that the unit belongs to
    uint64_t memory = 0;
    uint64_t many_memory = 0;  // of kTimes such inputs behind one another
    double ratio() const {
      return bytes.empty() ? 0 : static_cast<double>(memory) / bytes.size();
    }
  };

  // The worst input of a type, in a list of its own or of a type below it.
  Input Worst(const Descriptor& type) {
    Input worst;
    for (const auto& [below, path] : Below(type)) {
      Input input = Own(*below);
      if (input.bytes.empty()) continue;
      for (auto field = path.rbegin(); field != path.rend(); ++field) {
        input.bytes = Record((*field)->number(), input.bytes);
      }
      input.memory = Peak(type, input.bytes);
      if (input.ratio() > worst.ratio()) worst = input;
    }
    std::string many;
    for (int i = 0; i < kTimes; ++i) many += worst.bytes;
    worst.many_memory = Peak(type, many);
    return worst;
  }

 private:
  using Path = std::vector<const FieldDescriptor*>;

  // The types in a message, itself included, each with the fields that lead
  // there.
  static std::vector<std::pair<const Descriptor*, Path>> Below(
      const Descriptor& type) {
    std::vector<std::pair<const Descriptor*, Path>> found = {{&type, {}}};
    std::set<const Descriptor*> known = {&type};
    for (size_t i = 0; i < found.size(); ++i) {
      for (int j = 0; j < found[i].first->field_count(); ++j) {
        const FieldDescriptor* field = found[i].first->field(j);
        const Descriptor* below = field->message_type();
        if (below == nullptr || field->is_map()) continue;
        if (!known.insert(below).second) continue;
        Path path = found[i].second;
        path.push_back(field);
        found.emplace_back(below, std::move(path));
      }
    }
    return found;
  }

  // Calls `use` with a new message.
  template <class Use>
  void WithMessage(const Descriptor& type, Use use) {
    if (on_arena_) {
      Arena arena;
      use(Prototype(type).New(&arena), &arena);
    } else {
      const std::unique_ptr<Message> message(Prototype(type).New());
      use(message.get(), nullptr);
    }
  }

  // The most memory that is held while the bytes are parsed.
  uint64_t Peak(const Descriptor& type, const std::string& bytes) {
    const uint64_t before = HeapNow().live;
    ResetPeak();
    WithMessage(type, [&](Message* message, Arena*) { Parse(bytes, message); });
    return HeapNow().peak - before;
  }

  static void Parse(const std::string& bytes, Message* message) {
    if (message->MergeFromString(bytes)) return;
    std::fprintf(stderr, "worst: an input for %s does not parse\n",
                 message->GetTypeName().c_str());
    std::exit(1);
  }

  // What a message with this content holds, as a part of a larger one.
  uint64_t Held(const Descriptor& type, const std::string& content) {
    const uint64_t before = HeapNow().live;
    uint64_t held = 0;
    WithMessage(type, [&](Message* message, Arena* arena) {
      Parse(content, message);
      held = arena == nullptr ? HeapNow().live - before : arena->SpaceUsed();
    });
    return held;
  }

  // The worst input that is a repetition of something in the type itself.
  const Input& Own(const Descriptor& type) {
    auto [place, fresh] = own_.try_emplace(&type);
    if (!fresh) return place->second;
    Input worst;
    const auto consider = [&](Input input) {
      input.unit_type = &type;
      if (input.ratio() > worst.ratio()) worst = std::move(input);
    };
    for (const std::string& unknown : Unknown(type)) {
      consider(Repeated(type, unknown));
    }
    for (int i = 0; i < type.field_count(); ++i) {
      const FieldDescriptor& field = *type.field(i);
      if (!field.is_repeated()) continue;
      if (field.is_map()) {
        consider(Entries(type, field));
      } else if (field.message_type() != nullptr) {
        for (const std::string& element : Elements(field)) {
          consider(Repeated(type, Record(field.number(), element)));
        }
      } else if (field.is_packable()) {
        consider(PackedList(type, field));
      } else {
        consider(Repeated(type, Record(field.number(), "")));
      }
    }
    for (const std::string& unit : Switches(type)) {
      consider(Repeated(type, unit));
    }
    return own_[&type] = worst;
  }

  // Fields that the type does not have, one of each kind that is kept.
  static std::vector<std::string> Unknown(const Descriptor& type) {
    int number = 1;
    while (type.FindFieldByNumber(number) != nullptr) ++number;
    return {Record(number, ""), Tag(number, 0) + '\0',
            Tag(number, 3) + Tag(number, 4)};
  }

  // Two members of a oneof in turn, each of which makes the other go.
  std::vector<std::string> Switches(const Descriptor& type) {
    std::vector<std::string> units;
    for (int i = 0; i < type.real_oneof_decl_count(); ++i) {
      const auto& oneof = *type.oneof_decl(i);
      for (int j = 0; j < oneof.field_count(); ++j) {
        for (int k = 0; k < j; ++k) {
          units.push_back(Record(oneof.field(j)->number(), "") +
                          Record(oneof.field(k)->number(), ""));
        }
      }
    }
    return units;
  }

  // As many units as are worst, found by parsing one behind the other.
  Input Repeated(const Descriptor& type, const std::string& unit) {
    int worst_count = kFewest;
    double worst = 0;
    const uint64_t before = HeapNow().live;
    WithMessage(type, [&](Message* message, Arena*) {
      for (int count = 1; count <= kMost; ++count) {
        ResetPeak();
        Parse(unit, message);
        const double ratio = static_cast<double>(HeapNow().peak - before) /
                             (count * unit.size());
        if (count < kFewest || ratio <= worst) continue;
        worst = ratio;
        worst_count = count;
      }
    });
    Input input;
    input.unit = Describe(type, unit);
    for (int i = 0; i < worst_count; ++i) input.bytes += unit;
    input.memory = Peak(type, input.bytes);
    return input;
  }

  // As many numbers of one byte in a packed list as are worst.
  Input PackedList(const Descriptor& type, const FieldDescriptor& field) {
    Input worst;
    for (int count = kFewest; count <= kMost; ++count) {
      Input input;
      input.unit = field.name();
      input.bytes = Record(field.number(), std::string(count, '\1'));
      input.memory = Peak(type, input.bytes);
      if (input.ratio() > worst.ratio()) worst = std::move(input);
    }
    return worst;
  }

  // Entries of a map with the shortest keys that differ.
  Input Entries(const Descriptor& type, const FieldDescriptor& field) {
    Input input;
    input.unit = field.name() + "{key}";
    int worst_size = 0;
    double worst = 0;
    const uint64_t before = HeapNow().live;
    WithMessage(type, [&](Message* message, Arena*) {
      for (int count = 1; count <= kMost; ++count) {
        std::string key;
        for (int rest = count - 1; rest > 0; rest /= 128) {
          key += static_cast<char>(rest % 128);
        }
        const std::string entry =
            Record(field.number(), key.empty() ? key : Record(1, key));
        input.bytes += entry;
        ResetPeak();
        Parse(entry, message);
        const double ratio =
            static_cast<double>(HeapNow().peak - before) / input.bytes.size();
        if (count < kFewest || ratio <= worst) continue;
        worst = ratio;
        worst_size = static_cast<int>(input.bytes.size());
      }
    });
    input.bytes.resize(worst_size);
    input.memory = Peak(type, input.bytes);
    return input;
  }

  // Contents that make an element of a list cost much for each byte: what it
  // takes is divided by its size, what costs less than that for each byte is
  // left out, and so on until nothing changes. The worst is among them.
  std::set<std::string> Elements(const FieldDescriptor& list) {
    // A pointer, in a list that has just grown from half of what it has room
    // for.
    constexpr double kPointer = 3 * sizeof(void*);
    std::set<std::string> elements = {""};
    double rate = 0;
    while (true) {
      contents_.clear();
      const std::string content = Content(*list.message_type(), rate, 0);
      elements.insert(content);
      const double ratio = (Held(*list.message_type(), content) + kPointer) /
                           Record(list.number(), content).size();
      if (ratio <= rate) return elements;
      rate = ratio;
    }
  }

  // The content of a message of which each part holds more than `rate` bytes
  // for each of its own.
  const std::string& Content(const Descriptor& type, double rate, int depth) {
    auto [place, fresh] = contents_.try_emplace({&type, depth});
    std::string& content = place->second;
    if (!fresh || depth == kDepth) return content;
    std::vector<std::string> parts = Unknown(type);
    for (int i = 0; i < type.field_count(); ++i) {
      const FieldDescriptor& field = *type.field(i);
      const int number = field.number();
      if (field.message_type() != nullptr) {
        parts.push_back(Record(number, ""));
        if (!field.is_map()) {
          parts.push_back(
              Record(number, Content(*field.message_type(), rate, depth + 1)));
        }
      } else if (field.cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
        parts.push_back(Record(number, ""));
      } else if (field.is_packable()) {
        parts.push_back(Tag(number, 0) + '\1');
      }
    }
    // The best part first, as parts of a oneof and of the set of unknown fields
    // change what others are worth.
    while (true) {
      const double held = static_cast<double>(Held(type, content));
      double most = 0;
      const std::string* best = nullptr;
      for (const std::string& part : parts) {
        const double gain = static_cast<double>(Held(type, content + part)) -
                            held - rate * part.size();
        if (gain <= most) continue;
        most = gain;
        best = &part;
      }
      // A length of two bytes could not pay for itself.
      if (best == nullptr || content.size() + best->size() > 100) break;
      content += *best;
    }
    return content;
  }

  const bool on_arena_;
  std::map<const Descriptor*, Input> own_;
  std::map<std::pair<const Descriptor*, int>, std::string> contents_;
};

void Print(const char* place, const Searcher::Input& input) {
  std::printf(
      ", \"%s\": {\"bytes\": %zu, \"memory\": %llu, \"times\": %d, "
      "\"memory_of_all\": %llu, \"in\": \"%s\", "
      "\"unit\": \"%s\"}",
      place, input.bytes.size(), static_cast<unsigned long long>(input.memory),
      kTimes, static_cast<unsigned long long>(input.many_memory),
      input.unit_type->name().c_str(), input.unit.c_str());
}

}  // namespace

int main(int argc, char* argv[]) {
  const FileDescriptor* files[] = {tarn::Server::descriptor()->file(),
                                   tarn::Wifi::descriptor()->file()};
  if (argc == 3) {
    for (const FileDescriptor* file : files) {
      const Descriptor* type = file->FindMessageTypeByName(argv[1]);
      if (type == nullptr) continue;
      const std::string bytes =
          Searcher(argv[2] == std::string("arena")).Worst(*type).bytes;
      return std::fwrite(bytes.data(), bytes.size(), 1, stdout) == 1 ? 0 : 1;
    }
  }
  if (argc != 1) {
    std::fprintf(stderr, "usage: worst [TYPE heap|arena]\n");
    return 2;
  }
  Searcher heap(false);
  Searcher arena(true);
  for (const FileDescriptor* file : files) {
    for (int i = 0; i < file->message_type_count(); ++i) {
      const Descriptor& type = *file->message_type(i);
      std::printf("{\"type\": \"%s\"", type.name().c_str());
      Print("heap", heap.Worst(type));
      Print("arena", arena.Worst(type));
      std::printf("}\n");
      std::fflush(stdout);
    }
  }
}
