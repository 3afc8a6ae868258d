#include <unistd.h>

#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "Fg_Error.h"
#include "Fg_Log.h"

namespace {

// What `write` sends to an in-memory stream attached to a fresh log.
std::string capture(const std::function<void(Fg_Log&)>& write) {
    char* data = nullptr;
    size_t size = 0;
    {
        Fg_Log log;
        log.attachStream(open_memstream(&data, &size));
        write(log);
    }
    std::string text(data, size);
    free(data);
    return text;
}

std::string doubleLine(double v) {
    char buf[64];
    snprintf(buf, sizeof buf, "%.*g", 12, v);
    return std::string("korvex::Error >> w >> t >> ") + buf + ";\n";
}

}  // namespace

TEST(FgError, StoresAndReturns) {
    Fg_Error err;
    EXPECT_EQ(err.getErrorNumberBuffer(), 0);
    EXPECT_EQ(err.setErr(-2070), -2070);
    EXPECT_EQ(err.setErrLevel2(-5, "text"), -2130);
    EXPECT_EQ(err.getErrorNumberBuffer(), -2070);
}

TEST(FgLog, LineFormats) {
    const std::pair<std::function<void(Fg_Log&)>, const char*> cases[] = {
        {[](Fg_Log& l) { l.Error("bad key"); }, "korvex::Error >> bad key;\n"},
        {[](Fg_Log& l) { l.Info("count", -17); }, "korvex::Info >> count >> -17;\n"},
        {[](Fg_Log& l) { l.ErrorInt("parse", "line", 42); }, "korvex::Error >> parse >> line >> 42;\n"},
        {[](Fg_Log& l) { l.ErrorDouble("lut", "gamma", 0.1); }, "korvex::Error >> lut >> gamma >> 0.1;\n"},
        {[](Fg_Log& l) { l.UsrDbg("raw %d-%s|", 7, "x"); }, "raw 7-x|"},
        {[](Fg_Log& l) { l.Error(nullptr); }, "korvex::Error >> (null);\n"},
        {[](Fg_Log& l) { l.Info("quiet"), l.Func("f"), l.OpenLogFile("/tmp/x"); }, ""},
    };
    for (const auto& [write, expected] : cases) EXPECT_EQ(capture(write), expected);

    const std::string rule = std::string(73, '-') + "\n";
    const std::regex welcome(rule + "Copyright Varnholt GmbH\nContents: Log details for korvex Dll\n" +
                             "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}\n" +
                             rule);
    const std::string text = capture([](Fg_Log& l) { l.WriteWelcome(); });
    EXPECT_TRUE(std::regex_match(text, welcome)) << text;
}

TEST(FgLog, ErrorFlushesUsrDbgDoesNotAndClosedLogIsSilent) {
    char* data = nullptr;
    size_t size = 0;
    Fg_Log log;
    log.attachStream(open_memstream(&data, &size));
    log.UsrDbg("pending");
    EXPECT_EQ(size, 0u);
    log.Error("e");
    EXPECT_EQ(std::string(data, size), "pendingkorvex::Error >> e;\n");
    log.CloseLogFile();
    log.Error("after close");
    free(data);

    const auto path = std::filesystem::temp_directory_path() / ("fglog-" + std::to_string(getpid()) + ".log");
    Fg_Log named(path.c_str());
    named.WriteWelcome(), named.Error("e"), named.Info("i", 1), named.ErrorDouble("a", "b", 2.5);
    named.UsrDbg("%s", "x");
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(FgLog, DoubleTextMatchesPrintfG12) {
    using L = std::numeric_limits<double>;
    for (double v : {0.0, -0.0, 1.0 / 3, 1e11, 123456789012.0, 1234567890123.0, 1.5e-4, 1e-5, L::max(),
                     L::min(), L::denorm_min(), L::epsilon(), L::infinity(), -L::infinity(), L::quiet_NaN()})
        EXPECT_EQ(capture([v](Fg_Log& l) { l.ErrorDouble("w", "t", v); }), doubleLine(v));
    for (int e = -310; e <= 308; e += 3) {
        for (double m : {1.0, -1.2345678901234567, 9.99999999999951}) {
            const double v = m * std::pow(10.0, e);
            EXPECT_EQ(capture([v](Fg_Log& l) { l.ErrorDouble("w", "t", v); }), doubleLine(v));
        }
    }
}

TEST(FgLog, DoubleUsesPointUnderCommaLocale) {
    const std::string saved = setlocale(LC_ALL, nullptr);
    if (setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "locale de_DE.UTF-8 not installed";
    const std::string text = capture([](Fg_Log& l) { l.ErrorDouble("w", "t", 2.5); });
    setlocale(LC_ALL, saved.c_str());
    EXPECT_EQ(text, "korvex::Error >> w >> t >> 2.5;\n");
}
