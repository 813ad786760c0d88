// The two forms in which the program prints a course archive's listing.
#pragma once

#include <string>
#include <vector>

#include "archive/archive_members.h"

namespace vellmark {

// A column-aligned table with a heading, one line per record (index, name, data offset,
// compressed size, uncompressed size, storage kind, member kind) and a total line.
// Bytes of a name outside printable ASCII are shown as \xNN, so a hostile name cannot
// move the cursor or break the columns.
std::string listingTable(const std::vector<MemberListing>& listing);

// The same records as a JSON array of objects with the keys index, name, offset,
// compressedSize, uncompressedSize, storageKind and kind. Name bytes above 0x7F are taken
// as Latin-1 (\u00NN), so the text is valid JSON whatever the archive holds.
std::string listingJson(const std::vector<MemberListing>& listing);

}  // namespace vellmark
