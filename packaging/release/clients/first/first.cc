// A price becomes bytes, and the bytes become a price again.
#include <tarn/Tarn.pb.h>

int main() {
  tarn::Price sent, received;
  sent.set_line_num(2);
  sent.set_product_id("coffee");
  sent.set_set_price("2.50");
  const std::string bytes = sent.SerializeAsString();
  if (!received.ParseFromString(bytes)) return 1;
  received.PrintDebugString();
}
