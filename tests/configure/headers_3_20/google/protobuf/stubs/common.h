// Stands for the headers of another line.
#define GOOGLE_PROTOBUF_VERSION 3020003
