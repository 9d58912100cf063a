// A reader for tarn conform with the classes that protoc generates for Java.
// Debian: default-jdk-headless libgoogle-gson-java libprotobuf-java protobuf-compiler
//   protoc -I /usr/share/tarn --java_out=. Tarn.proto Network.proto
//   javac -cp '/usr/share/java/*:.' Reader.java
//   tarn conform -- java -cp '/usr/share/java/*:.' Reader
import com.google.protobuf.CodedOutputStream;
import com.google.protobuf.Descriptors.Descriptor;
import com.google.protobuf.Descriptors.FileDescriptor;
import com.google.protobuf.InvalidProtocolBufferException;
import com.google.protobuf.Message;
import com.google.protobuf.util.JsonFormat;
import java.io.BufferedReader;
import java.io.InputStreamReader;
import java.util.Base64;
import java.util.HashMap;
import java.util.Map;

class Reader {
  private static void collect(Class<?> outer, FileDescriptor file, Map<String, Message> into)
      throws ReflectiveOperationException {
    for (Descriptor type : file.getMessageTypes()) {
      Class<?> message = Class.forName(outer.getName() + "$" + type.getName());
      into.put(
          type.getFullName(), (Message) message.getMethod("getDefaultInstance").invoke(null));
    }
  }

  private static byte[] answer(String operation, Message type, byte[] data) throws Exception {
    Message.Builder builder = type.newBuilderForType();
    if (operation.equals("from_json")) {
      JsonFormat.parser().merge(new String(data, "UTF-8"), builder);
    } else {
      builder = type.getParserForType().parseFrom(data).toBuilder();
    }
    Message message = builder.build();
    if (operation.equals("to_json")) {
      return JsonFormat.printer().print(message).getBytes("UTF-8");
    }
    byte[] bytes = new byte[message.getSerializedSize()];
    CodedOutputStream output = CodedOutputStream.newInstance(bytes);
    output.useDeterministicSerialization();
    message.writeTo(output);
    return bytes;
  }

  public static void main(String[] arguments) throws Exception {
    Map<String, Message> types = new HashMap<>();
    collect(tarn.Tarn.class, tarn.Tarn.getDescriptor(), types);
    collect(tarn.Network.class, tarn.Network.getDescriptor(), types);
    BufferedReader lines = new BufferedReader(new InputStreamReader(System.in));
    for (String line; (line = lines.readLine()) != null; ) {
      String[] words = line.split(" ", -1);
      try {
        byte[] data = Base64.getDecoder().decode(words[3]);
        byte[] result = answer(words[1], types.get(words[2]), data);
        System.out.println(words[0] + " ok " + Base64.getEncoder().encodeToString(result));
      } catch (InvalidProtocolBufferException e) {
        System.out.println(words[0] + " rejected " + e.getMessage().replace('\n', ' '));
      }
    }
  }
}
