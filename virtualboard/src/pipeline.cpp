#include "pipeline.h"

#include "frame_pool.h"

#include <algorithm>
#include <cstring>
#include <memory>

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
void fillLine(const RawFrame& f, const DesignSettings& s, long y, uint16_t* p) {
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

// White balance, lookup table and output coding of one channel, fused into one table.
template <typename Out>
struct Tables {
    Out t[3][4096];

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
constexpr size_t kSlack = 16;

// A line's table indices as three planes, red, green and blue. Each pixel keeps its own value in
// its colour; a green pixel takes the mean across (left and right) for the line's other colour
// and along (above and below) for the third, the others the mean of the cross of four for green
// and of the diagonal four for the third.
struct Indices {
    std::vector<uint16_t> storage;
    size_t stride;

    explicit Indices(uint32_t width)
        : storage(3 * (size_t{width} + kSlack)), stride(size_t{width} + kSlack) {}
    uint16_t* plane(Colour c) { return storage.data() + c * stride; }
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

// The three table lookups of each pixel; what bounds the whole path. Two pixels at a time: their
// indices come in one load a plane, and 48-bit output leaves as three 32-bit words.
template <typename Out>
void lookUp(Indices& ix, uint32_t width, const Tables<Out>& t, Out* __restrict o) {
    const uint16_t* __restrict ir = ix.plane(kRed);
    const uint16_t* __restrict ig = ix.plane(kGreen);
    const uint16_t* __restrict ib = ix.plane(kBlue);
    const Out* __restrict tr = t.t[kRed];
    const Out* __restrict tg = t.t[kGreen];
    const Out* __restrict tb = t.t[kBlue];
    uint32_t x = 0;
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

// The index pass in 128-bit vectors, which every processor here has.
struct AnyCpu {
    template <bool kFirstGreen, bool kRedLine>
    static void pass(const uint16_t* u, const uint16_t* c, const uint16_t* d, uint32_t width, Indices& ix) {
        using Vec = uint16_t __attribute__((vector_size(16)));
        computeIndices<Vec, kFirstGreen, kRedLine>(u, c, d, width, ix);
    }
};

#if defined(__x86_64__)
// The index pass in 256-bit vectors, for processors that have them.
struct Wide {
    template <bool kFirstGreen, bool kRedLine>
    __attribute__((target("avx2"))) static void pass(const uint16_t* u, const uint16_t* c, const uint16_t* d,
                                                     uint32_t width, Indices& ix) {
        using Vec = uint16_t __attribute__((vector_size(32)));
        computeIndices<Vec, kFirstGreen, kRedLine>(u, c, d, width, ix);
    }

    static bool available() {
        static const bool yes = __builtin_cpu_supports("avx2");
        return yes;
    }
};
#endif

using IndexPass = void (*)(const uint16_t*, const uint16_t*, const uint16_t*, uint32_t, Indices&);

// The index pass for each line kind, [first pixel green][line holds red].
struct IndexPasses {
    IndexPass pass[2][2];

    template <typename Kind>
    static constexpr IndexPasses of() {
        return {{{Kind::template pass<false, false>, Kind::template pass<false, true>},
                 {Kind::template pass<true, false>, Kind::template pass<true, true>}}};
    }

    static IndexPasses choose([[maybe_unused]] Kernel kernel) {
#if defined(__x86_64__)
        if (kernel == Kernel::best && Wide::available()) return of<Wide>();
#endif
        return of<AnyCpu>();
    }
};

// Lines [y0, y1) of the output. A band reads the input lines either side of it as the whole frame
// would (mirrored at the frame's edges only), so bands side by side give the one-thread picture.
template <typename Out>
void runBand(const RawFrame& f, const DesignSettings& s, const Tables<Out>& tables, const IndexPasses& passes,
             uint32_t y0, uint32_t y1, Out* out) {
    const uint32_t w = s.width, h = s.height;
    // Each line has the slack the last vector of the index pass reads.
    const size_t stride = size_t{w} + 2 + kSlack;
    std::vector<uint16_t> ring(3 * stride);
    uint16_t* lines[3] = {ring.data(), ring.data() + stride, ring.data() + 2 * stride};
    fillLine(f, s, mirror(long{y0} - 1, h), lines[0]);
    fillLine(f, s, y0, lines[1]);
    const uint32_t pattern = s.bayer & 3;
    Indices indices(w);
    for (uint32_t y = y0; y < y1; ++y) {
        fillLine(f, s, mirror(long{y} + 1, h), lines[2]);
        const Colour first = kLayout[pattern][y & 1][0];
        const Colour second = kLayout[pattern][y & 1][1];
        const bool redLine = first == kRed || second == kRed;
        passes.pass[first == kGreen][redLine](lines[0], lines[1], lines[2], w, indices);
        lookUp(indices, w, tables, out + size_t{y} * w * 3);
        std::rotate(lines, lines + 1, lines + 3);
    }
}

// Several bands a thread, taken in turn: a thread the shared machine holds back takes fewer.
constexpr uint32_t kBandsPerThread = 4;

template <typename Out>
void run(const RawFrame& f, const DesignSettings& s, Kernel kernel, unsigned threads, Out* out) {
    const Tables<Out>& tables = tablesFor<Out>(s);
    const IndexPasses passes = IndexPasses::choose(kernel);
    const unsigned helpers = threads == 1 ? 0 : FramePool::instance().helpers(threads);
    if (helpers == 0) return runBand(f, s, tables, passes, 0, s.height, out);
    const uint32_t bands = std::min<uint32_t>(s.height, (helpers + 1) * kBandsPerThread);
    FramePool::instance().run(bands, helpers, [&](uint32_t band) {
        const auto y0 = static_cast<uint32_t>(uint64_t{s.height} * band / bands);
        const auto y1 = static_cast<uint32_t>(uint64_t{s.height} * (band + 1) / bands);
        runBand(f, s, tables, passes, y0, y1, out);
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
