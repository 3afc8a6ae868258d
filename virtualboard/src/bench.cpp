// Bench descriptions: JSON read into a Bench, every value checked before anything is returned.
#include "bench.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <nlohmann/json.hpp>

namespace vboard {

namespace {

constexpr int64_t kTickNs = 16;  // the design clock

using nlohmann::json;

constexpr uint32_t kMaxWidth = 16384, kMaxHeight = 65535;  // the board's buffer extents
constexpr uint32_t kMaxLineGap = 65535;
constexpr double kMinClockMhz = 20.0, kMaxClockMhz = 85.0;  // Camera Link Medium
constexpr uint32_t kMaxTaps = 4;
// Keeps every time, in ns, far inside int64.
constexpr double kMaxMicroseconds = 1e12;

// Six significant digits with '.', whatever the locale.
std::string shortText(double v) {
    char buffer[32];
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, v, std::chars_format::general, 6);
    return ec == std::errc() ? std::string(buffer, end) : "?";
}

// Where a value sits in the file, for messages: "camera.width", "inputs[1].times_us[2]".
std::string join(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
}

class Reader {
  public:
    Reader(std::string file, std::string folder) : file_(std::move(file)), folder_(std::move(folder)) {}

    [[noreturn]] void fail(const std::string& where, const std::string& why) const {
        throw BenchError(file_ + ": " + where + ": " + why);
    }

    void object(const json& j, const std::string& where, std::initializer_list<const char*> allowed) const {
        if (!j.is_object()) fail(where.empty() ? "top level" : where, "must be an object");
        for (const auto& item : j.items()) {
            const std::string& key = item.key();
            if (std::none_of(allowed.begin(), allowed.end(), [&](const char* a) { return key == a; }))
                fail(join(where, key), "unknown key");
        }
    }

    // The member, or null when it is absent.
    static const json* member(const json& j, const char* key) {
        auto it = j.find(key);
        return it == j.end() ? nullptr : &*it;
    }

    bool number(const json& j, const std::string& where, const char* key, double& out) const {
        const json* v = member(j, key);
        if (v == nullptr) return false;
        if (!v->is_number()) fail(join(where, key), "must be a number");
        out = v->get<double>();
        if (!std::isfinite(out)) fail(join(where, key), "must be a finite number");
        return true;
    }

    // A whole number within lo..hi.
    bool integer(const json& j, const std::string& where, const char* key, int64_t lo, int64_t hi,
                 int64_t& out) const {
        const json* v = member(j, key);
        if (v == nullptr) return false;
        if (!v->is_number_integer()) fail(join(where, key), "must be a whole number");
        // Non-negative numbers parse as unsigned; beyond int64 they are out of every range here.
        const bool huge = v->is_number_unsigned() && v->get<uint64_t>() > INT64_MAX;
        if (huge || v->get<int64_t>() < lo || v->get<int64_t>() > hi)
            fail(join(where, key), "must be " + std::to_string(lo) +
                                       (hi == INT64_MAX ? " or more" : ".." + std::to_string(hi)));
        out = v->get<int64_t>();
        return true;
    }

    template <typename T>
    bool integer(const json& j, const std::string& where, const char* key, int64_t lo, int64_t hi,
                 T& out) const {
        int64_t v = 0;
        if (!integer(j, where, key, lo, hi, v)) return false;
        out = static_cast<T>(v);
        return true;
    }

    bool text(const json& j, const std::string& where, const char* key, std::string& out) const {
        const json* v = member(j, key);
        if (v == nullptr) return false;
        if (!v->is_string()) fail(join(where, key), "must be a string");
        out = v->get<std::string>();
        return true;
    }

    void flag(const json& j, const std::string& where, const char* key, bool& out) const {
        const json* v = member(j, key);
        if (v == nullptr) return;
        if (!v->is_boolean()) fail(join(where, key), "must be true or false");
        out = v->get<bool>();
    }

    // One of `names`; its position.
    template <size_t N>
    bool choice(const json& j, const std::string& where, const char* key, const char* const (&names)[N],
                int& out) const {
        std::string s;
        if (!text(j, where, key, s)) return false;
        for (size_t i = 0; i < N; ++i) {
            if (s == names[i]) {
                out = static_cast<int>(i);
                return true;
            }
        }
        std::string list;
        for (size_t i = 0; i < N; ++i)
            list += std::string(i == 0 ? "" : i + 1 == N ? " or " : ", ") + names[i];
        fail(join(where, key), "\"" + s + "\" is not one of " + list);
    }

    // A duration or time in microseconds, as whole ns; `positive` refuses 0.
    void micros(const json& j, const std::string& where, const char* key, bool positive, int64_t& ns) const {
        double us = 0;
        if (!number(j, where, key, us)) return;
        micros(us, join(where, key), positive, ns);
    }

    void micros(double us, const std::string& where, bool positive, int64_t& ns) const {
        if (positive ? !(us > 0) : us < 0) fail(where, positive ? "must be above 0" : "must be 0 or more");
        if (us > kMaxMicroseconds) fail(where, "must be at most " + shortText(kMaxMicroseconds));
        ns = std::llround(us * 1000.0);
        if (positive && ns < 1) fail(where, "must be at least 0.001 (1 ns)");
    }

    // A scene file or folder, relative to the bench file's folder.
    std::string scenePath(const std::string& where, const std::string& name, bool folder) const {
        if (name.empty()) fail(where, "must name a " + std::string(folder ? "folder" : "file"));
        const std::string path = name.front() == '/' || folder_.empty() ? name : folder_ + "/" + name;
        struct stat st {};
        if (stat(path.c_str(), &st) != 0) fail(where, path + ": " + std::strerror(errno));
        if (folder != S_ISDIR(st.st_mode)) fail(where, path + ": " + (folder ? "not a folder" : "a folder"));
        if (access(path.c_str(), folder ? R_OK | X_OK : R_OK) != 0)
            fail(where, path + ": " + std::strerror(errno));
        return path;
    }

  private:
    std::string file_, folder_;
};

void readCamera(const Reader& r, const json& j, CameraDescription& c) {
    const std::string w = "camera";
    r.object(j, w,
             {"width", "height", "bit_depth", "bayer", "pixel_clock_mhz", "taps", "line_gap", "mode",
              "frame_rate", "exposure_us", "trigger_line", "exposure"});
    r.integer(j, w, "width", 1, kMaxWidth, c.width);
    r.integer(j, w, "height", 1, kMaxHeight, c.height);
    int64_t bits = 0;
    if (r.integer(j, w, "bit_depth", INT64_MIN, INT64_MAX, bits)) {
        if (bits != 8 && bits != 10 && bits != 12) r.fail(join(w, "bit_depth"), "must be 8, 10 or 12");
        c.bits = static_cast<int>(bits);
    }
    int choice = 0;
    static const char* const bayer[] = {"RG", "GR", "GB", "BG"};
    if (r.choice(j, w, "bayer", bayer, choice)) c.bayer = static_cast<BayerPhase>(choice);
    double mhz = 0;
    if (r.number(j, w, "pixel_clock_mhz", mhz)) {
        if (mhz < kMinClockMhz || mhz > kMaxClockMhz)
            r.fail(join(w, "pixel_clock_mhz"), "must be 20..85 (Camera Link Medium)");
        c.pixelClockHz = mhz * 1e6;
    }
    r.integer(j, w, "taps", 1, kMaxTaps, c.taps);
    r.integer(j, w, "line_gap", 0, kMaxLineGap, c.lineGap);
    static const char* const modes[] = {"free-run", "triggered"};
    if (r.choice(j, w, "mode", modes, choice)) c.triggered = choice == 1;
    if (r.number(j, w, "frame_rate", c.frameRate) && !(c.frameRate > 0))
        r.fail(join(w, "frame_rate"), "must be above 0");
    r.micros(j, w, "exposure_us", true, c.exposureNs);
    static const char* const lines[] = {"CC1", "CC2", "CC3", "CC4"};
    r.choice(j, w, "trigger_line", lines, c.triggerLine);
    static const char* const exposures[] = {"fixed", "pulse-width"};
    if (r.choice(j, w, "exposure", exposures, choice)) c.exposureFromPulse = choice == 1;
    if (c.exposureFromPulse && !c.triggered)
        r.fail(join(w, "exposure"), "pulse-width needs \"mode\": \"triggered\"");

    if (c.triggered) return;
    const double readout = static_cast<double>(readoutNs(c));
    const double needed = readout + static_cast<double>(c.exposureNs);
    if (c.frameRate * needed > 1e9) {
        r.fail(join(w, "frame_rate"), shortText(c.frameRate) +
                                          " frames/s is more than the taps can deliver: readout takes " +
                                          shortText(readout / 1e6) + " ms and exposure " +
                                          shortText(static_cast<double>(c.exposureNs) / 1e6) +
                                          " ms, so at most " + shortText(1e9 / needed) + " frames/s");
    }
}

void readScene(const Reader& r, const json& j, SceneDescription& s) {
    const std::string w = "scene";
    r.object(j, w, {"chart", "png", "folder", "reference_exposure_us", "moving"});
    const char* kind = nullptr;
    for (const char* k : {"chart", "png", "folder"}) {
        if (Reader::member(j, k) == nullptr) continue;
        if (kind != nullptr)
            r.fail(join(w, k), std::string("only one of chart, png and folder (") + kind + " given)");
        kind = k;
    }
    bool chart = true;
    r.flag(j, w, "chart", chart);
    if (!chart) r.fail(join(w, "chart"), "must be true; name a png or folder instead");
    std::string name;
    if (r.text(j, w, "png", name)) {
        s.kind = SceneDescription::Kind::Png;
        s.path = r.scenePath(join(w, "png"), name, false);
    } else if (r.text(j, w, "folder", name)) {
        s.kind = SceneDescription::Kind::Folder;
        s.path = r.scenePath(join(w, "folder"), name, true);
    }
    r.micros(j, w, "reference_exposure_us", true, s.referenceExposureNs);
    r.flag(j, w, "moving", s.moving);
}

void readNoise(const Reader& r, const json& j, NoiseDescription& n) {
    const std::string w = "noise";
    r.object(j, w, {"read_lsb", "shot", "full_well", "seed"});
    n.on = true;
    if (r.number(j, w, "read_lsb", n.readNoise) && n.readNoise < 0)
        r.fail(join(w, "read_lsb"), "must be 0 or more");
    r.flag(j, w, "shot", n.shot);
    if (r.number(j, w, "full_well", n.fullWell) && !(n.fullWell > 0))
        r.fail(join(w, "full_well"), "must be above 0");
    const json* seed = Reader::member(j, "seed");
    if (seed != nullptr) {
        if (!seed->is_number_unsigned()) r.fail(join(w, "seed"), "must be a whole number of 0 or more");
        n.seed = seed->get<uint64_t>();
    }
}

SignalDescription readSignal(const Reader& r, const json& j, const std::string& w) {
    r.object(j, w,
             {"input", "rate_hz", "start_us", "count", "times_us", "width_us", "glitch_every", "glitch_ns"});
    SignalDescription s;
    r.integer(j, w, "input", 0, 7, s.input);
    r.micros(j, w, "width_us", true, s.widthNs);
    // The inputs are sampled on the 16 ns design clock: anything shorter would vanish.
    if (s.widthNs < kTickNs) r.fail(join(w, "width_us"), "must be 0.016 or more (one design clock)");
    if (const json* times = Reader::member(j, "times_us")) {
        for (const char* k : {"rate_hz", "start_us", "count"})
            if (Reader::member(j, k) != nullptr) r.fail(join(w, k), "not with times_us");
        const std::string tw = join(w, "times_us");
        if (!times->is_array()) r.fail(tw, "must be an array");
        s.periodic = false;
        for (size_t i = 0; i < times->size(); ++i) {
            const std::string at = tw + "[" + std::to_string(i) + "]";
            if (!(*times)[i].is_number()) r.fail(at, "must be a number");
            int64_t ns = 0;
            r.micros((*times)[i].get<double>(), at, false, ns);
            if (!s.timesNs.empty() && ns < s.timesNs.back() + s.widthNs + kTickNs)
                r.fail(at, "must come at least the width and 0.016 us after the one before");
            s.timesNs.push_back(ns);
        }
    } else {
        if (r.number(j, w, "rate_hz", s.rateHz) && !(s.rateHz > 0))
            r.fail(join(w, "rate_hz"), "must be above 0");
        r.micros(j, w, "start_us", false, s.startNs);
        r.integer(j, w, "count", 0, INT64_MAX, s.count);
        const double periodNs = 1e9 / s.rateHz;
        if (static_cast<double>(s.widthNs + kTickNs) > periodNs)
            r.fail(join(w, "width_us"), "must be at least 0.016 us shorter than the period (" +
                                            shortText(periodNs / 1000) + " us)");
    }
    r.integer(j, w, "glitch_every", 0, UINT32_MAX, s.glitchEvery);
    const json* glitch = Reader::member(j, "glitch_ns");
    if (glitch != nullptr || s.glitchEvery > 0) {
        double ns = 0;
        r.number(j, w, "glitch_ns", ns);
        if (!(ns >= kTickNs) || ns >= static_cast<double>(s.widthNs))
            r.fail(join(w, "glitch_ns"),
                   "must be 16 or more and shorter than the pulse (" + std::to_string(s.widthNs) + " ns)");
        s.glitchWidthNs = std::llround(ns);
    }
    return s;
}

// The line of a byte offset, counting from 1.
size_t lineOf(const std::string& text, size_t byte) {
    const size_t end = std::min(byte, text.size());
    return 1 + static_cast<size_t>(
                   std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), '\n'));
}

}  // namespace

Bench readBench(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw BenchError(path + ": cannot open: " + std::strerror(errno));
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) throw BenchError(path + ": cannot read: " + std::strerror(errno));

    json j;
    try {
        j = json::parse(text);
    } catch (const json::parse_error& e) {
        // "[json.exception.parse_error.101] parse error at line 3, column 5: <reason>": keep the reason.
        std::string why = e.what();
        const size_t colon = why.find(": ");
        if (colon != std::string::npos) why = why.substr(colon + 2);
        // The offset is one past the byte that failed.
        throw BenchError(path + ": line " + std::to_string(lineOf(text, e.byte == 0 ? 0 : e.byte - 1)) +
                         ": " + why);
    } catch (const json::exception& e) {
        // "[json.exception.out_of_range.406] number overflow parsing '1e400'": no offset, but the token.
        std::string why = e.what();
        why = why.substr(why.find("] ") + 2);
        const size_t quote = why.find('\'');
        const size_t at = quote == std::string::npos
                              ? std::string::npos
                              : text.find(why.substr(quote + 1, why.rfind('\'') - quote - 1));
        throw BenchError(path + ": " +
                         (at == std::string::npos ? "" : "line " + std::to_string(lineOf(text, at)) + ": ") +
                         why);
    }

    const size_t slash = path.rfind('/');
    const Reader r(path, slash == std::string::npos ? "" : path.substr(0, slash == 0 ? 1 : slash));
    r.object(j, "", {"camera", "scene", "noise", "inputs"});
    Bench b;
    b.source = path;
    if (const json* c = Reader::member(j, "camera")) {
        if (c->is_null()) {
            b.camera.connected = false;  // nothing plugged into the port
        } else {
            readCamera(r, *c, b.camera);
        }
    }
    if (const json* s = Reader::member(j, "scene")) readScene(r, *s, b.scene);
    if (const json* n = Reader::member(j, "noise")) readNoise(r, *n, b.noise);
    if (const json* inputs = Reader::member(j, "inputs")) {
        if (!inputs->is_array()) r.fail("inputs", "must be an array");
        for (size_t i = 0; i < inputs->size(); ++i) {
            const std::string w = "inputs[" + std::to_string(i) + "]";
            SignalDescription s = readSignal(r, (*inputs)[i], w);
            for (size_t k = 0; k < b.inputs.size(); ++k)
                if (b.inputs[k].input == s.input)
                    r.fail(join(w, "input"), "input " + std::to_string(s.input) +
                                                 " already has a signal (inputs[" + std::to_string(k) + "])");
            b.inputs.push_back(std::move(s));
        }
    }
    return b;
}

int64_t readoutNs(const CameraDescription& c) {
    const uint64_t taps = std::max<uint32_t>(c.taps, 1);
    const uint64_t clocks = uint64_t{c.height} * ((c.width + taps - 1) / taps + c.lineGap);
    if (!(c.pixelClockHz > 0)) return 0;  // a hand-made description; a file never gets here
    return std::llround(static_cast<double>(clocks) * 1e9 / c.pixelClockHz);
}

}  // namespace vboard
