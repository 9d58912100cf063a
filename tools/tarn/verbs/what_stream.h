// What a stream of messages holds: its types, its broken records, and what
// changed from one report of the network to the next.
#ifndef TOOLS_TARN_WHAT_STREAM_H_
#define TOOLS_TARN_WHAT_STREAM_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "input.h"
#include "json_writer.h"
#include "output.h"
#include "schema.h"

namespace tarn::tool {

// Takes the records one after another. It keeps two messages for each type that
// shows a network, and nothing else that grows with the stream.
class StreamSummary {
 public:
  // Records are of the type `given`; if it is null, they are of any type.
  StreamSummary(const std::vector<const Type*>& types, const Type* given)
      : types_(types), given_(given) {}

  // Returns kMalformed if the record is no message, and kFindings if a part of
  // it is odd.
  ExitCode Add(const Record& record);
  // An error of the stream itself.
  void Fail(const Record& record, const std::string& reason);

  uint64_t records() const { return records_; }
  uint64_t broken() const { return broken_; }
  // The types of most of the records; empty if none is a message.
  const std::vector<const Type*>& MostTypes() const;
  // Whether more records of the same stream are of these, or as many although
  // there are fewer types: damage looked like messages of the others.
  bool IsBetterThan(const StreamSummary& other) const;

  // Whether all of the network is well in the last of these, as far as it was
  // looked at.
  bool LastIsWell() const;

  // Whether there are records of several types, more than one of each.
  bool IsMixed() const;
  // Whether records of some type hold nodes.
  bool HasNodes() const;

  // Whether records of the given type look like another one.
  bool HasLikelierType() const { return !likelier_.empty(); }

  void Print(Output* output) const;
  void Write(JsonWriter* json) const;

 private:
  // Records of one type, or of types that nothing tells apart.
  struct Group {
    std::vector<const Type*> types;
    uint64_t records = 0;
    uint64_t first = 0;
    uint64_t last = 0;
    // Of types that show a network.
    std::string beginning;  // the bytes of the first one
    std::unique_ptr<google::protobuf::Message> latest;
    uint64_t changes = 0;  // differences from one record to the next
    uint64_t changed = 0;  // records that differ from the one before
  };
  struct Broken {
    uint64_t record;
    uint64_t offset;
    std::string path;
    std::string reason;
  };

  std::vector<const Type*> TypesOf(const Record& record, bool* odd);
  uint64_t MostRecords() const { return most_ == nullptr ? 0 : most_->records; }
  bool IsUsual(std::string_view bytes) const;
  void NoteOdd(const Record& record);
  void AddBroken(const Broken& broken);
  void Explain(const Record& record);
  void FollowChanges(const Record& record, Group* group);
  std::vector<const Group*> InOrder() const;
  void PrintBroken(Output* output) const;
  void PrintChanges(const Group& group, Output* output) const;

  const std::vector<const Type*> types_;
  const Type* const given_;
  uint64_t records_ = 0;
  uint64_t broken_ = 0;
  uint64_t last_broken_ = 0;  // its number
  // Records that the given type accepts, but does not explain.
  uint64_t odd_ = 0;
  uint64_t first_odd_ = 0;
  std::string likelier_;
  std::vector<Broken> shown_;
  std::map<std::string, Group> groups_;
  const Group* most_ = nullptr;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_WHAT_STREAM_H_
