// Builds two messages, reads them back from their bytes, and writes them.
use prost::Message;
use std::io::Write;

mod tarn {
    include!(concat!(env!("OUT_DIR"), "/tarn.rs"));
}

fn write_read_back<M: Message + Default>(sent: M) {
    let received = M::decode(sent.encode_to_vec().as_slice()).unwrap();
    std::io::stdout().write_all(&received.encode_to_vec()).unwrap();
}

fn main() {
    write_read_back(tarn::Price {
        line_num: 101,
        product_id: "product_id".to_string(),
        set_price: "set_price".to_string(),
    });
    let full = tarn::CcMsgDefinitions {
        dimensions: "dimensions".to_string(),
        pixel_pitch_mm: 2.5,
        messages: vec!["messages".to_string(), "messages".to_string()],
    };
    write_read_back(tarn::CashCreditMsg {
        size_1hx1w: vec![full, Default::default()],
        ..Default::default()
    });
}
