// Reads and writes the golden messages that a manifest lists: those of the last
// release, and no others.
//
// Usage: replay TREE MANIFEST [SUFFIX]
// MANIFEST has lines "CHECKSUM  corpus/..."; with SUFFIX, such as .binpb, only
// the files that end so are read.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/message.h>
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <string>

namespace {

namespace pb = google::protobuf;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::cerr << path << ": cannot be read\n";
    std::exit(2);
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Canonical(const pb::Message& message) {
  std::string bytes;
  pb::io::StringOutputStream stream(&bytes);
  pb::io::CodedOutputStream coded(&stream);
  coded.SetSerializationDeterministic(true);
  message.SerializeToCodedStream(&coded);
  coded.Trim();
  return bytes;
}

// The result for the message in a file of the corpus; "rejected" if it cannot
// be read.
std::string Read(const std::string& path, pb::Message* message) {
  const std::string content = ReadFile(path);
  const std::string suffix = path.substr(path.rfind('.'));
  const bool read =
      suffix == ".json" ? pb::util::JsonStringToMessage(content, message).ok()
      : suffix == ".txtpb" ? pb::TextFormat::ParseFromString(content, message)
                           : message->ParseFromString(content);
  return read ? Canonical(*message) : "rejected";
}

// The result that is expected.
std::string Expected(const std::string& path) {
  const std::string canonical = ".canonical.binpb";
  const std::string case_name = path.substr(0, path.rfind('.'));
  if (path.find("corpus/rejected/") != std::string::npos) return "rejected";
  if (path.find("corpus/valid/") != std::string::npos) {
    return ReadFile(case_name + ".binpb");
  }
  const bool is_canonical = path.size() > canonical.size() &&
                            path.compare(path.size() - canonical.size(),
                                         canonical.size(), canonical) == 0;
  return ReadFile(is_canonical ? path : case_name + canonical);
}

// The folder of a case is named for its message.
std::string TypeOf(const std::string& path) {
  const size_t end = path.rfind('/');
  const size_t begin = path.rfind('/', end - 1) + 1;
  return "tarn." + path.substr(begin, end - begin);
}

bool Holds(const std::string& path) {
  const pb::Descriptor* type =
      pb::DescriptorPool::generated_pool()->FindMessageTypeByName(TypeOf(path));
  if (type == nullptr) return false;
  const std::unique_ptr<pb::Message> message(
      pb::MessageFactory::generated_factory()->GetPrototype(type)->New());
  return Read(path, message.get()) == Expected(path);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  pb::LogSilencer silent;
  std::ifstream manifest(argv[2]);
  int held = 0;
  int failed = 0;
  std::string checksum;
  std::string path;
  while (manifest >> checksum >> path) {
    // Holds as text why a message is rejected.
    const std::string suffix = path.substr(path.rfind('.'));
    if (suffix == ".reason" || (argc > 3 && suffix != argv[3])) continue;
    if (Holds(std::string(argv[1]) + "/" + path)) {
      ++held;
    } else {
      ++failed;
      std::cout << path << "\n";
    }
  }
  std::cout << held << " golden messages held, " << failed << " failed\n";
  return held > 0 && failed == 0 ? 0 : 1;
}
