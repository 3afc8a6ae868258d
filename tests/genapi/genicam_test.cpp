// The board through libpellucid-genicam, as a GenICam program sees it: Aravis checks ranges and
// access against the limits and locks the port reads from the applet at the moment it asks.
#include <gtest/gtest.h>
#include <pellucid/genicam.h>

#include <string>
#include <vector>

#include "vboard/control.h"

namespace {

class GenicamDevice : public ::testing::Test {
  protected:
    void SetUp() override {
        vboard::control::reset();
        ASSERT_NE(fg = Fg_Init(PELLUCID_APPLET_PATH, 0), nullptr);
        device = pellucid_genicam_device_new(fg, &error);
        ASSERT_NE(device, nullptr) << error->message;
        gc = arv_device_get_genicam(device);
        arv_gc_set_range_check_policy(gc, ARV_RANGE_CHECK_POLICY_ENABLE);
        arv_gc_set_access_check_policy(gc, ARV_ACCESS_CHECK_POLICY_ENABLE);
    }
    void TearDown() override {
        g_clear_error(&error);
        if (device != nullptr) g_object_unref(device);
        if (fg != nullptr) Fg_FreeGrabber(fg);
        vboard::control::reset();
    }
    ArvGcNode* node(const std::string& name) {
        ArvGcNode* n = arv_gc_get_node(gc, name.c_str());
        EXPECT_NE(n, nullptr) << name;
        return n;
    }
    // Writes an integer, or an enumeration by its entry name; true when the consumer took it.
    bool set(const std::string& name, gint64 value, const char* entry = nullptr) {
        g_clear_error(&error);
        ArvGcNode* n = node(name);
        if (entry != nullptr) {
            arv_gc_enumeration_set_string_value(ARV_GC_ENUMERATION(n), entry, &error);
        } else {
            arv_gc_integer_set_value(ARV_GC_INTEGER(n), value, &error);
        }
        return error == nullptr;
    }
    uint32_t sdkValue(int id) {
        uint32_t v = 0;
        EXPECT_EQ(Fg_getParameterWithType(fg, id, &v, 0, FG_PARAM_TYPE_UINT32_T), 0) << id;
        return v;
    }

    Fg_Struct* fg = nullptr;
    ArvDevice* device = nullptr;
    ArvGc* gc = nullptr;
    GError* error = nullptr;
};

struct Setting {
    const char* name;
    gint64 value;
    const char* entry = nullptr;
};

TEST_F(GenicamDevice, LimitsAreReadAfterTheSettersMoveThem) {
    struct Case {
        Setting setting;
        const char* feature;
        gint64 min, max;
    };
    const Case cases[] = {
        {{"FG_WIDTH", 512}, "FG_XOFFSET", 0, 15872},
        {{"Width", 1024}, "OffsetX", 0, 15360},
        {{"FG_HEIGHT", 1000}, "OffsetY", 0, 64535},
        {{"FG_TRIGGERIN_DOWNSCALE", 4}, "FG_TRIGGERIN_DOWNSCALE_PHASE", 0, 3},
        {{"FG_TRIGGERIN_DOWNSCALE_PHASE", 2}, "FG_TRIGGERIN_DOWNSCALE", 3, 4294967295},
        {{"FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE", 7}, "FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE_PHASE", 0, 6},
        {{"FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE_PHASE", 4}, "FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE", 5, 7},
        {{"FG_TRIGGERQUEUE_MODE", 0, "FG_ON"}, "FG_SENDSOFTWARETRIGGER_Count", 1, 2040},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(set(c.setting.name, c.setting.value, c.setting.entry))
            << c.setting.name << ": " << error->message;
        ArvGcInteger* feature = ARV_GC_INTEGER(node(c.feature));
        EXPECT_EQ(arv_gc_integer_get_min(feature, nullptr), c.min) << c.feature;
        EXPECT_EQ(arv_gc_integer_get_max(feature, nullptr), c.max) << c.feature;
    }
    EXPECT_TRUE(set("FG_WIDTH", 512));
    EXPECT_TRUE(set("FG_XOFFSET", 15872)) << "valid after width 512";
    EXPECT_EQ(sdkValue(FG_XOFFSET), 15872u);
    EXPECT_FALSE(set("OffsetX", 15888)) << "beyond the live maximum";
}

TEST_F(GenicamDevice, AccessIsReadAfterTheSettersChangeIt) {
    struct Case {
        Setting setting;
        const char* feature;
        bool locked;
    };
    const Case cases[] = {
        {{"FG_LUT_TYPE", 0, "LUT_TYPE_PROCESSING"}, "FG_LUT_CUSTOM_FILE", true},
        {{"FG_LUT_TYPE", 0, "LUT_TYPE_CUSTOM"}, "FG_LUT_CUSTOM_FILE", false},
        {{"FG_LUT_TYPE", 0, "LUT_TYPE_CUSTOM"}, "FG_PROCESSING_GAIN", true},
        {{"FG_AREATRIGGERMODE", 0, "ATM_EXTERNAL"}, "TriggerSoftware", true},
        {{"FG_AREATRIGGERMODE", 0, "ATM_SOFTWARE"}, "FG_SENDSOFTWARETRIGGER", false},
        {{"FG_TRIGGER_LEGACY_MODE", 0, "FG_ON"}, "FG_TRIGGER_FRAMESPERSECOND", true},
        {{"FG_TRIGGER_LEGACY_MODE", 0, "FG_OFF"}, "AcquisitionFrameRate", false},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(set(c.setting.name, c.setting.value, c.setting.entry))
            << c.setting.name << ": " << error->message;
        EXPECT_EQ(arv_gc_feature_node_is_locked(ARV_GC_FEATURE_NODE(node(c.feature)), nullptr), c.locked)
            << c.feature << " after " << c.setting.name << " " << c.setting.entry;
    }
}

// A command writes what the parameter's own set would: the board sees writes to the same design
// parameters (a toggled bit takes the other value the second time).
TEST_F(GenicamDevice, CommandsDoWhatTheirParametersDo) {
    auto targets = [] {
        std::vector<std::string> names = vboard::control::writes();
        for (std::string& n : names) n = n.substr(0, n.find('='));
        return names;
    };
    ASSERT_TRUE(set("FG_TRIGGERQUEUE_MODE", 0, "FG_ON"));
    ASSERT_TRUE(set("FG_AREATRIGGERMODE", 0, "ATM_SOFTWARE"));
    ASSERT_TRUE(set("FG_TRIGGERSTATE", 0, "TS_ACTIVE"));
    const std::pair<const char*, int> commands[] = {
        {"FG_TRIGGERIN_STATS_PULSECOUNT_CLEAR", FG_TRIGGERIN_STATS_PULSECOUNT_CLEAR},
        {"FG_TRIGGERIN_STATS_MINMAXFREQUENCY_CLEAR", FG_TRIGGERIN_STATS_MINMAXFREQUENCY_CLEAR},
        {"FG_TRIGGER_EXCEEDED_PERIOD_LIMITS_CLEAR", FG_TRIGGER_EXCEEDED_PERIOD_LIMITS_CLEAR},
        {"FG_TRIGGEROUT_STATS_PULSECOUNT_CLEAR", FG_TRIGGEROUT_STATS_PULSECOUNT_CLEAR},
        {"FG_MISSING_CAMERA_FRAME_RESPONSE_CLEAR", FG_MISSING_CAMERA_FRAME_RESPONSE_CLEAR},
        {"TriggerSoftware", FG_SENDSOFTWARETRIGGER},
        {"FG_SENDSOFTWARETRIGGER", FG_SENDSOFTWARETRIGGER},
    };
    for (auto [name, id] : commands) {
        ASSERT_TRUE(ARV_IS_GC_COMMAND(node(name))) << name;
        vboard::control::clearJournal();
        arv_gc_command_execute(ARV_GC_COMMAND(node(name)), &error);
        ASSERT_EQ(error, nullptr) << name << ": " << error->message;
        const std::vector<std::string> executed = targets();
        vboard::control::clearJournal();
        const uint32_t one = 1;
        ASSERT_EQ(Fg_setParameterWithType(fg, id, &one, 0, FG_PARAM_TYPE_UINT32_T), 0) << name;
        EXPECT_FALSE(executed.empty()) << name;
        EXPECT_EQ(executed, targets()) << name;
    }
}

TEST_F(GenicamDevice, StandardNamesAreTheParameters) {
    ASSERT_TRUE(set("Width", 512));
    EXPECT_EQ(sdkValue(FG_WIDTH), 512u);
    const uint32_t width = 1024;
    ASSERT_EQ(Fg_setParameterWithType(fg, FG_WIDTH, &width, 0, FG_PARAM_TYPE_UINT32_T), 0);
    EXPECT_EQ(arv_gc_integer_get_value(ARV_GC_INTEGER(node("Width")), nullptr), 1024);

    struct Case {
        Setting setting;
        int id;
        uint32_t value;
    };
    const Case cases[] = {
        {{"Height", 100}, FG_HEIGHT, 100},
        {{"OffsetY", 7}, FG_YOFFSET, 7},
        {{"PixelFormat", 0, "RGB16"}, FG_FORMAT, 6},
        {{"TriggerMode", 0, "On"}, FG_AREATRIGGERMODE, 2},
        {{"FG_AREATRIGGERMODE", 0, "ATM_SOFTWARE"}, FG_AREATRIGGERMODE, 4},
        {{"TriggerMode", 0, "On"}, FG_AREATRIGGERMODE, 4},
        {{"TriggerMode", 0, "Off"}, FG_AREATRIGGERMODE, 1},
        {{"TriggerSource", 0, "Line3"}, FG_TRIGGERIN_SRC, 3},
        {{"TriggerActivation", 0, "FallingEdge"}, FG_TRIGGERIN_POLARITY, 1},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(set(c.setting.name, c.setting.value, c.setting.entry))
            << c.setting.name << ": " << error->message;
        EXPECT_EQ(sdkValue(c.id), c.value) << c.setting.name;
    }
    arv_gc_float_set_value(ARV_GC_FLOAT(node("AcquisitionFrameRate")), 25.0, &error);
    ASSERT_EQ(error, nullptr) << error->message;
    double fps = 0;
    EXPECT_EQ(Fg_getParameterWithType(fg, FG_TRIGGER_FRAMESPERSECOND, &fps, 0, FG_PARAM_TYPE_DOUBLE), 0);
    EXPECT_DOUBLE_EQ(fps, 25.0);
    EXPECT_STREQ(arv_gc_string_get_value(ARV_GC_STRING(node("FG_HAP_FILE")), &error), "Pellucid.hap");
}

// Every feature reads without error and inside its own range, enumerations as one of their
// entries, with the applet as opened and after setters moved limits and access.
TEST_F(GenicamDevice, EveryFeatureReadsInsideItsRange) {
    const std::vector<Setting> states[] = {
        {},
        {{"FG_LUT_TYPE", 0, "LUT_TYPE_CUSTOM"}, {"FG_TRIGGERQUEUE_MODE", 0, "FG_ON"}, {"Width", 512}},
    };
    for (const auto& state : states) {
        for (const Setting& s : state) ASSERT_TRUE(set(s.name, s.value, s.entry)) << s.name;
        std::vector<std::string> pending = {"Root"};
        int features = 0;
        while (!pending.empty()) {
            const std::string name = pending.back();
            pending.pop_back();
            ArvGcNode* n = node(name);
            ++features;
            g_clear_error(&error);
            if (ARV_IS_GC_CATEGORY(n)) {
                for (const GSList* f = arv_gc_category_get_features(ARV_GC_CATEGORY(n)); f != nullptr;
                     f = f->next)
                    pending.emplace_back(static_cast<const char*>(f->data));
            } else if (ARV_IS_GC_ENUMERATION(n)) {
                EXPECT_NE(arv_gc_enumeration_get_string_value(ARV_GC_ENUMERATION(n), &error), nullptr)
                    << name;
            } else if (ARV_IS_GC_FLOAT(n)) {
                const double v = arv_gc_float_get_value(ARV_GC_FLOAT(n), &error);
                EXPECT_GE(v, arv_gc_float_get_min(ARV_GC_FLOAT(n), nullptr)) << name;
                EXPECT_LE(v, arv_gc_float_get_max(ARV_GC_FLOAT(n), nullptr)) << name;
            } else if (ARV_IS_GC_INTEGER(n)) {
                const gint64 v = arv_gc_integer_get_value(ARV_GC_INTEGER(n), &error);
                EXPECT_GE(v, arv_gc_integer_get_min(ARV_GC_INTEGER(n), nullptr)) << name;
                EXPECT_LE(v, arv_gc_integer_get_max(ARV_GC_INTEGER(n), nullptr)) << name;
            } else if (ARV_IS_GC_STRING(n)) {
                EXPECT_NE(arv_gc_string_get_value(ARV_GC_STRING(n), &error), nullptr) << name;
            }
            EXPECT_EQ(error, nullptr) << name << ": " << error->message;
        }
        EXPECT_GT(features, 150);
    }
}

TEST_F(GenicamDevice, BadAddressesAndLengthsAreRefused) {
    auto at = [](int id, uint32_t space, uint32_t offset = 0) {
        return (uint64_t{static_cast<uint32_t>(id)} << 32) | (uint64_t{space} << 24) | offset;
    };
    struct Case {
        const char* what;
        uint64_t address;
        guint32 size;
        bool write;
    };
    const Case cases[] = {
        {"unknown parameter", at(12345, 0), 4, false},
        {"unknown space", at(FG_WIDTH, 9), 4, false},
        {"value too long", at(FG_WIDTH, 0), 8, false},
        {"value at an offset", at(FG_WIDTH, 0, 4), 4, true},
        {"double too short", at(FG_TRIGGER_FRAMESPERSECOND, 0), 4, false},
        {"limit too short", at(FG_WIDTH, 2), 4, false},
        {"limit written", at(FG_WIDTH, 2), 8, true},
        {"no limits", at(FG_APPLET_VERSION, 1), 8, false},
        {"lock written", at(FG_WIDTH, 3), 4, true},
        {"lock too long", at(FG_WIDTH, 3), 8, false},
        {"entry beyond the table", at(FG_LUT_VALUE_RED, 0, 4 * 4096), 4, false},
        {"entry not aligned", at(FG_LUT_VALUE_RED, 0, 2), 4, false},
        {"string too long", at(FG_HAP_FILE, 0), 257, false},
        {"string too short for its value", at(FG_HAP_FILE, 0), 4, false},
        {"value out of range", at(FG_WIDTH, 0), 4, true},
    };
    std::vector<unsigned char> buffer(512, 0);
    buffer[0] = 1;  // width 1: the applet refuses it
    for (const Case& c : cases) {
        g_clear_error(&error);
        const gboolean ok = c.write
                                ? arv_device_write_memory(device, c.address, c.size, buffer.data(), &error)
                                : arv_device_read_memory(device, c.address, c.size, buffer.data(), &error);
        EXPECT_FALSE(ok) << c.what;
        EXPECT_NE(error, nullptr) << c.what;
    }
    g_clear_error(&error);
    EXPECT_EQ(pellucid_genicam_device_new(nullptr, &error), nullptr);
    EXPECT_NE(error, nullptr);
}

}  // namespace
