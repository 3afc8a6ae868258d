// The applet's GenApi description: its size protocol, its text and its schema.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "applet_fixture.h"

namespace {

class GenApiDescription : public AppletOnBoard {
  protected:
    std::string document() {
        size_t size = 0;
        EXPECT_EQ(A().Fg_getParameterInfoXML(&fg, 0, nullptr, &size), 0);
        std::string xml(size, '\0');
        EXPECT_EQ(A().Fg_getParameterInfoXML(&fg, 0, xml.data(), &size), 0);
        xml.resize(std::strlen(xml.c_str()));
        return xml;
    }
};

TEST_F(GenApiDescription, SizeProtocol) {
    size_t size = 0;
    ASSERT_EQ(A().Fg_getParameterInfoXML(&fg, 0, nullptr, &size), 0);
    ASSERT_GT(size, 1u);
    std::vector<char> buffer(size + 8, 'x');

    size_t exact = size - 1;  // room for the text but not its terminating zero
    EXPECT_EQ(A().Fg_getParameterInfoXML(&fg, 0, buffer.data(), &exact), FG_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(exact, size - 1) << "the size is left alone";
    EXPECT_EQ(buffer[0], 'x') << "nothing is copied";
    EXPECT_EQ(lastError(), FG_NOT_ENOUGH_MEMORY);

    size_t zero = 0;
    EXPECT_EQ(A().Fg_getParameterInfoXML(&fg, 1, buffer.data(), &zero), FG_NOT_ENOUGH_MEMORY)
        << "before the port";

    size_t roomy = buffer.size();
    ASSERT_EQ(A().Fg_getParameterInfoXML(&fg, 0, buffer.data(), &roomy), 0);
    EXPECT_EQ(roomy, size);
    EXPECT_EQ(std::strlen(buffer.data()), size - 1);
    EXPECT_EQ(buffer[buffer.size() - 1], '\0') << "the rest of the buffer is zeroed";
    EXPECT_EQ(lastError(), 0);

    size_t other = 0;
    EXPECT_EQ(A().Fg_getParameterInfoXML(&fg, 1, nullptr, &other), FG_VALUE_HAS_NO_CODE) << "port 1 is empty";
    EXPECT_EQ(A().Fg_getParameterInfoXML(&fg, 0, nullptr, nullptr), FG_NOT_ENOUGH_MEMORY);
}

TEST_F(GenApiDescription, DocumentNamesTheDesignAndIsUtf8) {
    const void* uid = nullptr;
    uint64_t size = 0;
    int type = 0;
    ASSERT_EQ(A().Info(INFO_APPLET_HAP_UID, &uid, &size, &type), 0);
    const std::string xml = document();
    EXPECT_NE(xml.find("ProductGuid=\"" + std::string(static_cast<const char*>(uid)) + "\""),
              std::string::npos);
    EXPECT_NE(xml.find("SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\""), std::string::npos);
    EXPECT_NE(xml.find("<Category Name=\"Output_Format\""), std::string::npos) << "named after its group";
    EXPECT_NE(xml.find("<Unit>\xC2\xB5s</Unit>"), std::string::npos) << "the micro sign in UTF-8";
    for (size_t at = xml.find('\xB5'); at != std::string::npos; at = xml.find('\xB5', at + 1)) {
        EXPECT_TRUE(at > 0 && xml[at - 1] == '\xC2') << "a Latin-1 byte at " << at;
    }
}

// The document holds to the GenApi 1.1 schema whatever the applet's state, since limits and
// access are registers rather than text of the moment.
TEST_F(GenApiDescription, ValidatesAgainstTheSchemaInEveryState) {
    const char* fromEnvironment = std::getenv("PELLUCID_GENAPI_SCHEMA");
    const std::string schema = fromEnvironment != nullptr ? fromEnvironment : PELLUCID_GENAPI_SCHEMA;
    if (!std::filesystem::exists(schema))
        GTEST_SKIP() << "no GenApi schema at " << schema << " (PELLUCID_GENAPI_SCHEMA)";
    if (std::system("xmllint --version > /dev/null 2>&1") != 0) GTEST_SKIP() << "no xmllint (libxml2-utils)";
    const std::string file = ::testing::TempDir() + "genapi_document.xml";
    const std::vector<std::vector<std::pair<int, uint32_t>>> states = {
        {},
        {{FG_LUT_TYPE, 0}, {FG_AREATRIGGERMODE, 4}, {FG_TRIGGERQUEUE_MODE, 1}},
        {{FG_WIDTH, 512}, {FG_TRIGGERIN_DOWNSCALE, 5}, {FG_TRIGGER_LEGACY_MODE, 1}},
    };
    for (const auto& state : states) {
        for (auto [id, v] : state) ASSERT_EQ(setUInt(id, v), 0) << id;
        std::ofstream(file) << document();
        EXPECT_EQ(std::system(("xmllint --noout --schema '" + schema + "' '" + file + "'").c_str()), 0)
            << "state " << (&state - states.data());
    }
    std::remove(file.c_str());
}

}  // namespace
