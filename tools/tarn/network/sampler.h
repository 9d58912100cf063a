// Believable random messages.
#ifndef TOOLS_TARN_SAMPLER_H_
#define TOOLS_TARN_SAMPLER_H_

#include <google/protobuf/message.h>
#include <tarn/Network.pb.h>

#include <cstdint>
#include <random>
#include <string>

namespace tarn::tool {

// How many nodes each node has below it.
struct NetworkShape {
  int clients = 3;   // below a server
  int displays = 2;  // below a client or a direct connection
  int modules = 3;   // below a display
};

// How many nodes a message of the type can have at most.
double MostNodes(const google::protobuf::Descriptor& type,
                 const NetworkShape& shape);

// Makes believable messages: prices look like prices, counts are those of what
// they count, and no uuid is used twice. A seed gives the same messages on
// every machine.
class Sampler {
 public:
  Sampler(uint64_t seed, const NetworkShape& shape)
      : random_(seed), shape_(shape) {}

  // Fills an empty message.
  void Fill(google::protobuf::Message* message);

 private:
  // A number from 0 to `count` - 1. The distributions of the standard library
  // differ between implementations.
  uint64_t Below(uint64_t count) { return random_() % count; }
  bool Chance(int percent) {
    return Below(100) < static_cast<uint64_t>(percent);
  }

  std::string Uuid();
  std::string Text(const google::protobuf::FieldDescriptor& field);
  int32_t Number(const google::protobuf::FieldDescriptor& field);
  int32_t EnumNumber(const google::protobuf::FieldDescriptor& field);
  int Length(const google::protobuf::FieldDescriptor& list);
  void Set(google::protobuf::Message* message,
           const google::protobuf::FieldDescriptor& field);
  void Child(const google::protobuf::Descriptor& parent,
             google::protobuf::Message* child);

  // Give the fields of a message values that go together.
  void MakeConsistent(google::protobuf::Message* message);
  void SetErrorByStatus(google::protobuf::Message* message);
  void MakeModuleConsistent(tarn::Module* module);
  void MakeDisplayConsistent(tarn::Display* display);
  void FillReport(tarn::NetworkStatusReport* report);

  std::mt19937_64 random_;
  NetworkShape shape_;
  int position_ = -1;  // in the list that is being filled; -1: in none
  int chain_ = 0;      // modules so far below one client
  int node_ = 0;       // modules so far
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_SAMPLER_H_
