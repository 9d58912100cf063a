// One message in its text form, which people write, and in its JSON form,
// which other programs read, and back from both.
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>
#include <tarn/Network.pb.h>

#include <iostream>
#include <string>

namespace {

using google::protobuf::TextFormat;
using google::protobuf::util::JsonPrintOptions;
using google::protobuf::util::JsonStringToMessage;
using google::protobuf::util::MessageDifferencer;
using google::protobuf::util::MessageToJsonString;

constexpr char kText[] = R"(
# Comments are allowed here.
name: "North line 1"
status: command_blank
uuid: "5e6a0a2e-dd70-434d-81d7-7cffb7decc0c"
subtype: message
frameSelect { message: 3 frame: 1 }
frameSelect { message: 4 frame: 2 }
displayBlanked: true
)";

}  // namespace

int main() {
  tarn::Display display;
  TextFormat::Parser parser;
  // Without a limit, text nested deeply enough exhausts the stack.
  parser.SetRecursionLimit(100);
  if (!parser.ParseFromString(kText, &display)) return 1;

  std::string text;
  TextFormat::PrintToString(display, &text);
  std::cout << text << '\n';

  // Without this option the names would be those customary in JSON: always
  // lower camel case.
  JsonPrintOptions options;
  options.preserve_proto_field_names = true;
  options.add_whitespace = true;
  std::string json;
  if (!MessageToJsonString(display, &json, options).ok()) return 1;
  std::cout << json << '\n';

  tarn::Display from_text;
  tarn::Display from_json;
  if (!parser.ParseFromString(text, &from_text)) return 1;
  if (!JsonStringToMessage(json, &from_json).ok()) return 1;
  std::cout << "from text: "
            << (MessageDifferencer::Equals(display, from_text) ? "equal"
                                                               : "different")
            << "\nfrom JSON: "
            << (MessageDifferencer::Equals(display, from_json) ? "equal"
                                                               : "different")
            << '\n';

  // A name that the schema does not have is an error, with its place.
  const auto status = JsonStringToMessage(R"({"nmae": "North"})", &from_json);
  std::cout << "\nmisspelt: " << status.message() << '\n';
}
