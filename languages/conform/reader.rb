# A reader for tarn conform with the classes that protoc generates for Ruby.
# Debian: protobuf-compiler ruby ruby-google-protobuf
#   protoc -I /usr/share/tarn --ruby_out=. Tarn.proto Network.proto
#   tarn conform -- ruby -W0 -I . reader.rb
require 'base64'
require 'Network_pb'
require 'Tarn_pb'

def answer(operation, type, data)
  message = operation == 'from_json' ? type.decode_json(data) : type.decode(data)
  operation == 'to_json' ? type.encode_json(message) : type.encode(message)
end

$stdout.sync = true
$stdin.each_line(chomp: true) do |line|
  identifier, operation, name, data = line.split(' ', -1)
  type = Google::Protobuf::DescriptorPool.generated_pool.lookup(name).msgclass
  result = answer(operation, type, Base64.strict_decode64(data))
  puts "#{identifier} ok #{Base64.strict_encode64(result)}"
rescue Google::Protobuf::ParseError => e
  puts "#{identifier} rejected #{e.message.tr("\n", ' ')}"
end
