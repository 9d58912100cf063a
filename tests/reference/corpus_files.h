// Files of the golden messages.
#ifndef TESTS_REFERENCE_CORPUS_FILES_H_
#define TESTS_REFERENCE_CORPUS_FILES_H_

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <vector>

namespace tests {

struct CorpusFile {
  std::filesystem::path path;
  std::string type;  // the name of the message
  std::string content;
};

// The files of these kinds ("valid") that have the suffix.
inline std::vector<CorpusFile> CorpusFiles(
    const std::filesystem::path& corpus,
    std::initializer_list<const char*> kinds, const std::string& suffix) {
  std::vector<CorpusFile> files;
  for (const char* kind : kinds) {
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(corpus / kind)) {
      if (entry.path().extension() != suffix) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      files.push_back({entry.path(), entry.path().parent_path().filename(),
                       std::string(std::istreambuf_iterator<char>(file), {})});
    }
  }
  return files;
}

}  // namespace tests

#endif  // TESTS_REFERENCE_CORPUS_FILES_H_
