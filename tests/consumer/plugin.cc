// A plug-in that uses the library: the program that opens it does not.
#include <tarn/Tarn.pb.h>

extern "C" int PriceSize(int line) {
  tarn::Price price;
  price.set_line_num(line);
  return static_cast<int>(price.SerializeAsString().size());
}
