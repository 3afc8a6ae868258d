#include "parameterInfo.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "fg_constants.h"

// Records are plain C structs handed to C callers, so everything reachable from them is allocated
// with malloc and released with free.

namespace {

bool validPort(int port) {
    return port >= 0 && port < Fg_ParameterInfo::kPorts;
}

// Copies a borrowed string; clears `ok` when the copy cannot be made.
char* copyString(const char* text, bool& ok) {
    if (text == nullptr) return nullptr;
    char* copy = strdup(text);
    if (copy == nullptr) ok = false;
    return copy;
}

RegisterInfo blankRecord(REG_FORMAT format, int accessFlags, int rangeFlags, int visibilityFlags, int id,
                         int port) {
    RegisterInfo r;
    std::memset(&r, 0, sizeof r);  // also clears the union bytes beyond its first member
    r.format = format;
    r.accessFlags = accessFlags;
    r.rangeFlags = rangeFlags;
    r.visibilityFlags = visibilityFlags;
    r.id = id;
    r.port = port;
    return r;
}

void freeRecord(RegisterInfo* r) {
    if (r == nullptr) return;
    free(r->name);
    free(const_cast<char*>(r->parentName));
    free(r->parameterName);
    free(const_cast<char*>(r->unit));
    switch (r->format) {
        case REG_FORMAT_ENUM: {
            EnumReg_S& e = r->u.eReg;
            for (int i = 0; i < e.nrOfElements; ++i) {
                if (e.enumNames != nullptr) free(e.enumNames[i]);
                if (e.enumDefName != nullptr) free(e.enumDefName[i]);
            }
            free(e.enumNames);
            free(e.enumValues);
            free(e.enumDefName);
            break;
        }
        case REG_FORMAT_STRING:
            free(r->u.sReg.FileExtension);
            break;
        case REG_FORMAT_GROUP:
            free(r->u.gReg.elements);  // the children are freed in their own turn
            break;
        default:
            break;
    }
    free(r);
}

// Allocates a record from `proto` with owned copies of the strings; null when any allocation fails.
RegisterInfo* buildRecord(const RegisterInfo& proto, const char* name, const char* parameterName,
                          const char* unit, const char* fileExtension) {
    auto* r = static_cast<RegisterInfo*>(malloc(sizeof(RegisterInfo)));
    if (r == nullptr) return nullptr;
    *r = proto;
    r->name = nullptr;
    r->parameterName = nullptr;
    r->unit = nullptr;
    r->parentName = nullptr;
    if (r->format == REG_FORMAT_ENUM) {
        r->u.eReg.enumNames = nullptr;
        r->u.eReg.enumValues = nullptr;
        r->u.eReg.enumDefName = nullptr;
    }
    if (r->format == REG_FORMAT_STRING) r->u.sReg.FileExtension = nullptr;

    bool ok = true;
    r->name = copyString(name, ok);
    r->parameterName = copyString(parameterName, ok);
    r->unit = copyString(unit, ok);
    if (r->format == REG_FORMAT_STRING) r->u.sReg.FileExtension = copyString(fileExtension, ok);
    if (r->format == REG_FORMAT_ENUM) {
        // At least one slot, so the arrays are never null even for an empty or negative count.
        const size_t slots = r->u.eReg.nrOfElements > 0 ? static_cast<size_t>(r->u.eReg.nrOfElements) : 1;
        EnumReg_S& e = r->u.eReg;
        e.enumNames = static_cast<char**>(calloc(slots, sizeof(char*)));
        e.enumValues = static_cast<int32_t*>(calloc(slots, sizeof(int32_t)));
        e.enumDefName = static_cast<char**>(calloc(slots, sizeof(char*)));
        if (e.enumNames == nullptr || e.enumValues == nullptr || e.enumDefName == nullptr) ok = false;
    }
    if (!ok) {
        freeRecord(r);
        return nullptr;
    }
    return r;
}

}  // namespace

Fg_ParameterInfo::Fg_ParameterInfo() : mGlobRegInfo{}, groupAutoIndex(0), allRegFinalized{} {
    for (int port = 0; port < kPorts; ++port) {
        allRegInfo[port].clear();
        init(port);
    }
}

Fg_ParameterInfo::~Fg_ParameterInfo() {
    for (int port = 0; port < kPorts; ++port) destroy(port);
}

void Fg_ParameterInfo::init(int port) {
    if (!validPort(port)) return;
    destroy(port);
    mGlobRegInfo[port] = nullptr;
    allRegFinalized[port] = false;
}

void Fg_ParameterInfo::finalize(int port) {
    if (validPort(port)) allRegFinalized[port] = true;
}

void Fg_ParameterInfo::destroy(int port) {
    if (!validPort(port)) return;
    for (RegisterInfo* r : allRegInfo[port]) {
        mNonGroupAutoIndex.erase(r);
        freeRecord(r);
    }
    allRegInfo[port].clear();
    // Every record of the list is gone; a head left behind could only dangle.
    mGlobRegInfo[port] = nullptr;
}

RegisterInfo* Fg_ParameterInfo::getRegisterInfo(int port) {
    return validPort(port) ? mGlobRegInfo[port] : nullptr;
}

RegisterInfo* Fg_ParameterInfo::getNextRegisterInfo(RegisterInfo* current, int port) {
    if (!validPort(port)) return nullptr;
    return current == nullptr ? mGlobRegInfo[port] : current->next;
}

// Hands `record` to its port and to `parent`, or changes nothing and returns false.
bool Fg_ParameterInfo::adopt(RegisterInfo* parent, RegisterInfo* record) {
    std::vector<RegisterInfo*>& all = allRegInfo[record->port];
    try {
        all.reserve(all.size() + 1);
    } catch (const std::bad_alloc&) {
        return false;
    }

    if (parent->format != REG_FORMAT_GROUP) {
        int* counter = nullptr;
        try {
            counter = &mNonGroupAutoIndex[parent];
        } catch (const std::bad_alloc&) {
            return false;
        }
        record->index = (*counter)++;
        all.push_back(record);
        return true;
    }

    GroupReg_S& g = parent->u.gReg;
    // The counters are public fields; refuse rather than write past the array if they were edited.
    if (g.nrOfElements < 0 || g.nrOfElements == INT_MAX || g.autoIndex < 0 || g.autoIndex > g.nrOfElements)
        return false;
    const int count = g.nrOfElements + 1;
    // Exactly one more slot per insertion: the registry is built once and is small.
    auto** elements = static_cast<RegisterInfo**>(malloc(sizeof(RegisterInfo*) * static_cast<size_t>(count)));
    if (elements == nullptr) return false;
    for (int i = 0; i < count - 1; ++i) elements[i] = g.elements != nullptr ? g.elements[i] : nullptr;
    record->index = g.autoIndex++;
    elements[record->index] = record;
    g.nrOfElements = count;
    free(g.elements);
    g.elements = elements;
    all.push_back(record);
    return true;
}

RegisterInfo* Fg_ParameterInfo::addGroupInfo(int port, RegisterInfo* parent, const char* name) {
    if (!validPort(port) || allRegFinalized[port]) return nullptr;
    RegisterInfo* r =
        buildRecord(blankRecord(REG_FORMAT_GROUP, 0, 0, 0, 0, port), name, nullptr, nullptr, nullptr);
    if (r == nullptr) return nullptr;

    if (parent == nullptr) {
        std::vector<RegisterInfo*>& all = allRegInfo[port];
        try {
            all.push_back(r);
        } catch (const std::bad_alloc&) {
            freeRecord(r);
            return nullptr;
        }
        // Newest first: callers rely on this listing order.
        r->next = mGlobRegInfo[port];
        if (r->next != nullptr) r->next->previous = r;
        mGlobRegInfo[port] = r;
        return r;
    }

    if (parent->format != REG_FORMAT_GROUP) {
        // A sub-group under a parameter is refused, yet the record stays with the port and the
        // parent's counter moves on; existing callers depend on the resulting indices.
        if (!adopt(parent, r)) freeRecord(r);
        return nullptr;
    }

    bool ok = true;
    r->depth = parent->depth + 1;
    r->parentName = copyString(parent->name, ok);
    if (!ok || !adopt(parent, r)) {
        freeRecord(r);
        return nullptr;
    }
    return r;
}

RegisterInfo* Fg_ParameterInfo::addLeaf(RegisterInfo* parent, const RegisterInfo& proto, const char* name,
                                        const char* parameterName, const char* unit,
                                        const char* fileExtension) {
    if (!validPort(proto.port) || allRegFinalized[proto.port] || parent == nullptr) return nullptr;
    RegisterInfo* r = buildRecord(proto, name, parameterName, unit, fileExtension);
    if (r == nullptr) return nullptr;
    if (!adopt(parent, r)) {
        freeRecord(r);
        return nullptr;
    }
    return r;
}

RegisterInfo* Fg_ParameterInfo::addInfoInt(RegisterInfo* parent, const char* name, const char* parameterName,
                                           int from, int to, int steps, int accessFlags, int rangeFlags,
                                           int visibilityFlags, const char* unit, int id, int port) {
    RegisterInfo p = blankRecord(REG_FORMAT_INT, accessFlags, rangeFlags, visibilityFlags, id, port);
    p.u.iReg = IntReg_S{from, to, steps, 0};
    return addLeaf(parent, p, name, parameterName, unit);
}

RegisterInfo* Fg_ParameterInfo::addInfoUInt(RegisterInfo* parent, const char* name, const char* parameterName,
                                            uint32_t from, uint32_t to, uint32_t steps, int accessFlags,
                                            int rangeFlags, int visibilityFlags, const char* unit, int id,
                                            int port) {
    RegisterInfo p = blankRecord(REG_FORMAT_UINT, accessFlags, rangeFlags, visibilityFlags, id, port);
    p.u.uiReg = UIntReg_S{from, to, steps, 0};
    return addLeaf(parent, p, name, parameterName, unit);
}

RegisterInfo* Fg_ParameterInfo::addInfoInt64(RegisterInfo* parent, const char* name,
                                             const char* parameterName, int64_t from, int64_t to,
                                             int64_t steps, int accessFlags, int rangeFlags,
                                             int visibilityFlags, const char* unit, int id, int port) {
    RegisterInfo p = blankRecord(REG_FORMAT_INT64, accessFlags, rangeFlags, visibilityFlags, id, port);
    // The 64-bit part is unsigned for both kinds; readers reinterpret by format.
    p.u.iReg64 =
        IntReg64_S{static_cast<uint64_t>(from), static_cast<uint64_t>(to), static_cast<uint64_t>(steps), 0};
    return addLeaf(parent, p, name, parameterName, unit);
}

RegisterInfo* Fg_ParameterInfo::addInfoUInt64(RegisterInfo* parent, const char* name,
                                              const char* parameterName, uint64_t from, uint64_t to,
                                              uint64_t steps, int accessFlags, int rangeFlags,
                                              int visibilityFlags, const char* unit, int id, int port) {
    RegisterInfo p = blankRecord(REG_FORMAT_UINT64, accessFlags, rangeFlags, visibilityFlags, id, port);
    p.u.iReg64 = IntReg64_S{from, to, steps, 0};
    return addLeaf(parent, p, name, parameterName, unit);
}

RegisterInfo* Fg_ParameterInfo::addInfoDouble(RegisterInfo* parent, const char* name,
                                              const char* parameterName, double from, double to, double steps,
                                              int accessFlags, int rangeFlags, int visibilityFlags,
                                              const char* unit, int id, int port) {
    RegisterInfo p = blankRecord(REG_FORMAT_DOUBLE, accessFlags, rangeFlags, visibilityFlags, id, port);
    p.u.dReg = DoubleReg_S{from, to, steps, 0.0};
    return addLeaf(parent, p, name, parameterName, unit);
}

RegisterInfo* Fg_ParameterInfo::addInfoIntField(RegisterInfo* parent, const char* name,
                                                const char* parameterName, int nrOfElements, int from, int to,
                                                int value, int accessFlags, int rangeFlags,
                                                int visibilityFlags, const char* unit, int id, int port) {
    RegisterInfo p = blankRecord(REG_FORMAT_INTFIELD, accessFlags, rangeFlags, visibilityFlags, id, port);
    p.u.ifReg = IntFieldReg_S{from, to, nrOfElements, 0, value};
    return addLeaf(parent, p, name, parameterName, unit);
}

RegisterInfo* Fg_ParameterInfo::addInfoUIntField(RegisterInfo* parent, const char* name,
                                                 const char* parameterName, int nrOfElements, uint32_t from,
                                                 uint32_t to, uint32_t value, int accessFlags, int rangeFlags,
                                                 int visibilityFlags, const char* unit, int id, int port) {
    RegisterInfo p = blankRecord(REG_FORMAT_UINTFIELD, accessFlags, rangeFlags, visibilityFlags, id, port);
    p.u.uifReg = UIntFieldReg_S{from, to, nrOfElements, 0, value};
    return addLeaf(parent, p, name, parameterName, unit);
}

RegisterInfo* Fg_ParameterInfo::addInfoDoubleField(RegisterInfo* parent, const char* name,
                                                   const char* parameterName, int nrOfElements, double from,
                                                   double to, double value, int accessFlags, int rangeFlags,
                                                   int visibilityFlags, const char* unit, int id, int port) {
    RegisterInfo p = blankRecord(REG_FORMAT_DOUBLEFIELD, accessFlags, rangeFlags, visibilityFlags, id, port);
    p.u.dfReg = DoubleFieldReg_S{from, to, nrOfElements, 0, value};
    return addLeaf(parent, p, name, parameterName, unit);
}

RegisterInfo* Fg_ParameterInfo::addInfoString(RegisterInfo* parent, const char* name,
                                              const char* parameterName, const char* fileExtension,
                                              int accessFlags, int rangeFlags, int visibilityFlags,
                                              const char* unit, int id, int port) {
    RegisterInfo p = blankRecord(REG_FORMAT_STRING, accessFlags, rangeFlags, visibilityFlags, id, port);
    return addLeaf(parent, p, name, parameterName, unit, fileExtension);
}

RegisterInfo* Fg_ParameterInfo::addInfoEnum(RegisterInfo* parent, const char* name, const char* parameterName,
                                            int nrOfElements, int accessFlags, int rangeFlags,
                                            int visibilityFlags, const char* unit, int id, int port) {
    RegisterInfo p = blankRecord(REG_FORMAT_ENUM, accessFlags, rangeFlags, visibilityFlags, id, port);
    p.u.eReg.nrOfElements = nrOfElements;
    return addLeaf(parent, p, name, parameterName, unit);
}

int Fg_ParameterInfo::addEnumNameValue(RegisterInfo* enumReg, int index, const char* name, int value,
                                       const char* defName) {
    if (enumReg == nullptr || !validPort(enumReg->port) || enumReg->format != REG_FORMAT_ENUM ||
        name == nullptr)
        return FG_INVALID_PARAMETER;
    EnumReg_S& e = enumReg->u.eReg;
    if (index < 0 || index >= e.nrOfElements || e.enumNames == nullptr || e.enumValues == nullptr ||
        e.enumDefName == nullptr)
        return FG_INVALID_PARAMETER;

    free(e.enumNames[index]);
    e.enumNames[index] = nullptr;
    free(e.enumDefName[index]);
    e.enumDefName[index] = nullptr;

    e.enumNames[index] = strdup(name);
    if (e.enumNames[index] == nullptr) return FG_NOT_ENOUGH_MEMORY;
    e.enumValues[index] = value;
    if (defName != nullptr) {
        e.enumDefName[index] = strdup(defName);
        if (e.enumDefName[index] == nullptr) return FG_NOT_ENOUGH_MEMORY;
    }
    return 0;
}
