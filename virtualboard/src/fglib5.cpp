// libfglib5.so: the SDK. Plain handles act on the board's design parameters and the SDK's own
// parameters; handles opened with an applet route every call to the applet.
#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <optional>
#include <string>

#include "parameterInfo.h"
#include "pipeline.h"
#include "sdk_handle.h"
#include "vboard/fglib_ext.h"

using namespace vboard;
using namespace vboard::sdk;

namespace vboard::sdk {

void reportAppletException(const char* function, const char* what) {
    std::fprintf(stderr, "fglib5: %s: the applet raised: %s\n", function, what);
}

}  // namespace vboard::sdk

namespace {

// Reason of the last failed Fg_InitHandle*/Fg_Init, for Fg_getLastErrorNumber(NULL), and its
// text when there is more to say than the number (for Fg_getLastErrorDetail(NULL)).
std::atomic<int> lastInitError{0};
std::mutex initDetailMutex;
std::string initDetail;

Fg_Struct* initFailed(int error, std::string detail = {}) {
    std::lock_guard lock(initDetailMutex);
    initDetail = std::move(detail);
    lastInitError = error;
    return nullptr;
}

// The bench PELLUCID_BENCH names, read again at every open so that an edited file takes effect.
// 0 (`bench` empty when the variable is unset or empty) or the error the open fails with.
// The scene is prepared here too, so that an image that cannot be used refuses the open; an
// unchanged bench is left as it is.
int environmentBench(Board* b, std::optional<Bench>& bench, std::shared_ptr<SceneRenderer>& scene,
                     std::string& detail) {
    const char* path = std::getenv("PELLUCID_BENCH");
    if (path == nullptr || *path == '\0') return 0;
    try {
        bench = readBench(path);
        if (*bench == b->bench()) {
            bench.reset();
        } else {
            scene = std::make_shared<SceneRenderer>(*bench);
        }
        return 0;
    } catch (const BenchError& e) {
        detail = e.what();
        if (access(path, F_OK) != 0) return FG_FILE_NOT_FOUND;
        return access(path, R_OK) != 0 ? FG_FILE_ACCESS_FAILED : FG_CONFIG_LOAD_FAILED;
    } catch (const std::bad_alloc&) {
        return FG_NOT_ENOUGH_MEMORY;
    }
}

// Open handles: when the last closes, the image path's workers stop with it.
std::atomic<int> openHandles{0};

Handle* newHandle(Board* board) {
    auto* h = new (std::nothrow) Handle{};
    if (h == nullptr) return nullptr;
    h->state = new (std::nothrow) HandleState;
    if (h->state == nullptr) {
        delete h;
        return nullptr;
    }
    h->state->board = board;
    ++openHandles;
    return h;
}

void deleteHandle(Fg_Struct* fg) {
    auto* h = reinterpret_cast<Handle*>(fg);
    h->state->magic = 0;
    delete h->state;
    delete h;
    if (--openHandles == 0) vboard::stopPipelineWorkers();
}

// ---- value conversion between the caller's memory and the board ----

bool isInteger(int type) {
    return type == FG_PARAM_TYPE_INT32_T || type == FG_PARAM_TYPE_UINT32_T || type == FG_PARAM_TYPE_INT64_T ||
           type == FG_PARAM_TYPE_UINT64_T;
}

bool is64(int type) {
    return type == FG_PARAM_TYPE_INT64_T || type == FG_PARAM_TYPE_UINT64_T;
}

// Signed values come back sign-extended, so the board can refuse negatives.
uint64_t loadInteger(const void* value, int type) {
    switch (type) {
        case FG_PARAM_TYPE_INT32_T: {
            int32_t v;
            std::memcpy(&v, value, sizeof v);
            return static_cast<uint64_t>(static_cast<int64_t>(v));
        }
        case FG_PARAM_TYPE_UINT32_T: {
            uint32_t v;
            std::memcpy(&v, value, sizeof v);
            return v;
        }
        default: {
            uint64_t v;
            std::memcpy(&v, value, sizeof v);
            return v;
        }
    }
}

int storeInteger(uint64_t v, void* value, int type) {
    const uint64_t max = type == FG_PARAM_TYPE_UINT32_T  ? UINT32_MAX
                         : type == FG_PARAM_TYPE_INT32_T ? INT32_MAX
                         : type == FG_PARAM_TYPE_INT64_T ? INT64_MAX
                                                         : UINT64_MAX;
    if (v > max) return FG_VALUE_OUT_OF_RANGE;
    if (is64(type)) {
        std::memcpy(value, &v, sizeof v);
    } else {
        const uint32_t v32 = static_cast<uint32_t>(v);
        std::memcpy(value, &v32, sizeof v32);
    }
    return 0;
}

// The natural type of a parameter, used for FG_PARAM_TYPE_AUTO and the untyped calls.
int naturalType(const ParameterLayout& p) {
    switch (p.kind) {
        case ParamKind::Uint:
            return p.bits <= 32 ? FG_PARAM_TYPE_UINT32_T : FG_PARAM_TYPE_UINT64_T;
        case ParamKind::Double:
            return FG_PARAM_TYPE_DOUBLE;
        case ParamKind::Field:
            return FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS;
    }
    return FG_PARAM_TYPE_INVALID;
}

// What an id names on a plain handle: one of the SDK's own parameters or a design parameter.
struct Target {
    const SdkParameter* sdk = nullptr;
    ParameterLayout layout;
    int position = -1;  // of a design parameter
};

Target resolve(Board* b, int id) {
    Target t;
    t.sdk = findSdkParameter(id);
    if (t.sdk == nullptr && id >= VBOARD_DESIGN_PARAMETER_ID_BASE &&
        b->parameterLayout(id - VBOARD_DESIGN_PARAMETER_ID_BASE, &t.layout))
        t.position = id - VBOARD_DESIGN_PARAMETER_ID_BASE;
    return t;
}

int writePlain(Board* b, const Target& t, const void* value, int type);

int setPlain(HandleState* s, int id, const void* value, unsigned int dmaIndex, int type) {
    if (value == nullptr || dmaIndex != 0) return FG_INVALID_PARAMETER;
    const Target t = resolve(s->board, id);
    const int error = writePlain(s->board, t, value, type);
    if (t.position >= 0) s->board->afterWrite(t.layout.name);
    // On held time a trigger setting or command takes effect now, not at the next advance. On
    // running time it counts from the next look at the block (a read of a trigger read-out, the
    // acquisition's next pass), which keeps bursts fast.
    Simulation& sim = s->board->simulation();
    if (error == 0 && t.position >= 0 && t.layout.name.starts_with("Device1_Process1_Trigger_") && sim.held())
        sim.update();
    return error;
}

int writePlain(Board* b, const Target& t, const void* value, int type) {
    if (t.sdk != nullptr) {
        if (type == FG_PARAM_TYPE_AUTO) type = FG_PARAM_TYPE_UINT32_T;
        if (!isInteger(type)) return FG_INVALID_PARAMETER;
        return b->writeSdk(t.sdk->id, loadInteger(value, type), type);
    }
    if (t.position < 0) return FG_INVALID_PARAMETER;
    const ParameterLayout& layout = t.layout;
    const int position = t.position;
    if (type == FG_PARAM_TYPE_AUTO) type = naturalType(layout);
    switch (layout.kind) {
        case ParamKind::Uint:
            if (!isInteger(type)) return FG_INVALID_PARAMETER;
            return b->writeUint(position, loadInteger(value, type), type);
        case ParamKind::Double: {
            if (type != FG_PARAM_TYPE_DOUBLE) return FG_INVALID_PARAMETER;
            double v;
            std::memcpy(&v, value, sizeof v);
            return b->writeDouble(position, v, type);
        }
        case ParamKind::Field:
            if (type == FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS) {
                const auto* a = static_cast<const FieldParameterAccess*>(value);
                if (a->vtype != FG_PARAM_TYPE_UINT32_T) return FG_INVALID_PARAMETER;
                return b->writeFieldBlock(position, a->index, a->count, static_cast<const uint32_t*>(a->p),
                                          type);
            }
            if (type == FG_PARAM_TYPE_STRUCT_FIELDPARAMINT) {
                const auto* f = static_cast<const FieldParameterInt*>(value);
                return b->writeFieldEntry(position, f->index, f->value, type);
            }
            return FG_INVALID_PARAMETER;
    }
    return FG_INVALID_PARAMETER;
}

int readPlain(Board* b, const Target& t, void* value, int type);

int getPlain(HandleState* s, int id, void* value, unsigned int dmaIndex, int type) {
    if (value == nullptr || dmaIndex != 0) return FG_INVALID_PARAMETER;
    const Target t = resolve(s->board, id);
    const int error = readPlain(s->board, t, value, type);
    if (t.sdk != nullptr) s->board->recordRead(t.sdk->name, type, error);
    if (t.position >= 0) s->board->recordRead(t.layout.name, type, error);
    return error;
}

int readPlain(Board* b, const Target& t, void* value, int type) {
    uint64_t v = 0;
    if (t.sdk != nullptr) {
        if (type == FG_PARAM_TYPE_AUTO) type = FG_PARAM_TYPE_UINT32_T;
        if (!isInteger(type)) return FG_INVALID_PARAMETER;
        if (int error = b->readSdk(t.sdk->id, &v)) return error;
        return storeInteger(v, value, type);
    }
    if (t.position < 0) return FG_INVALID_PARAMETER;
    const ParameterLayout& layout = t.layout;
    const int position = t.position;
    if (type == FG_PARAM_TYPE_AUTO) type = naturalType(layout);
    switch (layout.kind) {
        case ParamKind::Uint:
            if (!isInteger(type)) return FG_INVALID_PARAMETER;
            // A trigger read-out is brought up to the present first.
            if (layout.access == Access::ReadOnly && layout.name.starts_with("Device1_Process1_Trigger_"))
                b->simulation().update();
            if (int error = b->readUint(position, &v)) return error;
            return storeInteger(v, value, type);
        case ParamKind::Double: {
            if (type != FG_PARAM_TYPE_DOUBLE) return FG_INVALID_PARAMETER;
            double d = 0.0;
            if (int error = b->readDouble(position, &d)) return error;
            std::memcpy(value, &d, sizeof d);
            return 0;
        }
        case ParamKind::Field:
            if (type == FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS) {
                auto* a = static_cast<FieldParameterAccess*>(value);
                if (a->vtype != FG_PARAM_TYPE_UINT32_T) return FG_INVALID_PARAMETER;
                return b->readFieldBlock(position, a->index, a->count, static_cast<uint32_t*>(a->p));
            }
            if (type == FG_PARAM_TYPE_STRUCT_FIELDPARAMINT) {
                auto* f = static_cast<FieldParameterInt*>(value);
                return b->readFieldEntry(position, f->index, &f->value);
            }
            return FG_INVALID_PARAMETER;
    }
    return FG_INVALID_PARAMETER;
}

// The SDK's own parameter description: one group "SDK" on port 0.
RegisterInfo* sdkParameterInfo(HandleState* s) {
    std::lock_guard lock(s->infoMutex);
    if (s->info == nullptr) {
        auto info = std::make_unique<Fg_ParameterInfo>();
        RegisterInfo* group = info->addGroupInfo(0, nullptr, "SDK");
        for (const SdkParameter& p : sdkParameters()) {
            const int access = p.readOnly ? FG_ACCESS_READ : FG_ACCESS_READ_WRITE_CHANGE;
            const char* unit = p.id == FG_TIMEOUT ? "s" : nullptr;
            if (info->addInfoUInt(group, p.name, p.name, static_cast<uint32_t>(p.min),
                                  static_cast<uint32_t>(p.max), 1, access, 1, 1, unit, p.id, 0) == nullptr)
                return nullptr;
        }
        info->finalize(0);
        s->info = std::move(info);
    }
    return s->info->getRegisterInfo(0);
}

// The folder this library was loaded from. Applets are looked up relative to it rather than
// through a run path: a sanitizer runtime that intercepts dlopen makes itself the caller whose
// run path counts, and an installed tree must keep working when it is moved.
std::string ownFolder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&ownFolder), &info) == 0 || info.dli_fname == nullptr) return {};
    std::string path = info.dli_fname;
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

std::string appletPath(const char* name) {
    if (std::strchr(name, '/') != nullptr) return name;
    std::string file = std::string("lib") + name + ".so";
    const char* dir = std::getenv("QORV_APPLET_DIR");
    if (dir != nullptr && *dir != '\0') return std::string(dir) + "/" + file;
    // Installed, the applet lies beside the SDK; in the build tree, in the sibling lib/.
    const std::string own = ownFolder();
    if (!own.empty()) {
        for (const std::string& candidate : {own + "/" + file, own + "/../lib/" + file})
            if (access(candidate.c_str(), R_OK) == 0) return candidate;
    }
    return file;
}

}  // namespace

namespace vboard::sdk {
HandleState::HandleState() = default;
HandleState::~HandleState() = default;
}  // namespace vboard::sdk

extern "C" {

// ---- handles ----

Fg_Struct* Fg_InitHandleSlaveAware(const char* /*hapName*/, ZEdevice* board, fpga_design* design,
                                   int /*flag*/) {
    Board* b = Board::from(board);
    if (b == nullptr) return initFailed(FG_INVALID_BOARD);
    const Design* d = designOf(design);
    if (d == nullptr) return initFailed(FG_INVALID_PARAMETER);
    std::optional<Bench> bench;
    std::shared_ptr<SceneRenderer> scene;
    std::string detail;
    if (int error = environmentBench(b, bench, scene, detail)) return initFailed(error, std::move(detail));
    Handle* h = newHandle(b);
    if (h == nullptr) return initFailed(FG_NOT_ENOUGH_MEMORY);
    try {
        b->configure(*d);
    } catch (const std::bad_alloc&) {
        deleteHandle(&h->fg);
        return initFailed(FG_NOT_ENOUGH_MEMORY);
    }
    if (bench) b->setBench(std::move(*bench), std::move(scene));
    return &h->fg;
}

Fg_Struct* Fg_InitHandle(const char* hapName, ZEdevice* board, fpga_design* design) {
    return Fg_InitHandleSlaveAware(hapName, board, design, 0);
}

Fg_Struct* Fg_Init(const char* appletName, unsigned int boardIndex) {
    if (appletName == nullptr) return initFailed(FG_INVALID_PARAMETER);
    Board* b =
        boardIndex < static_cast<unsigned>(Board::kCount) ? Board::at(static_cast<int>(boardIndex)) : nullptr;
    if (b == nullptr) return initFailed(FG_INVALID_BOARD);
    // Checked before the applet loads, so that a bad description names itself rather than
    // surfacing as whatever the applet makes of its own failed open.
    std::optional<Bench> bench;
    std::shared_ptr<SceneRenderer> scene;
    std::string detail;
    if (int error = environmentBench(b, bench, scene, detail)) return initFailed(error, std::move(detail));
    // A good bench is the board's from here on, so the applet's own open finds it unchanged and
    // does not prepare its scene a second time.
    if (bench) b->setBench(std::move(*bench), std::move(scene));

    void* dl = dlopen(appletPath(appletName).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (dl == nullptr) return initFailed(FG_APPLET_NOT_LOADED);
    using Entry = void* (*)(ZEdevice*, int*, int);
    auto entry = reinterpret_cast<Entry>(dlsym(dl, "Std_entry"));
    Handle* h = entry != nullptr ? newHandle(b) : nullptr;
    auto library = h != nullptr ? std::unique_ptr<AppletLibrary>(new (std::nothrow) AppletLibrary) : nullptr;
    if (library == nullptr) {
        if (h != nullptr) deleteHandle(&h->fg);
        dlclose(dl);
        return initFailed(entry == nullptr ? FG_APPLET_NOT_LOADED : FG_NOT_ENOUGH_MEMORY);
    }
    library->dl = dl;
#define VBOARD_BIND(name) library->fn[static_cast<int>(Fn::name)] = dlsym(dl, #name);
    VBOARD_ROUTED_FUNCTIONS(VBOARD_BIND)
#undef VBOARD_BIND

    int error = 0;
    void* master = entry(b->device(), &error, 0);
    if (master == nullptr) {
        deleteHandle(&h->fg);
        dlclose(dl);
        return initFailed(error != 0 ? error : FG_APPLET_NOT_LOADED);
    }
    h->state->applet = std::move(library);
    h->fg.Master = master;
    return &h->fg;
}

int Fg_FreeGrabber(Fg_Struct* fg) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    int result = 0;
    void* dl = nullptr;
    if (isApplet(s)) {
        auto function = appletFunction<decltype(&::Fg_FreeGrabber)>(s, Fn::Fg_FreeGrabber);
        if (function != nullptr) result = function(fg);
        dl = s->applet->dl;
    }
    releaseHandleResources(fg, s);
    deleteHandle(fg);
    if (dl != nullptr) dlclose(dl);
    return result;
}

const char* Fg_getLastErrorDetail(Fg_Struct* fg) {
    if (fg != nullptr) return Fg_getErrorDescription(Fg_getLastErrorNumber(fg));
    thread_local std::string copy;  // the caller's text stays put while other threads open boards
    std::lock_guard lock(initDetailMutex);
    if (initDetail.empty()) return Fg_getErrorDescription(lastInitError);
    try {
        copy = initDetail;
    } catch (const std::bad_alloc&) {
        return Fg_getErrorDescription(lastInitError);
    }
    return copy.c_str();
}

int Fg_getLastErrorNumber(Fg_Struct* fg) {
    if (fg == nullptr) return lastInitError;
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    if (isApplet(s)) {
        // Asking must not forget that the last call raised.
        if (s->appletRaised) return FG_APPLET_EXCEPTION;
        auto function = appletFunction<decltype(&::Fg_getLastErrorNumber)>(s, Fn::Fg_getLastErrorNumber);
        return function != nullptr ? function(fg) : FG_NOT_AVAILABLE;
    }
    return s->lastError;
}

// ---- parameters ----

int Fg_getParameterIdByName(Fg_Struct* fg, const char* name) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_getParameterIdByName, FG_NOT_AVAILABLE, fg, name)
    if (name == nullptr) return fail(s, FG_INVALID_PARAMETER);
    int id = FG_INVALID_PARAMETER;
    if (const SdkParameter* p = findSdkParameter(std::string_view(name))) {
        id = p->id;
    } else if (const int position = s->board->findParameter(name); position >= 0) {
        id = VBOARD_DESIGN_PARAMETER_ID_BASE + position;
    }
    s->lastError = id < 0 ? id : 0;
    return id;
}

int Fg_setParameterWithType(Fg_Struct* fg, int id, const void* value, unsigned int dmaIndex, int type) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_setParameterWithType, FG_NOT_AVAILABLE, fg, id, value, dmaIndex, type)
    return fail(s, setPlain(s, id, value, dmaIndex, type));
}

int Fg_getParameterWithType(Fg_Struct* fg, int id, void* value, unsigned int dmaIndex, int type) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_getParameterWithType, FG_NOT_AVAILABLE, fg, id, value, dmaIndex, type)
    return fail(s, getPlain(s, id, value, dmaIndex, type));
}

// The untyped calls reach an applet through its typed exports.
int Fg_setParameter(Fg_Struct* fg, int id, const void* value, unsigned int dmaIndex) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_setParameterWithType, FG_NOT_AVAILABLE, fg, id, value, dmaIndex, FG_PARAM_TYPE_AUTO)
    return fail(s, setPlain(s, id, value, dmaIndex, FG_PARAM_TYPE_AUTO));
}

int Fg_getParameter(Fg_Struct* fg, int id, void* value, unsigned int dmaIndex) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_getParameterWithType, FG_NOT_AVAILABLE, fg, id, value, dmaIndex, FG_PARAM_TYPE_AUTO)
    return fail(s, getPlain(s, id, value, dmaIndex, FG_PARAM_TYPE_AUTO));
}

RegisterInfo* Fg_getParameterInfo(Fg_Struct* fg, int port) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return nullptr;
    ROUTE_TO_APPLET(s, Fg_getParameterInfo, nullptr, fg, port)
    RegisterInfo* head = nullptr;
    if (port == 0) {
        try {
            head = sdkParameterInfo(s);
        } catch (const std::bad_alloc&) {
            fail(s, FG_NOT_ENOUGH_MEMORY);
            return nullptr;
        }
    }
    fail(s, head != nullptr ? 0 : FG_INVALID_PARAMETER);
    return head;
}

// ---- functions only an applet implements; a plain handle answers FG_NOT_AVAILABLE or null ----

int Fg_getAppletId(Fg_Struct* fg, const char* ignored) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_getAppletId, FG_NOT_AVAILABLE, fg, ignored)
    return fail(s, FG_NOT_AVAILABLE);
}

int Fg_saveConfig(Fg_Struct* fg, const char* filename) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_saveConfig, FG_NOT_AVAILABLE, fg, filename)
    return fail(s, FG_NOT_AVAILABLE);
}

int Fg_loadConfig(Fg_Struct* fg, const char* filename) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_loadConfig, FG_NOT_AVAILABLE, fg, filename)
    return fail(s, FG_NOT_AVAILABLE);
}

int Fg_getNrOfParameter(Fg_Struct* fg) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_getNrOfParameter, FG_NOT_AVAILABLE, fg)
    return fail(s, FG_NOT_AVAILABLE);
}

const char* Fg_getParameterName(Fg_Struct* fg, int index) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return nullptr;
    ROUTE_TO_APPLET(s, Fg_getParameterName, nullptr, fg, index)
    fail(s, FG_NOT_AVAILABLE);
    return nullptr;
}

int Fg_getParameterId(Fg_Struct* fg, int index) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_getParameterId, FG_NOT_AVAILABLE, fg, index)
    return fail(s, FG_NOT_AVAILABLE);
}

int Fg_getParameterInfoXML(Fg_Struct* fg, int port, char* buffer, size_t* bufferSize) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_getParameterInfoXML, FG_NOT_AVAILABLE, fg, port, buffer, bufferSize)
    return fail(s, FG_NOT_AVAILABLE);
}

unsigned long Fg_getEventMask(Fg_Struct* fg, const char* name) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return 0;
    ROUTE_TO_APPLET(s, Fg_getEventMask, 0, fg, name)
    fail(s, FG_NOT_AVAILABLE);
    return 0;
}

const char* Fg_getEventName(Fg_Struct* fg, unsigned long mask) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return nullptr;
    ROUTE_TO_APPLET(s, Fg_getEventName, nullptr, fg, mask)
    fail(s, FG_NOT_AVAILABLE);
    return nullptr;
}

ShadingMaster* Fg_AllocShading(Fg_Struct* fg, int a, int b) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return nullptr;
    ROUTE_TO_APPLET(s, Fg_AllocShading, nullptr, fg, a, b)
    fail(s, FG_NOT_AVAILABLE);
    return nullptr;
}

int Fg_FreeShading(Fg_Struct* fg, ShadingMaster* sh) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Fg_FreeShading, FG_NOT_AVAILABLE, fg, sh)
    return fail(s, FG_NOT_AVAILABLE);
}

int Shad_SetSubValueLine(Fg_Struct* fg, ShadingMaster* sh, int x, int channel, float sub) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Shad_SetSubValueLine, FG_NOT_AVAILABLE, fg, sh, x, channel, sub)
    return fail(s, FG_NOT_AVAILABLE);
}

int Shad_SetMultValueLine(Fg_Struct* fg, ShadingMaster* sh, int x, int channel, float mult) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Shad_SetMultValueLine, FG_NOT_AVAILABLE, fg, sh, x, channel, mult)
    return fail(s, FG_NOT_AVAILABLE);
}

int Shad_SetFixedPatternNoiseLine(Fg_Struct* fg, ShadingMaster* sh, int x, int channel, int on) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Shad_SetFixedPatternNoiseLine, FG_NOT_AVAILABLE, fg, sh, x, channel, on)
    return fail(s, FG_NOT_AVAILABLE);
}

int Shad_GetMaxLine(Fg_Struct* fg, ShadingMaster* sh) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Shad_GetMaxLine, FG_NOT_AVAILABLE, fg, sh)
    return fail(s, FG_NOT_AVAILABLE);
}

int Shad_GetAccess(Fg_Struct* fg, ShadingMaster* sh) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Shad_GetAccess, FG_NOT_AVAILABLE, fg, sh)
    return fail(s, FG_NOT_AVAILABLE);
}

int Shad_FreeAccess(Fg_Struct* fg, ShadingMaster* sh) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Shad_FreeAccess, FG_NOT_AVAILABLE, fg, sh)
    return fail(s, FG_NOT_AVAILABLE);
}

int Shad_WriteActLine(Fg_Struct* fg, ShadingMaster* sh, int line) {
    HandleState* s = stateOf(fg);
    if (s == nullptr) return FG_INVALID_HANDLE;
    ROUTE_TO_APPLET(s, Shad_WriteActLine, FG_NOT_AVAILABLE, fg, sh, line)
    return fail(s, FG_NOT_AVAILABLE);
}

}  // extern "C"
