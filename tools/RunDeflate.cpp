#include "RunDeflate.h"

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <queue>

namespace pellucid {
namespace {

constexpr size_t kBlockBytes = size_t{1} << 18;  // input a block's codes are fitted to
constexpr int kMinRun = 3, kMaxRun = 258;
constexpr int kEndOfBlock = 256;
constexpr int kLitLenSymbols = 286, kCodeLengthSymbols = 19;
constexpr int kMaxBits = 15, kMaxCodeLengthBits = 7;
// The order in which a dynamic block lists the code-length alphabet's lengths.
constexpr int kCodeLengthOrder[kCodeLengthSymbols] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                      11, 4,  12, 3, 13, 2, 14, 1, 15};

// Length symbol and extra bits of a match length 3..258.
struct LengthCode {
    uint16_t symbol;
    uint8_t extraBits;
    uint16_t extra;
};

constexpr std::array<LengthCode, kMaxRun + 1> lengthCodes() {
    constexpr int base[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                              31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
    constexpr int extra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                               2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
    std::array<LengthCode, kMaxRun + 1> codes{};
    for (int c = 0; c < 29; ++c)
        for (int len = base[c]; len <= kMaxRun && (c == 28 ? len == 258 : len < base[c + 1]); ++len)
            codes[static_cast<size_t>(len)] = {static_cast<uint16_t>(257 + c), static_cast<uint8_t>(extra[c]),
                                               static_cast<uint16_t>(len - base[c])};
    return codes;
}
constexpr std::array<LengthCode, kMaxRun + 1> kLengths = lengthCodes();

// Writes bits first bit first into a buffer sized for the worst case: eight bytes at a time, of
// which as many as are complete count.
class BitWriter {
  public:
    explicit BitWriter(unsigned char* out) : at_(out) {}
    void put(uint64_t bits, int count) {
        buffer_ |= bits << filled_;
        filled_ += count;
        std::memcpy(at_, &buffer_, 8);  // little-endian
        at_ += filled_ >> 3;
        buffer_ >>= filled_ & ~7;
        filled_ &= 7;
    }
    // Completes the last byte; answers the end of the output.
    unsigned char* finish() {
        if (filled_ > 0) *at_++ = static_cast<unsigned char>(buffer_);
        filled_ = 0;
        buffer_ = 0;
        return at_;
    }

  private:
    unsigned char* at_;
    uint64_t buffer_ = 0;
    int filled_ = 0;
};

// Code lengths of at most `limit` bits for `freq` (Huffman's, with the counts halved until they
// fit); every used symbol gets a code, and at least two symbols have one so that the code is
// complete.
template <size_t N>
std::array<uint8_t, N> codeLengths(std::array<uint32_t, N> freq, int limit) {
    std::array<uint8_t, N> lengths{};
    for (size_t s = 0, used = static_cast<size_t>(
                           std::count_if(freq.begin(), freq.end(), [](uint32_t f) { return f > 0; }));
         used < 2; ++s)
        if (freq[s] == 0) {
            freq[s] = 1;
            ++used;
        }
    for (;;) {
        struct Node {
            uint64_t weight;
            int index;
            bool operator>(const Node& o) const {
                return weight != o.weight ? weight > o.weight : index > o.index;
            }
        };
        std::vector<int> parent(2 * N, -1);
        std::priority_queue<Node, std::vector<Node>, std::greater<>> heap;
        for (size_t s = 0; s < N; ++s)
            if (freq[s] > 0) heap.push({freq[s], static_cast<int>(s)});
        int next = static_cast<int>(N);
        while (heap.size() > 1) {
            const Node a = heap.top();
            heap.pop();
            const Node b = heap.top();
            heap.pop();
            parent[static_cast<size_t>(a.index)] = parent[static_cast<size_t>(b.index)] = next;
            heap.push({a.weight + b.weight, next++});
        }
        int longest = 0;
        for (size_t s = 0; s < N; ++s) {
            int depth = 0;
            if (freq[s] > 0)
                for (int p = parent[s]; p >= 0; p = parent[static_cast<size_t>(p)]) ++depth;
            lengths[s] = static_cast<uint8_t>(depth);
            longest = std::max(longest, depth);
        }
        if (longest <= limit) return lengths;
        for (uint32_t& f : freq)
            if (f > 0) f = (f + 1) / 2;
    }
}

// Canonical codes for `lengths`, bit-reversed as deflate sends them first bit first.
template <size_t N>
std::array<uint16_t, N> codesFor(const std::array<uint8_t, N>& lengths) {
    int count[kMaxBits + 1] = {}, next[kMaxBits + 2] = {};
    for (uint8_t l : lengths) ++count[l];
    count[0] = 0;
    for (int bits = 1; bits <= kMaxBits; ++bits) next[bits + 1] = (next[bits] + count[bits]) << 1;
    std::array<uint16_t, N> codes{};
    for (size_t s = 0; s < N; ++s) {
        const int len = lengths[s];
        if (len == 0) continue;
        uint32_t code = static_cast<uint32_t>(next[len]++), reversed = 0;
        for (int i = 0; i < len; ++i, code >>= 1) reversed = reversed << 1 | (code & 1);
        codes[s] = static_cast<uint16_t>(reversed);
    }
    return codes;
}

// Bytes from `at` equal to data[at - 1], at most `limit`.
size_t runFrom(const unsigned char* data, size_t at, size_t limit) {
    const unsigned char b = data[at - 1];
    const uint64_t pattern = 0x0101010101010101ull * b;
    size_t n = 0;
    while (n + 8 <= limit) {
        uint64_t word;
        std::memcpy(&word, data + at + n, 8);
        const uint64_t diff = word ^ pattern;
        if (diff != 0) return n + static_cast<size_t>(__builtin_ctzll(diff) / 8);  // little-endian
        n += 8;
    }
    while (n < limit && data[at + n] == b) ++n;
    return n;
}

// A token: a literal byte (0..255) or a run (256 + its length). Answers the number of tokens in
// `tokens` (room for one a byte) and counts them in `counts`.
constexpr size_t kTokenKinds = 256 + kMaxRun + 1;
size_t tokenize(const unsigned char* data, size_t begin, size_t end, uint16_t* tokens,
                std::array<uint32_t, kTokenKinds>& counts) {
    counts.fill(0);
    uint16_t* t = tokens;
    size_t i = begin;
    while (i < end) {
        ++counts[*t++ = data[i++]];
        if (i >= end) break;
        size_t run = runFrom(data, i, end - i);
        for (; run >= kMinRun; i += std::min<size_t>(run, kMaxRun), run -= std::min<size_t>(run, kMaxRun))
            ++counts[*t++ = static_cast<uint16_t>(256 + std::min<size_t>(run, kMaxRun))];
        for (; run > 0; --run) ++counts[*t++ = data[i++]];
    }
    return static_cast<size_t>(t - tokens);
}

void writeBlock(const uint16_t* tokens, size_t count, const std::array<uint32_t, kTokenKinds>& counts,
                bool last, BitWriter& bits) {
    std::array<uint32_t, kLitLenSymbols> freq{};
    for (size_t t = 0; t < kTokenKinds; ++t) freq[t < 256 ? t : kLengths[t - 256].symbol] += counts[t];
    freq[kEndOfBlock] = 1;
    const auto litLengths = codeLengths(freq, kMaxBits);
    const auto litCodes = codesFor(litLengths);
    int litCount = kLitLenSymbols;
    while (litLengths[static_cast<size_t>(litCount - 1)] == 0) --litCount;

    // The lengths of both codes (one distance code, for distance 1) in the code-length alphabet:
    // 0..15 as they are, runs of zeros as 17 (3..10) or 18 (11..138).
    std::vector<uint8_t> all(litLengths.begin(), litLengths.begin() + litCount);
    all.push_back(1);
    std::vector<std::pair<uint8_t, uint8_t>> runs;  // symbol, extra
    for (size_t i = 0; i < all.size();) {
        size_t zeros = 0;
        while (i + zeros < all.size() && all[i + zeros] == 0 && zeros < 138) ++zeros;
        if (zeros >= 11) {
            runs.push_back({18, static_cast<uint8_t>(zeros - 11)});
        } else if (zeros >= 3) {
            runs.push_back({17, static_cast<uint8_t>(zeros - 3)});
        } else {
            runs.push_back({all[i], 0});
            zeros = 1;
        }
        i += zeros;
    }
    std::array<uint32_t, kCodeLengthSymbols> clFreq{};
    for (const auto& r : runs) ++clFreq[r.first];
    const auto clLengths = codeLengths(clFreq, kMaxCodeLengthBits);
    const auto clCodes = codesFor(clLengths);
    int clCount = kCodeLengthSymbols;
    while (clCount > 4 && clLengths[static_cast<size_t>(kCodeLengthOrder[clCount - 1])] == 0) --clCount;

    bits.put(last ? 1 : 0, 1);
    bits.put(2, 2);  // dynamic Huffman codes
    bits.put(static_cast<uint32_t>(litCount - 257), 5);
    bits.put(0, 5);  // one distance code
    bits.put(static_cast<uint32_t>(clCount - 4), 4);
    for (int i = 0; i < clCount; ++i) bits.put(clLengths[static_cast<size_t>(kCodeLengthOrder[i])], 3);
    for (const auto& [symbol, extra] : runs) {
        bits.put(clCodes[symbol], clLengths[symbol]);
        if (symbol == 17) bits.put(extra, 3);
        if (symbol == 18) bits.put(extra, 7);
    }
    // Every token's bits in one piece: a run is its length code, the extra bits and distance 1's
    // one-bit code (0).
    struct Piece {
        uint32_t bits;
        uint8_t count;
    };
    std::array<Piece, kTokenKinds> pieces{};
    for (size_t t = 0; t < 256; ++t) pieces[t] = {litCodes[t], litLengths[t]};
    for (size_t len = kMinRun; len <= kMaxRun; ++len) {
        const LengthCode& c = kLengths[len];
        pieces[256 + len] = {litCodes[c.symbol] | uint32_t{c.extra} << litLengths[c.symbol],
                             static_cast<uint8_t>(litLengths[c.symbol] + c.extraBits + 1)};
    }
    for (size_t i = 0; i < count; ++i) bits.put(pieces[tokens[i]].bits, pieces[tokens[i]].count);
    bits.put(litCodes[kEndOfBlock], litLengths[kEndOfBlock]);
}

}  // namespace

size_t runDeflateBound(size_t size) {
    // At most 15 bits a byte, and each block's codes.
    return 2 * size + (size / kBlockBytes + 1) * 512 + 16;
}

size_t runDeflate(const unsigned char* data, size_t size, unsigned char* out) {
    out[0] = 0x78;  // deflate, 32 KiB window
    out[1] = 0x01;  // fastest; the check bits make the pair a multiple of 31
    BitWriter bits(out + 2);
    thread_local std::vector<uint16_t> tokens(kBlockBytes);
    std::array<uint32_t, kTokenKinds> counts;
    size_t at = 0;
    do {
        const size_t end = std::min(size, at + kBlockBytes);
        const size_t n = tokenize(data, at, end, tokens.data(), counts);
        writeBlock(tokens.data(), n, counts, end == size, bits);
        at = end;
    } while (at < size);
    unsigned char* end = bits.finish();
    const uint32_t adler = libdeflate_adler32(1, data, size);
    for (int shift = 24; shift >= 0; shift -= 8) *end++ = static_cast<unsigned char>(adler >> shift);
    return static_cast<size_t>(end - out);
}

}  // namespace pellucid
