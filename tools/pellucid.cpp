// Opens board 0 with the Pellucid applet through the SDK, shows what the applet is and which
// parameters it describes, and closes the board again.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "ParameterTree.h"
#include "applet_entry.h"
#include "fglib5.h"

namespace {

using InfoFn = int (*)(int, const void**, uint64_t*, int*);

void printIdentity(InfoFn info) {
    const void* data = nullptr;
    uint64_t size = 0;
    int type = 0;
    auto text = [&](int query) {
        return info(query, &data, &size, &type) == 0 ? static_cast<const char*>(data) : "?";
    };
    std::printf("Applet:      %s %s\n", text(INFO_APPLET_NAME), text(INFO_APPLET_VERSION));
    std::printf("Design UID:  %s\n", text(INFO_APPLET_HAP_UID));
    if (info(INFO_APPLET_TYPE_CODE, &data, &size, &type) == 0) {
        std::printf("Design type: %u\n", *static_cast<const uint32_t*>(data));
    }
    if (info(INFO_APPLET_DESIGN, &data, &size, &type) == 0) {
        std::printf("Design:      %llu bytes embedded\n", static_cast<unsigned long long>(size));
    }
}

// The current value of a parameter as text; "(error text)" when the applet refuses the read.
std::string currentValue(Fg_Struct* fg, const RegisterInfo& r) {
    char text[1100];
    int rc = 0;
    switch (r.format) {
        case REG_FORMAT_UINT:
        case REG_FORMAT_ENUM: {
            uint32_t v = 0;
            rc = Fg_getParameterWithType(fg, r.id, &v, 0, FG_PARAM_TYPE_UINT32_T);
            std::snprintf(text, sizeof text, "%u", v);
            if (rc == 0 && r.format == REG_FORMAT_ENUM) {
                for (int i = 0; i < r.u.eReg.nrOfElements; ++i) {
                    if (static_cast<uint32_t>(r.u.eReg.enumValues[i]) == v &&
                        r.u.eReg.enumNames[i] != nullptr) {
                        std::snprintf(text, sizeof text, "%u (%s)", v, r.u.eReg.enumNames[i]);
                    }
                }
            }
            break;
        }
        case REG_FORMAT_UINT64:
        case REG_FORMAT_INT64: {
            uint64_t v = 0;
            rc = Fg_getParameterWithType(fg, r.id, &v, 0, FG_PARAM_TYPE_UINT64_T);
            std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(v));
            break;
        }
        case REG_FORMAT_DOUBLE: {
            double v = 0;
            rc = Fg_getParameterWithType(fg, r.id, &v, 0, FG_PARAM_TYPE_DOUBLE);
            std::snprintf(text, sizeof text, "%.12g", v);
            break;
        }
        case REG_FORMAT_STRING: {
            char v[1024] = "";
            rc = Fg_getParameterWithType(fg, r.id, v, 0, FG_PARAM_TYPE_CHAR_PTR);
            std::snprintf(text, sizeof text, "\"%s\"", v);
            break;
        }
        default:
            return {};  // fields: too many entries to show here
    }
    if (rc != 0) return std::string("(") + Fg_getErrorDescription(rc) + ")";
    return text;
}

}  // namespace

int main() {
    Fg_Struct* fg = Fg_Init("Pellucid", 0);
    if (fg == nullptr) {
        const int error = Fg_getLastErrorNumber(nullptr);
        std::fprintf(stderr, "pellucid: cannot open board 0 with the applet: %s (%d)\n",
                     Fg_getErrorDescription(error), error);
        return EXIT_FAILURE;
    }
    // The SDK has the applet loaded already; look up its information query there.
    if (void* applet = dlopen("libPellucid.so", RTLD_NOW | RTLD_NOLOAD)) {
        if (auto info = reinterpret_cast<InfoFn>(dlsym(applet, "Info"))) printIdentity(info);
        dlclose(applet);
    }
    std::printf("\nParameters of port 0:\n");
    pellucid::printParameterTree(stdout, Fg_getParameterInfo(fg, 0),
                                 [fg](const RegisterInfo& r) { return currentValue(fg, r); });
    const int rc = Fg_FreeGrabber(fg);
    if (rc < 0) {
        std::fprintf(stderr, "pellucid: closing the board failed: %s (%d)\n", Fg_getErrorDescription(rc), rc);
        return EXIT_FAILURE;
    }
    std::printf("\nBoard 0 closed.\n");
    return EXIT_SUCCESS;
}
