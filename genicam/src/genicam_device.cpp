// The port behind the board's GenApi document: addresses (GenApiAddress.h) name a parameter and
// whether its value, a limit or its lock is meant; values go through the SDK's typed calls,
// limits and lock are read from the applet's description records as they are at that moment.
#include <pellucid/genicam.h>

#include <cstring>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "GenApiAddress.h"

namespace {

using namespace pellucid::genapi;

struct Port {
    Fg_Struct* fg = nullptr;
    ArvGc* genicam = nullptr;
    std::unordered_map<int, const RegisterInfo*> records;  // live: the applet changes them in place
};

// Longest string value the port reads; the SDK copies a string whole, so the buffer is generous.
constexpr size_t kStringReadBuffer = 65536;

gboolean fail(GError** error, const char* what, guint64 address) {
    g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR, "%s (address 0x%016llx)", what,
                static_cast<unsigned long long>(address));
    return FALSE;
}

gboolean failSdk(Port& port, GError** error, guint64 address) {
    const int rc = Fg_getLastErrorNumber(port.fg);
    g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_PROTOCOL_ERROR, "%s (%d) at address 0x%016llx",
                Fg_getErrorDescription(rc), rc, static_cast<unsigned long long>(address));
    return FALSE;
}

template <typename Reg>
int64_t bound(const Reg& reg, bool maximum) {
    return static_cast<int64_t>(maximum ? reg.to : reg.from);
}

// A limit as the register holds it: a double for doubles, a signed 64-bit integer otherwise.
bool limit(const RegisterInfo& r, bool maximum, void* out) {
    int64_t i = 0;
    switch (r.format) {
        case REG_FORMAT_UINT:
            i = bound(r.u.uiReg, maximum);
            break;
        case REG_FORMAT_INT:
            i = bound(r.u.iReg, maximum);
            break;
        case REG_FORMAT_UINT64:
        case REG_FORMAT_INT64:
            i = bound(r.u.iReg64, maximum);
            break;
        case REG_FORMAT_UINTFIELD:
            i = bound(r.u.uifReg, maximum);
            break;
        case REG_FORMAT_INTFIELD:
            i = bound(r.u.ifReg, maximum);
            break;
        case REG_FORMAT_DOUBLE: {
            const double d = maximum ? r.u.dReg.to : r.u.dReg.from;
            std::memcpy(out, &d, sizeof d);
            return true;
        }
        default:
            return false;
    }
    std::memcpy(out, &i, sizeof i);
    return true;
}

gboolean value(Port& port, const RegisterInfo& r, guint64 address, guint32 size, void* buffer, bool write,
               GError** error) {
    const uint32_t offset = offsetOf(address);
    int type = FG_PARAM_TYPE_UINT32_T;
    guint32 length = 4;
    switch (r.format) {
        case REG_FORMAT_UINT:
        case REG_FORMAT_ENUM:
            break;
        case REG_FORMAT_INT:
            type = FG_PARAM_TYPE_INT32_T;
            break;
        case REG_FORMAT_UINT64:
            type = FG_PARAM_TYPE_UINT64_T, length = 8;
            break;
        case REG_FORMAT_INT64:
            type = FG_PARAM_TYPE_INT64_T, length = 8;
            break;
        case REG_FORMAT_DOUBLE:
            type = FG_PARAM_TYPE_DOUBLE, length = 8;
            break;
        case REG_FORMAT_UINTFIELD:
        case REG_FORMAT_INTFIELD: {
            const int entries =
                r.format == REG_FORMAT_UINTFIELD ? r.u.uifReg.nrOfElements : r.u.ifReg.nrOfElements;
            if (size != 4 || offset % 4 != 0 || offset / 4 >= static_cast<uint32_t>(entries)) {
                return fail(error, "no field entry of that length here", address);
            }
            FieldParameterInt entry{0, offset / 4};
            if (write) std::memcpy(&entry.value, buffer, 4);
            const int rc =
                write ? Fg_setParameterWithType(port.fg, r.id, &entry, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT)
                      : Fg_getParameterWithType(port.fg, r.id, &entry, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT);
            if (rc != 0) return failSdk(port, error, address);
            if (!write) std::memcpy(buffer, &entry.value, 4);
            return TRUE;
        }
        case REG_FORMAT_STRING: {
            if (offset != 0 || size == 0 || size > kStringLength)
                return fail(error, "no string of that length here", address);
            if (write) {
                const std::string text(static_cast<const char*>(buffer),
                                       strnlen(static_cast<const char*>(buffer), size));
                if (Fg_setParameterWithType(port.fg, r.id, text.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR) != 0) {
                    return failSdk(port, error, address);
                }
                return TRUE;
            }
            std::vector<char> text(kStringReadBuffer, '\0');
            if (Fg_getParameterWithType(port.fg, r.id, text.data(), 0, FG_PARAM_TYPE_CHAR_PTR) != 0) {
                return failSdk(port, error, address);
            }
            const size_t used = strnlen(text.data(), text.size());
            if (used >= size) return fail(error, "string longer than its register", address);
            std::memset(buffer, 0, size);
            std::memcpy(buffer, text.data(), used);
            return TRUE;
        }
        default:
            return fail(error, "parameter of a kind without a value register", address);
    }
    if (size != length || offset != 0) return fail(error, "wrong length or offset for this value", address);
    alignas(8) unsigned char local[8] = {};
    if (write) std::memcpy(local, buffer, size);
    const int rc = write ? Fg_setParameterWithType(port.fg, r.id, local, 0, type)
                         : Fg_getParameterWithType(port.fg, r.id, local, 0, type);
    if (rc != 0) return failSdk(port, error, address);
    if (!write) std::memcpy(buffer, local, size);
    return TRUE;
}

gboolean transfer(Port* port, guint64 address, guint32 size, void* buffer, bool write, GError** error) {
    if (port == nullptr || buffer == nullptr) return fail(error, "no board or no buffer", address);
    const auto it = port->records.find(idOf(address));
    if (it == port->records.end()) return fail(error, "no parameter at this address", address);
    const RegisterInfo& r = *it->second;
    const uint32_t space = spaceOf(address);
    if (space == kValue) return value(*port, r, address, size, buffer, write, error);
    if (write) return fail(error, "limits and lock are read-only", address);
    if (offsetOf(address) != 0) return fail(error, "no register at this offset", address);
    if (space == kMinimum || space == kMaximum) {
        if (size != 8 || !hasLimits(r)) return fail(error, "no limit of that length here", address);
        limit(r, space == kMaximum, buffer);
        return TRUE;
    }
    if (space == kLocked) {
        if (size != 4) return fail(error, "the lock is 4 bytes long", address);
        const uint32_t locked = isLocked(r) ? 1 : 0;
        std::memcpy(buffer, &locked, 4);
        return TRUE;
    }
    return fail(error, "no register at this address", address);
}

void collect(Port& port, const RegisterInfo* r) {
    if (r == nullptr) return;
    if (r->format != REG_FORMAT_GROUP) {
        if (r->parameterName != nullptr) port.records[r->id] = r;
        return;
    }
    for (int i = 0; i < r->u.gReg.nrOfElements; ++i) collect(port, r->u.gReg.elements[i]);
}

}  // namespace

extern "C" {

struct PellucidGenicamDevice {
    ArvDevice parent;
    Port* port;
};
struct PellucidGenicamDeviceClass {
    ArvDeviceClass parent_class;
};

G_DEFINE_TYPE(PellucidGenicamDevice, pellucid_genicam_device, ARV_TYPE_DEVICE)

static Port* portOf(ArvDevice* device) {
    return reinterpret_cast<PellucidGenicamDevice*>(device)->port;
}
static gboolean readMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError** error) {
    return transfer(portOf(device), address, size, buffer, false, error);
}
static gboolean writeMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError** error) {
    return transfer(portOf(device), address, size, buffer, true, error);
}
static gboolean readRegister(ArvDevice* device, guint64 address, guint32* value, GError** error) {
    return transfer(portOf(device), address, 4, value, false, error);
}
static gboolean writeRegister(ArvDevice* device, guint64 address, guint32 value, GError** error) {
    return transfer(portOf(device), address, 4, &value, true, error);
}
static ArvGc* genicamOf(ArvDevice* device) {
    return portOf(device)->genicam;
}

static void pellucid_genicam_device_init(PellucidGenicamDevice* self) {
    self->port = new (std::nothrow) Port;
}
static void finalize(GObject* object) {
    Port* port = reinterpret_cast<PellucidGenicamDevice*>(object)->port;
    if (port != nullptr && port->genicam != nullptr) g_object_unref(port->genicam);
    delete port;
    G_OBJECT_CLASS(pellucid_genicam_device_parent_class)->finalize(object);
}
static void pellucid_genicam_device_class_init(PellucidGenicamDeviceClass* klass) {
    G_OBJECT_CLASS(klass)->finalize = finalize;
    ArvDeviceClass* device = ARV_DEVICE_CLASS(klass);
    device->read_memory = readMemory;
    device->write_memory = writeMemory;
    device->read_register = readRegister;
    device->write_register = writeRegister;
    device->get_genicam = genicamOf;
}

ArvDevice* pellucid_genicam_device_new(Fg_Struct* fg, GError** error) {
    auto refuse = [&](const char* what, int rc) -> ArvDevice* {
        g_set_error(error, ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_GENICAM_NOT_FOUND, "%s: %s (%d)", what,
                    Fg_getErrorDescription(rc), rc);
        return nullptr;
    };
    if (fg == nullptr) return refuse("no board", FG_INVALID_PARAMETER);
    size_t size = 0;
    if (int rc = Fg_getParameterInfoXML(fg, 0, nullptr, &size); rc != 0) {
        return refuse("cannot read the GenApi document", rc);
    }
    std::string xml(size, '\0');
    if (int rc = Fg_getParameterInfoXML(fg, 0, xml.data(), &size); rc != 0) {
        return refuse("cannot read the GenApi document", rc);
    }
    xml.resize(strnlen(xml.c_str(), xml.size()));

    auto* self =
        static_cast<PellucidGenicamDevice*>(g_object_new(pellucid_genicam_device_get_type(), nullptr));
    if (self->port == nullptr) {
        g_object_unref(self);
        return refuse("cannot make the port", FG_NOT_ENOUGH_MEMORY);
    }
    self->port->fg = fg;
    for (const RegisterInfo* g = Fg_getParameterInfo(fg, 0); g != nullptr; g = g->next)
        collect(*self->port, g);
    self->port->genicam = arv_gc_new(ARV_DEVICE(self), xml.data(), xml.size());
    if (self->port->genicam == nullptr) {
        g_object_unref(self);
        return refuse("cannot parse the GenApi document", FG_INVALID_PARAMETER);
    }
    return ARV_DEVICE(self);
}

}  // extern "C"
