#include "archive/listing_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "base/file_names.h"

namespace vellmark {

namespace {

std::string jsonString(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c >= 0x20 && c < 0x7F) {
      out += static_cast<char>(c);
    } else {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\u%04X", c);
      out += hex;
    }
  }
  return out + "\"";
}

enum class Align { Left, Right };

}  // namespace

std::string listingTable(const std::vector<MemberListing>& listing) {
  constexpr std::size_t kColumns = 7;
  using Row = std::array<std::string, kColumns>;
  const Row heading = {"index", "name", "offset", "compressed", "uncompressed", "storage", "kind"};
  const std::array<Align, kColumns> align = {Align::Right, Align::Left,  Align::Right, Align::Right,
                                             Align::Right, Align::Right, Align::Left};
  std::vector<Row> rows = {heading};
  std::uint64_t compressed = 0, uncompressed = 0;
  for (const auto& line : listing) {
    const auto& r = line.record;
    rows.push_back({std::to_string(line.index), printableName(r.name), std::to_string(r.dataOffset),
                    std::to_string(r.compressedSize), std::to_string(r.uncompressedSize),
                    std::to_string(r.storageKind), memberKindName(line.kind)});
    compressed += r.compressedSize;
    uncompressed += r.uncompressedSize;
  }
  std::array<std::size_t, kColumns> width{};
  for (const auto& row : rows)
    for (std::size_t c = 0; c < kColumns; ++c) width[c] = std::max(width[c], row[c].size());

  std::string out;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t c = 0; c < kColumns; ++c) {
      const std::string pad(width[c] - row[c].size(), ' ');
      if (c > 0) line += "  ";
      line += align[c] == Align::Right ? pad + row[c] : row[c] + pad;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out += line + '\n';
  }
  out += "total: " + std::to_string(listing.size()) + (listing.size() == 1 ? " member, " : " members, ") +
         std::to_string(compressed) + " bytes compressed, " + std::to_string(uncompressed) + " bytes uncompressed\n";
  return out;
}

std::string listingJson(const std::vector<MemberListing>& listing) {
  std::string out = "[";
  for (std::size_t i = 0; i < listing.size(); ++i) {
    const auto& line = listing[i];
    const auto& r = line.record;
    out += i ? ",\n  " : "\n  ";
    out += "{\"index\": " + std::to_string(line.index) + ", \"name\": " + jsonString(r.name) +
           ", \"offset\": " + std::to_string(r.dataOffset) + ", \"compressedSize\": " +
           std::to_string(r.compressedSize) + ", \"uncompressedSize\": " + std::to_string(r.uncompressedSize) +
           ", \"storageKind\": " + std::to_string(r.storageKind) + ", \"kind\": \"" + memberKindName(line.kind) +
           "\"}";
  }
  out += listing.empty() ? "]\n" : "\n]\n";
  return out;
}

}  // namespace vellmark
