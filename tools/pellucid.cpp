// Opens board 0 with the Pellucid applet through the SDK, shows what the applet is and which
// parameters it describes, and closes the board again.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

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
    pellucid::printParameterTree(stdout, Fg_getParameterInfo(fg, 0));
    const int rc = Fg_FreeGrabber(fg);
    if (rc < 0) {
        std::fprintf(stderr, "pellucid: closing the board failed: %s (%d)\n", Fg_getErrorDescription(rc), rc);
        return EXIT_FAILURE;
    }
    std::printf("\nBoard 0 closed.\n");
    return EXIT_SUCCESS;
}
