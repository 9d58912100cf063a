// A client that finds messages by their names. KEPT_BY says what keeps the
// library: TABLE, the lines of the README; STATEMENTS, which an optimizing
// compiler drops; or NOTHING.
//
// usage: reflection_only known|unknown    what both messages have to be
#include <google/protobuf/descriptor.h>
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <cstring>
#include <iostream>

#define TABLE 1
#define STATEMENTS 2
#define NOTHING 3

#if KEPT_BY == TABLE
#include "schema_files.inc"
#endif

int main(int, char** arguments) {
#if KEPT_BY == STATEMENTS
  tarn::Price::default_instance();
  tarn::Server::default_instance();
#endif
  int status = 0;
  for (const char* name : {"tarn.Price", "tarn.Server"}) {
    const bool found = google::protobuf::DescriptorPool::generated_pool()
                           ->FindMessageTypeByName(name) != nullptr;
    const char* const is = found ? "known" : "unknown";
    std::cout << name << " is " << is << std::endl;
    if (std::strcmp(arguments[1], is) != 0) status = 1;
  }
  return status;
}
