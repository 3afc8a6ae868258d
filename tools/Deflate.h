// A zlib stream for filtered picture rows.
#pragma once

#include <cstddef>

namespace pellucid {

// Room the output of imageDeflate needs for `size` bytes of input.
size_t imageDeflateBound(size_t size);

// Compresses `size` bytes of rows `rowBytes` apart (filter byte included), with pixels of
// `pixelBytes`, into a zlib stream (RFC 1950/1951) in `out`; answers its length.
//
// The scheme: a picture repeats itself one byte back (runs), one pixel back (flat colour) and one
// row back (vertical structure), so those three distances are the only matches tried: a few
// 8-byte compares a position instead of a hash table. Each block of input gets Huffman codes
// built from its own counts; a block that would come out larger than its input is stored.
size_t imageDeflate(const unsigned char* data, size_t size, size_t rowBytes, size_t pixelBytes,
                    unsigned char* out);

}  // namespace pellucid
