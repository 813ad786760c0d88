// MSZIP-compressed .x bodies ("tzip", "bzip"). After the 16-byte header: a 32-bit total size
// of the uncompressed file (header included), then blocks of a 16-bit uncompressed size, a
// 16-bit compressed size that counts the "CK" signature, "CK", and one raw deflate stream.
// Every block may copy from the output before it, so each is inflated with the last 32 KiB
// of output as its preset dictionary.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vellmark::d3d {

// The uncompressed body (the bytes after the header) of a compressed file. `afterHeader`
// starts at the total-size field. Raises Error with result code kParseError when a block is cut short,
// lacks its signature, does not inflate to its stated size, or the blocks together do not
// give the stated total.
std::vector<std::uint8_t> inflateMszipBody(std::span<const std::uint8_t> afterHeader);

}  // namespace vellmark::d3d
