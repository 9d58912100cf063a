// One message in its text form, which people write, and in its JSON form,
// which other programs read, and back from both.
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>
#include <tarn/Network.pb.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <new>
#include <string>

namespace {

using google::protobuf::TextFormat;
using google::protobuf::util::JsonPrintOptions;
using google::protobuf::util::JsonStringToMessage;
using google::protobuf::util::MessageDifferencer;
using google::protobuf::util::MessageToJsonString;

constexpr char kText[] = R"(
# Comments are allowed here.
display {
  name: "North line 1"
  status: command_blank
  subtype: message
  frameSelect { message: 3 frame: 1 }
  frameSelect { message: 4 frame: 2 }
  displayBlanked: true
}
client_uuid: "5e6a0a2e-dd70-434d-81d7-7cffb7decc0c"
)";

}  // namespace

int main() {
  // A message that ran out of memory may not even bear to be destroyed.
  std::set_new_handler([] {
    std::fputs("forms: out of memory\n", stderr);
    std::_Exit(5);
  });

  tarn::DisplayConfigMsg config;
  TextFormat::Parser parser;
  // Without a limit, text that is nested very deeply exhausts the stack.
  parser.SetRecursionLimit(100);
  if (!parser.ParseFromString(kText, &config)) return 1;

  std::string text;
  TextFormat::PrintToString(config, &text);
  std::cout << text << '\n';

  // JSON writes names in lower camel case: client_uuid is "clientUuid". Readers
  // accept the names of the schema, too.
  JsonPrintOptions options;
  options.add_whitespace = true;
  std::string json;
  if (!MessageToJsonString(config, &json, options).ok()) return 1;
  std::cout << json << '\n';

  tarn::DisplayConfigMsg from_text;
  tarn::DisplayConfigMsg from_json;
  if (!parser.ParseFromString(text, &from_text)) return 1;
  if (!JsonStringToMessage(json, &from_json).ok()) return 1;
  std::cout << "from text: "
            << (MessageDifferencer::Equals(config, from_text) ? "equal"
                                                              : "different")
            << "\nfrom JSON: "
            << (MessageDifferencer::Equals(config, from_json) ? "equal"
                                                              : "different")
            << '\n';

  // A name that the schema does not have is an error, with its place.
  const auto status = JsonStringToMessage(R"({"nmae": "North"})", &from_json);
  std::cout << "\nmisspelt: " << status.message() << '\n';
  return std::cout.flush() ? 0 : 5;
}
