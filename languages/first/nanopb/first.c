// Builds two messages, reads them back from their bytes, and writes them.
#include <pb_decode.h>
#include <pb_encode.h>
#include <stdio.h>
#include <stdlib.h>

#include "Network.pb.h"
#include "Tarn.pb.h"

// Writes the bytes of sent after reading them into received.
static void WriteReadBack(const pb_msgdesc_t* fields, const void* sent,
                          void* received) {
  pb_byte_t bytes[256];
  pb_ostream_t first = pb_ostream_from_buffer(bytes, sizeof bytes);
  if (!pb_encode(&first, fields, sent)) exit(1);
  pb_istream_t input = pb_istream_from_buffer(bytes, first.bytes_written);
  if (!pb_decode(&input, fields, received)) exit(1);

  pb_ostream_t second = pb_ostream_from_buffer(bytes, sizeof bytes);
  if (!pb_encode(&second, fields, received)) exit(1);
  fwrite(bytes, 1, second.bytes_written, stdout);
}

int main(void) {
  tarn_Price price = {101, "product_id", "set_price"};
  tarn_CashCreditMsg texts = tarn_CashCreditMsg_init_zero;
  texts.size_1hx1w_count = 2;
  texts.size_1hx1w[0] =
      (tarn_CCMsgDefinitions){"dimensions", 2.5f, 2, {"messages", "messages"}};

  // The decoder leaves the callbacks of fields without a largest size alone.
  tarn_Price price_received = tarn_Price_init_zero;
  tarn_CashCreditMsg texts_received = tarn_CashCreditMsg_init_zero;
  WriteReadBack(tarn_Price_fields, &price, &price_received);
  WriteReadBack(tarn_CashCreditMsg_fields, &texts, &texts_received);
  return 0;
}
