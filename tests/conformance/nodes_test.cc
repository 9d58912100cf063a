// Choices of nodes, entries of maps, and nesting.
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "agreement.h"
#include "values.h"

namespace conformance {
namespace {

TEST_F(Conformance, OneofSequences) {
  ExpectAtLeast(2300);
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
        Case(node, form);
        Case(list, Writer().Bytes(1, form).bytes());
        for (const Field& third : node.fields) {
          Case(node, form + SampleBytes(node, third, 0));
        }
      }
    }
  }
}

TEST_F(Conformance, MapEntries) {
  ExpectAtLeast(17000);
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
      Case(report, record);
      Case(report, before + record);
      Case(report, record + before);
    }
    // Entries that run past the end, or that end inside a key or a value.
    for (const std::string& piece : pieces) {
      const Writer tag = Writer().Tag(number, wire::kLength);
      Case(report,
           tag.bytes() + Writer().Varint(piece.size() + 1).bytes() + piece);
      Case(report, tag.bytes() + Writer().Varint(1).bytes() + piece);
    }
  }
}

// Whether a message of the one type can hold, at any depth, one of the other.
bool CanHold(const Type& outer, const Type& inner,
             std::set<const Type*> seen = {}) {
  if (!seen.insert(&outer).second) return false;
  return std::any_of(
      outer.fields.begin(), outer.fields.end(), [&](const Field& field) {
        return field.type != nullptr &&
               (field.type == &inner || CanHold(*field.type, inner, seen));
      });
}

// Whether messages of the type can hold others that hold nodes.
bool IsRecursive(const Type& type) {
  static const auto* const recursive = [] {
    auto* types = new std::set<const Type*>;
    const Type& node = reference::TypeNamed("ChildTypes");
    for (const Type& each : reference::Types()) {
      if (&each == &node || CanHold(each, node)) types->insert(&each);
    }
    return types;
  }();
  return recursive->count(&type) != 0;
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

TEST_F(Conformance, Depths) {
  ExpectAtLeast(5600);
  for (const Type& type : reference::Types()) {
    const bool holds_nodes =
        std::any_of(type.fields.begin(), type.fields.end(), [](auto& field) {
          return field.type != nullptr && IsRecursive(*field.type);
        });
    for (int depth : {1, 50, 98, 99, 100, 101, 102, 200}) {
      Case(type, NestedGroups(depth, ""));
      Case(type, NestedGroups(depth, Writer().Bytes(1, "x").bytes()));
      if (!holds_nodes) continue;
      for (int i = 0; i < 10; ++i) {
        const std::string chain = Nested(type, depth, "", random_);
        Case(type, chain);
        // Another chain after it starts at the top again.
        Case(type, chain + Nested(type, 100, "", random_));
        for (int groups : {1, 2, 3}) {
          Case(type, Nested(type, depth, NestedGroups(groups, ""), random_));
        }
        Case(type, Nested(type, depth, Writer().Bytes(100, "\xA\0").bytes(),
                          random_));
      }
    }
  }
  const Type& report = reference::TypeNamed("NetworkStatusReport");
  for (int depth : {97, 98, 99, 100, 101}) {
    Case(report, Writer().Bytes(1, NestedGroups(depth, "")).bytes());
  }
}

}  // namespace
}  // namespace conformance
