// Builds two messages, reads them back from their bytes, and writes them.
import tarn.Network
import tarn.Tarn

fun main() {
    val price = Tarn.Price.newBuilder().apply {
        lineNum = 101
        productId = "product_id"
        setPrice = "set_price"
    }.build()
    val full = Network.CCMsgDefinitions.newBuilder().apply {
        dimensions = "dimensions"
        pixelPitchMm = 2.5f
        addMessages("messages")
        addMessages("messages")
    }.build()
    val texts = Network.CashCreditMsg.newBuilder().apply {
        addSize1Hx1W(full)
        addSize1Hx1W(Network.CCMsgDefinitions.getDefaultInstance())
    }.build()
    Tarn.Price.parseFrom(price.toByteArray()).writeTo(System.out)
    Network.CashCreditMsg.parseFrom(texts.toByteArray()).writeTo(System.out)
    System.out.flush()
}
