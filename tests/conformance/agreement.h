// The library held against the reference: each test of this folder is a family
// of cases derived from the table of the schema.
#ifndef TESTS_CONFORMANCE_AGREEMENT_H_
#define TESTS_CONFORMANCE_AGREEMENT_H_

#include <google/protobuf/arena.h>
#include <google/protobuf/message.h>
#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "reference/reference.h"

namespace conformance {

using Random = std::mt19937;

// A number below `count`.
int Pick(Random& random, size_t count);

// Runs the cases of one test. The environment variable CONFORMANCE_SEED sets
// another seed of the random ones.
class Conformance : public testing::Test {
 protected:
  Conformance();
  void TearDown() override;

  // How many cases the test must have run at its end.
  void ExpectAtLeast(int cases) { least_ = cases; }

  // The library accepts or rejects the bytes as the reference does, and writes
  // what it accepts as the reference does.
  void Case(const reference::Type& type, const std::string& bytes);

  // Merging two messages gives what parsing their concatenation gives. Holds
  // for canonical bytes, which set no field to its default.
  void Merge(const reference::Type& type, const std::string& first,
             const std::string& second);

  Random random_;

 private:
  void Compare(const char* place, const reference::Type& type,
               const std::string& bytes, const reference::Decoded& decoded,
               const std::string& canonical, bool parsed,
               const google::protobuf::Message& message);

  const google::protobuf::LogSilencer no_reports_of_bad_text_;
  google::protobuf::Arena arena_;
  int accepted_ = 0;
  int rejected_ = 0;
  int failures_ = 0;
  int least_ = 1;
};

}  // namespace conformance

#endif  // TESTS_CONFORMANCE_AGREEMENT_H_
