// What all contestants carry: the same values in every run.
#ifndef SCHEMA_BENCH_PEERS_PAYLOADS_H_
#define SCHEMA_BENCH_PEERS_PAYLOADS_H_

#include <string>

#include "model.h"

// A message to carry. It is never changed and never goes.
template <typename T>
struct Payload {
  explicit Payload(std::string called, T drawn)
      : name(std::move(called)),
        value(std::move(drawn)),
        bytes(model::Encode(value)),
        hash(model::HashOf(value)) {}

  std::string name;
  T value;
  std::string bytes;
  uint64_t hash;
};

// All that an installation sends, from the largest to the smallest.
struct Payloads {
  Payloads();

  Payload<model::ModsConfigured> large_tree;
  Payload<model::ModsConfigured> middle_tree;
  Payload<model::ModsConfigured> small_tree;
  Payload<model::NetworkStatusReport> large_report;
  Payload<model::NetworkStatusReport> small_report;
  Payload<model::KT4Products> products;
  Payload<model::FileMessage> file;
  Payload<model::HwIdRowInfo> bools;
  Payload<model::AppStates> enums;
  Payload<model::Frame> frame;

  template <typename Visit>
  void ForEach(Visit visit) const {
    visit(small_tree);
    visit(middle_tree);
    visit(large_tree);
    visit(small_report);
    visit(large_report);
    visit(products);
    visit(file);
    visit(bools);
    visit(enums);
    visit(frame);
  }
};

#endif  // SCHEMA_BENCH_PEERS_PAYLOADS_H_
