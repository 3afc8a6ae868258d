// The lookup tables: computed from the processing values, single entries, the type switch, and
// LUT files through FG_LUT_SAVE_FILE and FG_LUT_CUSTOM_FILE.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <limits>
#include <sstream>

#include "image_path_fixture.h"

namespace {

using ::testing::ElementsAre;
namespace control = vboard::control;

const std::string kBlockR = std::string(kLutR) + "[0+4096]";
const std::string kBlockG = std::string(kLutG) + "[0+4096]";
const std::string kBlockB = std::string(kLutB) + "[0+4096]";

// The entry as the processing values define it, written out independently of the applet: a value
// that does not fit 32 bits counts as the most negative one, and invert wraps in 32 bits.
uint32_t reference(double o, double g, double c, bool invert, uint32_t i) {
    const double x = (i / 4095.0 + o) * g;
    long long e = 0;
    if (!(x < 0.0)) {
        const double v = std::pow(x, 1.0 / c) * 4095.0 + 0.5;
        e = std::isfinite(v) && std::fabs(v) < 2147483648.0 ? static_cast<long long>(std::trunc(v))
                                                            : INT32_MIN;
    }
    if (invert) e = static_cast<int32_t>(static_cast<uint32_t>(4095 - e));
    return static_cast<uint32_t>(std::clamp<long long>(e, 0, 4095));
}

struct Processing {
    double offset, gain, gamma;
    uint32_t invert;
    std::function<uint32_t(uint32_t)> closedForm;  // null: the reference alone
};

const double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST_F(ImagePath, ProcessorTablesFollowTheFormula) {
    const Processing cases[] = {
        {0, 1, 1, 0, [](uint32_t i) { return i; }},
        {0, 1, 1, 1, [](uint32_t i) { return 4095 - i; }},
        {0, 1, 2, 0, [](uint32_t i) { return static_cast<uint32_t>(std::sqrt(i / 4095.0) * 4095 + 0.5); }},
        {-1, 1, 1, 0, [](uint32_t) { return 0u; }},
        {0, 0, 1, 0, [](uint32_t) { return 0u; }},
        {0, 0, 1, 1, [](uint32_t) { return 4095u; }},
        {0, 1, 0, 0, [](uint32_t i) { return i == 4095 ? 4095u : 0u; }},  // 1/0: infinite exponent
        {0, 1, -1, 0, [](uint32_t i) { return i == 0 ? 0u : 4095u; }},    // pow(0, -1) is infinite
        {kNaN, 1, 1, 1, [](uint32_t) { return 0u; }},                     // NaN ends as 0, inverted too
        {0, 4096, 1, 1, [](uint32_t i) { return i == 0 ? 4095u : 0u; }},  // clamped after the invert
        {0.1, 2.5, 0.45, 1, nullptr},
        {-0.3, 1.7, 2.2, 0, nullptr},
    };
    for (const Processing& p : cases) {
        SCOPED_TRACE(testing::Message() << p.offset << " " << p.gain << " " << p.gamma << " " << p.invert);
        ASSERT_EQ(setDouble(FG_PROCESSING_OFFSET, p.offset), 0);
        ASSERT_EQ(setDouble(FG_PROCESSING_GAIN, p.gain), 0);
        ASSERT_EQ(setDouble(FG_PROCESSING_GAMMA, p.gamma), 0);
        ASSERT_EQ(setUInt(FG_PROCESSING_INVERT, p.invert), 0);
        std::vector<uint64_t> want(4096);
        for (uint32_t i = 0; i < 4096; ++i) {
            want[i] = reference(p.offset, p.gain, p.gamma, p.invert == 1, i);
            if (p.closedForm) {
                ASSERT_EQ(want[i], p.closedForm(i)) << "reference disagrees at " << i;
            }
        }
        EXPECT_EQ(control::field(kLutR), want);
        EXPECT_EQ(control::field(kLutG), want);
        EXPECT_EQ(control::field(kLutB), want);
        EXPECT_EQ(table(FG_LUT_VALUE_GREEN), want);
    }
    EXPECT_EQ(setDouble(FG_PROCESSING_OFFSET, 1.001), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(setDouble(FG_PROCESSING_GAIN, -0.5), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(setDouble(FG_PROCESSING_GAMMA, 1000.5), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(setUInt(FG_PROCESSING_INVERT, 2), FG_VALUE_OUT_OF_RANGE);
}

TEST_F(ImagePath, TypeSwitchDefersProcessingAndChangesAccess) {
    EXPECT_EQ(description(FG_LUT_CUSTOM_FILE)->accessFlags, FG_ACCESS_READ);
    control::clearJournal();
    ASSERT_EQ(setUInt(FG_LUT_TYPE, 0), 0);
    EXPECT_EQ(setDouble(FG_PROCESSING_GAIN, 2.0), 0);
    EXPECT_EQ(setDouble(FG_PROCESSING_GAMMA, 1.0), 0);
    EXPECT_TRUE(control::writes().empty()) << "no file and no processing in file mode";
    EXPECT_EQ(description(FG_LUT_CUSTOM_FILE)->accessFlags, FG_ACCESS_READ_WRITE_CHANGE);
    for (int id : {FG_PROCESSING_GAIN, FG_PROCESSING_GAMMA, FG_PROCESSING_OFFSET, FG_PROCESSING_INVERT}) {
        EXPECT_EQ(description(id)->accessFlags, FG_ACCESS_READ) << id;
    }

    EXPECT_EQ(setUInt(FG_LUT_TYPE, 3), 0);
    EXPECT_THAT(control::writes(), ElementsAre(kBlockR, kBlockG, kBlockB));
    EXPECT_EQ(entry(FG_LUT_VALUE_BLUE, 100), 200u);
    EXPECT_EQ(entry(FG_LUT_VALUE_BLUE, 3000), 4095u);
    EXPECT_EQ(description(FG_LUT_CUSTOM_FILE)->accessFlags, FG_ACCESS_READ);
    EXPECT_EQ(description(FG_PROCESSING_INVERT)->accessFlags, FG_ACCESS_READ_WRITE_CHANGE);
    EXPECT_EQ(setUInt(FG_LUT_TYPE, 1), FG_VALUE_OUT_OF_RANGE);

    for (int id : {FG_LUT_IMPLEMENTATION_TYPE, FG_LUT_IN_BITS, FG_LUT_OUT_BITS}) {
        EXPECT_EQ(setUInt(id, 0), FG_NOT_AVAILABLE) << id;
    }
    EXPECT_EQ(getUInt(FG_LUT_IMPLEMENTATION_TYPE), 0u);
    EXPECT_EQ(getUInt(FG_LUT_IN_BITS), 12u);
    EXPECT_EQ(getUInt(FG_LUT_OUT_BITS), 12u);
}

TEST_F(ImagePath, FailedGreenTableStopsBeforeBlue) {
    ASSERT_EQ(setDouble(FG_PROCESSING_GAIN, 1.0), 0);
    ASSERT_EQ(setDouble(FG_PROCESSING_GAMMA, 1.0), 0);
    control::failWrite(kLutG, 1, -77);
    control::clearJournal();
    EXPECT_EQ(setUInt(FG_PROCESSING_INVERT, 1), -77);
    EXPECT_THAT(control::writes(), ElementsAre(kBlockR, kBlockG + " !-77"));
    EXPECT_EQ(getUInt(FG_PROCESSING_INVERT), 0u);
    // Red and green were computed, blue was not; only red reached the design.
    EXPECT_EQ(entry(FG_LUT_VALUE_RED, 10), 4085u);
    EXPECT_EQ(entry(FG_LUT_VALUE_GREEN, 10), 4085u);
    EXPECT_EQ(entry(FG_LUT_VALUE_BLUE, 10), 10u);
    EXPECT_EQ(control::fieldEntry(kLutR, 10), 4085u);
    EXPECT_EQ(control::fieldEntry(kLutG, 10), 10u);
    EXPECT_EQ(control::fieldEntry(kLutB, 10), 10u);
}

TEST_F(ImagePath, SingleEntriesAreCheckedWrittenAndRestored) {
    uint32_t v = 0;
    EXPECT_EQ(setEntry(FG_LUT_VALUE_GREEN, 4096, 5), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(setEntry(FG_LUT_VALUE_GREEN, 5, 4096), FG_VALUE_OUT_OF_RANGE);
    EXPECT_EQ(getEntry(FG_LUT_VALUE_GREEN, 4096, &v), FG_INVALID_PARAMETER);
    control::clearJournal();
    EXPECT_EQ(setEntry(FG_LUT_VALUE_GREEN, 17, 4095), 0);
    EXPECT_EQ(setEntry(FG_LUT_VALUE_RED, 0, 1), 0);
    EXPECT_THAT(control::writes(),
                ElementsAre(std::string(kLutG) + "[17]=4095", std::string(kLutR) + "[0]=1"));
    control::failWrite(kLutG, 1, -77);
    EXPECT_EQ(setEntry(FG_LUT_VALUE_GREEN, 17, 100), -77);
    EXPECT_EQ(entry(FG_LUT_VALUE_GREEN, 17), 4095u);
    EXPECT_EQ(entry(FG_LUT_VALUE_RED, 0), 1u);
}

class LutFiles : public ImagePath {
  protected:
    void TearDown() override {
        for (const std::string& f : files) std::remove(f.c_str());
        ImagePath::TearDown();
    }
    std::string file(const std::string& name, const std::string& content = "") {
        files.push_back(testing::TempDir() + "image_path_" + std::to_string(getpid()) + "_" + name);
        if (!content.empty()) std::ofstream(files.back()) << content;
        return files.back();
    }
    static std::string read(const std::string& path) {
        std::stringstream s;
        s << std::ifstream(path).rdbuf();
        return s.str();
    }
    std::vector<std::string> files;
};

TEST_F(LutFiles, SavedTablesLoadBackThroughTheUserFileType) {
    ASSERT_EQ(setDouble(FG_PROCESSING_GAIN, 1.0), 0);
    ASSERT_EQ(setDouble(FG_PROCESSING_GAMMA, 1.0), 0);
    ASSERT_EQ(setEntry(FG_LUT_VALUE_RED, 5, 4000), 0);
    ASSERT_EQ(setEntry(FG_LUT_VALUE_BLUE, 4095, 7), 0);
    const std::string path = file("saved.txt");
    ASSERT_EQ(setString(FG_LUT_SAVE_FILE, path.c_str()), 0);
    EXPECT_EQ(getString(FG_LUT_SAVE_FILE), path);
    const std::string text = read(path);
    const std::string start =
        "# Lut data file v1.1\n\n[red]\n\nid=0;\nnrOfElements=4096;\nformat=0;\nnumber=0;\n0,0;\n1,1;\n2,2;\n"
        "3,3;\n4,4;\n5,4000;\n6,6;\n";
    EXPECT_EQ(text.substr(0, start.size()), start);
    EXPECT_NE(text.find("4095,4095;\n\n\n[green]\n\nid=1;\n"), std::string::npos);
    EXPECT_NE(text.find("\n\n[blue]\n\nid=2;\n"), std::string::npos);
    EXPECT_EQ(text.substr(text.size() - 8), "4095,7;\n");
    const std::vector<uint64_t> red = table(FG_LUT_VALUE_RED), blue = table(FG_LUT_VALUE_BLUE);

    ASSERT_EQ(setUInt(FG_PROCESSING_INVERT, 1), 0);
    ASSERT_EQ(setUInt(FG_LUT_TYPE, 0), 0);
    control::clearJournal();
    EXPECT_EQ(setString(FG_LUT_CUSTOM_FILE, path.c_str()), 0);
    EXPECT_THAT(control::writes(), ElementsAre(kBlockR, kBlockG, kBlockB));
    EXPECT_EQ(table(FG_LUT_VALUE_RED), red);
    EXPECT_EQ(table(FG_LUT_VALUE_BLUE), blue);
    EXPECT_EQ(control::field(kLutB), blue);
    EXPECT_EQ(entry(FG_LUT_VALUE_GREEN, 100), 100u);
    EXPECT_EQ(getString(FG_LUT_CUSTOM_FILE), path);
}

TEST_F(LutFiles, BadFilesAndPathsGiveTheirErrorNumbers) {
    ASSERT_EQ(setDouble(FG_PROCESSING_GAIN, 1.0), 0);
    ASSERT_EQ(setDouble(FG_PROCESSING_GAMMA, 1.0), 0);
    ASSERT_EQ(setUInt(FG_LUT_TYPE, 0), 0);
    const std::string good = file("good.txt",
                                  "# Lut data file v1.1\n\n[red]\n\nid=0;\nnrOfElements=16;\n"
                                  "0,9;\n1,9;\n2,9;\n3,9;\n4,9;\n5,9;\n6,9;\n7,9;\n8,9;\n9,9;\n");
    ASSERT_EQ(setString(FG_LUT_CUSTOM_FILE, good.c_str()), 0);
    // Only red is there, and only 10 of its 16 entries: the rest read as 0, past 16 the old stay.
    EXPECT_EQ(entry(FG_LUT_VALUE_RED, 9), 9u);
    EXPECT_EQ(entry(FG_LUT_VALUE_RED, 10), 0u);
    EXPECT_EQ(entry(FG_LUT_VALUE_RED, 16), 16u);
    EXPECT_EQ(entry(FG_LUT_VALUE_GREEN, 5), 0u);
    EXPECT_EQ(entry(FG_LUT_VALUE_BLUE, 15), 0u);
    EXPECT_EQ(entry(FG_LUT_VALUE_BLUE, 16), 16u);
    ASSERT_EQ(setEntry(FG_LUT_VALUE_RED, 100, 55), 0);

    const std::string huge =
        file("huge.txt", "# Lut data file v1.1\n\n[red]\n\nnrOfElements=4000000000;\n0,1;\n");
    // The format carries 12-bit entries; others make the file malformed before anything changes.
    auto entries = [&](const char* name, const char* blue) {
        return file(name, std::string("nrOfElements=2;\n[red]\n0,1;\n1,2;\n[green]\n[blue]\n0,3;\n1,") +
                              blue + ";\n");
    };
    const struct {
        int id;
        std::string path;
        int rc;
    } cases[] = {
        {FG_LUT_CUSTOM_FILE, "/nonexistent/lut.txt", FG_FILE_NOT_FOUND},
        {FG_LUT_CUSTOM_FILE, testing::TempDir(), FG_FILE_NOT_FOUND},
        {FG_LUT_CUSTOM_FILE, huge, FG_FILE_ACCESS_FAILED},
        {FG_LUT_CUSTOM_FILE, entries("4096.txt", "4096"), FG_VALUE_OUT_OF_RANGE},
        {FG_LUT_CUSTOM_FILE, entries("negative.txt", "-1"), FG_VALUE_OUT_OF_RANGE},
        {FG_LUT_CUSTOM_FILE, entries("wraps.txt", "4294967301"), FG_VALUE_OUT_OF_RANGE},
        {FG_LUT_SAVE_FILE, "/nonexistent/lut.txt", FG_FILE_ACCESS_FAILED},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        control::clearJournal();
        EXPECT_EQ(setString(c.id, c.path.c_str()), c.rc);
        EXPECT_EQ(getString(FG_LUT_CUSTOM_FILE), good);
        EXPECT_EQ(entry(FG_LUT_VALUE_RED, 0), 9u);
        EXPECT_EQ(entry(FG_LUT_VALUE_RED, 100), 55u);
        EXPECT_TRUE(control::writes().empty());
    }
    EXPECT_EQ(getString(FG_LUT_SAVE_FILE), "/nonexistent/lut.txt") << "the name is kept";
    control::clearJournal();
    EXPECT_EQ(setString(FG_LUT_SAVE_FILE, ""), 0);
    EXPECT_EQ(getString(FG_LUT_SAVE_FILE), "");
    EXPECT_TRUE(control::writes().empty());
}

}  // namespace
