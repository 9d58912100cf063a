// Builds two messages, reads them back from their bytes, and writes them.
import java.io.IOException;
import tarn.Network;
import tarn.Tarn;

class First {
  public static void main(String[] arguments) throws IOException {
    Tarn.Price price = Tarn.Price.newBuilder()
        .setLineNum(101)
        .setProductId("product_id")
        .setSetPrice("set_price")
        .build();
    Network.CashCreditMsg texts = Network.CashCreditMsg.newBuilder()
        .addSize1Hx1W(Network.CCMsgDefinitions.newBuilder()
            .setDimensions("dimensions")
            .setPixelPitchMm(2.5f)
            .addMessages("messages")
            .addMessages("messages"))
        .addSize1Hx1W(Network.CCMsgDefinitions.getDefaultInstance())
        .build();
    Tarn.Price.parseFrom(price.toByteArray()).writeTo(System.out);
    Network.CashCreditMsg.parseFrom(texts.toByteArray()).writeTo(System.out);
    System.out.flush();
  }
}
