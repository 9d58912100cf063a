"""A price becomes bytes, and the bytes become a price again."""
import tarn

sent = tarn.Price(line_num=2, product_id='coffee', set_price='2.50')
data = sent.SerializeToString()
print(tarn.parse(tarn.Price, data))
