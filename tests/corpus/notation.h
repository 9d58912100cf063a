// Wire bytes written as text: the notation that corpus/README.md describes.
#ifndef TESTS_CORPUS_NOTATION_H_
#define TESTS_CORPUS_NOTATION_H_

#include <stdexcept>
#include <string>
#include <vector>

namespace notation {

// What is wrong with a text, and in which line of its file.
struct Error : std::runtime_error {
  Error(int line, const std::string& reason)
      : std::runtime_error(reason), line(line) {}

  int line;
};

struct Line {
  int number;  // in its file, from 1
  std::string text;
};

// The bytes that the lines describe. Throws Error where they describe none.
std::string ToBytes(const std::vector<Line>& lines);

}  // namespace notation

#endif  // TESTS_CORPUS_NOTATION_H_
