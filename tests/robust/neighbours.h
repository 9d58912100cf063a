// Makes the inputs that are near a message: the message cut, with a bit or the
// byte of a tag changed, with other lengths, and so on.
#ifndef TESTS_ROBUST_NEIGHBOURS_H_
#define TESTS_ROBUST_NEIGHBOURS_H_

#include <functional>
#include <string>
#include <vector>

#include "schema.h"

namespace robust {

// A file of the corpus.
struct Golden {
  const tarn::tool::Type* type;
  std::string bytes;
};

using Try =
    std::function<void(const tarn::tool::Type& type, const std::string& bytes)>;

// A way to change a message. make() calls its last argument with each
// neighbour of a file, among all the files.
struct Rule {
  const char* name;
  void (*make)(const Golden& golden, const std::vector<Golden>& all,
               const std::vector<const tarn::tool::Type*>& types,
               const Try& attempt);
};

const std::vector<Rule>& Rules();

}  // namespace robust

#endif  // TESTS_ROBUST_NEIGHBOURS_H_
