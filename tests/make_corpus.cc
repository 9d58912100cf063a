// Writes the golden messages of corpus/, from the rules of the encoding: the
// bytes by hand or by the reference, the text forms by the reference. Neither
// the library nor the runtime has a part in it.
//
// usage: make_corpus DIRECTORY
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <string_view>

#include "reference/reference.h"
#include "reference/wire.h"

namespace {

namespace fs = std::filesystem;
using reference::Field;
using reference::Kind;
using reference::Label;
using reference::Type;
using wire::Writer;

// Puts cases into their files, and holds what is said of them against the
// reference: a slip of the hand fails the run.
class Corpus {
 public:
  explicit Corpus(fs::path root) : root_(std::move(root)) {
    for (const char* kind : {"valid", "accepted", "rejected"}) {
      fs::remove_all(root_ / kind);
    }
  }

  // Marks the case before it: what another runtime may do otherwise.
  void RuntimeLimit(const std::string& kind) { limits_[last_case_] = kind; }

  // The file in which programs find the cases that are marked.
  void WriteRuntimeLimits() {
    std::ofstream file(root_ / "runtime_limits.txt", std::ios::binary);
    for (const auto& [name, kind] : limits_)
      file << kind << ' ' << name << '\n';
    file.close();
    if (!file) {
      ++failures_;
      std::fprintf(stderr, "make_corpus: cannot write runtime_limits.txt\n");
    }
  }

  // Canonical bytes, with their text forms.
  void Valid(std::string_view type, const std::string& name,
             const Writer& writer) {
    const reference::Decoded decoded = Decode(type, writer);
    if (!decoded.accepted() ||
        reference::Encode(decoded.message) != writer.bytes()) {
      Fail("valid", type, name, decoded);
    }
    Write("valid", type, name, ".binpb", writer.bytes());
    Write("valid", type, name, ".txtpb", reference::ToText(decoded.message));
    Write("valid", type, name, ".json", reference::ToJson(decoded.message));
  }

  // Bytes that are read, and the canonical bytes they are written back as.
  void Accepted(std::string_view type, const std::string& name,
                const Writer& writer, const Writer& canonical) {
    const reference::Decoded decoded = Decode(type, writer);
    if (!decoded.accepted() ||
        reference::Encode(decoded.message) != canonical.bytes()) {
      Fail("accepted", type, name, decoded);
    }
    Write("accepted", type, name, ".binpb", writer.bytes());
    Write("accepted", type, name, ".canonical.binpb", canonical.bytes());
  }

  // Bytes that are written back as they came, but say more than a text form
  // can carry.
  void Accepted(std::string_view type, const std::string& name,
                const Writer& writer) {
    Accepted(type, name, writer, writer);
  }

  // Bytes that must not be read, and why.
  void Rejected(std::string_view type, const std::string& name,
                const Writer& writer, const std::string& reason) {
    const reference::Decoded decoded = Decode(type, writer);
    if (decoded.reason != reason) Fail("rejected", type, name, decoded);
    Write("rejected", type, name, ".binpb", writer.bytes());
    Write("rejected", type, name, ".reason", reason + "\n");
  }

  int failures() const { return failures_; }

 private:
  static reference::Decoded Decode(std::string_view type,
                                   const Writer& writer) {
    return reference::Decode(reference::TypeNamed(type), writer.bytes());
  }

  void Fail(const char* kind, std::string_view type, const std::string& name,
            const reference::Decoded& decoded) {
    ++failures_;
    std::fprintf(stderr, "make_corpus: %s/%s/%s: the reference says %s\n", kind,
                 std::string(type).c_str(), name.c_str(),
                 decoded.accepted()
                     ? wire::ToHex(reference::Encode(decoded.message)).c_str()
                     : decoded.reason.c_str());
  }

  void Write(const char* kind, std::string_view type, const std::string& name,
             const char* suffix, const std::string& content) {
    const fs::path folder = root_ / kind / type;
    const fs::path path = folder / (name + suffix);
    last_case_ = fs::path(kind) / type / name;
    fs::create_directories(folder);
    const bool taken = fs::exists(path);
    std::ofstream file(path, std::ios::binary);
    file << content;
    file.close();
    if (taken || !file) {
      ++failures_;
      std::fprintf(stderr, "make_corpus: %s: %s\n", path.c_str(),
                   taken ? "a second case of this name" : "cannot write");
    }
  }

  const fs::path root_;
  std::string last_case_;
  std::map<std::string, std::string> limits_;
  int failures_ = 0;
};

Writer W() { return {}; }

Writer Hex(std::string_view digits) { return W().Raw(wire::Hex(digits)); }

// One record of the field, holding `text`; for a map, an entry of that key.
Writer TextRecord(const Field& field, const std::string& text) {
  return field.label == Label::MAP
             ? W().Message(field.number, W().Bytes(1, text).Int(2, 1))
             : W().Bytes(field.number, text);
}

// What every message has: nothing set, each field alone, all fields together,
// and texts that are not UTF-8.
void EveryMessage(Corpus& corpus) {
  for (const Type& type : reference::Types()) {
    corpus.Valid(type.name, "empty", W());
    if (type.fields.size() > 1 && type.fields[0].label != Label::ONEOF) {
      corpus.Valid(type.name, "every_field_set",
                   W().Raw(Encode(reference::Sample(type, 2))));
    }
    for (const Field& field : type.fields) {
      corpus.Valid(type.name, "only_" + field.name,
                   W().Raw(Encode(reference::Sample(type, field, 1))));
      if (field.label == Label::MAP) {
        corpus.Rejected(type.name, "invalid_utf8_in_key_of_" + field.name,
                        TextRecord(field, "\xC3\x28"), field.full_name);
      } else if (field.kind == Kind::STRING) {
        corpus.Rejected(type.name, "invalid_utf8_in_" + field.name,
                        TextRecord(field, "\xC3\x28"), field.full_name);
      }
    }
  }
}

// A list of nodes of one kind, each with another value of one of its fields.
Writer Nodes(int kind, int number, int values) {
  Writer nodes;
  for (int value = 0; value < values; ++value) {
    Writer node;
    if (value != 0) node.Int(number, value);
    nodes.Message(1, W().Message(kind, node));
  }
  return nodes;
}

// Each value of each enum in each field that can carry it.
void EveryEnumValue(Corpus& corpus) {
  corpus.Valid("AppStates", "every_state",
               W().Packed(1, {0, 1, 2, 3, 4, 5, 6, 7, 8}));
  for (const auto& [name, number] :
       reference::TypeNamed("Font").fields[0].enumeration->values) {
    if (number != 0) {
      corpus.Valid("Font", "style_is_" + name, W().Int(1, number));
    }
  }
  corpus.Valid("ModsConfigured", "servers_of_every_status", Nodes(1, 2, 12));
  corpus.Valid("ModsConfigured", "clients_of_every_status", Nodes(2, 2, 12));
  corpus.Valid("ModsConfigured", "displays_of_every_status", Nodes(3, 2, 12));
  corpus.Valid("ModsConfigured", "displays_of_every_subtype", Nodes(3, 5, 2));
  corpus.Valid("ModsConfigured", "modules_of_every_status", Nodes(4, 3, 12));
  corpus.Valid("ModsConfigured", "directs_of_every_status", Nodes(5, 2, 12));
  corpus.Valid("CabinetAssemblyConfiguration", "every_display_type",
               W().Packed(6, {0, 1}));
  corpus.Valid("GetStatusModule", "frames_of_every_window_type",
               W().Message(12, W()).Message(12, W().Int(3, 1)));
  Writer maps;
  for (int map : {1, 2}) {
    for (int status = 0; status < 12; ++status) {
      const std::string key(1, 'a' + status);
      maps.Message(map, W().Bytes(1, key).Int(2, status));
    }
  }
  corpus.Valid("NetworkStatusReport", "every_status_by_key", maps);
  for (const auto& [name, number] :
       reference::TypeNamed("Server").Find(2)->enumeration->values) {
    if (number != 0) {
      corpus.Valid("NetworkStatusReport", "lifecycle_is_" + name,
                   W().Int(3, number));
    }
  }
}

// States, settings, errors and replies.
void Application(Corpus& corpus) {
  corpus.Valid("AppStates", "ready_and_offline", Hex("0A 02 02 05"));
  corpus.Valid("AppStates", "zero_in_a_list_is_written", Hex("0A 01 00"));
  corpus.Valid("AppStates", "undeclared_state_is_kept", Hex("0A 01 09"));
  corpus.Valid("AppStates", "undeclared_state_of_two_bytes_is_kept",
               Hex("0A 02 C8 01"));
  corpus.Valid("AppStates", "negative_state_takes_ten_bytes",
               Hex("0A 0A FF FF FF FF FF FF FF FF FF 01"));
  corpus.Accepted("AppStates", "unpacked_states_are_read_as_a_list",
                  Hex("08 02 08 05"), Hex("0A 02 02 05"));
  corpus.Accepted("AppStates", "packed_and_unpacked_states_append",
                  Hex("0A 02 02 05 08 01 0A 01 08 08 00"),
                  Hex("0A 05 02 05 01 08 00"));
  corpus.Accepted("AppStates", "two_packed_records_append",
                  Hex("0A 01 02 0A 02 05 01"), Hex("0A 03 02 05 01"));
  corpus.Accepted("AppStates", "empty_packed_record_is_dropped", Hex("0A 00"),
                  W());
  corpus.Accepted("AppStates", "overlong_states_are_shortened",
                  Hex("0A 05 82 80 00 85 00"), Hex("0A 02 02 05"));
  corpus.Accepted("AppStates", "states_keep_their_low_32_bits",
                  Hex("0A 05 82 80 80 80 10 08 85 80 80 80 20"),
                  Hex("0A 02 02 05"));
  corpus.Accepted("AppStates", "states_as_fixed32_are_unknown",
                  Hex("0D 01 00 00 00"));
  corpus.Rejected("AppStates", "packed_state_is_cut_off", Hex("0A 01 80"),
                  "truncated");
  corpus.Rejected("AppStates", "packed_state_runs_out_of_its_record",
                  Hex("0A 02 01 80 01"), "truncated");
  corpus.Rejected("AppStates", "packed_record_runs_past_the_end",
                  Hex("0A 05 01 02"), "length_past_end");
  corpus.Rejected("AppStates", "packed_state_of_eleven_bytes",
                  Hex("0A 0B 80 80 80 80 80 80 80 80 80 80 01"),
                  "varint_too_long");

  corpus.Accepted("AppSettings", "any_number_but_zero_is_true",
                  Hex("08 02 10 80 80 80 80 80 80 80 80 80 01 18 80 02"),
                  Hex("08 01 10 01 18 01"));
  corpus.Accepted("AppSettings", "bits_beyond_the_64th_are_not_true",
                  Hex("08 80 80 80 80 80 80 80 80 80 02"), W());
  corpus.RuntimeLimit("surplus_bits");
  corpus.Accepted("AppSettings", "false_is_not_written_back",
                  Hex("08 00 10 01 18 80 00"), Hex("10 01"));
  corpus.Accepted("AppSettings", "last_value_of_a_switch_wins",
                  Hex("08 01 10 01 08 00"), Hex("10 01"));

  corpus.Valid("Wifi", "text_of_many_scripts",
               W().Bytes(1, "caf\xC3\xA9 \xE4\xB8\xAD\xE6\x96\x87")
                   .Bytes(2, "\xF0\x9F\x94\x91"));
  corpus.Valid("Wifi", "text_at_the_edges_of_utf8",
               W().Bytes(1, "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF")
                   .Bytes(2,
                          "\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
                          "\xF4\x8F\xBF\xBF"));
  corpus.Valid("Wifi", "text_that_must_be_escaped",
               W().Bytes(1, "\"quoted\" \\ / <tag> & 'x'")
                   .Bytes(2, std::string("\0\a\b\t\n\v\f\r\x1B\x7F", 10)));
  corpus.Valid("Wifi", "byte_order_mark_is_text",
               W().Bytes(1,
                         "\xEF\xBB\xBF"
                         "net"));
  corpus.Valid("Wifi", "length_of_one_byte_at_most",
               W().Bytes(1, std::string(127, 's')));
  corpus.Valid("Wifi", "length_of_two_bytes_at_least",
               W().Bytes(1, std::string(128, 's')));
  corpus.Accepted("Wifi", "empty_text_is_not_written_back", Hex("0A 00 12 00"),
                  W());
  corpus.Rejected("Wifi", "utf8_overlong_nul", W().Bytes(1, "\xC0\x80"),
                  "tarn.Wifi.ssid");
  corpus.Rejected("Wifi", "utf8_overlong_slash", W().Bytes(1, "\xE0\x80\xAF"),
                  "tarn.Wifi.ssid");
  corpus.Rejected("Wifi", "utf8_surrogate", W().Bytes(1, "\xED\xA0\x80"),
                  "tarn.Wifi.ssid");
  corpus.Rejected("Wifi", "utf8_surrogate_pair",
                  W().Bytes(2, "\xED\xA0\xBD\xED\xB4\x91"), "tarn.Wifi.pass");
  corpus.Rejected("Wifi", "utf8_beyond_the_last_character",
                  W().Bytes(1, "\xF4\x90\x80\x80"), "tarn.Wifi.ssid");
  corpus.Rejected("Wifi", "utf8_five_byte_form",
                  W().Bytes(1, "\xF8\x88\x80\x80\x80"), "tarn.Wifi.ssid");
  corpus.Rejected("Wifi", "utf8_stray_tail", W().Bytes(2, "ab\x80"),
                  "tarn.Wifi.pass");
  corpus.Rejected("Wifi", "utf8_cut_off", W().Bytes(2, "net\xE2\x82"),
                  "tarn.Wifi.pass");
  corpus.Rejected("Wifi", "utf8_bad_then_overwritten",
                  W().Bytes(1, "\xFF").Bytes(1, "net"), "tarn.Wifi.ssid");

  corpus.Valid("ERTDConnection", "port_that_is_no_number",
               W().Bytes(3, "service"));
  corpus.Valid("ERTDConfiguration", "empty_connection_is_written",
               Hex("0A 00"));
  corpus.Rejected(
      "ERTDConfiguration", "invalid_utf8_in_a_connection",
      W().Message(1, W().Bytes(1, "one")).Message(1, W().Bytes(2, "\xFF")),
      "tarn.ERTDConnection.ip_address");

  corpus.Valid("Err", "negative_int32_takes_ten_bytes",
               Hex("08 FF FF FF FF FF FF FF FF FF 01"));
  corpus.Valid("Err", "smallest_int32",
               Hex("08 80 80 80 80 F8 FF FF FF FF 01"));
  corpus.Valid("Err", "largest_int32", Hex("08 FF FF FF FF 07"));
  corpus.Accepted("Err", "code_keeps_its_low_32_bits", Hex("08 85 80 80 80 70"),
                  Hex("08 05"));
  corpus.Accepted("Err", "minus_one_in_five_bytes", Hex("08 FF FF FF FF 0F"),
                  Hex("08 FF FF FF FF FF FF FF FF FF 01"));
  corpus.Accepted("Err", "overlong_code_is_shortened",
                  Hex("08 85 80 80 80 80 80 80 80 80 00"), Hex("08 05"));
  corpus.Accepted("Err", "zero_is_not_written_back", Hex("08 00"), W());
  corpus.Accepted("Err", "later_zero_wins", Hex("08 07 08 00"), W());
  corpus.Rejected("Err", "varint_of_eleven_bytes",
                  Hex("08 80 80 80 80 80 80 80 80 80 80 01"),
                  "varint_too_long");
  corpus.Rejected("Err", "varint_is_cut_off", Hex("08 FF FF"), "truncated");
  corpus.Rejected("Err", "value_is_missing", Hex("08"), "truncated");

  corpus.Accepted("BaseMsg", "fields_in_any_order",
                  Hex("20 01 1A 01 64 10 07 0A 01 63"),
                  Hex("0A 01 63 10 07 1A 01 64 20 01"));
  corpus.Accepted("BaseMsg", "text_in_place_of_a_number_is_unknown",
                  Hex("12 02 61 62"));
}

// What no schema of today knows but a newer one may: kept, and written last.
void UnknownFields(Corpus& corpus) {
  const Writer known = W().Bytes(1, "c").Int(2, 7);
  const auto kept = [&](const std::string& name, const Writer& record,
                        const Writer& canonical) {
    corpus.Accepted("BaseMsg", name, W().Raw(record.bytes()).Raw(known.bytes()),
                    W().Raw(known.bytes()).Raw(canonical.bytes()));
  };
  const auto same = [&](const std::string& name, const Writer& record) {
    kept(name, record, record);
  };
  same("unknown_varint_is_kept", W().Uint(5, 300));
  same("unknown_varint_keeps_64_bits", W().Uint(5, ~0ull));
  same("unknown_fixed32_is_kept", W().Fixed32(5, 0x80000001));
  same("unknown_fixed64_is_kept", W().Fixed64(5, 0x8877665544332211));
  same("unknown_bytes_are_kept", W().Bytes(5, "\xFF\xFE"));
  same("unknown_empty_bytes_are_kept", W().Bytes(5, ""));
  same("unknown_group_is_kept",
       W().Group(5, W().Uint(1, 1).Bytes(2, "x").Group(3, W().Fixed32(4, 5))));
  same("unknown_empty_group_is_kept", W().Group(5, W()));
  same("unknown_largest_field_number", W().Uint((1 << 29) - 1, 1));
  same("unknown_fields_keep_their_order",
       W().Uint(9, 1).Bytes(5, "x").Uint(9, 2).Fixed32(7, 3));
  kept("unknown_overlong_varint_is_shortened",
       W().Tag(5, wire::kVarint).Overlong(3, 10), W().Uint(5, 3));
  corpus.RuntimeLimit("overlong_unknown");
  kept("unknown_overlong_key_is_shortened",
       W().Overlong(5 << 3 | wire::kLength, 5).Varint(1).Raw("x"),
       W().Bytes(5, "x"));
  corpus.RuntimeLimit("overlong_unknown");
  kept("unknown_overlong_length_is_shortened",
       W().Tag(5, wire::kLength).Overlong(1, 5).Raw("x"), W().Bytes(5, "x"));
  corpus.RuntimeLimit("overlong_unknown");

  const auto wrong = [&](const std::string& name, const Writer& record) {
    corpus.Accepted("Frame", name, W().Int(2, 5).Raw(record.bytes()).Int(1, 3),
                    W().Int(1, 3).Int(2, 5).Raw(record.bytes()));
  };
  wrong("number_as_fixed32_is_unknown", W().Fixed32(1, 9));
  wrong("number_as_fixed64_is_unknown", W().Fixed64(1, 9));
  wrong("number_as_bytes_is_unknown", W().Bytes(1, "9"));
  wrong("number_as_group_is_unknown", W().Group(1, W().Uint(1, 9)));
}

// What breaks a message anywhere.
void Malformed(Corpus& corpus) {
  corpus.Rejected("BaseMsg", "key_is_cut_off", Hex("10 07 80"), "truncated");
  corpus.Rejected("BaseMsg", "key_of_six_bytes", Hex("8A 80 80 80 80 00 01 63"),
                  "key_too_long");
  corpus.RuntimeLimit("long_key");
  corpus.Rejected("BaseMsg", "length_is_missing", Hex("0A"), "truncated");
  corpus.Rejected("BaseMsg", "length_of_six_bytes",
                  Hex("0A 81 80 80 80 80 00 63"), "length_too_long");
  corpus.RuntimeLimit("long_length");
  corpus.Rejected("BaseMsg", "length_of_two_gigabytes",
                  Hex("0A FF FF FF FF 07 63"), "length_too_long");
  corpus.Rejected("BaseMsg", "length_beyond_32_bits",
                  Hex("0A 81 80 80 80 10 63"), "length_too_long");
  corpus.RuntimeLimit("surplus_bits");
  corpus.Rejected("BaseMsg", "largest_length_runs_past_the_end",
                  Hex("0A EF FF FF FF 07 63"), "length_past_end");
  corpus.Rejected("BaseMsg", "length_runs_past_the_end", Hex("0A 03 63 64"),
                  "length_past_end");
  corpus.Rejected("BaseMsg", "unknown_length_runs_past_the_end",
                  Hex("2A 03 63 64"), "length_past_end");
  corpus.Rejected("BaseMsg", "unknown_fixed32_is_cut_off", Hex("2D 01 02 03"),
                  "truncated");
  corpus.Rejected("BaseMsg", "unknown_fixed64_is_cut_off",
                  Hex("29 01 02 03 04 05 06 07"), "truncated");
  corpus.Rejected("BaseMsg", "unknown_varint_of_eleven_bytes",
                  Hex("28 80 80 80 80 80 80 80 80 80 80 01"),
                  "varint_too_long");
  corpus.Rejected("BaseMsg", "zero_key_ends_the_message", Hex("10 07 00"),
                  "zero_key");
  corpus.Rejected("BaseMsg", "zero_key_before_other_fields", Hex("00 10 07"),
                  "zero_key");
  corpus.Rejected("BaseMsg", "zero_key_in_32_bits", Hex("80 80 80 80 10 10 07"),
                  "zero_key");
  corpus.RuntimeLimit("surplus_bits");
  corpus.Rejected("BaseMsg", "field_number_zero", Hex("02 01 63"),
                  "zero_field_number");
  corpus.Rejected("BaseMsg", "end_group_not_opened", Hex("10 07 0C"),
                  "end_group");
  corpus.Rejected("BaseMsg", "wire_type_6", Hex("0E 01"), "bad_wire_type");
  corpus.Rejected("BaseMsg", "wire_type_7", Hex("0F 01"), "bad_wire_type");
  corpus.Rejected("BaseMsg", "wire_type_6_of_an_unknown_field", Hex("2E 01"),
                  "bad_wire_type");
  corpus.Rejected("BaseMsg", "group_not_closed", Hex("2B 08 01"),
                  "group_not_closed");
  corpus.Rejected("BaseMsg", "group_closed_under_another_number",
                  Hex("2B 08 01 34"), "group_mismatch");
  corpus.Rejected("BaseMsg", "zero_key_in_a_group", Hex("2B 00 2C"),
                  "zero_key");
  corpus.Rejected("BaseMsg", "field_number_zero_in_a_group",
                  Hex("2B 01 01 01 01 01 01 01 01 01 2C"), "zero_field_number");

  corpus.Rejected("Prices", "length_runs_past_the_record",
                  Hex("0A 04 12 05 61 62 0A 00 0A 00"), "length_past_record");
  corpus.Rejected("Prices", "price_runs_past_the_end", Hex("0A 05 12 01 61"),
                  "length_past_end");
  corpus.Rejected("Prices", "varint_runs_out_of_its_record",
                  Hex("0A 02 08 80 01"), "truncated");
  corpus.Rejected("Prices", "zero_key_in_a_price", Hex("0A 03 08 01 00"),
                  "zero_key");
  corpus.Rejected("Prices", "end_group_in_a_price", Hex("0A 03 08 01 0C"),
                  "end_group");
  corpus.Rejected("Prices", "varint_of_eleven_bytes_in_a_price",
                  Hex("0A 0C 08 80 80 80 80 80 80 80 80 80 80 01"),
                  "varint_too_long");
  corpus.Rejected("Prices", "group_runs_out_of_its_record", Hex("0A 01 2B 2C"),
                  "group_not_closed");
}

// Prices and products.
void Products(Corpus& corpus) {
  corpus.Valid("Price", "text_zero_is_written", W().Bytes(3, "0"));
  corpus.Valid("Price", "price_in_letters", W().Bytes(3, "call us"));
  corpus.Valid("Price", "price_with_a_minus_sign", W().Bytes(3, "-1.299"));
  corpus.Accepted("Price", "last_set_price_wins",
                  W().Bytes(3, "1.11").Int(1, 4).Bytes(3, "2.22"),
                  W().Int(1, 4).Bytes(3, "2.22"));
  corpus.Accepted("Price", "line_num_as_bytes_is_unknown",
                  W().Bytes(1, "4").Bytes(3, "1.11"),
                  W().Bytes(3, "1.11").Bytes(1, "4"));
  corpus.Accepted("Price", "overlong_keys_are_read",
                  Hex("88 00 04 92 80 00 01 70 9A 80 80 80 00 01 31"),
                  Hex("08 04 12 01 70 1A 01 31"));
  corpus.Accepted("Price", "key_bits_beyond_the_32nd_are_dropped",
                  Hex("88 80 80 80 10 04"), Hex("08 04"));
  corpus.RuntimeLimit("surplus_bits");
  corpus.Accepted("Price", "overlong_length_is_shortened",
                  Hex("12 81 80 80 80 00 70"), Hex("12 01 70"));
  corpus.Valid("Prices", "two_prices_in_order",
               W().Message(1, W().Int(1, 2).Bytes(3, "1.11"))
                   .Message(1, W().Int(1, 1).Bytes(3, "2.22")));
  corpus.Rejected(
      "Prices", "invalid_utf8_in_the_last_price",
      W().Message(1, W().Bytes(2, "a")).Message(1, W().Bytes(3, "\xFF")),
      "tarn.Price.set_price");

  corpus.Valid("POS", "negative_int32_takes_ten_bytes", W().Int(1, -2));
  corpus.Valid("POSDataMsg", "largest_uint32_takes_five_bytes",
               Hex("08 FF FF FF FF 0F"));
  corpus.Accepted("POSDataMsg", "data_keeps_its_low_32_bits",
                  Hex("08 FF FF FF FF FF FF FF FF FF 01"),
                  Hex("08 FF FF FF FF 0F"));
  corpus.Accepted("POSDataMsg", "data_of_33_bits_is_cut",
                  Hex("08 81 80 80 80 10"), Hex("08 01"));

  corpus.Valid("Product", "flag_without_an_amount", Hex("20 01"));
  const Writer two = W().Message(1, W().Bytes(1, "a").Bytes(5, "1.299"))
                         .Message(1, W().Bytes(1, "b").Int(11, 1));
  corpus.Valid("ProductMappingKT2", "two_products", two);
  corpus.Valid("KT4Products", "products_of_the_older_list", two);
  corpus.Valid("ProductMappingKT2", "empty_product_is_written", Hex("0A 00"));
  corpus.Valid("KT4Products", "version_without_products", Hex("10 07"));
  corpus.Valid("KT4Products", "largest_version", W().Uint(2, 0xFFFFFFFF));
  corpus.Accepted("ProductMappingKT2", "version_of_the_newer_list_is_unknown",
                  Hex("10 07"));
  corpus.Accepted("KT4Products", "products_around_the_version",
                  Hex("0A 00 10 07 0A 02 58 01 10 08"),
                  Hex("0A 00 0A 02 58 01 10 08"));
  corpus.Accepted("KT4Products", "unknown_field_inside_a_product",
                  W().Message(1, W().Uint(20, 1).Bytes(1, "a")),
                  W().Message(1, W().Bytes(1, "a").Uint(20, 1)));
  corpus.Rejected("ProductMappingKT2", "invalid_utf8_in_a_product",
                  W().Message(1, W().Bytes(9, "\xC3\x28")),
                  "tarn.Product.pct_offset");
  corpus.Rejected("KT4Products", "invalid_utf8_in_a_product",
                  W().Message(1, W().Bytes(8, "\xC3\x28")).Uint(2, 7),
                  "tarn.Product.display_price");
}

// What a sign shows, and how.
void Content(Corpus& corpus) {
  corpus.Valid("Dimming", "negative_int32_takes_ten_bytes",
               Hex("10 FF FF FF FF FF FF FF FF FF 01"));
  corpus.Valid("Dimming", "smallest_level_above_the_largest",
               W().Int(3, 90).Int(4, 10));
  corpus.Accepted(
      "Dimming", "two_messages_in_a_row_are_merged",
      W().Bytes(1, "auto").Int(2, 40).Int(4, 90).Int(2, 50).Int(3, 5),
      W().Bytes(1, "auto").Int(2, 50).Int(3, 5).Int(4, 90));
  corpus.Rejected("Dimming", "byte_ff_in_mode", W().Bytes(1, "\xFF"),
                  "tarn.Dimming.mode");
  corpus.Valid("Frame", "number_and_hold_time", Hex("08 03 10 05"));
  corpus.Valid("Frame", "negative_hold_time", W().Int(2, -5));
  corpus.Valid("Frames", "one_frame", Hex("0A 04 08 03 10 05"));
  corpus.Valid("Frames", "empty_frame_is_written", Hex("0A 00"));
  corpus.Valid("Frames", "frames_of_the_same_number",
               W().Message(1, W().Int(1, 2)).Message(1, W().Int(1, 2)));
  corpus.Accepted("Frames", "frames_apart_are_one_list",
                  Hex("0A 02 08 01 10 07 0A 02 08 02"),
                  Hex("0A 02 08 01 0A 02 08 02 10 07"));
  corpus.Rejected("Frames", "malformed_frame", Hex("0A 02 08 01 0A 01 08"),
                  "truncated");
  corpus.Valid("Font", "undeclared_style_is_kept", Hex("08 07"));
  corpus.Valid("Font", "negative_style_takes_ten_bytes",
               Hex("08 FF FF FF FF FF FF FF FF FF 01"));
  corpus.Accepted("Font", "style_keeps_its_low_32_bits",
                  Hex("08 84 80 80 80 F0 FF FF FF FF 01"), Hex("08 04"));
  corpus.Accepted("Font", "style_unknown_is_not_written_back", Hex("08 00"),
                  W());
  corpus.Valid("DisplayMsg", "empty_text_in_a_list_is_written",
               Hex("0A 00 0A 04 6F 70 65 6E"));
  corpus.Valid("DisplayMsg", "same_text_twice",
               W().Bytes(1, "open").Bytes(1, "open"));
  corpus.Rejected("DisplayMsg", "invalid_utf8_in_the_second_text",
                  W().Bytes(1, "open").Bytes(1, "\xED\xBF\xBF"),
                  "tarn.DisplayMsg.messages");
}

// Tests, calibration, signal strengths, files, radios.
void Service(Corpus& corpus) {
  corpus.Accepted("TestUpdateMsg", "pass_of_two_is_true", Hex("10 02"),
                  Hex("10 01"));
  corpus.Valid("ModCalMsg", "negative_numbers",
               W().Int(1, -1).Int(2, -2).Int(3, -3));
  corpus.Valid("DisplayTPat", "negative_int32_takes_ten_bytes",
               Hex("08 FF FF FF FF FF FF FF FF FF 01"));
  corpus.Valid("ClientRadioConfigMsg", "negative_channel", W().Int(3, -1));
  corpus.Valid("RenameRadio", "success_alone", Hex("08 01"));
  corpus.Valid("RenameRadio", "port_of_digits_stays_text",
               W().Bytes(4, "00502"));

  const auto strength = [](uint32_t bits) { return W().Fixed32(2, bits); };
  corpus.Valid("ClientStatusMsg", "signal_strength", Hex("15 00 00 2A C2"));
  corpus.Valid("ClientStatusMsg", "both_signal_strengths",
               Hex("15 00 00 2A C2 1D 00 00 80 3F"));
  corpus.Valid("ClientStatusMsg", "negative_zero_is_written",
               Hex("15 00 00 00 80"));
  corpus.Valid("ClientStatusMsg", "infinity", strength(0x7F800000));
  corpus.Valid("ClientStatusMsg", "negative_infinity", strength(0xFF800000));
  corpus.Valid("ClientStatusMsg", "not_a_number", strength(0x7FC00000));
  corpus.Valid("ClientStatusMsg", "largest_float", strength(0x7F7FFFFF));
  corpus.Valid("ClientStatusMsg", "smallest_normal_float",
               strength(0x00800000));
  corpus.Valid("ClientStatusMsg", "smallest_float", strength(0x00000001));
  corpus.Valid("ClientStatusMsg", "float_of_many_digits", strength(0x3DCCCCCD));
  corpus.Accepted("ClientStatusMsg", "nan_payload_is_kept",
                  strength(0x7FC12345));
  corpus.Accepted("ClientStatusMsg", "signalling_nan_is_kept",
                  strength(0x7F800001));
  corpus.Accepted("ClientStatusMsg", "negative_nan_is_kept",
                  strength(0xFFC00000));
  corpus.Accepted("ClientStatusMsg", "positive_zero_is_not_written_back",
                  strength(0), W());
  corpus.Accepted("ClientStatusMsg", "later_zero_wins",
                  W().Float(2, 1.5f).Float(2, 0), W());
  corpus.Accepted("ClientStatusMsg", "strength_as_varint_is_unknown",
                  Hex("10 05"));
  corpus.Accepted("ClientStatusMsg", "strength_as_fixed64_is_unknown",
                  W().Fixed64(2, 5));
  corpus.Rejected("ClientStatusMsg", "float_of_three_bytes", Hex("15 00 00 2A"),
                  "truncated");
  corpus.Rejected("ClientStatusMsg", "float_without_bytes", Hex("15"),
                  "truncated");

  corpus.Valid("FileMessage", "bytes_that_are_not_utf8", Hex("12 03 FF 00 FE"));
  corpus.Valid("FileMessage", "bytes_like_a_byte_order_mark",
               Hex("12 03 FF FE 00"));
  corpus.Valid("FileMessage", "bytes_that_no_text_may_hold",
               Hex("12 02 C3 28"));
  Writer every_byte;
  for (int byte = 0; byte < 256; ++byte) {
    every_byte.Raw(std::string(1, static_cast<char>(byte)));
  }
  corpus.Valid("FileMessage", "every_byte", W().Message(2, every_byte));
  corpus.Accepted("FileMessage", "empty_file_is_not_written_back", Hex("12 00"),
                  W());
  corpus.Accepted("FileMessage", "last_bytes_win", Hex("12 01 FF 12 01 FE"),
                  Hex("12 01 FE"));
  corpus.Rejected("FileMessage", "name_like_a_byte_order_mark",
                  Hex("0A 03 FF FE 00"), "tarn.FileMessage.fileName");
}

// The status record of a module, and the hardware catalogue.
void Hardware(Corpus& corpus) {
  corpus.Valid("GetStatusModule", "key_of_two_bytes", Hex("80 01 01"));
  corpus.Valid("GetStatusModule", "flag_under_a_key_of_two_bytes",
               Hex("98 01 01"));
  corpus.Valid("GetStatusModule", "negative_int32_takes_ten_bytes",
               Hex("88 01 FF FF FF FF FF FF FF FF FF 01"));
  corpus.Valid("GetStatusModule", "empty_dimming_is_written", Hex("5A 00"));
  corpus.Valid("GetStatusModule", "frame_count_unlike_the_frames",
               W().Int(10, 3).Message(12, W().Int(1, 1)).Message(12, W()));
  corpus.Accepted("GetStatusModule", "two_dimmings_are_merged",
                  W().Message(11, W().Int(1, 1).Int(5, 40))
                      .Message(11, W().Int(2, 10).Int(5, 50)),
                  W().Message(11, W().Int(1, 1).Int(2, 10).Int(5, 50)));
  corpus.Accepted(
      "GetStatusModule", "frames_apart_are_one_list",
      W().Message(12, W().Int(1, 1)).Int(13, 5).Message(12, W().Int(1, 2)),
      W().Message(12, W().Int(1, 1)).Message(12, W().Int(1, 2)).Int(13, 5));
  corpus.Accepted("GetStatusModule", "flag_as_bytes_is_unknown",
                  W().Bytes(19, "\1"));
  corpus.Accepted("GetStatusModule", "number_as_fixed32_is_unknown",
                  W().Fixed32(16, 1).Int(16, 2), W().Int(16, 2).Fixed32(16, 1));
  corpus.Accepted("GetStatusModule", "field_20_is_unknown",
                  W().Int(20, 1).Int(19, 1), W().Int(19, 1).Int(20, 1));
  // 272 is 256 more than 16: a key whose low byte is that of another field.
  corpus.Accepted("GetStatusModule", "number_that_ends_like_another",
                  W().Int(34, 1).Int(272, 2));
  corpus.Rejected("GetStatusModule", "malformed_dimming",
                  W().Message(11, Hex("08")), "truncated");
  corpus.Rejected("GetStatusModule", "invalid_utf8_in_a_frame",
                  W().Message(12, W().Bytes(6, "\xC3\x28")),
                  "tarn.FrameData.productIDString");
  corpus.Valid("FrameData", "undeclared_window_type_is_kept", Hex("18 05"));
  corpus.Valid("FrameData", "negative_window_type_takes_ten_bytes",
               W().Int(3, -1));
  corpus.Valid("DimmingValues", "negative_int32_takes_ten_bytes",
               W().Int(6, -40));

  corpus.Valid("HwIdRowInfo", "truth_table", Hex("42 03 01 00 01"));
  corpus.Valid("HwIdRowInfo", "negative_zero_is_written",
               Hex("3D 00 00 00 80"));
  corpus.Accepted("HwIdRowInfo", "unpacked_truth_table_is_read_as_a_list",
                  Hex("40 01 40 00 40 01"), Hex("42 03 01 00 01"));
  corpus.Accepted("HwIdRowInfo", "packed_and_unpacked_entries_append",
                  Hex("42 02 01 00 40 01 42 01 00"), Hex("42 04 01 00 01 00"));
  corpus.Accepted("HwIdRowInfo", "entry_of_two_is_true", Hex("42 01 02"),
                  Hex("42 01 01"));
  corpus.Accepted("HwIdRowInfo", "overlong_entries_take_one_byte",
                  Hex("42 05 80 00 81 80 00"), Hex("42 02 00 01"));
  corpus.Accepted("HwIdRowInfo", "zero_pitch_is_not_written_back",
                  Hex("3D 00 00 00 00"), W());
  corpus.Accepted("HwIdRowInfo", "pitch_as_varint_is_unknown", Hex("38 0A"));
  corpus.Accepted("HwIdRowInfo", "text_as_varint_is_unknown", Hex("08 01"));
  corpus.Rejected("HwIdRowInfo", "truth_table_runs_past_the_end",
                  Hex("42 04 01 00"), "length_past_end");
  corpus.Rejected("HwIdRowInfo", "pitch_of_three_bytes", Hex("3D 00 00 00"),
                  "truncated");
  corpus.Accepted("HwIdGroups", "interleaved_lists_are_grouped",
                  W().Message(3, W().Int(3, 1))
                      .Message(1, W().Bytes(1, "a"))
                      .Message(2, W().Bytes(2, "red"))
                      .Message(3, W().Int(3, 2))
                      .Message(1, W().Bytes(1, "b")),
                  W().Message(1, W().Bytes(1, "a"))
                      .Message(1, W().Bytes(1, "b"))
                      .Message(2, W().Bytes(2, "red"))
                      .Message(3, W().Int(3, 1))
                      .Message(3, W().Int(3, 2)));
  corpus.Valid("DisplaySizeRef", "two_high_by_three_wide", Hex("08 02 10 03"));
  corpus.Valid("CabinetAssemblyConfiguration", "two_high_by_three_wide",
               Hex("10 03 18 02"));
  corpus.Valid("CabinetAssemblyConfiguration", "undeclared_type_is_kept",
               Hex("32 01 03"));
  corpus.Accepted("CabinetAssemblyConfiguration",
                  "unpacked_types_are_read_as_a_list", Hex("30 00 30 01"),
                  Hex("32 02 00 01"));
  corpus.Accepted("CabinetAssemblyConfiguration",
                  "packed_and_unpacked_types_append",
                  W().Int(6, -1).Packed(6, {3, 1}), W().Packed(6, {-1, 3, 1}));
  corpus.Valid("CabinetAssemblyConfigurations",
               "empty_configuration_is_written", Hex("0A 00"));
}

// A chain of `depth` messages, each inside the one before: nodes and servers
// in turn, below a list of nodes.
Writer Chain(int depth) {
  Writer chain;
  for (; depth > 0; --depth) {
    // Odd levels are nodes; below a server its children, field 7.
    const int number = depth == 1 ? 1 : depth % 2 == 0 ? 1 : 7;
    chain = W().Message(number, chain);
  }
  return chain;
}

Writer Groups(int depth) {
  Writer groups;
  for (; depth > 0; --depth) groups = W().Group(15, groups);
  return groups;
}

// A server with a client, whose one sign has two modules; and a direct
// connection.
Writer SmallNetwork() {
  const Writer record = W().Bytes(1, "panel-16").Int(14, 293).Int(19, 1);
  const Writer first = W().Bytes(1, "module-1")
                           .Bytes(2, "panel-16")
                           .Int(3, 1)
                           .Message(10, record);
  const Writer second =
      W().Bytes(1, "module-2").Bytes(2, "panel-16").Int(3, 2).Int(11, 1);
  const Writer assembly =
      W().Bytes(1, "panel-16").Int(2, 2).Int(3, 1).Int(4, 2).Packed(6, {0, 1});
  const Writer sign = W().Bytes(1, "upper sign")
                          .Int(2, 2)
                          .Int(3, 1)
                          .Bytes(4, "display-1")
                          .Int(5, 1)
                          .Message(6, W().Int(1, 4).Int(2, 1))
                          .Message(7, W().Message(4, first))
                          .Message(7, W().Message(4, second))
                          .Message(8, assembly);
  const Writer client = W().Bytes(1, "north")
                            .Int(2, 1)
                            .Bytes(4, "client-1")
                            .Message(7, W().Message(3, sign));
  const Writer server = W().Bytes(1, "yard")
                            .Int(2, 1)
                            .Bytes(4, "server-1")
                            .Message(7, W().Message(2, client))
                            .Int(9, 12)
                            .Int(10, 3);
  const Writer status = W().Bytes(1, "panel-8").Int(19, 1);
  const Writer direct = W().Bytes(1, "gate")
                            .Int(2, 1)
                            .Bytes(4, "direct-1")
                            .Message(5, W().Message(6, status))
                            .Bytes(6, "4001")
                            .Int(7, 1);
  return W()
      .Message(1, W().Message(1, server))
      .Message(1, W().Message(5, direct));
}

// The tree of nodes.
void Network(Corpus& corpus) {
  for (const Field& kind : reference::TypeNamed("ChildTypes").fields) {
    corpus.Valid("ChildTypes", "empty_" + kind.name + "_is_written",
                 W().Bytes(kind.number, ""));
    corpus.Accepted("ChildTypes", kind.name + "_as_varint_is_unknown",
                    W().Int(kind.number, 1));
    corpus.Valid(
        "ChildTypes", "full_" + kind.name,
        W().Message(kind.number,
                    W().Raw(Encode(reference::Sample(*kind.type, 2)))));
  }
  const Writer name = W().Bytes(1, "north");
  const Writer child = W().Message(2, W().Bytes(1, "one"));
  const Writer other_child = W().Message(2, W().Bytes(1, "two"));
  corpus.Accepted(
      "ChildTypes", "second_kind_of_node_wins",
      W().Message(1, W().Message(7, child)).Message(3, W().Bytes(1, "sign")),
      W().Message(3, W().Bytes(1, "sign")));
  corpus.Accepted(
      "ChildTypes", "same_kind_of_node_is_merged",
      W().Message(1, W().Message(7, child))
          .Message(1, W().Bytes(1, "north").Message(7, other_child)),
      W().Message(
          1, W().Bytes(1, "north").Message(7, child).Message(7, other_child)));
  corpus.Accepted("ChildTypes", "kind_that_comes_back_starts_empty",
                  W().Message(1, name).Message(2, name).Message(1, W()),
                  W().Message(1, W()));
  corpus.Accepted("ChildTypes", "only_nodes_since_the_switch_are_merged",
                  W().Message(2, name)
                      .Message(1, name)
                      .Message(2, W().Int(2, 1))
                      .Message(2, W().Int(3, 1)),
                  W().Message(2, W().Int(2, 1).Int(3, 1)));
  corpus.Accepted("ChildTypes", "unknown_field_outlives_a_switch",
                  W().Message(1, name).Int(7, 1).Message(2, name),
                  W().Message(2, name).Int(7, 1));
  corpus.Accepted("ChildTypes", "wrong_wire_type_does_not_switch",
                  W().Message(1, name).Int(2, 5),
                  W().Message(1, name).Int(2, 5));
  corpus.Rejected("ChildTypes", "bad_node_that_a_switch_would_drop",
                  W().Message(1, W().Bytes(1, "\xFF")).Message(2, name),
                  "tarn.Server.name");

  corpus.Valid("Server", "undeclared_status_is_kept", Hex("10 E8 07"));
  corpus.Valid("Server", "first_undeclared_status_is_kept", Hex("10 0C"));
  corpus.Valid("Server", "negative_status_takes_ten_bytes", W().Int(2, -1));
  corpus.Valid("Server", "negative_network_and_channel",
               W().Int(9, -1).Int(10, -2147483648LL));
  corpus.Valid("Server", "children_of_every_kind",
               W().Message(7, W().Bytes(1, ""))
                   .Message(7, W().Bytes(2, ""))
                   .Message(7, W().Bytes(3, ""))
                   .Message(7, W().Bytes(4, ""))
                   .Message(7, W().Bytes(5, ""))
                   .Message(7, W().Bytes(6, ""))
                   .Message(7, W()));
  corpus.Accepted("Server", "status_by_high_bits", Hex("10 82 80 80 80 50"),
                  Hex("10 02"));
  corpus.Accepted(
      "Server", "children_around_other_fields",
      W().Message(7, child).Bytes(1, "north").Message(7, other_child),
      W().Bytes(1, "north").Message(7, child).Message(7, other_child));
  corpus.Valid("Display", "undeclared_subtype_is_kept", Hex("28 07"));
  corpus.Valid("Display", "empty_assembly_is_written", Hex("42 00"));
  corpus.Accepted(
      "Display", "two_assemblies_are_merged",
      W().Message(8, W().Bytes(1, "p1").Packed(6, {0}))
          .Message(8, W().Int(4, 6).Packed(6, {1})),
      W().Message(8, W().Bytes(1, "p1").Int(4, 6).Packed(6, {0, 1})));
  corpus.Valid("Module", "status_is_field_3_and_error_field_11",
               Hex("18 02 58 01"));
  corpus.Valid("Module", "empty_status_record_is_written", Hex("52 00"));
  corpus.Valid("Module", "negative_addresses",
               W().Int(4, -1).Int(5, -2).Int(6, -3));
  corpus.Valid("FrameContent", "negative_numbers",
               W().Int(1, -1).Int(2, -1).Int(3, -1));
  corpus.Valid("DisplayConfigMsg", "empty_display_is_written", Hex("0A 00"));
  corpus.Accepted("DisplayConfigMsg", "two_displays_are_merged",
                  W().Message(1, W().Bytes(1, "a").Message(7, child))
                      .Bytes(2, "u")
                      .Message(1, W().Bytes(1, "b").Int(2, 1)),
                  W().Message(1, W().Bytes(1, "b").Int(2, 1).Message(7, child))
                      .Bytes(2, "u"));
  corpus.Valid("ModsAvailable", "empty_node_is_written", Hex("0A 00"));

  corpus.Valid("ModsConfigured", "small_network", SmallNetwork());
  // The printers of JSON give up at 64 levels.
  corpus.Valid("ModsAvailable", "sixty_levels", Chain(60));
  corpus.Accepted("ModsAvailable", "one_hundred_levels", Chain(100));
  corpus.RuntimeLimit("depth");
  corpus.Rejected("ModsAvailable", "one_hundred_and_one_levels", Chain(101),
                  "too_deep");
  corpus.RuntimeLimit("depth");
  corpus.Accepted("ModsAvailable", "two_deep_chains",
                  W().Raw(Chain(100).bytes()).Raw(Chain(100).bytes()));
  corpus.RuntimeLimit("depth");
  corpus.Rejected(
      "ModsAvailable", "invalid_utf8_below_every_level",
      W().Message(
          1, W().Message(
                 1, W().Message(7, W().Message(3, W().Bytes(4, "\xC3\x28"))))),
      "tarn.Display.uuid");
  corpus.Accepted("BaseMsg", "one_hundred_groups", Groups(100));
  corpus.RuntimeLimit("depth");
  corpus.Rejected("BaseMsg", "one_hundred_and_one_groups", Groups(101),
                  "too_deep");
  corpus.RuntimeLimit("depth");
  corpus.Accepted("Prices", "group_counts_below_a_message",
                  W().Message(1, Groups(99)));
  corpus.RuntimeLimit("depth");
  corpus.Rejected("Prices", "group_too_deep_below_a_message",
                  W().Message(1, Groups(100)), "too_deep");
  corpus.RuntimeLimit("depth");
}

// Reports of the whole network, and the cash and credit messages.
void Reports(Corpus& corpus) {
  const auto entry = [](std::string_view key, int value) {
    return W().Bytes(1, key).Int(2, value);
  };
  corpus.Valid("NetworkStatusReport", "keys_in_order_of_their_bytes",
               W().Message(1, entry("B", 1))
                   .Message(1, entry("a", 2))
                   .Message(1, entry("b", 3)));
  corpus.Valid("NetworkStatusReport", "keys_beyond_ascii_come_last",
               W().Message(2, entry("z", 1))
                   .Message(2, entry("\xC3\xA4", 2))
                   .Message(2, entry("\xEF\xBF\xBD", 3))
                   .Message(2, entry("\xF0\x9F\x9A\xA9", 4)));
  corpus.Valid("NetworkStatusReport", "same_key_in_both_maps",
               W().Message(1, entry("a", 1)).Message(2, entry("a", 2)));
  corpus.Valid("NetworkStatusReport", "empty_key_and_zero_are_written",
               Hex("0A 04 0A 00 10 00"));
  corpus.Valid("NetworkStatusReport", "undeclared_status_is_kept",
               W().Message(1, entry("a", 99)).Int(3, 12));
  corpus.Valid("NetworkStatusReport", "negative_status_takes_ten_bytes",
               W().Message(1, entry("a", -1)).Int(3, -1));
  corpus.Accepted("NetworkStatusReport", "last_value_of_a_key_wins",
                  W().Message(1, entry("a", 1)).Message(1, entry("a", 2)),
                  W().Message(1, entry("a", 2)));
  corpus.Accepted(
      "NetworkStatusReport", "two_reports_in_a_row_are_merged",
      W().Message(2, entry("x", 11))
          .Message(2, entry("y", 1))
          .Int(3, 11)
          .Message(2, entry("x", 9)),
      W().Message(2, entry("x", 9)).Message(2, entry("y", 1)).Int(3, 11));
  corpus.Accepted("NetworkStatusReport", "zero_lifecycle_is_not_written_back",
                  W().Int(3, 0), W());
  corpus.Accepted("NetworkStatusReport", "keys_are_sorted",
                  W().Message(1, entry("b", 3))
                      .Message(1, entry("a", 2))
                      .Message(1, entry("B", 1)),
                  W().Message(1, entry("B", 1))
                      .Message(1, entry("a", 2))
                      .Message(1, entry("b", 3)));
  corpus.Accepted("NetworkStatusReport", "key_without_a_value_is_unused",
                  W().Message(1, W().Bytes(1, "a")),
                  W().Message(1, entry("a", 0)));
  corpus.Accepted("NetworkStatusReport",
                  "value_without_a_key_has_the_empty_key",
                  W().Message(1, W().Int(2, 5)), W().Message(1, entry("", 5)));
  corpus.Accepted("NetworkStatusReport", "empty_entry", W().Message(2, W()),
                  W().Message(2, entry("", 0)));
  corpus.Accepted("NetworkStatusReport", "value_before_the_key",
                  W().Message(1, W().Int(2, 5).Bytes(1, "a")),
                  W().Message(1, entry("a", 5)));
  corpus.Accepted(
      "NetworkStatusReport", "last_key_and_value_of_an_entry_win",
      W().Message(1, W().Bytes(1, "a").Int(2, 1).Bytes(1, "b").Int(2, 2)),
      W().Message(1, entry("b", 2)));
  corpus.Accepted(
      "NetworkStatusReport", "unknown_field_of_an_entry_is_dropped",
      W().Message(1, W().Bytes(1, "a").Fixed64(3, 1).Int(2, 1).Group(
                         4, W().Bytes(1, "x"))),
      W().Message(1, entry("a", 1)));
  corpus.Accepted("NetworkStatusReport", "key_as_varint_is_dropped",
                  W().Message(1, W().Int(1, 7).Int(2, 1)),
                  W().Message(1, entry("", 1)));
  corpus.Accepted("NetworkStatusReport", "value_keeps_its_low_32_bits",
                  W().Message(1, W().Bytes(1, "a").Uint(2, (9ull << 32) + 2)),
                  W().Message(1, entry("a", 2)));
  corpus.Accepted("NetworkStatusReport", "map_as_varint_is_unknown",
                  W().Int(1, 1).Int(3, 2), W().Int(3, 2).Int(1, 1));
  corpus.Rejected("NetworkStatusReport", "entry_is_cut_off",
                  Hex("0A 03 0A 01 61 0A 04 0A 01 61"), "length_past_end");
  corpus.Rejected("NetworkStatusReport", "key_runs_out_of_its_entry",
                  Hex("0A 03 0A 05 61 62 63 64"), "length_past_record");
  corpus.Rejected("NetworkStatusReport", "value_runs_out_of_its_entry",
                  Hex("0A 02 10 80 01"), "truncated");
  corpus.Rejected("NetworkStatusReport", "zero_key_in_an_entry",
                  Hex("0A 04 0A 01 61 00"), "zero_key");
  corpus.Rejected("NetworkStatusReport", "end_group_in_an_entry",
                  Hex("0A 04 0A 01 61 0C"), "end_group");
  corpus.Rejected("NetworkStatusReport", "wire_type_7_in_an_entry",
                  Hex("0A 02 1F 01"), "bad_wire_type");
  corpus.Rejected("NetworkStatusReport", "invalid_key_that_is_overwritten",
                  W().Message(1, W().Bytes(1, "\xFF").Bytes(1, "a")),
                  "tarn.NetworkStatusReport.StatusPacketEntry.key");

  corpus.Valid("AddressingStatus", "code_is_a_plain_number",
               W().Int(1, -7).Int(2, 40).Int(3, 2));
  corpus.Valid("AddressingStatus", "lists_of_nodes_in_order",
               W().Message(4, W().Message(1, W().Bytes(4, "")))
                   .Message(4, W())
                   .Message(4, W().Message(1, W()).Message(1, W())));
  corpus.Valid("CCMsgDefinitions", "negative_zero_is_written",
               Hex("15 00 00 00 80"));
  corpus.Valid("CCMsgDefinitions", "empty_message_in_a_list_is_written",
               W().Bytes(3, "cash").Bytes(3, "").Bytes(3, "credit"));
  corpus.Accepted("CCMsgDefinitions", "zero_pitch_is_not_written_back",
                  Hex("15 00 00 00 00"), W());
  corpus.Accepted("CashCreditMsg", "sizes_in_any_order",
                  Hex("3A 00 0A 00 1A 00 12 00"),
                  Hex("0A 00 12 00 1A 00 3A 00"));
  corpus.Rejected("CashCreditMsg", "invalid_utf8_in_a_definition",
                  W().Message(7, W().Bytes(3, "\xC3\x28")),
                  "tarn.CCMsgDefinitions.messages");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_corpus DIRECTORY\n");
    return 2;
  }
  Corpus corpus(argv[1]);
  EveryMessage(corpus);
  EveryEnumValue(corpus);
  Application(corpus);
  UnknownFields(corpus);
  Malformed(corpus);
  Products(corpus);
  Content(corpus);
  Service(corpus);
  Hardware(corpus);
  Network(corpus);
  Reports(corpus);
  corpus.WriteRuntimeLimits();
  return corpus.failures() == 0 ? 0 : 1;
}
