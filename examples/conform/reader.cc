// A reader for tarn conform with the library itself.
// Debian: cmake g++ libprotobuf-dev
//   cmake . && make
//   tarn conform --canonical -- ./reader
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/stubs/strutil.h>
#include <google/protobuf/util/json_util.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <new>
#include <sstream>
#include <string>

namespace {

namespace pb = google::protobuf;

// Keeps the library in a program that finds messages by their names alone.
const void* volatile schema_files[] = {&tarn::Price::default_instance(),
                                       &tarn::Server::default_instance()};

// Returns false if the message is rejected.
bool Answer(const std::string& operation, pb::Message* message,
            const std::string& data, std::string* result) {
  const bool read = operation == "from_json"
                        ? pb::util::JsonStringToMessage(data, message).ok()
                        : message->ParseFromString(data);
  if (operation == "to_json") {
    return read && pb::util::MessageToJsonString(*message, result).ok();
  }
  pb::io::StringOutputStream stream(result);
  pb::io::CodedOutputStream coded(&stream);
  coded.SetSerializationDeterministic(true);
  return read && message->SerializeToCodedStream(&coded);
}

}  // namespace

int main() {
  // A message that ran out of memory may not even bear to be destroyed.
  std::set_new_handler([] {
    std::fputs("reader: out of memory\n", stderr);
    std::_Exit(5);
  });

  std::string identifier, operation, type;
  for (std::string line; std::getline(std::cin, line);) {
    std::string base64, data, result;
    std::istringstream(line) >> identifier >> operation >> type >> base64;
    const auto* descriptor =
        pb::DescriptorPool::generated_pool()->FindMessageTypeByName(type);
    if (descriptor == nullptr) {  // one of a newer schema
      std::cout << identifier << " unsupported" << std::endl;
      continue;
    }
    const std::unique_ptr<pb::Message> message(
        pb::MessageFactory::generated_factory()
            ->GetPrototype(descriptor)
            ->New());
    const bool ok = pb::Base64Unescape(base64, &data) &&
                    Answer(operation, message.get(), data, &result);
    pb::Base64Escape(result, &base64);
    std::cout << identifier << (ok ? " ok " + base64 : " rejected")
              << std::endl;
  }
  return std::cout ? 0 : 5;
}
