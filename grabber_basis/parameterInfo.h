// Per-port tree of parameter description records: groups holding parameters and sub-groups.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "fg_types.h"

// One entry of a static enumeration table.
struct EnumField_ {
    const char* name;  // display name
    uint32_t value;
    const char* defName;  // symbolic name
};

class Fg_ParameterInfo {
  public:
    static constexpr int kPorts = 4;

    Fg_ParameterInfo();
    ~Fg_ParameterInfo();
    Fg_ParameterInfo(const Fg_ParameterInfo&) = delete;
    Fg_ParameterInfo& operator=(const Fg_ParameterInfo&) = delete;

    RegisterInfo* addGroupInfo(int port, RegisterInfo* parent, const char* name);
    RegisterInfo* addInfoInt(RegisterInfo* parent, const char* name, const char* parameterName, int from,
                             int to, int steps, int accessFlags, int rangeFlags, int visibilityFlags,
                             const char* unit, int id, int port);
    RegisterInfo* addInfoUInt(RegisterInfo* parent, const char* name, const char* parameterName,
                              uint32_t from, uint32_t to, uint32_t steps, int accessFlags, int rangeFlags,
                              int visibilityFlags, const char* unit, int id, int port);
    RegisterInfo* addInfoInt64(RegisterInfo* parent, const char* name, const char* parameterName,
                               int64_t from, int64_t to, int64_t steps, int accessFlags, int rangeFlags,
                               int visibilityFlags, const char* unit, int id, int port);
    RegisterInfo* addInfoUInt64(RegisterInfo* parent, const char* name, const char* parameterName,
                                uint64_t from, uint64_t to, uint64_t steps, int accessFlags, int rangeFlags,
                                int visibilityFlags, const char* unit, int id, int port);
    RegisterInfo* addInfoDouble(RegisterInfo* parent, const char* name, const char* parameterName,
                                double from, double to, double steps, int accessFlags, int rangeFlags,
                                int visibilityFlags, const char* unit, int id, int port);
    RegisterInfo* addInfoIntField(RegisterInfo* parent, const char* name, const char* parameterName,
                                  int nrOfElements, int from, int to, int value, int accessFlags,
                                  int rangeFlags, int visibilityFlags, const char* unit, int id, int port);
    RegisterInfo* addInfoUIntField(RegisterInfo* parent, const char* name, const char* parameterName,
                                   int nrOfElements, uint32_t from, uint32_t to, uint32_t value,
                                   int accessFlags, int rangeFlags, int visibilityFlags, const char* unit,
                                   int id, int port);
    RegisterInfo* addInfoDoubleField(RegisterInfo* parent, const char* name, const char* parameterName,
                                     int nrOfElements, double from, double to, double value, int accessFlags,
                                     int rangeFlags, int visibilityFlags, const char* unit, int id, int port);
    RegisterInfo* addInfoString(RegisterInfo* parent, const char* name, const char* parameterName,
                                const char* fileExtension, int accessFlags, int rangeFlags,
                                int visibilityFlags, const char* unit, int id, int port);
    RegisterInfo* addInfoEnum(RegisterInfo* parent, const char* name, const char* parameterName,
                              int nrOfElements, int accessFlags, int rangeFlags, int visibilityFlags,
                              const char* unit, int id, int port);

    // Fills entry `index` of an enumeration record: 0, -500 when the name cannot be stored, -2070 for
    // a null or non-enumeration record, a null name or an index outside the entries.
    int addEnumNameValue(RegisterInfo* enumReg, int index, const char* name, int value, const char* defName);

    void init(int port);
    void finalize(int port);
    void destroy(int port);

    RegisterInfo* getRegisterInfo(int port);
    RegisterInfo* getNextRegisterInfo(RegisterInfo* current, int port);

  private:
    RegisterInfo* addLeaf(RegisterInfo* parent, const RegisterInfo& proto, const char* name,
                          const char* parameterName, const char* unit, const char* fileExtension = nullptr);
    bool adopt(RegisterInfo* parent, RegisterInfo* record);

    RegisterInfo* mGlobRegInfo[kPorts];
    int groupAutoIndex;
    std::vector<RegisterInfo*> allRegInfo[kPorts];
    bool allRegFinalized[kPorts];
    // Child counters of non-group records that were used as parents. Their union holds no group
    // part, so the counter lives here instead of being written over the record's own fields.
    std::unordered_map<const RegisterInfo*, int> mNonGroupAutoIndex;
};
