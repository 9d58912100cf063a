// A reader for tarn conform with protobuf-c, which has no JSON.
// Debian: libprotobuf-c-dev protobuf-c-compiler protobuf-compiler
//   protoc -I /usr/share/tarn --c_out=. Tarn.proto Network.proto
//   sed -n 's/.*CMessageDescriptor \(.*\);/\&\1,/p' *.h >types.inc
//   cc -I . reader.c *.pb-c.c -lprotobuf-c -lresolv -o reader
//   tarn conform -- ./reader
#include <netinet/in.h>
#include <resolv.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "Network.pb-c.h"
#include "Tarn.pb-c.h"

static const ProtobufCMessageDescriptor *const types[] = {
#include "types.inc"
};

static const ProtobufCMessageDescriptor *find(const char *name) {
  size_t i = sizeof types / sizeof *types;
  while (i > 0 && strcmp(types[i - 1]->name, name) != 0) --i;
  return i > 0 ? types[i - 1] : NULL;
}

// Prints what comes after the identifier.
static void parse(const ProtobufCMessageDescriptor *type, const char *base64) {
  unsigned char *data = malloc(strlen(base64) + 1);
  const int size = b64_pton(base64, data, strlen(base64) + 1);
  ProtobufCMessage *message =
      size < 0 ? NULL : protobuf_c_message_unpack(type, NULL, size, data);
  free(data);
  if (message == NULL) {
    puts("rejected");
    return;
  }
  const size_t packed = protobuf_c_message_get_packed_size(message);
  unsigned char *bytes = malloc(packed + 1);
  char *text = malloc(packed * 2 + 8);
  protobuf_c_message_pack(message, bytes);
  b64_ntop(bytes, packed, text, packed * 2 + 8);
  printf("ok %s\n", text);
  protobuf_c_message_free_unpacked(message, NULL);
  free(bytes);
  free(text);
}

int main(void) {
  char *line = NULL, id[24], operation[24], name[128];
  for (size_t room = 0; getline(&line, &room, stdin) > 0; fflush(stdout)) {
    int data = 0;
    if (sscanf(line, "%23s%23s%127s %n", id, operation, name, &data) < 3) break;
    const ProtobufCMessageDescriptor *type = find(name);
    printf("%s ", id);
    type && !strcmp(operation, "parse") ? parse(type, line + data)
                                        : (void)puts("unsupported");
  }
  free(line);
}
