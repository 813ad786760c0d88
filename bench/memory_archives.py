#!/usr/bin/env python3
"""Writes the course archives the memory benchmark reads, into FOLDER:
  big.arc      about 500 MB: 90 members of random bytes and 6 of 24 MB that compress well
  garbage.arc  one member of 4 MB of random bytes that declares 4 GiB - 1 when inflated
  sky.lib      the same member named as a panorama's sky
usage: memory_archives.py FOLDER"""
import os
import struct
import sys
import zlib


def write_archive(path, members):
    """members: (name, compressed bytes, inflated size) in archive order."""
    with open(path, "wb") as f:
        f.write(bytes(16))
        records, offset = [], 16
        for name, compressed, size in members:
            f.write(compressed)
            records.append((name, offset, len(compressed), size))
            offset += len(compressed)
        for name, at, length, size in records:
            f.write(struct.pack("<I32sIIII12x", 0, name.encode(), at, length, size, 2))
        f.seek(0)
        f.write(struct.pack("<4sIII", b"ARC0", offset + 64 * len(records), len(records), offset))


def main():
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    members = []
    for i in range(96):
        if i % 16 == 5:
            data = b"".join(b"row %08d of a compressible member\n" % j for j in range(24 << 20 >> 5))[: 24 << 20]
        else:
            data = os.urandom(5 << 20)
        members.append(("m%02d.bin" % i, zlib.compress(data, 1), len(data)))
    write_archive(os.path.join(folder, "big.arc"), members)
    garbage = os.urandom(4 << 20)
    write_archive(os.path.join(folder, "garbage.arc"), [("garbage.bin", garbage, 0xFFFFFFFF)])
    write_archive(os.path.join(folder, "sky.lib"), [("sky.btc", garbage, 0xFFFFFFFF)])


if __name__ == "__main__":
    main()
