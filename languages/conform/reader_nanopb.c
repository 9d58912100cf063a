// A reader for tarn conform with nanopb, its fields on the heap, its texts checked: two
// options that Debian's library does not have. It has no JSON.
// Debian: gcc libc6-dev nanopb protobuf-compiler
//   sh /usr/share/doc/libschema-dev/examples/firmware/nanopb sources
//   protoc -I /usr/share/tarn/portable --nanopb_opt="-s type:FT_POINTER" --nanopb_out=. Tarn.proto Network.proto
//   sed -n 's/^extern const pb_msgdesc_t \(tarn_[A-Za-z0-9]*\)_msg;/TYPE(\1)/p' *.pb.h >types.inc
//   gcc -DPB_ENABLE_MALLOC -DPB_VALIDATE_UTF8 -I sources/nanopb-* -I . reader_nanopb.c *.pb.c sources/nanopb-*/pb_*.c -lresolv -o reader
//   tarn conform -- ./reader
#include <netinet/in.h>
#include <pb_decode.h>
#include <pb_encode.h>
#include <resolv.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "Network.pb.h"
#include "Tarn.pb.h"

typedef struct {
  const char *name;
  const pb_msgdesc_t *fields;
  size_t size;
} Type;

#define TYPE(name) {#name, name##_fields, sizeof(name)},
static const Type types[] = {
#include "types.inc"
};

// The type with this name, in which nanopb has '_' for '.'.
static const Type *find(char *name) {
  name[strcspn(name, ".")] = '_';
  size_t i = sizeof types / sizeof *types;
  while (i > 0 && strcmp(types[i - 1].name, name) != 0) --i;
  return i > 0 ? &types[i - 1] : NULL;
}

static void write_answer(const Type *type, const void *message) {
  size_t size;
  if (!pb_get_encoded_size(&size, type->fields, message)) exit(1);
  unsigned char *bytes = malloc(size + 1);
  char *text = malloc(size * 2 + 8);
  pb_ostream_t output = pb_ostream_from_buffer(bytes, size);
  if (!pb_encode(&output, type->fields, message)) exit(1);
  b64_ntop(bytes, size, text, size * 2 + 8);
  printf("ok %s\n", text);
  free(bytes);
  free(text);
}

// Prints what comes after the identifier.
static void parse(const Type *type, const char *base64) {
  unsigned char *data = malloc(strlen(base64) + 1);
  const int size = b64_pton(base64, data, strlen(base64) + 1);
  void *message = calloc(1, type->size);
  pb_istream_t input = pb_istream_from_buffer(data, size < 0 ? 0 : size);
  if (size >= 0 && pb_decode(&input, type->fields, message)) {
    write_answer(type, message);
    pb_release(type->fields, message);
  } else {
    printf("rejected %s\n", PB_GET_ERROR(&input));
  }
  free(message);
  free(data);
}

int main(void) {
  char *line = NULL, id[24], operation[24], name[128];
  for (size_t room = 0; getline(&line, &room, stdin) > 0; fflush(stdout)) {
    int data = 0;
    if (sscanf(line, "%23s%23s%127s %n", id, operation, name, &data) < 3) break;
    const Type *type = find(name);
    printf("%s ", id);
    type && !strcmp(operation, "parse") ? parse(type, line + data)
                                        : (void)puts("unsupported");
  }
  free(line);
}
