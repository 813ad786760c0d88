// A course archive in memory through everything list and unpack do short of writing files:
// the directory, the listing and its two texts, the name checks, and every member inflated
// to its recorded size with the conversions.
#include <cstdint>
#include <vector>

#include "archive/archive_members.h"
#include "archive/listing_text.h"
#include "base/error.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // An exactly sized heap block, so that AddressSanitizer sees any overread.
  const std::vector<std::uint8_t> archive(data, data + size);
  try {
    const vellmark::ArchiveUnpacker unpacker(archive, true);
    const auto listing = vellmark::listArchive(archive, unpacker.directory());
    (void)vellmark::listingTable(listing);
    (void)vellmark::listingJson(listing);
    for (std::size_t i = 0; i < unpacker.memberCount(); ++i) {
      const auto member = unpacker.member(i);
      if (member.status == vellmark::UnpackedMember::Status::Ready &&
          member.data.size() != unpacker.directory().records[i].uncompressedSize)
        __builtin_trap();  // a ready member always has exactly its recorded size
    }
  } catch (const vellmark::Error&) {
  }
  return 0;
}
