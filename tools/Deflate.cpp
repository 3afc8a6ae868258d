#include "Deflate.h"

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace pellucid {
namespace {

constexpr size_t kBlockBytes = size_t{1} << 16;
constexpr size_t kWindow = 32768;
constexpr size_t kMinMatch = 3, kMaxMatch = 258;
constexpr size_t kNearMatch = 5, kFarMatch = 8;  // shortest matches taken within a row, rows back
constexpr int kEndOfBlock = 256;
constexpr int kLitLenSymbols = 286, kDistSymbols = 30, kCodeLengthSymbols = 19;
constexpr int kMaxBits = 15, kMaxCodeLengthBits = 7;
constexpr int kCodeLengthOrder[kCodeLengthSymbols] = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                      11, 4,  12, 3, 13, 2, 14, 1, 15};
// A token is a literal byte (0..255) or a match: 256 + 256 * which distance + length - 3.
constexpr int kDistances = 6;
constexpr size_t kTokenKinds = 256 + 256 * kDistances;

struct Extra {
    uint16_t symbol;
    uint8_t bits;
    uint16_t value;
};

Extra lengthCode(size_t len) {
    constexpr uint16_t base[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                                   31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
    constexpr uint8_t extra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                   2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
    int c = 28;
    while (base[c] > len) --c;
    return {static_cast<uint16_t>(257 + c), extra[c], static_cast<uint16_t>(len - base[c])};
}

Extra distanceCode(size_t dist) {
    constexpr uint16_t base[kDistSymbols] = {1,    2,    3,    4,    5,    7,    9,    13,    17,    25,
                                             33,   49,   65,   97,   129,  193,  257,  385,   513,   769,
                                             1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
    int c = kDistSymbols - 1;
    while (base[c] > dist) --c;
    return {static_cast<uint16_t>(c), static_cast<uint8_t>(c < 4 ? 0 : c / 2 - 1),
            static_cast<uint16_t>(dist - base[c])};
}

uint64_t load64(const unsigned char* p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}

// Bits go out first bit first; eight bytes are stored each time and as many as are full kept, so
// the output needs 8 bytes of room beyond its end.
class BitWriter {
  public:
    explicit BitWriter(unsigned char* out) : at_(out) {}
    void put(uint64_t bits, int count) {
        buffer_ |= bits << filled_;
        filled_ += count;
        std::memcpy(at_, &buffer_, 8);  // little-endian
        at_ += filled_ >> 3;
        buffer_ = (filled_ & ~7) == 64 ? 0 : buffer_ >> (filled_ & ~7);
        filled_ &= 7;
    }
    // Pads to the next byte boundary; answers the end of the output.
    unsigned char* align() {
        if (filled_ > 0) *at_++ = static_cast<unsigned char>(buffer_);
        buffer_ = 0;
        filled_ = 0;
        return at_;
    }
    void putBytes(const unsigned char* data, size_t n) {
        std::memcpy(align(), data, n);
        at_ += n;
    }

  private:
    unsigned char* at_;
    uint64_t buffer_ = 0;
    int filled_ = 0;
};

// Code lengths of at most `limit` bits (Huffman's, the counts halved until they fit). At least two
// symbols get a code, so that every code is complete, as strict decoders want.
template <size_t N>
void codeLengths(const std::array<uint32_t, N>& counts, int limit, std::array<uint8_t, N>& lengths) {
    std::array<uint32_t, N> freq = counts;
    for (size_t s = 0, used = static_cast<size_t>(
                           std::count_if(freq.begin(), freq.end(), [](uint32_t f) { return f > 0; }));
         used < 2; ++s)
        if (freq[s] == 0) {
            freq[s] = 1;
            ++used;
        }
    struct Leaf {
        uint32_t weight;
        uint16_t symbol;
    };
    std::array<Leaf, N> leaves;
    std::array<uint32_t, N> weight;      // of the inner nodes, in the order they are made
    std::array<uint16_t, 2 * N> parent;  // leaves 0..m-1, inner nodes m..
    std::array<uint8_t, 2 * N> depth;
    for (;;) {
        size_t m = 0;
        for (size_t s = 0; s < N; ++s)
            if (freq[s] > 0) leaves[m++] = {freq[s], static_cast<uint16_t>(s)};
        std::sort(leaves.begin(), leaves.begin() + static_cast<ptrdiff_t>(m),
                  [](const Leaf& a, const Leaf& b) { return a.weight < b.weight; });
        // Two queues: the leaves in order, the inner nodes made in order of weight.
        size_t leaf = 0, inner = 0, made = 0;
        auto take = [&]() -> size_t {
            if (leaf < m && (inner == made || leaves[leaf].weight <= weight[inner])) return leaf++;
            return m + inner++;
        };
        auto weightOf = [&](size_t node) { return node < m ? leaves[node].weight : weight[node - m]; };
        for (; made + 1 < m;) {
            const size_t a = take(), b = take();
            weight[made] = weightOf(a) + weightOf(b);
            parent[a] = parent[b] = static_cast<uint16_t>(m + made);
            ++made;
        }
        const size_t root = 2 * m - 2;
        depth[root] = 0;
        int longest = 0;
        for (size_t n = root; n-- > 0;) {
            depth[n] = static_cast<uint8_t>(depth[parent[n]] + 1);
            longest = std::max<int>(longest, depth[n]);
        }
        if (longest <= limit) {
            lengths.fill(0);
            for (size_t i = 0; i < m; ++i) lengths[leaves[i].symbol] = depth[i];
            return;
        }
        for (uint32_t& f : freq)
            if (f > 0) f = (f >> 1) | 1;
    }
}

// Canonical codes for `lengths`, bit-reversed as deflate sends them.
template <size_t N>
std::array<uint16_t, N> canonicalCodes(const std::array<uint8_t, N>& lengths) {
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

// Bytes from a and b that agree, at most `limit`.
size_t matchLength(const unsigned char* a, const unsigned char* b, size_t limit) {
    size_t n = 0;
    for (; n + 8 <= limit; n += 8)
        if (const uint64_t x = load64(a + n) ^ load64(b + n); x != 0)
            return n + static_cast<size_t>(__builtin_ctzll(x) / 8);  // little-endian
    while (n < limit && a[n] == b[n]) ++n;
    return n;
}

struct Matcher {
    size_t distance[kDistances];
    size_t shortest[kDistances];  // the shortest match worth its distance code
    int count;
};

// Bit k set where a[k] == b[k], for k < 32.
uint32_t sameBytes(const unsigned char* a, const unsigned char* b) {
#if defined(__SSE2__)
    const __m128i a0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a)),
                  a1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + 16)),
                  b0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b)),
                  b1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + 16));
    return static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(a0, b0))) |
           static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(a1, b1))) << 16;
#else
    uint32_t mask = 0;
    for (int w = 0; w < 4; ++w) {
        const uint64_t z = load64(a + 8 * w) ^ load64(b + 8 * w);
        constexpr uint64_t kLow7 = 0x7f7f7f7f7f7f7f7full;
        const uint64_t equal = ~(((z & kLow7) + kLow7) | z) & ~kLow7;  // top bit of each equal byte
        mask |= static_cast<uint32_t>((equal * 0x0002040810204081ull) >> 56) << (8 * w);
    }
    return mask;
#endif
}

constexpr size_t kScan = 32 - 8 + 1;  // positions one scan settles, for matches of up to 8 bytes

// How many of the kScan positions from `p` on start no match worth taking at any candidate
// distance: 32 bytes compared at once per distance, so that noise costs little a byte.
size_t literalsAhead(const unsigned char* p, const Matcher& m) {
    uint32_t any = 0;
    for (int c = 0; c < m.count; ++c) {
        const uint32_t same = sameBytes(p, p - m.distance[c]);
        uint32_t run = same;
        for (size_t k = 1; k < m.shortest[c]; ++k) run &= same >> k;
        any |= run;
    }
    any &= (uint32_t{1} << kScan) - 1;
    return any != 0 ? static_cast<size_t>(__builtin_ctz(any)) : kScan;
}

// Greedy: at each position the longest of the candidate matches, else a literal. Matches stay
// inside the block, so that each block's counts are its own.
size_t tokenize(const unsigned char* data, size_t begin, size_t end, const Matcher& m, uint16_t* tokens,
                std::array<uint32_t, kTokenKinds>& counts) {
    counts.fill(0);
    uint16_t* t = tokens;
    const size_t farthest = m.distance[m.count - 1];
    size_t i = begin;
    while (i < end) {
        if (i >= farthest && end - i >= 32) {
            const size_t n = literalsAhead(data + i, m);
            for (size_t k = 0; k < n; ++k) ++counts[*t++ = data[i++]];
            if (n == kScan) continue;
        }
        const size_t limit = std::min(end - i, kMaxMatch);
        size_t best = 0;
        int which = 0;
        for (int c = 0; c < m.count && m.distance[c] <= i; ++c) {
            const size_t d = m.distance[c];
            size_t len;
            if (limit >= 8) {
                const uint64_t x = load64(data + i) ^ load64(data + i - d);
                if ((x & 0xffffffff) != 0) continue;
                len = x != 0 ? static_cast<size_t>(__builtin_ctzll(x) / 8)
                             : 8 + matchLength(data + i + 8, data + i + 8 - d, limit - 8);
            } else {
                len = matchLength(data + i, data + i - d, limit);
            }
            if (len > best && len >= m.shortest[c]) {
                best = len;
                which = c;
                if (len == limit) break;
            }
        }
        if (best >= kMinMatch) {
            const auto token = static_cast<uint16_t>(256 + 256 * which + (best - kMinMatch));
            ++counts[*t++ = token];
            i += best;
        } else {
            ++counts[*t++ = data[i++]];
        }
    }
    return static_cast<size_t>(t - tokens);
}

// One token's bits: its code, and for a match the length's extra bits, the distance's code and extra bits.
struct Piece {
    uint64_t bits;
    uint8_t count;
};

void writeBlock(const unsigned char* data, size_t begin, size_t end, const uint16_t* tokens, size_t n,
                const std::array<uint32_t, kTokenKinds>& counts, const Matcher& m, bool last,
                BitWriter& out) {
    std::array<uint32_t, kLitLenSymbols> litFreq{};
    std::array<uint32_t, kDistSymbols> distFreq{};
    Extra dist[kDistances];
    for (int c = 0; c < m.count; ++c) dist[c] = distanceCode(m.distance[c]);
    std::array<Extra, kMaxMatch + 1> len{};
    for (size_t l = kMinMatch; l <= kMaxMatch; ++l) len[l] = lengthCode(l);
    for (size_t t = 0; t < 256; ++t) litFreq[t] = counts[t];
    for (int c = 0; c < m.count; ++c)
        for (size_t l = kMinMatch; l <= kMaxMatch; ++l) {
            const uint32_t k = counts[256 + 256 * static_cast<size_t>(c) + l - kMinMatch];
            litFreq[len[l].symbol] += k;
            distFreq[dist[c].symbol] += k;
        }
    litFreq[kEndOfBlock] = 1;
    std::array<uint8_t, kLitLenSymbols> litLengths;
    std::array<uint8_t, kDistSymbols> distLengths;
    codeLengths(litFreq, kMaxBits, litLengths);
    codeLengths(distFreq, kMaxBits, distLengths);
    const auto litCodes = canonicalCodes(litLengths);
    const auto distCodes = canonicalCodes(distLengths);
    int litCount = kLitLenSymbols, distCount = kDistSymbols;
    while (litLengths[static_cast<size_t>(litCount - 1)] == 0) --litCount;
    while (distCount > 1 && distLengths[static_cast<size_t>(distCount - 1)] == 0) --distCount;

    // Both codes' lengths as one sequence in the code-length alphabet: 16 repeats the length
    // before 3..6 times, 17 and 18 are runs of zeros, 3..10 and 11..138.
    uint8_t all[kLitLenSymbols + kDistSymbols];
    const size_t total = static_cast<size_t>(litCount + distCount);
    std::copy_n(litLengths.begin(), litCount, all);
    std::copy_n(distLengths.begin(), distCount, all + litCount);
    struct Run {
        uint8_t symbol, extra;
    };
    Run runs[kLitLenSymbols + kDistSymbols];
    size_t runCount = 0;
    for (size_t i = 0; i < total;) {
        const uint8_t v = all[i];
        size_t same = 1;
        while (i + same < total && all[i + same] == v) ++same;
        i += same;
        if (v == 0) {
            for (; same >= 11; same -= std::min<size_t>(same, 138))
                runs[runCount++] = {18, static_cast<uint8_t>(std::min<size_t>(same, 138) - 11)};
            if (same >= 3) {
                runs[runCount++] = {17, static_cast<uint8_t>(same - 3)};
                same = 0;
            }
        } else {
            runs[runCount++] = {v, 0};
            for (--same; same >= 3; same -= std::min<size_t>(same, 6))
                runs[runCount++] = {16, static_cast<uint8_t>(std::min<size_t>(same, 6) - 3)};
        }
        for (; same > 0; --same) runs[runCount++] = {v, 0};
    }
    std::array<uint32_t, kCodeLengthSymbols> clFreq{};
    for (size_t r = 0; r < runCount; ++r) ++clFreq[runs[r].symbol];
    std::array<uint8_t, kCodeLengthSymbols> clLengths;
    codeLengths(clFreq, kMaxCodeLengthBits, clLengths);
    const auto clCodes = canonicalCodes(clLengths);
    int clCount = kCodeLengthSymbols;
    while (clCount > 4 && clLengths[static_cast<size_t>(kCodeLengthOrder[clCount - 1])] == 0) --clCount;

    std::array<Piece, kTokenKinds> pieces{};
    for (size_t t = 0; t < 256; ++t) pieces[t] = {litCodes[t], litLengths[t]};
    for (int c = 0; c < m.count; ++c) {
        const Extra& d = dist[c];
        const uint64_t distBits = distCodes[d.symbol] | uint64_t{d.value} << distLengths[d.symbol];
        const int distCountBits = distLengths[d.symbol] + d.bits;
        for (size_t l = kMinMatch; l <= kMaxMatch; ++l) {
            const Extra& e = len[l];
            const int lenBits = litLengths[e.symbol] + e.bits;
            pieces[256 + 256 * static_cast<size_t>(c) + l - kMinMatch] = {
                litCodes[e.symbol] | uint64_t{e.value} << litLengths[e.symbol] | distBits << lenBits,
                static_cast<uint8_t>(lenBits + distCountBits)};
        }
    }

    uint64_t bits = 3 + 14 + 3 * static_cast<uint64_t>(clCount) + litLengths[kEndOfBlock];
    for (size_t r = 0; r < runCount; ++r)
        bits += clLengths[runs[r].symbol] + (runs[r].symbol == 16   ? 2
                                             : runs[r].symbol == 17 ? 3
                                             : runs[r].symbol == 18 ? 7
                                                                    : 0);
    for (size_t t = 0; t < kTokenKinds; ++t) bits += uint64_t{counts[t]} * pieces[t].count;
    const size_t bytes = end - begin;
    if (bits > 8 * (bytes + 5 * (bytes / 65535 + 1))) {
        // Stored: at most 65535 bytes a block, each after a byte boundary.
        for (size_t at = begin; at < end || at == begin;) {
            const size_t n = std::min<size_t>(end - at, 65535);
            out.put(last && at + n == end ? 1 : 0, 3);
            out.align();
            const unsigned char head[4] = {static_cast<unsigned char>(n), static_cast<unsigned char>(n >> 8),
                                           static_cast<unsigned char>(~n),
                                           static_cast<unsigned char>(~n >> 8)};
            out.putBytes(head, 4);
            out.putBytes(data + at, n);
            at += n;
            if (n == 0) break;
        }
        return;
    }

    out.put(last ? 1 : 0, 1);
    out.put(2, 2);  // dynamic Huffman codes
    out.put(static_cast<uint64_t>(litCount - 257), 5);
    out.put(static_cast<uint64_t>(distCount - 1), 5);
    out.put(static_cast<uint64_t>(clCount - 4), 4);
    for (int i = 0; i < clCount; ++i) out.put(clLengths[static_cast<size_t>(kCodeLengthOrder[i])], 3);
    for (size_t r = 0; r < runCount; ++r) {
        const Run& run = runs[r];
        out.put(clCodes[run.symbol], clLengths[run.symbol]);
        if (run.symbol >= 16) out.put(run.extra, run.symbol == 16 ? 2 : run.symbol == 17 ? 3 : 7);
    }
    for (size_t i = 0; i < n; ++i) out.put(pieces[tokens[i]].bits, pieces[tokens[i]].count);
    out.put(litCodes[kEndOfBlock], litLengths[kEndOfBlock]);
}

}  // namespace

size_t imageDeflateBound(size_t size) {
    // Never more than stored blocks: 5 bytes of head and one of padding each.
    return size + 6 * (size / 65535 + size / kBlockBytes + 2) + 2 + 4 + 8;
}

size_t imageDeflate(const unsigned char* data, size_t size, size_t rowBytes, size_t pixelBytes,
                    unsigned char* out) {
    out[0] = 0x78;  // deflate, 32 KiB window
    out[1] = 0x01;  // the check bits make the pair a multiple of 31
    // Nearest first, so that of equal matches the cheaper distance is taken. Two rows and four
    // pixels back are where colour-filter-array pictures and dithered ramps repeat.
    // In noise, shorter matches cost more bits than the literals they replace (a row's distance
    // alone takes 10 extra bits); these minimums keep noisy pictures at adaptive filtering's size.
    Matcher m{{1}, {kNearMatch}, 1};
    for (size_t d : {pixelBytes, 2 * pixelBytes, 4 * pixelBytes, rowBytes, 2 * rowBytes})
        if (d > m.distance[m.count - 1] && d <= kWindow) {
            m.shortest[m.count] = d >= rowBytes ? kFarMatch : kNearMatch;
            m.distance[m.count++] = d;
        }
    BitWriter bits(out + 2);
    thread_local std::vector<uint16_t> tokens;
    tokens.resize(kBlockBytes);
    std::array<uint32_t, kTokenKinds> counts;
    size_t at = 0;
    do {
        const size_t end = std::min(size, at + kBlockBytes);
        const size_t n = tokenize(data, at, end, m, tokens.data(), counts);
        writeBlock(data, at, end, tokens.data(), n, counts, m, end == size, bits);
        at = end;
    } while (at < size);
    unsigned char* end = bits.align();
    const uint32_t adler = libdeflate_adler32(1, data, size);
    for (int shift = 24; shift >= 0; shift -= 8) *end++ = static_cast<unsigned char>(adler >> shift);
    return static_cast<size_t>(end - out);
}

}  // namespace pellucid
