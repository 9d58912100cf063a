// Fields in other orders, more than once, among unknown ones, and merged.
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "agreement.h"
#include "values.h"

namespace conformance {
namespace {

TEST_F(Conformance, DuplicatesAndOrders) {
  ExpectAtLeast(3900);
  for (const Type& type : reference::Types()) {
    std::vector<std::string> records = FieldRecords(type);
    for (const std::string& a : records) {
      for (const std::string& b : records) {
        Case(type, a + b);
        Case(type, a + b + a);
      }
    }
    std::reverse(records.begin(), records.end());
    Case(type, Join(records));
    for (int i = 0; i < 20; ++i) {
      std::shuffle(records.begin(), records.end(), random_);
      Case(type, Join(records) + records[0]);
    }
  }
}

TEST_F(Conformance, UnknownFieldsBetween) {
  ExpectAtLeast(12000);
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
      Case(type, unknown[i]);
      Case(type, unknown[i] + unknown[(i + 7) % unknown.size()]);
      // Each record in turn has it before itself and another after it.
      std::vector<std::string> mixed = records;
      mixed[i % records.size()].insert(0, unknown[i]);
      mixed[(i + 1) % records.size()] += unknown[(i + 5) % unknown.size()];
      Case(type, Join(mixed));
    }
  }
}

TEST_F(Conformance, Merges) {
  ExpectAtLeast(2900);
  for (const Type& type : reference::Types()) {
    const std::vector<std::string> cases = CanonicalCases(type);
    for (const std::string& first : cases) {
      Merge(type, first, first);
      for (int i = 0; i < 6; ++i) {
        Merge(type, first, cases[Pick(random_, cases.size())]);
      }
      Merge(type, first + UnknownRecords(50)[9],
            SampleBytes(type, 1) + UnknownRecords(51)[4]);
    }
  }
}

}  // namespace
}  // namespace conformance
