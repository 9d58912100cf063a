// Generates the messages from the folder of schema files that SCHEMA names.
fn main() {
    let folder = std::env::var("SCHEMA").unwrap();
    let files = ["Tarn.proto", "Network.proto"];
    prost_build::compile_protos(&files, &[folder]).unwrap();
}
