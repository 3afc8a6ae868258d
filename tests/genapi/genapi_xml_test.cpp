// The applet's GenApi description: its size protocol, and the document in a real GenApi
// consumer whose "Device" port reads and writes through the applet's exported functions.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "applet_fixture.h"

#if PELLUCID_HAVE_ARAVIS
#include <arv.h>
#endif

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

#if PELLUCID_HAVE_ARAVIS

// ---- a GenApi device whose memory is the applet's parameters ----

Fg_Struct* gApplet = nullptr;
std::map<int, const RegisterInfo*> gRecords;

// The port's addresses are parameter ids; the value's type follows from the record.
template <bool write>
gboolean access(ArvDevice*, guint64 address, guint32 size, void* buffer, GError** error) {
    const auto it = gRecords.find(static_cast<int>(address));
    const int type = it == gRecords.end()                      ? 0
                     : it->second->format == REG_FORMAT_DOUBLE ? FG_PARAM_TYPE_DOUBLE
                     : it->second->format == REG_FORMAT_STRING ? FG_PARAM_TYPE_CHAR_PTR
                     : size == 8                               ? FG_PARAM_TYPE_UINT64_T
                                                               : FG_PARAM_TYPE_UINT32_T;
    if (!write) std::memset(buffer, 0, size);
    if (type != 0 && (write ? A().Fg_setParameterWithType(gApplet, it->first, buffer, 0, type)
                            : A().Fg_getParameterWithType(gApplet, it->first, buffer, 0, type)) == 0) {
        return TRUE;
    }
    g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR, "access to %llx refused",
                static_cast<unsigned long long>(address));
    return FALSE;
}

}  // namespace

extern "C" {
struct AppletPortDevice {
    ArvDevice parent;
};
struct AppletPortDeviceClass {
    ArvDeviceClass parent_class;
};
G_DEFINE_TYPE(AppletPortDevice, applet_port_device, ARV_TYPE_DEVICE)
static void applet_port_device_init(AppletPortDevice*) {}
static void applet_port_device_class_init(AppletPortDeviceClass* klass) {
    ARV_DEVICE_CLASS(klass)->read_memory = access<false>;
    ARV_DEVICE_CLASS(klass)->write_memory = access<true>;
}
}

namespace {

class GenApiConsumer : public GenApiDescription {
  protected:
    void SetUp() override {
        GenApiDescription::SetUp();
        gApplet = &fg;
        gRecords.clear();
        for (int i = 0; i < A().Fg_getNrOfParameter(&fg); ++i) {
            gRecords[A().Fg_getParameterId(&fg, i)] = description(A().Fg_getParameterId(&fg, i));
        }
        xml = document();
        device = ARV_DEVICE(g_object_new(applet_port_device_get_type(), nullptr));
        gc = arv_gc_new(device, xml.data(), xml.size());
        ASSERT_NE(gc, nullptr);
    }
    void TearDown() override {
        if (gc != nullptr) g_object_unref(gc);
        if (device != nullptr) g_object_unref(device);
        gApplet = nullptr;
        GenApiDescription::TearDown();
    }
    ArvGcNode* node(const char* name) { return arv_gc_get_node(gc, name); }

    std::string xml;
    ArvDevice* device = nullptr;
    ArvGc* gc = nullptr;
};

TEST_F(GenApiConsumer, FeaturesSetAndReadBackThroughTheApplet) {
    GError* error = nullptr;
    ArvGcInteger* width = ARV_GC_INTEGER(node("FG_WIDTH"));
    arv_gc_integer_set_value(width, 512, &error);
    ASSERT_EQ(error, nullptr) << error->message;
    EXPECT_EQ(arv_gc_integer_get_value(width, &error), 512);
    EXPECT_EQ(getUInt(FG_WIDTH), 512u);

    ArvGcFloat* fps = ARV_GC_FLOAT(node("FG_TRIGGER_FRAMESPERSECOND"));
    arv_gc_float_set_value(fps, 25.0, &error);
    ASSERT_EQ(error, nullptr) << error->message;
    EXPECT_DOUBLE_EQ(arv_gc_float_get_value(fps, &error), 25.0);
    EXPECT_DOUBLE_EQ(getDouble(FG_TRIGGER_FRAMESPERSECOND), 25.0);

    ArvGcEnumeration* format = ARV_GC_ENUMERATION(node("FG_FORMAT"));
    ASSERT_TRUE(arv_gc_enumeration_set_string_value(format, "FG_COL48", &error));
    EXPECT_STREQ(arv_gc_enumeration_get_string_value(format, &error), "FG_COL48");
    EXPECT_EQ(getUInt(FG_FORMAT), 6u);
    ASSERT_TRUE(arv_gc_enumeration_set_string_value(format, "FG_COL24", &error));  // the first entry
    EXPECT_EQ(getUInt(FG_FORMAT), 2u);

    ArvGcString* hap = ARV_GC_STRING(node("FG_HAP_FILE"));
    EXPECT_STREQ(arv_gc_string_get_value(hap, &error), "Pellucid.hap");
    EXPECT_EQ(error, nullptr);
}

#else

TEST(GenApiConsumer, NeedsTheGenApiLibrary) {
    GTEST_SKIP() << "the GenApi consumer test needs Aravis: apt-get install libaravis-dev libusb-1.0-0-dev";
}

#endif

}  // namespace
