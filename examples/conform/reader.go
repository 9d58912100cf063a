// A reader for tarn conform without generated code.
// Debian: golang-go golang-google-protobuf-dev
//
//	GO111MODULE=off GOPATH=/usr/share/gocode go build reader.go
//	tarn conform -- ./reader /usr/share/tarn/tarn.binpb
package main

import (
	"bufio"
	"encoding/base64"
	"fmt"
	"os"
	"strings"

	"google.golang.org/protobuf/encoding/protojson"
	"google.golang.org/protobuf/proto"
	"google.golang.org/protobuf/reflect/protodesc"
	"google.golang.org/protobuf/reflect/protoreflect"
	"google.golang.org/protobuf/types/descriptorpb"
	"google.golang.org/protobuf/types/dynamicpb"
)

func must[T any](value T, err error) T {
	if err != nil {
		panic(err)
	}
	return value
}

// What the answer to a question holds.
func answer(operation string, message proto.Message, data []byte) ([]byte, error) {
	read := proto.Unmarshal
	if operation == "from_json" {
		read = protojson.Unmarshal
	}
	if err := read(data, message); err != nil {
		return nil, err
	}
	if operation == "to_json" {
		return protojson.Marshal(message)
	}
	return proto.MarshalOptions{Deterministic: true}.Marshal(message)
}

func main() {
	set := &descriptorpb.FileDescriptorSet{}
	must(0, proto.Unmarshal(must(os.ReadFile(os.Args[1])), set))
	schema, lines := must(protodesc.NewFiles(set)), bufio.NewScanner(os.Stdin)
	for lines.Buffer(nil, 1<<20); lines.Scan(); {
		words := strings.Split(lines.Text(), " ")
		kind := must(schema.FindDescriptorByName(protoreflect.FullName(words[2])))
		message := dynamicpb.NewMessage(kind.(protoreflect.MessageDescriptor))
		result, err := answer(words[1], message, must(base64.StdEncoding.DecodeString(words[3])))
		if err != nil {
			fmt.Println(words[0], "rejected", err)
		} else {
			fmt.Println(words[0], "ok", base64.StdEncoding.EncodeToString(result))
		}
	}
}
