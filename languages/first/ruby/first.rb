# Builds two messages, reads them back from their bytes, and writes them.
require 'Network_pb'
require 'Tarn_pb'

price = Tarn::Price.new(line_num: 101, product_id: 'product_id',
                        set_price: 'set_price')
texts = Tarn::CashCreditMsg.new(
  size_1hx1w: [
    Tarn::CCMsgDefinitions.new(dimensions: 'dimensions', pixelPitchMm: 2.5,
                               messages: %w[messages messages]),
    Tarn::CCMsgDefinitions.new
  ]
)

$stdout.binmode
[price, texts].each do |sent|
  received = sent.class.decode(sent.class.encode(sent))
  $stdout.write(sent.class.encode(received))
end
