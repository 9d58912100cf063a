// Walks over a stream of network trees with protozero, and stores nothing: the
// floor that the inspector's own walk is measured against.
//
// Usage: protozero_walk < STREAM
// Each ModsConfigured has a varint of its size in front. Prints how many
// messages and fields there were, and a sum over all values.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <protozero/pbf_reader.hpp>
#include <stdexcept>
#include <vector>

namespace {

// What the walk has to know of a message type: the fields that hold messages.
// All other length-delimited ones are texts or packed numbers.
struct Shape {
  const Shape* fields[16] = {};
};

struct Shapes {
  // Messages that hold no others.
  Shape leaf;
  Shape configured, node, server, client, display, module, direct, status;

  Shapes() {
    configured.fields[1] = &node;
    const Shape* const kinds[] = {&server, &client, &display,
                                  &module, &direct, &status};
    for (int i = 0; i < 6; ++i) node.fields[i + 1] = kinds[i];
    server.fields[7] = client.fields[7] = display.fields[7] = &node;
    direct.fields[5] = &node;
    display.fields[6] = display.fields[8] = &leaf;
    module.fields[10] = &status;
    status.fields[11] = status.fields[12] = &leaf;
  }
};

struct Totals {
  uint64_t messages = 0;
  uint64_t fields = 0;
  uint64_t sum = 0;
};

void Walk(const Shape& shape, protozero::pbf_reader reader, Totals* totals) {
  while (reader.next()) {
    ++totals->fields;
    switch (reader.wire_type()) {
      case protozero::pbf_wire_type::varint:
        totals->sum += reader.get_uint64();
        break;
      case protozero::pbf_wire_type::fixed32:
        totals->sum += reader.get_fixed32();
        break;
      case protozero::pbf_wire_type::fixed64:
        totals->sum += reader.get_fixed64();
        break;
      case protozero::pbf_wire_type::length_delimited: {
        const uint32_t number = reader.tag();
        const Shape* inside = number < 16 ? shape.fields[number] : nullptr;
        const protozero::data_view bytes = reader.get_view();
        if (inside != nullptr) {
          Walk(*inside, protozero::pbf_reader(bytes), totals);
        } else {
          totals->sum += bytes.size();
        }
        break;
      }
      default:
        throw std::runtime_error("a wire type that trees do not have");
    }
  }
}

// Hands each message to `handle`, in memory for the largest of them.
template <class Handle>
void ForEachFramed(int fd, Handle handle) {
  std::vector<char> buffer(256 << 10);
  size_t filled = 0;
  while (true) {
    if (filled == buffer.size()) buffer.resize(2 * filled);
    const ssize_t got =
        ::read(fd, buffer.data() + filled, buffer.size() - filled);
    if (got < 0) throw std::runtime_error("cannot read the stream");
    filled += got;
    const char* p = buffer.data();
    const char* const end = p + filled;
    while (p < end) {
      const char* data = p;
      uint64_t size = 0;
      try {
        size = protozero::decode_varint(&data, end);
      } catch (const protozero::end_of_buffer_exception&) {
        break;
      }
      if (size > static_cast<uint64_t>(end - data)) break;
      handle(protozero::data_view(data, size));
      p = data + size;
    }
    filled = end - p;
    std::memmove(buffer.data(), p, filled);
    if (got == 0) break;
  }
  if (filled != 0) throw std::runtime_error("the stream is cut off");
}

}  // namespace

int main() {
  const Shapes shapes;
  Totals totals;
  try {
    ForEachFramed(STDIN_FILENO, [&](protozero::data_view bytes) {
      ++totals.messages;
      Walk(shapes.configured, protozero::pbf_reader(bytes), &totals);
    });
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "protozero_walk: %s\n", exception.what());
    return 1;
  }
  std::printf("{\"messages\": %llu, \"fields\": %llu, \"sum\": %llu}\n",
              static_cast<unsigned long long>(totals.messages),
              static_cast<unsigned long long>(totals.fields),
              static_cast<unsigned long long>(totals.sum));
}
