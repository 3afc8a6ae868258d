// A zlib stream of run-length matches only, for filtered picture rows.
#pragma once

#include <cstddef>

namespace pellucid {

// Compresses `data` into a zlib stream (RFC 1950/1951) whose only matches repeat the byte before
// (distance 1), with Huffman codes fitted to each block. Filtered camera pictures are mostly runs
// of one byte: this finds them as a full search would, at the cost of a scan.
// `out` holds runDeflateBound(size) bytes; answers how many were written.
size_t runDeflate(const unsigned char* data, size_t size, unsigned char* out);
size_t runDeflateBound(size_t size);

}  // namespace pellucid
