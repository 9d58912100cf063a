// Builds two messages, reads them back from their bytes, and writes them.
package main

import (
	"log"
	"os"

	"example.com/tarn"
	"google.golang.org/protobuf/proto"
)

func writeReadBack(sent, received proto.Message) {
	bytes, err := proto.Marshal(sent)
	if err == nil {
		err = proto.Unmarshal(bytes, received)
	}
	if err == nil {
		bytes, err = proto.Marshal(received)
	}
	if err == nil {
		_, err = os.Stdout.Write(bytes)
	}
	if err != nil {
		log.Fatal(err)
	}
}

func main() {
	writeReadBack(&tarn.Price{
		LineNum:   101,
		ProductId: "product_id",
		SetPrice:  "set_price",
	}, &tarn.Price{})
	writeReadBack(&tarn.CashCreditMsg{
		Size_1Hx1W: []*tarn.CCMsgDefinitions{{
			Dimensions:   "dimensions",
			PixelPitchMm: 2.5,
			Messages:     []string{"messages", "messages"},
		}, {}},
	}, &tarn.CashCreditMsg{})
}
