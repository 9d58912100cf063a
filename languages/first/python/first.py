"""Builds two messages, reads them back from their bytes, and writes them."""
import sys

import Network_pb2
import Tarn_pb2

price = Tarn_pb2.Price(line_num=101, product_id='product_id',
                       set_price='set_price')
texts = Network_pb2.CashCreditMsg()
texts.size_1hx1w.add(dimensions='dimensions', pixelPitchMm=2.5,
                     messages=['messages', 'messages'])
texts.size_1hx1w.add()

for sent in price, texts:
    received = type(sent).FromString(sent.SerializeToString())
    sys.stdout.buffer.write(received.SerializeToString())
