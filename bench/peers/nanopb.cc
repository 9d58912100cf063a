// nanopb with its memory from malloc: structs that hold numbers and single
// messages themselves, and point to everything else.
#include <Network.pb.h>
#include <pb_decode.h>
#include <pb_encode.h>

#include "contest.h"

namespace {

struct Release {
  void operator()(tarn_ModsConfigured* message) const {
    pb_release(tarn_ModsConfigured_fields, message);
    delete message;
  }
};
using Owner = std::unique_ptr<tarn_ModsConfigured, Release>;

Owner Parse(const std::string& bytes) {
  Owner message(new tarn_ModsConfigured());
  pb_istream_t stream = pb_istream_from_buffer(
      reinterpret_cast<const pb_byte_t*>(bytes.data()), bytes.size());
  benchmark::DoNotOptimize(
      pb_decode(&stream, tarn_ModsConfigured_fields, message.get()));
  return message;
}

// Writes to an array that is large enough.
size_t Write(const Owner& message, std::string* array) {
  pb_ostream_t stream = pb_ostream_from_buffer(
      reinterpret_cast<pb_byte_t*>(array->data()), array->size());
  pb_encode(&stream, tarn_ModsConfigured_fields, message.get());
  return stream.bytes_written;
}

}  // namespace

int main(int argc, char** argv) {
  EnterTrees(Parse, Write);
  return RunContest(argc, argv);
}
