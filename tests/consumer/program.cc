// A client in plain C++11: uses both headers, takes a constant of a nested
// enum by reference, and goes through bytes and back.
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <iostream>
#include <string>
#include <vector>

const google::protobuf::internal::DescriptorTable*
descriptor_table_Tarn_2eproto_getter();

int main() {
  GOOGLE_PROTOBUF_VERIFY_VERSION;
  tarn::ModsConfigured sent;
  tarn::Server* server = sent.add_modsconfigured()->mutable_server();
  server->set_name("Server 1");
  server->set_status(tarn::ok);
  server->add_children()->mutable_display()->set_subtype(tarn::message);

  tarn::ModsConfigured received;
  if (!received.ParseFromString(sent.SerializeAsString())) return 1;
  const tarn::Server& copy = received.modsconfigured(0).server();
  if (copy.name() != "Server 1" || copy.status() != tarn::ok) return 1;
  if (copy.children(0).types_case() != tarn::ChildTypes::kDisplay) return 1;

  // push_back takes its argument by reference.
  std::vector<tarn::Font::Style> styles;
  styles.push_back(tarn::Font::Bold);
  tarn::Font font;
  font.set_style(styles.back());
  if (font.SerializeAsString() != "\x08\x05") return 1;

  tarn::NetworkStatusReport report;
  (*report.mutable_status_packet())["a"] = tarn::comm_error;
  if (report.status_packet().at("a") != tarn::comm_error) return 1;

  // One object each, whether the program or the library asks for it, also where
  // the program holds a copy of it.
  if (google::protobuf::MessageFactory::generated_factory()->GetPrototype(
          tarn::Client::descriptor()) != &tarn::Client::default_instance()) {
    return 1;
  }
  if (descriptor_table_Tarn_2eproto_getter() !=
      &descriptor_table_Tarn_2eproto) {
    return 1;
  }

  std::cout << "C++ " << __cplusplus << ": "
            << tarn::StatusCodes_Name(copy.status()) << std::endl;
  return 0;
}
