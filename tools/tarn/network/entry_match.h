// Matches the entries of two lists, by key or by position.
#ifndef TOOLS_TARN_ENTRY_MATCH_H_
#define TOOLS_TARN_ENTRY_MATCH_H_

#include <google/protobuf/map.h>
#include <google/protobuf/message.h>
#include <tarn/Network.pb.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::tool {

// Entries with a key, such as the `id` of a Product, are matched by key. If
// several have the same key, the first is matched with the first, and so on.
// Other entries, and those of lists longer than a million, are matched by
// position.
class EntryMatch {
 public:
  EntryMatch(const google::protobuf::Message& before,
             const google::protobuf::Message& after,
             const google::protobuf::FieldDescriptor& list);

  int size_before() const { return before_.size; }
  int size_after() const { return after_.size; }
  // -1: there is none.
  int PartnerOfBefore(int i) const;
  bool IsMatchedAfter(int i) const;
  // Whether the matched entries have the same order on both sides.
  bool in_order() const { return in_order_; }

  // The name of an entry in a path: [tea], ["a b"], [line_num 3] or [5].
  std::string NameBefore(int i) const { return StepTo(before_, i); }
  std::string NameAfter(int i) const { return StepTo(after_, i); }

 private:
  struct Key {
    int64_t number = 0;
    std::string_view text;

    bool operator==(const Key& other) const {
      return number == other.number && text == other.text;
    }
    bool operator<(const Key& other) const {
      return number != other.number ? number < other.number : text < other.text;
    }
  };
  struct Entries {
    const google::protobuf::Message& message;
    int size = 0;
    std::vector<uint32_t> by_key;
    std::vector<uint32_t> times;  // each key met up to here
  };

  Key KeyOf(const Entries& entries, int i) const;
  std::string StepTo(const Entries& entries, int i) const;
  void Sort(Entries* entries) const;
  void Match();

  const google::protobuf::FieldDescriptor& list_;
  const google::protobuf::FieldDescriptor* key_;  // null: by position
  Entries before_, after_;
  std::vector<int32_t> partners_;
  std::vector<bool> matched_after_;
  bool in_order_ = true;
};

// The maps of the schema.
using NumberMap = google::protobuf::Map<std::string, tarn::StatusCodes>;
const NumberMap& MapOf(const google::protobuf::Message& message,
                       const google::protobuf::FieldDescriptor& field);

// The entries of a map, sorted by key, that the other map does not have with
// the same value.
std::vector<const NumberMap::value_type*> EntriesNotIn(const NumberMap& other,
                                                       const NumberMap& map);

// The name in a path of an entry whose key is text.
std::string NameOfKey(std::string_view key);

}  // namespace tarn::tool

#endif  // TOOLS_TARN_ENTRY_MATCH_H_
