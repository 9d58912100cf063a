// Searches for each message type the input that takes the most memory for each
// of its bytes, and really parses it.
//
// Prints one JSON object a line.
//
// Memory is what the parse holds at its peak, with what the allocator adds,
// and inputs are at least some kilobytes, where the message object itself no
// longer counts. An input is a unit that is repeated: an element of a list that
// is empty or holds one small field, an entry of a map, an unknown field, two
// members of a oneof in turn. Numbers of packed lists are left out: one byte
// becomes 16 at most, while a list grows, and 48 of an unknown field.
#include <google/protobuf/arena.h>
#include <google/protobuf/unknown_field_set.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <cstdio>
#include <cstdlib>
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

// Searches the worst input for one way to allocate; the search is the same for
// both.
class Searcher {
 public:
  explicit Searcher(bool on_arena) : on_arena_(on_arena) {}

  struct Input {
    std::string bytes;
    std::string unit;                       // in words
    const Descriptor* unit_type = nullptr;  // that the unit belongs to
    uint64_t memory = 0;
    uint64_t many_memory = 0;  // of kTimes such inputs in a row
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
      use(Prototype(type).New(&arena));
    } else {
      use(std::unique_ptr<Message>(Prototype(type).New()).get());
    }
  }

  // The most memory that is held while the bytes are parsed.
  uint64_t Peak(const Descriptor& type, const std::string& bytes) {
    const uint64_t before = HeapNow().live;
    ResetPeak();
    WithMessage(type, [&](Message* message) { Parse(bytes, message); });
    return HeapNow().peak - before;
  }

  static void Parse(const std::string& bytes, Message* message) {
    if (message->MergeFromString(bytes)) return;
    std::fprintf(stderr, "worst: an input for %s does not parse\n",
                 message->GetTypeName().c_str());
    std::exit(1);
  }

  // The worst input that is a repetition of something in the type itself.
  const Input& Own(const Descriptor& type) {
    auto [place, fresh] = own_.try_emplace(&type);
    if (!fresh) return place->second;
    Input worst;
    const auto consider = [&worst](Input input) {
      if (input.ratio() > worst.ratio()) worst = std::move(input);
    };
    for (const std::string& unit : Units(type)) {
      consider(Repeated(type, Describe(type, unit), [&](int) { return unit; }));
    }
    for (int i = 0; i < type.field_count(); ++i) {
      const FieldDescriptor& field = *type.field(i);
      if (!field.is_map()) continue;
      consider(Repeated(type, field.name() + "{key}", [&](int entry) {
        return Record(field.number(), Record(1, Key(entry)));
      }));
    }
    return own_[&type] = worst;
  }

  // The shortest keys that differ.
  static std::string Key(int number) {
    std::string key;
    for (; number > 0; number /= 128) key += static_cast<char>(number % 128);
    return key;
  }

  static std::vector<std::string> Units(const Descriptor& type) {
    std::vector<std::string> units = Unknown(type);
    for (int i = 0; i < type.field_count(); ++i) {
      const FieldDescriptor& field = *type.field(i);
      if (!field.is_repeated() || field.is_map() || field.is_packable()) {
        continue;
      }
      if (field.message_type() == nullptr) {
        units.push_back(Record(field.number(), ""));
        continue;
      }
      for (const std::string& element : Elements(*field.message_type())) {
        units.push_back(Record(field.number(), element));
      }
    }
    AddSwitches(type, &units);
    return units;
  }

  // Fields that the type does not have, one of each kind that is kept.
  static std::vector<std::string> Unknown(const Descriptor& type) {
    int number = 1;
    while (type.FindFieldByNumber(number) != nullptr) ++number;
    return {Record(number, ""), Tag(number, 0) + '\0',
            Tag(number, 3) + Tag(number, 4)};
  }

  // Two members of a oneof in turn, each of which makes the other go.
  static void AddSwitches(const Descriptor& type,
                          std::vector<std::string>* units) {
    for (int i = 0; i < type.real_oneof_decl_count(); ++i) {
      const auto& oneof = *type.oneof_decl(i);
      for (int j = 0; j < oneof.field_count(); ++j) {
        for (int k = 0; k < j; ++k) {
          units->push_back(Record(oneof.field(j)->number(), "") +
                           Record(oneof.field(k)->number(), ""));
        }
      }
    }
  }

  // As many units as are worst, found by parsing one after the other. unit(i)
  // returns the bytes of the unit after i others.
  template <class Unit>
  Input Repeated(const Descriptor& type, const std::string& words, Unit unit) {
    Input input;
    input.unit = words;
    input.unit_type = &type;
    size_t worst_size = 0;
    double worst = 0;
    const uint64_t before = HeapNow().live;
    WithMessage(type, [&](Message* message) {
      for (int i = 0; i < kMost; ++i) {
        const std::string bytes = unit(i);
        input.bytes += bytes;
        ResetPeak();
        Parse(bytes, message);
        const double ratio =
            static_cast<double>(HeapNow().peak - before) / input.bytes.size();
        if (i + 1 < kFewest || ratio <= worst) continue;
        worst = ratio;
        worst_size = input.bytes.size();
      }
    });
    input.bytes.resize(worst_size);
    input.memory = Peak(type, input.bytes);
    return input;
  }

  // What an element of a list may hold: nothing, or one small field.
  static std::vector<std::string> Elements(const Descriptor& type) {
    std::vector<std::string> elements = Unknown(type);
    elements.emplace_back();
    for (int i = 0; i < type.field_count(); ++i) {
      const FieldDescriptor& field = *type.field(i);
      elements.push_back(field.is_packable() ? Tag(field.number(), 0) + '\1'
                                             : Record(field.number(), ""));
    }
    return elements;
  }

  const bool on_arena_;
  std::map<const Descriptor*, Input> own_;
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

int main() {
  const FileDescriptor* files[] = {tarn::Server::descriptor()->file(),
                                   tarn::Wifi::descriptor()->file()};
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
