#include "pipeline.h"

#include <algorithm>
#include <cstring>

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

// The neighbour means each pixel of a line needs, in vector loops: a green pixel takes the mean
// across (left and right) and along (above and below), the others the mean of the cross of four
// and of the diagonal four.
struct Means {
    std::vector<uint16_t> storage;
    uint16_t* first;   // across, or the cross
    uint16_t* second;  // along, or the diagonal

    explicit Means(uint32_t width) : storage(size_t{width} * 2 + 2 * kLanes) {
        first = storage.data();
        second = first + width + kLanes;
    }

    // 12-bit values: even four of them and the rounding fit 16 bits, so eight lanes a vector.
    void compute(const uint16_t* u, const uint16_t* c, const uint16_t* d, size_t width, bool firstGreen) {
        Vec green;  // all ones in the lanes of green pixels
        for (size_t k = 0; k < kLanes; ++k) green[k] = (k % 2 == 0) == firstGreen ? 0xffff : 0;
        size_t i = 0;
        for (; i + kLanes <= width; i += kLanes) {
            const Vec h = load(c + i) + load(c + i + 2);
            const Vec v = load(u + i + 1) + load(d + i + 1);
            const Vec cross = (h + v + 2) >> 2;
            const Vec diagonal = (load(u + i) + load(u + i + 2) + load(d + i) + load(d + i + 2) + 2) >> 2;
            store(first + i, (((h + 1) >> 1) & green) | (cross & ~green));
            store(second + i, (((v + 1) >> 1) & green) | (diagonal & ~green));
        }
        for (; i < width; ++i) {
            const int h = c[i] + c[i + 2], v = u[i + 1] + d[i + 1];
            if ((i % 2 == 0) == firstGreen) {
                first[i] = static_cast<uint16_t>((h + 1) >> 1);
                second[i] = static_cast<uint16_t>((v + 1) >> 1);
            } else {
                first[i] = static_cast<uint16_t>((h + v + 2) >> 2);
                second[i] = static_cast<uint16_t>((u[i] + u[i + 2] + d[i] + d[i + 2] + 2) >> 2);
            }
        }
    }

  private:
    using Vec = uint16_t __attribute__((vector_size(16)));
    static constexpr size_t kLanes = sizeof(Vec) / sizeof(uint16_t);
    static Vec load(const uint16_t* p) {
        Vec v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    static void store(uint16_t* p, Vec v) { std::memcpy(p, &v, sizeof v); }
};

// One output line from its padded values and means. The first pixel is green or not; the line
// holds red (else blue) beside its greens.
template <bool kFirstGreen, bool kRedLine, typename Out>
void line(const uint16_t* __restrict c, const Means& m, uint32_t width, const Tables<Out>& t,
          Out* __restrict o) {
    const Out* __restrict tr = t.t[kRed];
    const Out* __restrict tg = t.t[kGreen];
    const Out* __restrict tb = t.t[kBlue];
    const uint16_t* __restrict a = m.first;
    const uint16_t* __restrict b = m.second;
    auto green = [&](uint32_t x, Out* __restrict px) {
        px[0] = tr[kRedLine ? a[x] : b[x]];
        px[1] = tg[c[x + 1]];
        px[2] = tb[kRedLine ? b[x] : a[x]];
    };
    auto other = [&](uint32_t x, Out* __restrict px) {
        px[0] = tr[kRedLine ? c[x + 1] : b[x]];
        px[1] = tg[a[x]];
        px[2] = tb[kRedLine ? b[x] : c[x + 1]];
    };
    uint32_t x = 0;
    for (; x + 1 < width; x += 2, o += 6) {
        if constexpr (kFirstGreen) {
            green(x, o);
            other(x + 1, o + 3);
        } else {
            other(x, o);
            green(x + 1, o + 3);
        }
    }
    if (x < width) {
        if constexpr (kFirstGreen)
            green(x, o);
        else
            other(x, o);
    }
}

template <typename Out>
void run(const RawFrame& f, const DesignSettings& s, Out* out) {
    const uint32_t w = s.width, h = s.height;
    const Tables<Out> tables(s);
    const size_t stride = size_t{w} + 2;
    std::vector<uint16_t> ring(3 * stride);
    uint16_t* lines[3] = {ring.data(), ring.data() + stride, ring.data() + 2 * stride};
    fillLine(f, s, mirror(-1, h), lines[0]);
    fillLine(f, s, 0, lines[1]);
    const uint32_t pattern = s.bayer & 3;
    Means means(w);
    for (uint32_t y = 0; y < h; ++y) {
        fillLine(f, s, mirror(long{y} + 1, h), lines[2]);
        const Colour first = kLayout[pattern][y & 1][0];
        const Colour second = kLayout[pattern][y & 1][1];
        means.compute(lines[0], lines[1], lines[2], w, first == kGreen);
        const bool redLine = first == kRed || second == kRed;
        Out* o = out + size_t{y} * w * 3;
        if (first == kGreen) {
            if (redLine)
                line<true, true>(lines[1], means, w, tables, o);
            else
                line<true, false>(lines[1], means, w, tables, o);
        } else if (redLine) {
            line<false, true>(lines[1], means, w, tables, o);
        } else {
            line<false, false>(lines[1], means, w, tables, o);
        }
        std::rotate(lines, lines + 1, lines + 3);
    }
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

void process(const RawFrame& frame, const DesignSettings& s, uint8_t* out) {
    if (out == nullptr || s.width == 0 || s.height == 0) return;
    // A frame short of its pixels counts as no camera image: all of the cut-out lies outside.
    static const RawFrame empty;
    const RawFrame& f = frame.pixels.size() < size_t{frame.width} * frame.height ? empty : frame;
    if (s.col24) {
        run(f, s, out);
    } else {
        // The buffers are host memory of the SDK's allocation: 16-bit aligned, little-endian.
        run(f, s, reinterpret_cast<uint16_t*>(out));
    }
}

}  // namespace vboard
