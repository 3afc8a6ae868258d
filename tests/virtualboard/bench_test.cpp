// Bench descriptions: what the reader refuses and why, what it reads, and how a board gets one.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "bench.h"
#include "vboard_fixture.h"

namespace vboard::test {
namespace {

namespace fs = std::filesystem;

class BenchFiles : public PlainHandle {
  protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("vboard_bench_" + std::to_string(getpid()));
        fs::create_directories(dir / "shots");
        write("chart.png", "");
        PlainHandle::SetUp();
    }
    void TearDown() override {
        unsetenv("PELLUCID_BENCH");
        PlainHandle::TearDown();
        fs::remove_all(dir);
    }
    std::string write(const std::string& name, const std::string& text) {
        std::ofstream(dir / name) << text;
        return (dir / name).string();
    }
    // The reader's complaint about `text`, or "" when it takes it.
    std::string complaint(const std::string& text) {
        try {
            readBench(write("bench.json", text));
        } catch (const BenchError& e) {
            return e.what();
        }
        return "";
    }

    fs::path dir;
};

TEST_F(BenchFiles, EveryRefusalNamesFileKeyAndReason) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"{\n \"camera\": {\n  \"width\": 5,\n }\n}", {"line 4: ", "syntax error"}},
        {"[]", {"top level: must be an object"}},
        {R"({"camera": {"widht": 5}})", {"camera.widht: unknown key"}},
        {R"({"camera": {"width": 0}})", {"camera.width: must be 1..16384"}},
        {R"({"camera": {"width": "8"}})", {"camera.width: must be a whole number"}},
        {R"({"camera": {"height": 65536}})", {"camera.height: must be 1..65535"}},
        {R"({"camera": {"bit_depth": 9}})", {"camera.bit_depth: must be 8, 10 or 12"}},
        {R"({"camera": {"bayer": "RB"}})", {"camera.bayer: \"RB\" is not one of RG, GR, GB or BG"}},
        {R"({"camera": {"pixel_clock_mhz": 19.9}})", {"camera.pixel_clock_mhz: must be 20..85"}},
        {R"({"camera": {"pixel_clock_mhz": 85.1}})", {"camera.pixel_clock_mhz: must be 20..85"}},
        {R"({"camera": {"taps": 5}})", {"camera.taps: must be 1..4"}},
        {R"({"camera": {"frame_rate": 0}})", {"camera.frame_rate: must be above 0"}},
        {R"({"camera": {"frame_rate": 76.5}})",
         {"camera.frame_rate: 76.5 frames/s", "readout takes 3.08405 ms", "at most 76.429 frames/s"}},
        {R"({"camera": {"mode": "burst"}})", {"camera.mode: \"burst\" is not one of free-run or triggered"}},
        {R"({"camera": {"trigger_line": "CC5"}})", {"camera.trigger_line: \"CC5\""}},
        {R"({"camera": {"exposure_us": 0}})", {"camera.exposure_us: must be above 0"}},
        {R"({"camera": {"exposure": "pulse-width"}})", {"camera.exposure: pulse-width needs"}},
        {R"({"scene": {"png": "gone.png"}})", {"scene.png: ", "gone.png: No such file or directory"}},
        {R"({"scene": {"folder": "chart.png"}})", {"scene.folder: ", "chart.png: not a folder"}},
        {R"({"scene": {"png": "chart.png", "folder": "shots"}})", {"scene.folder: only one of"}},
        {R"({"scene": {"chart": false}})", {"scene.chart: must be true"}},
        {R"({"noise": {"read_lsb": -1}})", {"noise.read_lsb: must be 0 or more"}},
        {R"({"noise": {"full_well": 0}})", {"noise.full_well: must be above 0"}},
        {R"({"noise": {"shot": 1}})", {"noise.shot: must be true or false"}},
        {R"({"inputs": {}})", {"inputs: must be an array"}},
        {R"({"inputs": [{"input": 8}]})", {"inputs[0].input: must be 0..7"}},
        {R"({"inputs": [{"rate_hz": 0}]})", {"inputs[0].rate_hz: must be above 0"}},
        {R"({"inputs": [{"rate_hz": 1000, "width_us": 1000}]})",
         {"inputs[0].width_us: must be at least 0.016 us shorter than the period (1000 us)"}},
        {R"({"inputs": [{"rate_hz": 1e6, "width_us": 0.004}]})", {"inputs[0].width_us: must be 0.016 or more"}},
        {R"({"inputs": [{"count": -1}]})", {"inputs[0].count: must be 0 or more"}},
        {R"({"inputs": [{"times_us": [5, 6.01]}]})", {"inputs[0].times_us[1]: must come at least the width"}},
        {R"({"inputs": [{"times_us": [-1]}]})", {"inputs[0].times_us[0]: must be 0 or more"}},
        {R"({"inputs": [{"times_us": [], "count": 2}]})", {"inputs[0].count: not with times_us"}},
        {R"({"inputs": [{"glitch_every": 3}]})", {"inputs[0].glitch_ns: must be 16 or more and shorter"}},
        {R"({"inputs": [{"glitch_every": 3, "glitch_ns": 1000}]})", {"inputs[0].glitch_ns: ", "(1000 ns)"}},
        {R"({"inputs": [{"input": 2}, {"input": 2}]})", {"inputs[1].input: input 2 already has a signal"}},
    };
    const std::string file = (dir / "bench.json").string() + ": ";
    for (const auto& [text, fragments] : cases) {
        const std::string message = complaint(text);
        EXPECT_EQ(message.rfind(file, 0), 0u) << text << " -> " << message;
        for (const std::string& f : fragments) EXPECT_NE(message.find(f), std::string::npos) << message;
    }
    for (const char* text :
         {"{}", R"({"camera": {"frame_rate": 76.42, "pixel_clock_mhz": 85, "taps": 4}})",
          R"({"camera": {"width": 16384, "height": 65535, "mode": "triggered"}})",
          R"({"scene": {"png": "chart.png"}, "inputs": [{"glitch_every": 1, "glitch_ns": 999}]})"})
        EXPECT_EQ(complaint(text), "") << text;
    for (const auto& example : fs::directory_iterator(PELLUCID_BENCH_EXAMPLES))
        EXPECT_NO_THROW(readBench(example.path().string())) << example.path();
}

TEST_F(BenchFiles, AFullDescriptionReadsBackAndReadoutCountsTapClocks) {
    const std::string path = write("full.json", R"({
        "camera": {"width": 1000, "height": 500, "bit_depth": 12, "bayer": "GB", "pixel_clock_mhz": 30,
                   "taps": 3, "line_gap": 10, "mode": "triggered", "frame_rate": 5, "exposure_us": 2.5,
                   "trigger_line": "CC3", "exposure": "pulse-width"},
        "scene": {"folder": "shots", "reference_exposure_us": 500, "moving": false},
        "noise": {"read_lsb": 1.5, "shot": true, "full_well": 20000, "seed": 7},
        "inputs": [{"input": 0, "rate_hz": 2000, "width_us": 10, "start_us": 2.5, "count": 5,
                    "glitch_every": 3, "glitch_ns": 32},
                   {"input": 7, "times_us": [0, 250.5], "width_us": 5}]})");
    Bench b;
    b.source = path;
    b.camera = {1000, 500, 12, BayerPhase::GB, 30e6, 3, 10, true, 5.0, 2, true, 2500};
    b.scene = {SceneDescription::Kind::Folder, (dir / "shots").string(), 500000, false};
    b.noise = {true, 1.5, true, 20000.0, 7};
    b.inputs = {{0, true, 2000.0, 2500, 5, {}, 10000, 3, 32},
                {7, false, 1000.0, 0, 0, {0, 250500}, 5000, 0, 0}};
    EXPECT_EQ(readBench(path), b);
    // 500 lines of ceil(1000 / 3) + 10 = 344 clocks at 30 MHz: 5733333.3 ns.
    EXPECT_EQ(readoutNs(b.camera), 5733333);
}

// A bench the board cannot use fails the open and leaves the one it had; the reason is readable.
TEST_F(BenchFiles, AnOpenReadsTheBenchFromTheEnvironmentOrFailsWithItsReason) {
    const std::string good = write("good.json", R"({"camera": {"taps": 2}, "noise": {}})"),
                      bad = write("bad.json", R"({"camera": {"bit_depth": 9}})");
    control::loadBench(good);
    const Bench before = control::bench();
    ASSERT_EQ(before.camera.taps, 2u);
    EXPECT_THROW(control::loadBench(bad), std::invalid_argument);
    const std::string none = (dir / "none.json").string(),
                      png = write("png.json", R"({"scene": {"png": "chart.png"}})");
    const std::tuple<std::string, int, std::string> failures[] = {
        {bad, FG_CONFIG_LOAD_FAILED, bad + ": camera.bit_depth: must be 8, 10 or 12"},
        {none, FG_FILE_NOT_FOUND, none + ": cannot open: No such file or directory"},
        {png, FG_CONFIG_LOAD_FAILED, (dir / "chart.png").string() + ": not a PNG file"}};  // an empty file
    for (const auto& [path, error, detail] : failures) {
        setenv("PELLUCID_BENCH", path.c_str(), 1);
        EXPECT_EQ(Fg_InitHandle("Pellucid.hap", QorvBoardOpen(0), design), nullptr);
        EXPECT_EQ(Fg_getLastErrorNumber(nullptr), error);
        EXPECT_EQ(Fg_getLastErrorDetail(nullptr), detail);
        EXPECT_EQ(control::bench(), before);
    }
    EXPECT_EQ(Fg_getLastErrorDetail(fg), std::string(Fg_getErrorDescription(0)));

    setenv("PELLUCID_BENCH", write("next.json", R"({"camera": {"taps": 1}})").c_str(), 1);
    Fg_Struct* second = Fg_InitHandle("Pellucid.hap", QorvBoardOpen(0), design);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(control::bench().camera.taps, 1u);
    EXPECT_EQ(Fg_FreeGrabber(second), 0);
    control::reset();
    EXPECT_EQ(control::bench(), Bench{});
}

}  // namespace
}  // namespace vboard::test
