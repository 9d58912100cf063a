// Builds two messages, reads them back from their bytes, and writes them.
using System;
using Google.Protobuf;
using Tarn;

static class First
{
    static void Main()
    {
        var price = new Price
        {
            LineNum = 101,
            ProductId = "product_id",
            SetPrice = "set_price",
        };
        var texts = new CashCreditMsg
        {
            Size1Hx1W =
            {
                new CCMsgDefinitions
                {
                    Dimensions = "dimensions",
                    PixelPitchMm = 2.5f,
                    Messages = { "messages", "messages" },
                },
                new CCMsgDefinitions(),
            },
        };

        var output = Console.OpenStandardOutput();
        Price.Parser.ParseFrom(price.ToByteArray()).WriteTo(output);
        CashCreditMsg.Parser.ParseFrom(texts.ToByteArray()).WriteTo(output);
    }
}
