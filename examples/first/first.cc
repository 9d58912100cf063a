// An order becomes bytes, and the bytes become an order again.
#include <tarn/Tarn.pb.h>

int main() {
  tarn::Prices sent, received;
  tarn::Price* price = sent.add_prices();
  price->set_line_num(2);
  price->set_product_id("coffee");
  price->set_set_price("2.50");
  const std::string bytes = sent.SerializeAsString();
  if (!received.ParseFromString(bytes)) return 1;
  received.PrintDebugString();
}
