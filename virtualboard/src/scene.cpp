#include "scene.h"

#include <png.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

namespace vboard {

namespace {

namespace fs = std::filesystem;

// Scenes are held as linear light in 16-bit codes: 65535 is the camera's largest value at the
// reference exposure.
constexpr double kFull = 65535.0;

enum Channel : uint8_t { kR, kG, kB };

// Red sits at (phase & 1, phase >> 1) of each 2 x 2 cell (phases in BayerPhase order), blue
// diagonally across, green on the other two.
Channel channelAt(BayerPhase phase, uint32_t x, uint32_t y) {
    const auto p = static_cast<uint32_t>(phase);
    const bool redColumn = (x & 1) == (p & 1), redLine = (y & 1) == (p >> 1 & 1);
    return redColumn && redLine ? kR : !redColumn && !redLine ? kB : kG;
}

double srgbToLinear(double v) {
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

uint16_t code(double linear) {
    return static_cast<uint16_t>(std::lround(std::clamp(linear, 0.0, 1.0) * kFull));
}

// 16-bit sRGB code to linear code.
const std::vector<uint16_t>& linearCodes() {
    static const std::vector<uint16_t> table = [] {
        std::vector<uint16_t> t(65536);
        for (size_t i = 0; i < t.size(); ++i) t[i] = code(srgbToLinear(double(i) / kFull));
        return t;
    }();
    return table;
}

// ---- The chart ----

// The 24-patch chart's published sRGB (D65) values, in chart order.
constexpr uint8_t kPatchSrgb[24][3] = {
    {115, 82, 68},   {194, 150, 130}, {98, 122, 157},  {87, 108, 67},   {133, 128, 177}, {103, 189, 170},
    {214, 126, 44},  {80, 91, 166},   {193, 90, 99},   {94, 60, 108},   {157, 188, 64},  {224, 163, 46},
    {56, 61, 150},   {70, 148, 73},   {175, 54, 60},   {231, 199, 31},  {187, 86, 149},  {8, 133, 161},
    {243, 243, 242}, {200, 200, 200}, {160, 160, 160}, {122, 122, 121}, {85, 85, 85},    {52, 52, 52},
};

constexpr double kBackground = 0.05, kDarkTrack = 0.02, kBright = 0.9;
constexpr double kStarDark = 0.03, kStarBright = 0.8, kEdgeDark = 0.1, kEdgeBright = 0.7;

// A box given in hundredths of the sensor.
PixelBox box(uint32_t w, uint32_t h, uint32_t x0, uint32_t y0, uint32_t x1, uint32_t y1) {
    auto at = [](uint32_t size, uint32_t hundredths) { return uint32_t(uint64_t{size} * hundredths / 100); };
    return {at(w, x0), at(h, y0), at(w, x1), at(h, y1)};
}

bool inside(const PixelBox& b, uint32_t x, uint32_t y) {
    return x >= b.x0 && x < b.x1 && y >= b.y0 && y < b.y1;
}

struct ChartLayout {
    std::array<PixelBox, 24> patches;
    std::array<std::array<double, 3>, 24> patchColours;
    PixelBox edge, track, counter, ramp;
    double starX, starY, starRadius;

    ChartLayout(uint32_t w, uint32_t h)
        : patches(chartPatches(w, h)),
          edge(box(w, h, 3, 47, 47, 71)),
          track(box(w, h, 53, 47, 97, 57)),
          counter(box(w, h, 53, 61, 97, 71)),
          ramp(box(w, h, 3, 77, 97, 87)),
          starX(0.81 * w),
          starY(0.22 * h),
          starRadius(0.16 * std::min(w, h)) {
        for (size_t i = 0; i < patches.size(); ++i)
            for (int k = 0; k < 3; ++k) patchColours[i][k] = srgbToLinear(kPatchSrgb[i][k] / 255.0);
    }

    // Linear colour at pixel (x, y), sampled at its centre (the edge by its share of the pixel).
    std::array<double, 3> colour(uint32_t x, uint32_t y) const {
        auto grey = [](double v) { return std::array<double, 3>{v, v, v}; };
        for (size_t i = 0; i < patches.size(); ++i)
            if (inside(patches[i], x, y)) return patchColours[i];
        const double px = x + 0.5, py = y + 0.5;
        const double dx = px - starX, dy = py - starY;
        if (dx * dx + dy * dy <= starRadius * starRadius) {
            constexpr double kSector = std::numbers::pi / 36;  // 36 bright and 36 dark spokes
            const auto sector =
                static_cast<long>(std::floor((std::atan2(dy, dx) + std::numbers::pi) / kSector));
            return grey(sector % 2 == 0 ? kStarBright : kStarDark);
        }
        if (inside(edge, x, y)) {
            const double angle = 5.0 * std::numbers::pi / 180;
            const double d = (px - 0.5 * (edge.x0 + edge.x1)) * std::cos(angle) -
                             (py - 0.5 * (edge.y0 + edge.y1)) * std::sin(angle);
            return grey(kEdgeDark + (kEdgeBright - kEdgeDark) * std::clamp(d + 0.5, 0.0, 1.0));
        }
        if (inside(track, x, y) || inside(counter, x, y)) return grey(kDarkTrack);
        if (inside(ramp, x, y)) return grey(double(x - ramp.x0) / std::max(1u, ramp.x1 - ramp.x0 - 1));
        return grey(kBackground);
    }
};

std::vector<uint16_t> chartMosaic(const CameraDescription& cam) {
    const ChartLayout layout(cam.width, cam.height);
    std::vector<uint16_t> m(size_t{cam.width} * cam.height);
    uint16_t* p = m.data();
    for (uint32_t y = 0; y < cam.height; ++y)
        for (uint32_t x = 0; x < cam.width; ++x) *p++ = code(layout.colour(x, y)[channelAt(cam.bayer, x, y)]);
    return m;
}

// Block digits of 3 x 5 cells, a row's cells as bits (4 left, 1 right), top row first.
constexpr uint8_t kDigits[10][5] = {
    {7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 7, 1, 7}, {5, 5, 7, 1, 1},
    {7, 4, 7, 1, 7}, {7, 4, 7, 5, 7}, {7, 1, 1, 1, 1}, {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7},
};
constexpr int kCounterDigits = 8;

void fill(RawFrame& f, uint32_t x0, uint32_t y0, uint32_t w, uint32_t h, uint16_t v) {
    for (uint32_t y = y0; y < y0 + h; ++y) std::fill_n(f.pixels.data() + size_t{y} * f.width + x0, w, v);
}

// The moving square and the frame counter, both a neutral grey: the mosaic needs no channel choice.
void drawMoving(const ChartLayout& l, uint64_t frame, uint16_t v, RawFrame& f) {
    const uint32_t side = l.track.y1 - l.track.y0, trackWidth = l.track.x1 - l.track.x0;
    if (side > 0 && trackWidth >= side) {
        const uint64_t span = trackWidth - side + 1, step = std::max(1u, side / 8);
        fill(f, l.track.x0 + uint32_t(frame % span * step % span), l.track.y0, side, side, v);
    }
    const uint32_t cell =
        std::min((l.counter.y1 - l.counter.y0) / 5, (l.counter.x1 - l.counter.x0) / (4 * kCounterDigits));
    if (cell == 0) return;
    uint64_t rest = frame;
    for (int k = kCounterDigits - 1; k >= 0; --k, rest /= 10) {
        const uint8_t* glyph = kDigits[rest % 10];
        for (uint32_t row = 0; row < 5; ++row)
            for (uint32_t col = 0; col < 3; ++col)
                if (glyph[row] >> (2 - col) & 1)
                    fill(f, l.counter.x0 + (4 * k + col) * cell, l.counter.y0 + row * cell, cell, cell, v);
    }
}

// ---- PNG files ----

// A decoded image as linear codes, three a pixel.
struct Image {
    uint32_t width = 0, height = 0;
    std::vector<uint16_t> rgb;
};

constexpr uint32_t kMaxSide = 1u << 16;
constexpr uint64_t kMaxPixels = uint64_t{1} << 26;

struct PngSource {
    const std::vector<unsigned char>* bytes;
    size_t pos = 0;
    bool truncated = false;
    char error[256] = "";
};

[[noreturn]] void onPngError(png_structp png, png_const_charp message) {
    auto* src = static_cast<PngSource*>(png_get_error_ptr(png));
    std::snprintf(src->error, sizeof src->error, "%s", message);
    png_longjmp(png, 1);
}

void onPngWarning(png_structp, png_const_charp) {}

void readPngBytes(png_structp png, png_bytep to, size_t n) {
    auto* src = static_cast<PngSource*>(png_get_io_ptr(png));
    if (n > src->bytes->size() - src->pos) {
        src->truncated = true;
        png_error(png, "truncated");
    }
    std::memcpy(to, src->bytes->data() + src->pos, n);
    src->pos += n;
}

// Decodes into 16-bit RGB. Only objects of the caller live across the jump: no destructor is skipped.
bool decode(png_structp png, png_infop info, PngSource& src, Image& img, std::vector<png_bytep>& rows) {
    if (setjmp(png_jmpbuf(png))) return false;
    png_set_read_fn(png, &src, readPngBytes);
    png_set_user_limits(png, kMaxSide, kMaxSide);
    png_read_info(png, info);
    png_set_expand(png);
    png_set_expand_16(png);
    png_set_strip_alpha(png);
    png_set_gray_to_rgb(png);
    if constexpr (std::endian::native == std::endian::little) png_set_swap(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    img.width = png_get_image_width(png, info);
    img.height = png_get_image_height(png, info);
    if (uint64_t{img.width} * img.height > kMaxPixels) png_error(png, "image too large");
    if (png_get_rowbytes(png, info) != size_t{img.width} * 6) png_error(png, "unexpected row size");
    img.rgb.resize(size_t{img.width} * img.height * 3);
    rows.resize(img.height);
    for (uint32_t y = 0; y < img.height; ++y)
        rows[y] = reinterpret_cast<png_bytep>(img.rgb.data() + size_t{y} * img.width * 3);
    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
    return true;
}

std::vector<unsigned char> readFile(const std::string& path) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> f(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!f) throw BenchError(path + ": cannot open (" + std::strerror(errno) + ")");
    std::vector<unsigned char> bytes;
    unsigned char buffer[1 << 16];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f.get())) > 0)
        bytes.insert(bytes.end(), buffer, buffer + n);
    if (std::ferror(f.get())) throw BenchError(path + ": cannot read (" + std::strerror(errno) + ")");
    return bytes;
}

Image readPng(const std::string& path) {
    const std::vector<unsigned char> bytes = readFile(path);
    if (bytes.size() < 8 || png_sig_cmp(bytes.data(), 0, 8) != 0) throw BenchError(path + ": not a PNG file");
    PngSource src{&bytes};
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &src, onPngError, onPngWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    struct Release {
        png_structp& png;
        png_infop& info;
        ~Release() { png_destroy_read_struct(&png, &info, nullptr); }
    } release{png, info};
    if (!info) throw BenchError(path + ": out of memory");
    Image img;
    std::vector<png_bytep> rows;
    if (!decode(png, info, src, img, rows)) {
        if (src.truncated) throw BenchError(path + ": truncated PNG file");
        throw BenchError(path + ": malformed PNG file (" + src.error + ")");
    }
    const std::vector<uint16_t>& linear = linearCodes();
    for (uint16_t& v : img.rgb) v = linear[v];
    return img;
}

// The image scaled to cover the sensor, centre cut out, mosaiced: bilinear on linear codes, with
// sample positions clamped to the image.
std::vector<uint16_t> fitMosaic(const Image& img, const CameraDescription& cam) {
    const double scale = std::max(double(cam.width) / img.width, double(cam.height) / img.height);
    struct Tap {
        uint32_t i0, i1;
        double t;
    };
    auto taps = [scale](uint32_t sensor, uint32_t image) {
        std::vector<Tap> out(sensor);
        for (uint32_t i = 0; i < sensor; ++i) {
            const double at =
                std::clamp((i + 0.5 - sensor / 2.0) / scale + image / 2.0 - 0.5, 0.0, image - 1.0);
            const auto i0 = static_cast<uint32_t>(at);
            out[i] = {i0, std::min(i0 + 1, image - 1), at - i0};
        }
        return out;
    };
    const std::vector<Tap> xs = taps(cam.width, img.width), ys = taps(cam.height, img.height);
    std::vector<uint16_t> m(size_t{cam.width} * cam.height);
    uint16_t* p = m.data();
    for (uint32_t y = 0; y < cam.height; ++y) {
        const uint16_t* top = img.rgb.data() + size_t{ys[y].i0} * img.width * 3;
        const uint16_t* bottom = img.rgb.data() + size_t{ys[y].i1} * img.width * 3;
        const double ty = ys[y].t;
        for (uint32_t x = 0; x < cam.width; ++x) {
            const size_t c = channelAt(cam.bayer, x, y);
            const size_t a = size_t{xs[x].i0} * 3 + c, b = size_t{xs[x].i1} * 3 + c;
            const double tx = xs[x].t;
            const double upper = top[a] + (top[b] - top[a]) * tx;
            const double lower = bottom[a] + (bottom[b] - bottom[a]) * tx;
            *p++ = static_cast<uint16_t>(std::lround(upper + (lower - upper) * ty));
        }
    }
    return m;
}

std::vector<std::string> pngFilesIn(const std::string& folder) {
    std::error_code ec;
    if (!fs::is_directory(folder, ec)) throw BenchError(folder + ": not a folder");
    std::vector<std::string> names;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        std::string ext = it->path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
        if (ext == ".png" && it->is_regular_file(ec)) names.push_back(it->path().filename().string());
    }
    if (ec) throw BenchError(folder + ": cannot read the folder (" + ec.message() + ")");
    if (names.empty()) throw BenchError(folder + ": no PNG files");
    std::sort(names.begin(), names.end());
    for (std::string& name : names) name = (fs::path(folder) / name).string();
    return names;
}

// ---- Noise ----

uint64_t mix(uint64_t z) {
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
}

constexpr uint64_t kGolden = 0x9e3779b97f4a7c15u;

// Standard normal quantiles at (i + 0.5) / 65536: a 16-bit random index draws a normal value.
const std::vector<float>& normalQuantiles() {
    static const std::vector<float> table = [] {
        std::vector<float> t(65536);
        double x = 0;
        for (size_t i = 32768; i < t.size(); ++i) {
            const double p = (double(i) + 0.5) / 65536;
            for (int k = 0; k < 50; ++k) {  // Newton from the previous quantile
                const double dx = (0.5 * std::erfc(-x / std::numbers::sqrt2) - p) /
                                  (std::exp(-0.5 * x * x) / std::sqrt(2 * std::numbers::pi));
                x -= dx;
                if (std::abs(dx) < 1e-12) break;
            }
            t[i] = float(x);
            t[65535 - i] = float(-x);
        }
        return t;
    }();
    return table;
}

void check(const Bench& bench) {
    const CameraDescription& c = bench.camera;
    if (c.bits != 8 && c.bits != 10 && c.bits != 12) throw BenchError("camera: bits must be 8, 10 or 12");
    if (c.width == 0 || c.height == 0) throw BenchError("camera: the sensor needs at least 1 x 1 pixels");
    if (bench.scene.referenceExposureNs <= 0)
        throw BenchError("scene: the reference exposure must be positive");
    const NoiseDescription& n = bench.noise;
    if (n.on && !(n.readNoise >= 0 && n.readNoise < 1e6))
        throw BenchError("noise: read noise must be 0 or more (LSB)");
    if (n.on && n.shot && !(n.fullWell >= 1 && n.fullWell < 1e12))
        throw BenchError("noise: the full well must be at least 1 electron");
}

}  // namespace

std::array<PixelBox, 24> chartPatches(uint32_t width, uint32_t height) {
    std::array<PixelBox, 24> p;
    for (uint32_t i = 0; i < p.size(); ++i) {
        const uint32_t x = 3 + 10 * (i % 6), y = 3 + 10 * (i / 6);
        p[i] = box(width, height, x, y, x + 8, y + 8);
    }
    return p;
}

struct SceneRenderer::State {
    Bench bench;
    uint16_t max;
    std::vector<std::vector<uint16_t>> scenes;  // linear codes, one a sensor pixel
    std::unique_ptr<ChartLayout> chart;         // the chart's, when it moves

    int64_t tableExposure = 0;
    std::vector<uint16_t> toSensor;  // linear code -> sensor value at tableExposure
    size_t exposedScene = SIZE_MAX;
    std::vector<uint16_t> exposed;  // that scene at tableExposure

    std::vector<float> sigma;  // noise deviation by noiseless value

    void expose(int64_t exposureNs) {
        tableExposure = exposureNs;
        exposedScene = SIZE_MAX;
        toSensor.resize(65536);
        const double m =
            std::max<int64_t>(exposureNs, 0) / double(bench.scene.referenceExposureNs) * max / kFull;
        for (size_t i = 0; i < toSensor.size(); ++i)
            toSensor[i] = static_cast<uint16_t>(std::min(std::floor(double(i) * m + 0.5), double(max)));
    }

    void addNoise(uint64_t frame, RawFrame& f) const {
        const float* __restrict z = normalQuantiles().data();
        const float* __restrict s = sigma.data();
        const uint64_t key = mix(bench.noise.seed * kGolden ^ mix(frame + kGolden));
        const int top = max;
        // Deviations stay far inside int (checked at start); integer clamps need no branches.
        auto noisy = [&](uint16_t& v, uint64_t r) {
            v = static_cast<uint16_t>(std::clamp(static_cast<int>(v + s[v] * z[r & 0xffff] + 0.5f), 0, top));
        };
        uint16_t* __restrict p = f.pixels.data();
        const size_t n = f.pixels.size();
        // One random word serves four pixels.
        size_t i = 0;
        for (; i + 4 <= n; i += 4) {
            const uint64_t r = mix(key + i * kGolden);
            noisy(p[i], r);
            noisy(p[i + 1], r >> 16);
            noisy(p[i + 2], r >> 32);
            noisy(p[i + 3], r >> 48);
        }
        for (uint64_t r = mix(key + i * kGolden); i < n; ++i, r >>= 16) noisy(p[i], r);
    }
};

SceneRenderer::SceneRenderer(const Bench& bench) : state_(std::make_unique<State>()) {
    check(bench);
    State& s = *state_;
    s.bench = bench;
    s.max = static_cast<uint16_t>((1u << bench.camera.bits) - 1);
    const SceneDescription& scene = bench.scene;
    if (scene.kind == SceneDescription::Kind::Chart) {
        s.scenes.push_back(chartMosaic(bench.camera));
        if (scene.moving) s.chart = std::make_unique<ChartLayout>(bench.camera.width, bench.camera.height);
    } else {
        const std::vector<std::string> files = scene.kind == SceneDescription::Kind::Png
                                                   ? std::vector<std::string>{scene.path}
                                                   : pngFilesIn(scene.path);
        for (const std::string& file : files) s.scenes.push_back(fitMosaic(readPng(file), bench.camera));
    }
    if (bench.noise.on) {
        const NoiseDescription& n = bench.noise;
        s.sigma.resize(size_t{s.max} + 1);
        for (uint32_t v = 0; v < s.max; ++v)
            s.sigma[v] =
                float(std::sqrt(n.readNoise * n.readNoise + (n.shot ? double(v) * s.max / n.fullWell : 0)));
        normalQuantiles();  // built now rather than within the first frame
    }
}

SceneRenderer::~SceneRenderer() = default;

void SceneRenderer::render(uint64_t frame, int64_t exposureNs, RawFrame& out) {
    State& s = *state_;
    if (s.toSensor.empty() || exposureNs != s.tableExposure) s.expose(exposureNs);
    const size_t index = frame % s.scenes.size();
    const std::vector<uint16_t>& scene = s.scenes[index];
    if (index != s.exposedScene) {
        s.exposed.resize(scene.size());
        std::transform(scene.begin(), scene.end(), s.exposed.begin(),
                       [&](uint16_t v) { return s.toSensor[v]; });
        s.exposedScene = index;
    }
    out.width = s.bench.camera.width;
    out.height = s.bench.camera.height;
    out.bits = s.bench.camera.bits;
    out.pixels.assign(s.exposed.begin(), s.exposed.end());
    if (s.chart) drawMoving(*s.chart, frame, s.toSensor[code(kBright)], out);
    if (s.bench.noise.on) s.addNoise(frame, out);
}

}  // namespace vboard
