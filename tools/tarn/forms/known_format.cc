// Recognizes formats by their first bytes, and packets by their lengths.
#include "known_format.h"

#include <cstddef>
#include <utility>

namespace tarn::tool {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kPackets =
    "Wireshark shows the messages in packets, with the package tarn-wireshark";

unsigned At(std::string_view bytes, size_t offset) {
  return static_cast<unsigned char>(bytes[offset]);
}

unsigned Word(std::string_view bytes, size_t offset) {
  return At(bytes, offset) << 8 | At(bytes, offset + 1);
}

// The sum over the header of IPv4, with its checksum, is this.
bool HasRightChecksum(std::string_view header) {
  unsigned sum = 0;
  for (size_t at = 0; at < header.size(); at += 2) sum += Word(header, at);
  return (sum & 0xFFFF) + (sum >> 16) == 0xFFFF;
}

// Whether bytes are a packet of IP: its header says how many bytes it has.
bool IsInternetPacket(std::string_view bytes) {
  constexpr size_t kLeast = 20;
  constexpr size_t kSix = 40;  // the header of IPv6
  if (bytes.size() < kLeast) return false;
  const unsigned version = At(bytes, 0) >> 4;
  if (version == 6 && bytes.size() >= kSix) {
    return Word(bytes, 4) + kSix == bytes.size();
  }
  const size_t header = 4 * (At(bytes, 0) & 15);
  return version == 4 && header >= kLeast && header <= bytes.size() &&
         (Word(bytes, 2) == bytes.size() ||
          HasRightChecksum(bytes.substr(0, header)));
}

// With or without the header of Ethernet.
bool IsPacket(std::string_view bytes) {
  constexpr size_t kEthernet = 14;
  if (IsInternetPacket(bytes)) return true;
  if (bytes.size() < kEthernet) return false;
  const unsigned kind = Word(bytes, kEthernet - 2);
  return (kind == 0x0800 || kind == 0x86DD) &&
         IsInternetPacket(bytes.substr(kEthernet));
}

// Whether bytes are ASCII with a zero after each.
bool IsWide(std::string_view bytes) {
  constexpr size_t kLooked = 16;
  size_t ascii = 0;
  while (ascii + 2 <= bytes.size() && bytes[ascii] != 0 &&
         bytes[ascii + 1] == 0) {
    ascii += 2;
  }
  return ascii >= kLooked;
}

}  // namespace

KnownFormat KnownFormatOf(std::string_view bytes) {
  constexpr std::pair<std::string_view, KnownFormat> kFormats[] = {
      {"\x1F\x8B"sv, {"compressed by gzip", "gunzip -c", ""}},
      {"\x28\xB5\x2F\xFD"sv, {"compressed by zstd", "zstd -dc", ""}},
      {"\xFD\x37zXZ"sv, {"compressed by xz", "xz -dc", ""}},
      {"BZh"sv, {"compressed by bzip2", "bunzip2 -c", ""}},
      {"PK\x03\x04"sv, {"a zip archive", "unzip -p", ""}},
      {"\xD4\xC3\xB2\xA1"sv, {"a capture of packets (pcap)", "", kPackets}},
      {"\xA1\xB2\xC3\xD4"sv, {"a capture of packets (pcap)", "", kPackets}},
      {"\x4D\x3C\xB2\xA1"sv, {"a capture of packets (pcap)", "", kPackets}},
      {"\xA1\xB2\x3C\x4D"sv, {"a capture of packets (pcap)", "", kPackets}},
      {"\x0A\x0D\x0D\x0A"sv, {"a capture of packets (pcapng)", "", kPackets}},
      {"\xFF\xFE"sv, {"text in UTF-16", "iconv -f UTF-16", ""}},
      {"\xFE\xFF"sv, {"text in UTF-16", "iconv -f UTF-16", ""}}};
  for (const auto& [start, format] : kFormats) {
    if (bytes.substr(0, start.size()) == start) return format;
  }
  if (IsWide(bytes)) return {"text in UTF-16", "iconv -f UTF-16LE", ""};
  if (IsPacket(bytes)) return {"a packet of a network", "", kPackets};
  return {};
}

std::string WordsOf(const KnownFormat& format) {
  std::string words(format.what);
  if (!format.filter.empty()) {
    words += "; " + std::string(format.filter) + " makes it readable";
  }
  if (!format.advice.empty()) words += "; " + std::string(format.advice);
  return words;
}

}  // namespace tarn::tool
