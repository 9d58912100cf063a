// An order becomes bytes, and the bytes become an order again.
#include <tarn/Tarn.pb.h>

#include <cstdio>
#include <cstdlib>
#include <new>

int main() {
  // A message that ran out of memory may not even bear to be destroyed.
  std::set_new_handler([] {
    std::fputs("first: out of memory\n", stderr);
    std::_Exit(5);
  });

  tarn::Prices sent, received;
  tarn::Price* price = sent.add_prices();
  price->set_line_num(2);
  price->set_product_id("coffee");
  price->set_set_price("2.50");
  const std::string bytes = sent.SerializeAsString();
  if (!received.ParseFromString(bytes)) return 1;
  received.PrintDebugString();
  return std::fflush(stdout) == 0 ? 0 : 5;
}
