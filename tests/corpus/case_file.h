// The files of tests/corpus, one a message, that describe the golden messages.
#ifndef TESTS_CORPUS_CASE_FILE_H_
#define TESTS_CORPUS_CASE_FILE_H_

#include <filesystem>
#include <string>
#include <vector>

#include "notation.h"

// One golden message, as corpus/README.md describes it.
struct Case {
  int line;          // of the file, where it begins
  std::string kind;  // valid, accepted or rejected
  std::string name;
  std::string bytes = {};
  std::string canonical = {};      // of what is not rejected
  std::string reason = {};         // of what is rejected
  std::string runtime_limit = {};  // empty where no runtime may differ
};

// The cases of one file. Throws notation::Error where it is damaged.
std::vector<Case> ReadCases(const std::filesystem::path& path);

#endif  // TESTS_CORPUS_CASE_FILE_H_
