// Builds two messages, reads them back from their bytes, and writes them.
#include <stdio.h>
#include <stdlib.h>

#include "Network.pb-c.h"
#include "Tarn.pb-c.h"

static void WriteReadBack(const ProtobufCMessage* sent) {
  size_t size = protobuf_c_message_get_packed_size(sent);
  uint8_t* bytes = malloc(size);
  if (bytes == NULL) exit(1);
  protobuf_c_message_pack(sent, bytes);

  ProtobufCMessage* received =
      protobuf_c_message_unpack(sent->descriptor, NULL, size, bytes);
  if (received == NULL) exit(1);
  protobuf_c_message_pack(received, bytes);
  fwrite(bytes, 1, size, stdout);
  protobuf_c_message_free_unpacked(received, NULL);
  free(bytes);
}

int main(void) {
  Tarn__Price price = TARN__PRICE__INIT;
  price.line_num = 101;
  price.product_id = "product_id";
  price.set_price = "set_price";

  char* messages[] = {"messages", "messages"};
  Tarn__CCMsgDefinitions full = TARN__CCMSG_DEFINITIONS__INIT;
  full.dimensions = "dimensions";
  full.pixelpitchmm = 2.5f;
  full.n_messages = 2;
  full.messages = messages;
  Tarn__CCMsgDefinitions empty = TARN__CCMSG_DEFINITIONS__INIT;
  Tarn__CCMsgDefinitions* sizes[] = {&full, &empty};
  Tarn__CashCreditMsg texts = TARN__CASH_CREDIT_MSG__INIT;
  texts.n_size_1hx1w = 2;
  texts.size_1hx1w = sizes;

  WriteReadBack(&price.base);
  WriteReadBack(&texts.base);
  return 0;
}
