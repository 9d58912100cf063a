// Builds two messages, reads them back from their bytes, and writes them.
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

#include <iostream>

// Reads the bytes of `sent` into `received`, and writes that.
bool WriteReadBack(const google::protobuf::Message& sent,
                   google::protobuf::Message* received) {
  return received->ParseFromString(sent.SerializeAsString()) &&
         received->SerializeToOstream(&std::cout);
}

int main() {
  tarn::Price price, price_received;
  price.set_line_num(101);
  price.set_product_id("product_id");
  price.set_set_price("set_price");

  tarn::CashCreditMsg texts, texts_received;
  tarn::CCMsgDefinitions* text = texts.add__1hx1w();
  text->set_dimensions("dimensions");
  text->set_pixelpitchmm(2.5f);
  text->add_messages("messages");
  text->add_messages("messages");
  texts.add__1hx1w();

  return WriteReadBack(price, &price_received) &&
                 WriteReadBack(texts, &texts_received)
             ? 0
             : 1;
}
