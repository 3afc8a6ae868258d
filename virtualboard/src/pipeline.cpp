#include "pipeline.h"

#include "frame_pool.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

#if defined(__x86_64__)
#include <immintrin.h>
// The compiler's own vector intrinsics leave lanes undefined on purpose, and it warns about them.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

namespace vboard {

namespace {

enum Colour : uint8_t { kRed, kGreen, kBlue };

// Colour at (x parity, y parity) of the cut-out for each start pattern: [pattern][y & 1][x & 1].
constexpr Colour kLayout[4][2][2] = {
    {{kGreen, kBlue}, {kRed, kGreen}},
    {{kBlue, kGreen}, {kGreen, kRed}},
    {{kRed, kGreen}, {kGreen, kBlue}},
    {{kGreen, kRed}, {kBlue, kGreen}},
};

// Index of the mirrored line or column; a single one mirrors onto itself.
long mirror(long i, long n) {
    if (i < 0) i = -i;
    if (i >= n) i = 2 * n - 2 - i;
    return std::clamp(i, 0L, n - 1);
}

constexpr size_t kPrefetchLines = 4;

// Line y of the cut-out as 12-bit values with one mirrored value either side: p[0], then the
// width values at p[1..], then p[width + 1].
[[gnu::always_inline]] inline void fillLine(const RawFrame& f, const DesignSettings& s, long y, uint16_t* p) {
    const size_t w = s.width;
    const uint64_t cy = uint64_t{s.yOffset} + static_cast<uint64_t>(y);
    // A multiplication rather than a shift by a variable count: it vectorises.
    const auto scale = static_cast<uint16_t>(1u << (12 - std::clamp(f.bits, 1, 12)));
    size_t n = 0;
    uint16_t* __restrict dst = p + 1;
    if (cy < f.height && s.xOffset < f.width) {
        n = std::min<size_t>(w, f.width - s.xOffset);
        const uint16_t* __restrict src = f.pixels.data() + cy * f.width + s.xOffset;
        for (size_t i = 0; i < n; ++i) dst[i] = static_cast<uint16_t>(src[i] * scale & 4095);
        // The frame comes from memory, far beyond the caches: ask for a line a few ahead now,
        // so that it is there when its turn comes.
        if (cy + kPrefetchLines < f.height) {
            const auto* ahead = reinterpret_cast<const char*>(src + kPrefetchLines * size_t{f.width});
            for (size_t b = 0; b < n * sizeof(uint16_t); b += 64) __builtin_prefetch(ahead + b);
        }
    }
    std::fill(dst + n, dst + w, uint16_t{0});
    p[0] = p[mirror(-1, long(w)) + 1];
    p[w + 1] = p[mirror(long(w), long(w)) + 1];
}

// Entries before and after each table: the vector kernels read four bytes at an entry or the one
// before it, or a window from a step's smallest index on: 128 bytes, or 256 where another index
// lies 128 bytes beyond it, so never more than 128 bytes past the last entry.
constexpr size_t kTablePad = 128;

// White balance, lookup table and output coding of one channel, fused into one table.
template <typename Out>
struct Tables {
    alignas(64) Out front[kTablePad] = {};
    Out t[3][4096 + kTablePad] = {};

    explicit Tables(const DesignSettings& s) {
        for (int c = 0; c < 3; ++c) {
            const uint64_t code = s.coefficient[c];
            for (uint32_t v = 0; v < 4096; ++v) {
                const auto balanced = static_cast<uint32_t>(std::min<uint64_t>(v * code >> 10, 4095));
                const uint32_t mapped = std::min<uint32_t>(s.lut[c][balanced], 4095);
                if constexpr (sizeof(Out) == 1)
                    t[c][v] = static_cast<Out>(mapped >> 4);
                else
                    t[c][v] = static_cast<Out>(s.leftAligned ? mapped << 4 : mapped);
            }
        }
    }
};

// The tables of the settings a thread ran last: they change with the parameters, not with every
// frame, and building them for each frame cost several percent of the frame's time.
template <typename Out>
const Tables<Out>& tablesFor(const DesignSettings& s) {
    struct Cache {
        std::array<uint32_t, 3> coefficient{};
        std::array<std::array<uint16_t, 4096>, 3> lut{};
        bool leftAligned = false;
        std::unique_ptr<Tables<Out>> tables;
    };
    thread_local Cache cache;
    if (!cache.tables || cache.coefficient != s.coefficient || cache.leftAligned != s.leftAligned ||
        cache.lut != s.lut) {
        cache.tables = std::make_unique<Tables<Out>>(s);
        cache.coefficient = s.coefficient;
        cache.lut = s.lut;
        cache.leftAligned = s.leftAligned;
    }
    return *cache.tables;
}

// Room after a line for the last, partial vector of the index pass, of any width below.
constexpr size_t kSlack = 32;

// A line's table indices as three planes, red, green and blue. Each pixel keeps its own value in
// its colour; a green pixel takes the mean across (left and right) for the line's other colour
// and along (above and below) for the third, the others the mean of the cross of four for green
// and of the diagonal four for the third.
struct Indices {
    std::vector<uint16_t> storage;
    size_t stride = 0;

    // Planes for lines of `width`; the storage only grows.
    void fit(uint32_t width) {
        stride = size_t{width} + kSlack;
        if (storage.size() < 3 * stride) storage.resize(3 * stride);
    }
    uint16_t* plane(Colour c) { return storage.data() + c * stride; }
    const uint16_t* plane(Colour c) const { return storage.data() + c * stride; }
};

template <typename Vec>
[[gnu::always_inline]] inline void get(Vec& v, const uint16_t* p) {
    std::memcpy(&v, p, sizeof v);
}

// One line from the padded lines above (u), at (c) and below (d), in whole vectors of `Vec`:
// 12-bit values, so even four of them and the rounding fit 16-bit lanes.
template <typename Vec, bool kFirstGreen, bool kRedLine>
[[gnu::always_inline]] inline void computeIndices(const uint16_t* u, const uint16_t* c, const uint16_t* d,
                                                  uint32_t width, Indices& ix) {
    constexpr size_t kLanes = sizeof(Vec) / sizeof(uint16_t);
    static_assert(kLanes <= kSlack);
    uint16_t* __restrict r = ix.plane(kRed);
    uint16_t* __restrict g = ix.plane(kGreen);
    uint16_t* __restrict b = ix.plane(kBlue);
    Vec green;  // all ones in the lanes of green pixels
    for (size_t k = 0; k < kLanes; ++k) green[k] = (k % 2 == 0) == kFirstGreen ? 0xffff : 0;
    for (size_t i = 0; i < width; i += kLanes) {
        Vec left, right, up, down, centre, ul, ur, dl, dr;
        get(left, c + i);
        get(centre, c + i + 1);
        get(right, c + i + 2);
        get(ul, u + i);
        get(up, u + i + 1);
        get(ur, u + i + 2);
        get(dl, d + i);
        get(down, d + i + 1);
        get(dr, d + i + 2);
        const Vec across = left + right, along = up + down;
        const Vec cross = (across + along + 2) >> 2;
        const Vec diagonal = (ul + ur + dl + dr + 2) >> 2;
        const Vec own = green ? (across + 1) >> 1 : centre;
        const Vec third = green ? (along + 1) >> 1 : diagonal;
        const Vec mid = green ? centre : cross;
        std::memcpy(r + i, kRedLine ? &own : &third, sizeof(Vec));
        std::memcpy(g + i, &mid, sizeof(Vec));
        std::memcpy(b + i, kRedLine ? &third : &own, sizeof(Vec));
    }
}

// The three table lookups of each pixel from `x` on; what bounds the whole path. Two pixels at a
// time: their indices come in one load a plane, and 48-bit output leaves as three 32-bit words.
template <typename Out>
void lookUpFrom(uint32_t x, const Indices& ix, uint32_t width, const Tables<Out>& t, Out* __restrict o) {
    const uint16_t* __restrict ir = ix.plane(kRed);
    const uint16_t* __restrict ig = ix.plane(kGreen);
    const uint16_t* __restrict ib = ix.plane(kBlue);
    const Out* __restrict tr = t.t[kRed];
    const Out* __restrict tg = t.t[kGreen];
    const Out* __restrict tb = t.t[kBlue];
    o += size_t{x} * 3;
    for (; x + 1 < width; x += 2, o += 6) {
        uint32_t r, g, b;
        std::memcpy(&r, ir + x, sizeof r);
        std::memcpy(&g, ig + x, sizeof g);
        std::memcpy(&b, ib + x, sizeof b);
        const uint32_t r0 = tr[r & 0xffff], g0 = tg[g & 0xffff], b0 = tb[b & 0xffff];
        const uint32_t r1 = tr[r >> 16], g1 = tg[g >> 16], b1 = tb[b >> 16];
        if constexpr (sizeof(Out) == 2) {
            const uint32_t words[3] = {r0 | g0 << 16, b0 | r1 << 16, g1 | b1 << 16};
            // One store each: a copy of the array would go through the stack.
            std::memcpy(o, &words[0], 4);
            std::memcpy(o + 2, &words[1], 4);
            std::memcpy(o + 4, &words[2], 4);
        } else {
            const uint32_t first = r0 | g0 << 8 | b0 << 16 | r1 << 24;
            const auto second = static_cast<uint16_t>(g1 | b1 << 8);
            std::memcpy(o, &first, 4);
            std::memcpy(o + 4, &second, 2);
        }
    }
    if (x < width) {
        o[0] = tr[ir[x]];
        o[1] = tg[ig[x]];
        o[2] = tb[ib[x]];
    }
}

// Fills a padded input line, as fillLine.
using LineFill = void (*)(const RawFrame& f, const DesignSettings& s, long y, uint16_t* p);

// One output line from the padded input lines above (u), at (c) and below (d).
template <typename Out>
using LineKernel = void (*)(const uint16_t* u, const uint16_t* c, const uint16_t* d, uint32_t width,
                            Indices& ix, const Tables<Out>& t, Out* o);

// A kernel: its line for each line kind, [first pixel green][line holds red], and output format.
struct KernelSet {
    LineFill fill;
    LineKernel<uint8_t> line8[2][2];
    LineKernel<uint16_t> line16[2][2];

    template <typename Out>
    LineKernel<Out> line(bool firstGreen, bool redLine) const {
        if constexpr (sizeof(Out) == 1)
            return line8[firstGreen][redLine];
        else
            return line16[firstGreen][redLine];
    }

    template <typename Kind>
    static constexpr KernelSet of() {
        return {Kind::fill,
                {{Kind::template line<false, false, uint8_t>, Kind::template line<false, true, uint8_t>},
                 {Kind::template line<true, false, uint8_t>, Kind::template line<true, true, uint8_t>}},
                {{Kind::template line<false, false, uint16_t>, Kind::template line<false, true, uint16_t>},
                 {Kind::template line<true, false, uint16_t>, Kind::template line<true, true, uint16_t>}}};
    }
};

// A kernel whose lines take two passes, the indices into planes and then the lookups.
template <typename Kind>
struct TwoPasses {
    template <bool kFirstGreen, bool kRedLine, typename Out>
    static void line(const uint16_t* u, const uint16_t* c, const uint16_t* d, uint32_t width, Indices& ix,
                     const Tables<Out>& t, Out* o) {
        Kind::template pass<kFirstGreen, kRedLine>(u, c, d, width, ix);
        Kind::look(ix, width, t, o);
    }
};

// 128-bit vectors, which every processor here has, and scalar lookups.
struct Portable : TwoPasses<Portable> {
    static void fill(const RawFrame& f, const DesignSettings& s, long y, uint16_t* p) {
        fillLine(f, s, y, p);
    }

    template <bool kFirstGreen, bool kRedLine>
    static void pass(const uint16_t* u, const uint16_t* c, const uint16_t* d, uint32_t width, Indices& ix) {
        using Vec = uint16_t __attribute__((vector_size(16)));
        computeIndices<Vec, kFirstGreen, kRedLine>(u, c, d, width, ix);
    }

    template <typename Out>
    static void look(const Indices& ix, uint32_t width, const Tables<Out>& t, Out* o) {
        lookUpFrom(0, ix, width, t, o);
    }
};

#if defined(__x86_64__)
#define VBOARD_AVX2 gnu::target("avx2")
#define VBOARD_AVX512 gnu::target("avx512f,avx512bw,avx512vl,avx512vbmi")

// 256-bit vectors: eight lookups a gather. The pixels leave in 16-byte stores that overlap, each
// writing past its own pixels into the next, so the vectors stop while a next pixel follows on the
// line (the line after may be another thread's).
struct Avx2 : TwoPasses<Avx2> {
    [[VBOARD_AVX2]] static void fill(const RawFrame& f, const DesignSettings& s, long y, uint16_t* p) {
        fillLine(f, s, y, p);
    }

    template <bool kFirstGreen, bool kRedLine>
    [[VBOARD_AVX2]] static void pass(const uint16_t* u, const uint16_t* c, const uint16_t* d, uint32_t width,
                                     Indices& ix) {
        using Vec = uint16_t __attribute__((vector_size(32)));
        computeIndices<Vec, kFirstGreen, kRedLine>(u, c, d, width, ix);
    }

    // Eight table entries, one in the low bits of each 32-bit lane.
    template <int kScale>
    [[VBOARD_AVX2]] static __m256i gather(const uint16_t* indices, const void* table) {
        const __m256i at = _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(indices)));
        return _mm256_i32gather_epi32(static_cast<const int*>(table), at, kScale);
    }

    template <typename Out>
    [[VBOARD_AVX2]] static void look(const Indices& ix, uint32_t width, const Tables<Out>& t, Out* o) {
        const uint16_t* ir = ix.plane(kRed);
        const uint16_t* ig = ix.plane(kGreen);
        const uint16_t* ib = ix.plane(kBlue);
        constexpr int kScale = sizeof(Out);
        uint32_t x = 0;
        for (; x + 10 <= width; x += 8) {
            const __m256i r = gather<kScale>(ir + x, t.t[kRed]);
            const __m256i g = gather<kScale>(ig + x, t.t[kGreen]);
            const __m256i b = gather<kScale>(ib + x, t.t[kBlue]);
            auto* at = reinterpret_cast<__m128i*>(o + size_t{x} * 3);
            if constexpr (sizeof(Out) == 2) {
                // A pixel as 64 bits, red | green | blue | junk, two a lane; then six bytes each.
                const __m256i rg = _mm256_blend_epi16(r, _mm256_slli_epi32(g, 16), 0xaa);
                const __m256i pack = _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, -1, -1, -1, -1,
                                                      0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, -1, -1, -1, -1);
                const __m256i first = _mm256_shuffle_epi8(_mm256_unpacklo_epi32(rg, b), pack);   // 0 1 | 4 5
                const __m256i second = _mm256_shuffle_epi8(_mm256_unpackhi_epi32(rg, b), pack);  // 2 3 | 6 7
                _mm_storeu_si128(at, _mm256_castsi256_si128(first));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(o + size_t{x} * 3 + 6),
                                 _mm256_castsi256_si128(second));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(o + size_t{x} * 3 + 12),
                                 _mm256_extracti128_si256(first, 1));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(o + size_t{x} * 3 + 18),
                                 _mm256_extracti128_si256(second, 1));
            } else {
                const __m256i byte = _mm256_set1_epi32(0xff);
                const __m256i rgb =
                    _mm256_or_si256(_mm256_or_si256(_mm256_and_si256(r, byte),
                                                    _mm256_slli_epi32(_mm256_and_si256(g, byte), 8)),
                                    _mm256_slli_epi32(_mm256_and_si256(b, byte), 16));
                const __m256i pack = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1,
                                                      0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
                const __m256i packed = _mm256_shuffle_epi8(rgb, pack);
                _mm_storeu_si128(at, _mm256_castsi256_si128(packed));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(o + size_t{x} * 3 + 12),
                                 _mm256_extracti128_si256(packed, 1));
            }
        }
        lookUpFrom(x, ix, width, t, o);
    }
};

// 512-bit vectors: 32 pixels a step, from the input lines to the stores in registers. Sixteen lookups a
// gather, and byte permutes (one micro-operation each, where word permutes take three) interleave the
// colours; the stores go under a mask, so the last step of a line writes its own pixels only.
struct Avx512 {
    [[VBOARD_AVX512]] static void fill(const RawFrame& f, const DesignSettings& s, long y, uint16_t* p) {
        fillLine(f, s, y, p);
    }

    // A byte permute's indices for output bytes first .. first + 63 of a step: where(k, m) names the
    // source byte of output byte k, which lands at m of the permute's result.
    template <typename Where>
    static constexpr std::array<uint8_t, 64> picks(int first, Where where) {
        std::array<uint8_t, 64> a{};
        for (int m = 0; m < 64; ++m) a[m] = static_cast<uint8_t>(where(first + m, m));
        return a;
    }

    template <bool kFirstGreen, bool kRedLine, typename Out>
    [[VBOARD_AVX512]] static void line(const uint16_t* u, const uint16_t* c, const uint16_t* d,
                                       uint32_t width, Indices&, const Tables<Out>& t, Out* o) {
        const __mmask32 green = kFirstGreen ? 0x55555555u : 0xaaaaaaaau;
        const __m512i two = _mm512_set1_epi16(2);
        // Per colour, the lines of this kind left that may take wide windows. Only the speed depends
        // on it, so each thread keeps its own from band to band and frame to frame.
        thread_local uint32_t wideLines[3];
        Reach reach;
        for (int i = 0; i < 3; ++i)
            reach.wideBelow[i] = _mm512_set1_epi16(wideLines[i] > 0 ? 2 * kWindow<Out> : 0);
        for (uint32_t x = 0; x < width; x += 32) {
            const __m512i left = load(c + x), centre = load(c + x + 1), right = load(c + x + 2);
            const __m512i up = load(u + x + 1), down = load(d + x + 1);
            const __m512i across = _mm512_add_epi16(left, right), along = _mm512_add_epi16(up, down);
            const __m512i cross =
                _mm512_srli_epi16(_mm512_add_epi16(_mm512_add_epi16(across, along), two), 2);
            const __m512i diagonal = _mm512_srli_epi16(
                _mm512_add_epi16(_mm512_add_epi16(_mm512_add_epi16(load(u + x), load(u + x + 2)),
                                                  _mm512_add_epi16(load(d + x), load(d + x + 2))),
                                 two),
                2);
            // The rounded mean of two, (a + b + 1) / 2, is one instruction.
            const __m512i own = _mm512_mask_blend_epi16(green, centre, _mm512_avg_epu16(left, right));
            const __m512i third = _mm512_mask_blend_epi16(green, diagonal, _mm512_avg_epu16(up, down));
            const __m512i mid = _mm512_mask_blend_epi16(green, cross, centre);
            const uint32_t n = std::min<uint32_t>(32, width - x);
            store(kRedLine ? own : third, mid, kRedLine ? third : own, t, n, o + size_t{x} * 3, reach);
        }
        for (int i = 0; i < 3; ++i) {
            if (wideLines[i] > 0)
                --wideLines[i];
            else if (2 * reach.caught[i] > (width + 31) / 32)
                wideLines[i] = kWideLines;
        }
    }

    [[VBOARD_AVX512]] static __m512i load(const uint16_t* p) { return _mm512_loadu_si512(p); }

    // Entries from..from + 63 (16-bit) or + 127 (8-bit) at offsets `at`: two registers' worth.
    template <typename Out>
    [[VBOARD_AVX512, gnu::always_inline]] static __m512i pick(const Out* from, __m512i at) {
        constexpr int kHalf = 64 / sizeof(Out);
        if constexpr (sizeof(Out) == 2)
            return _mm512_permutex2var_epi16(_mm512_loadu_si512(from), at, _mm512_loadu_si512(from + kHalf));
        else
            return _mm512_permutex2var_epi8(_mm512_loadu_si512(from), at, _mm512_loadu_si512(from + kHalf));
    }

    // A window twice as wide, four registers, takes a step that spans more than two registers hold
    // and less than four, as on a steep ramp, in place of two gathers. Where such steps mix with wider
    // ones, as in noise, the extra branch mispredicts and costs more than the window saves. So a
    // line of narrow windows counts the steps a wide one would have taken; where that is most of
    // them, the next lines of its kind may take wide windows, and every so many a narrow line looks
    // again.
    static constexpr uint32_t kWideLines = 16;
    // Entries of the narrow window: what two registers hold.
    template <typename Out>
    static constexpr int kWindow = 128 / sizeof(Out);
    struct Reach {
        __m512i wideBelow[3];  // spans below this take a wide window: zero on a narrow line
        uint32_t caught[3] = {0, 0, 0};
    };

    // The entries of 32 indices in their pixels' 16-bit lanes (of 8-bit entries: pixel p in byte
    // 4 (p / 2) + p % 2). Neighbouring pixels of a picture mostly look up nearby entries, and a gather
    // fetches one entry at a time, so where all 32 lie within a window from the smallest on, loads
    // and permutes take them instead.
    template <typename Out>
    [[VBOARD_AVX512, gnu::always_inline]] static __m512i entries(__m512i indices, const Out* table, Colour c,
                                                                 Reach& reach) {
        constexpr int kScale = sizeof(Out);
        constexpr int kNarrow = kWindow<Out>;
        const __m256i half =
            _mm256_min_epu16(_mm512_castsi512_si256(indices), _mm512_extracti64x4_epi64(indices, 1));
        const __m128i least =
            _mm_minpos_epu16(_mm_min_epu16(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1)));
        const __m512i from = _mm512_sub_epi16(indices, _mm512_broadcastw_epi16(least));
        const __mmask32 beyond = _mm512_cmpge_epu16_mask(from, _mm512_set1_epi16(kNarrow));
        if (beyond == 0 || _mm512_cmpge_epu16_mask(from, reach.wideBelow[c]) == 0) {
            const Out* window = table + (_mm_cvtsi128_si32(least) & 0xffff);
            // Of 8-bit entries, bytes 0 and 1 of each 32-bit lane: its two pixels' offsets.
            const __m512i at = kScale == 2 ? from : _mm512_or_si512(from, _mm512_srli_epi32(from, 8));
            const __m512i near = pick(window, at);
            if (beyond == 0) return near;
            const __m512i far = pick(window + kNarrow, at);
            if constexpr (kScale == 2)
                return _mm512_mask_blend_epi16(beyond, near, far);
            else
                return _mm512_mask_blend_epi8(_mm512_movepi8_mask(at), near, far);
        }
        reach.caught[c] += _mm512_cmpge_epu16_mask(from, _mm512_set1_epi16(2 * kNarrow)) == 0;
        // Even pixels from one gather and odd from another. The odd gather reads from the entry
        // before, which puts its entry in the upper half of the 32-bit lane (of 8-bit entries: in
        // the second byte, the lane's upper bytes left as they are).
        const __m512i even =
            _mm512_i32gather_epi32(_mm512_and_si512(indices, _mm512_set1_epi32(0xffff)), table, kScale);
        const __m512i odd = _mm512_i32gather_epi32(_mm512_srli_epi32(indices, 16), table - 1, kScale);
        if constexpr (kScale == 2)
            return _mm512_mask_blend_epi16(0xaaaaaaaau, even, odd);
        else
            return _mm512_mask_blend_epi8(0x2222222222222222u, even, odd);
    }

    [[VBOARD_AVX512]] static __m512i interleave(__m512i r, __m512i g, __m512i b, const uint8_t* redGreen,
                                                const uint8_t* blue) {
        return _mm512_permutex2var_epi8(_mm512_permutex2var_epi8(r, _mm512_load_si512(redGreen), g),
                                        _mm512_load_si512(blue), b);
    }

    // 48 bits a pixel: each output vector takes red and green in one permute and blue in a second.
    [[VBOARD_AVX512, gnu::always_inline]] static void store(__m512i ir, __m512i ig, __m512i ib,
                                                            const Tables<uint16_t>& t, uint32_t n,
                                                            uint16_t* o, Reach& reach) {
        // Output byte k: word k / 2 of the step, pixel k / 6, colour (k / 2) % 3, byte k % 2.
        static constexpr auto redGreen = [](int k, int) {
            const int colour = k / 2 % 3, at = 2 * (k / 6) + k % 2;
            return colour == 0 ? at : colour == 1 ? 64 + at : 0;
        };
        static constexpr auto blue = [](int k, int m) {
            return k / 2 % 3 == 2 ? 64 + 2 * (k / 6) + k % 2 : m;
        };
        alignas(64) static constexpr std::array<uint8_t, 64> kRedGreen[3] = {
            picks(0, redGreen), picks(64, redGreen), picks(128, redGreen)};
        alignas(64) static constexpr std::array<uint8_t, 64> kAddBlue[3] = {picks(0, blue), picks(64, blue),
                                                                            picks(128, blue)};
        const __m512i r = entries(ir, t.t[kRed], kRed, reach), g = entries(ig, t.t[kGreen], kGreen, reach),
                      b = entries(ib, t.t[kBlue], kBlue, reach);
        if (n == 32) {
            for (int j = 0; j < 3; ++j)
                _mm512_storeu_si512(o + 32 * j, interleave(r, g, b, kRedGreen[j].data(), kAddBlue[j].data()));
            return;
        }
        const uint32_t total = 3 * n;
        for (uint32_t j = 0; 32 * j < total; ++j) {
            const uint32_t m = std::min<uint32_t>(32, total - 32 * j);
            _mm512_mask_storeu_epi16(o + 32 * j, static_cast<__mmask32>((uint64_t{1} << m) - 1),
                                     interleave(r, g, b, kRedGreen[j].data(), kAddBlue[j].data()));
        }
    }

    // 24 bits a pixel: red and green share a vector, so one permute makes each output vector.
    [[VBOARD_AVX512, gnu::always_inline]] static void store(__m512i ir, __m512i ig, __m512i ib,
                                                            const Tables<uint8_t>& t, uint32_t n, uint8_t* o,
                                                            Reach& reach) {
        // Pixel p sits at byte 4 (p / 2) + p % 2 of its colour's vector; green two bytes above red.
        static constexpr auto where = [](int k, int) {
            const int pixel = k / 3, colour = k % 3, at = 4 * (pixel / 2) + pixel % 2;
            return colour == 0 ? at : colour == 1 ? at + 2 : 64 + at;
        };
        alignas(64) static constexpr std::array<uint8_t, 64> kFirst = picks(0, where),
                                                             kSecond = picks(64, where);
        const __m512i rg =
            _mm512_mask_blend_epi16(0xaaaaaaaau, entries(ir, t.t[kRed], kRed, reach),
                                    _mm512_slli_epi32(entries(ig, t.t[kGreen], kGreen, reach), 16));
        const __m512i b = entries(ib, t.t[kBlue], kBlue, reach);
        const auto maskOf = [](uint32_t m) { return m >= 64 ? ~__mmask64{0} : (__mmask64{1} << m) - 1; };
        const uint32_t total = 3 * n;
        _mm512_mask_storeu_epi8(o, maskOf(total),
                                _mm512_permutex2var_epi8(rg, _mm512_load_si512(kFirst.data()), b));
        if (total > 64)
            _mm512_mask_storeu_epi8(o + 64, maskOf(total - 64),
                                    _mm512_permutex2var_epi8(rg, _mm512_load_si512(kSecond.data()), b));
    }
};
#endif

}  // namespace

bool kernelAvailable(Kernel kernel) {
#if defined(__x86_64__)
    static const bool avx2 = __builtin_cpu_supports("avx2");
    static const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                               __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi");
    if (kernel == Kernel::avx512) return avx512;
    if (kernel == Kernel::avx2) return avx2;
#endif
    return kernel == Kernel::portable || kernel == Kernel::best;
}

Kernel bestKernel() {
    for (Kernel k : {Kernel::avx512, Kernel::avx2})
        if (kernelAvailable(k)) return k;
    return Kernel::portable;
}

namespace {

KernelSet kernelSet(Kernel kernel) {
    if (kernel == Kernel::best) kernel = bestKernel();
    if (!kernelAvailable(kernel))
        throw std::invalid_argument("this processor cannot run the image path's kernel");
    switch (kernel) {
#if defined(__x86_64__)
        case Kernel::avx512:
            return KernelSet::of<Avx512>();
        case Kernel::avx2:
            return KernelSet::of<Avx2>();
#endif
        default:
            return KernelSet::of<Portable>();
    }
}

// Lines [y0, y1) of the output. A band reads the input lines either side of it as the whole frame
// would (mirrored at the frame's edges only), so bands side by side give the one-thread picture.
template <typename Out>
void runBand(const RawFrame& f, const DesignSettings& s, const Tables<Out>& tables, const KernelSet& kernel,
             uint32_t y0, uint32_t y1, Out* out) {
    const uint32_t w = s.width, h = s.height;
    // Each line has the slack the last vector of the index pass reads. A frame takes many bands on
    // each thread, so the thread keeps its lines and planes rather than allocating them per band.
    const size_t stride = size_t{w} + 2 + kSlack;
    thread_local std::vector<uint16_t> ring;
    thread_local Indices indices;
    if (ring.size() < 3 * stride) ring.resize(3 * stride);
    indices.fit(w);
    uint16_t* lines[3] = {ring.data(), ring.data() + stride, ring.data() + 2 * stride};
    kernel.fill(f, s, mirror(long{y0} - 1, h), lines[0]);
    kernel.fill(f, s, y0, lines[1]);
    const uint32_t pattern = s.bayer & 3;
    for (uint32_t y = y0; y < y1; ++y) {
        kernel.fill(f, s, mirror(long{y} + 1, h), lines[2]);
        const Colour first = kLayout[pattern][y & 1][0];
        const Colour second = kLayout[pattern][y & 1][1];
        const bool redLine = first == kRed || second == kRed;
        kernel.line<Out>(first == kGreen, redLine)(lines[0], lines[1], lines[2], w, indices, tables,
                                                   out + size_t{y} * w * 3);
        std::rotate(lines, lines + 1, lines + 3);
    }
}

// The lines a band takes at the least: fewer would spend more on the lines read either side.
constexpr uint32_t kMinBandLines = 16;

template <typename Out>
void run(const RawFrame& f, const DesignSettings& s, Kernel kernel, unsigned threads, Out* out) {
    const Tables<Out>& tables = tablesFor<Out>(s);
    const KernelSet set = kernelSet(kernel);
    const unsigned helpers = threads == 1 ? 0 : FramePool::instance().helpers(threads);
    if (helpers == 0) return runBand(f, s, tables, set, 0, s.height, out);
    // Bands taken in turn shrink as the frame nears its end: a worker wakes tens of microseconds
    // after the frame begins and a shared machine holds threads back, and small last bands let
    // every thread end at nearly the same time, where equal bands left one waiting for the other.
    std::vector<uint32_t> starts{0};
    for (uint32_t y = 0; y < s.height;) {
        const uint32_t left = s.height - y;
        y += std::min(left, std::max(kMinBandLines, left / (2 * (helpers + 1))));
        starts.push_back(y);
    }
    FramePool::instance().run(static_cast<uint32_t>(starts.size() - 1), helpers, [&](uint32_t band) {
        runBand(f, s, tables, set, starts[band], starts[band + 1], out);
    });
}

}  // namespace

void renderTestPattern(uint32_t width, uint32_t height, int bits, uint64_t shift, RawFrame& f) {
    f.width = width;
    f.height = height;
    f.bits = std::clamp(bits, 1, 12);
    f.pixels.resize(size_t{width} * height);
    const uint64_t max = (uint64_t{1} << f.bits) - 1;
    uint16_t* p = f.pixels.data();
    for (uint32_t y = 0; y < height; ++y) {
        const uint64_t green = y * uint64_t{8} & max;
        for (uint32_t x = 0; x < width; ++x, ++p) {
            const uint64_t u = x + shift;
            uint64_t v;
            if ((y & 1) == 0)
                v = (x & 1) == 0 ? u * 8 : green;
            else
                v = (x & 1) == 0 ? green : (u + y) * 4;
            *p = static_cast<uint16_t>(v & max);
        }
    }
}

size_t imageBytes(const DesignSettings& s) {
    return size_t{s.width} * s.height * (s.col24 ? 3 : 6);
}

void process(const RawFrame& frame, const DesignSettings& s, uint8_t* out, Kernel kernel, unsigned threads) {
    if (out == nullptr || s.width == 0 || s.height == 0) return;
    // A frame short of its pixels counts as no camera image: all of the cut-out lies outside.
    static const RawFrame empty;
    const RawFrame& f = frame.pixels.size() < size_t{frame.width} * frame.height ? empty : frame;
    if (s.col24) {
        run(f, s, kernel, threads, out);
    } else {
        // The buffers are host memory of the SDK's allocation: 16-bit aligned, little-endian.
        run(f, s, kernel, threads, reinterpret_cast<uint16_t*>(out));
    }
}

unsigned pipelineWorkers() {
    return FramePool::instance().running();
}

void stopPipelineWorkers() {
    FramePool::instance().stop();
}

}  // namespace vboard
