// The golden messages as questions for a reader.
#ifndef TOOLS_TARN_CONFORM_CASES_H_
#define TOOLS_TARN_CONFORM_CASES_H_

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "schema.h"

namespace tarn::tool {

enum class Operation { kParse, kFromJson, kToJson };
// As the reader gets them.
inline constexpr std::string_view kOperationNames[] = {"parse", "from_json",
                                                       "to_json"};

struct Question {
  std::string name;  // of the case: "valid/Price/empty"
  Operation operation = Operation::kParse;
  const Type* type = nullptr;
  std::string given;
  // Canonical bytes of the right answer; of kToJson, those that its JSON stands
  // for.
  std::string expected = {};
  bool must_reject = false;
  std::string reason = {};  // why
  std::string limit = {};   // as in runtime_limits.txt; empty: none
};

class Corpus {
 public:
  // Finds the cases in a folder. With `only`, just those that one of its texts
  // names: "valid", "Price", "Price/empty" or "valid/Price/empty". Throws a
  // Failure if the folder has not what it must have, or no case is left.
  Corpus(const std::string& folder, const std::vector<std::string>& only,
         Schema* schema);

  size_t size() const { return questions_.size(); }
  // Reads the files of a question.
  Question Read(size_t index) const;

 private:
  struct Place {
    std::string name;
    Operation operation;
    const Type* type;
  };

  const std::string folder_;
  std::vector<Place> questions_;
  std::map<std::string, std::string> limits_;
};

}  // namespace tarn::tool

#endif  // TOOLS_TARN_CONFORM_CASES_H_
