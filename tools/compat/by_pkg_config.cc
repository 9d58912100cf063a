// Compiled as pkg-config says: both headers, and a symbol of each file.
#include <tarn/Network.pb.h>
#include <tarn/Tarn.pb.h>

int main() { return tarn::Price().line_num() + tarn::Server().channel(); }
