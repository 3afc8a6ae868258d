// The applet on board 0 with helpers for the image path: description records, strings and
// lookup-table entries.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "applet_fixture.h"

class ImagePath : public AppletOnBoard {
  protected:
    uint32_t maximumOf(int id) {
        const RegisterInfo* r = description(id);
        return r != nullptr ? r->u.uiReg.to : 0;
    }
    int setString(int id, const char* s) {
        return A().Fg_setParameterWithType(&fg, id, s, 0, FG_PARAM_TYPE_CHAR_PTR);
    }
    std::string getString(int id) {
        char buffer[4096] = "";
        EXPECT_EQ(A().Fg_getParameterWithType(&fg, id, buffer, 0, FG_PARAM_TYPE_CHAR_PTR), 0) << id;
        return buffer;
    }
    int setEntry(int id, uint32_t index, uint32_t value) {
        FieldParameterInt_s e{value, index};
        return A().Fg_setParameterWithType(&fg, id, &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT);
    }
    int getEntry(int id, uint32_t index, uint32_t* value) {
        FieldParameterInt_s e{0, index};
        const int rc = A().Fg_getParameterWithType(&fg, id, &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT);
        *value = e.value;
        return rc;
    }
    uint32_t entry(int id, uint32_t index) {
        uint32_t v = 0;
        EXPECT_EQ(getEntry(id, index, &v), 0);
        return v;
    }
    // The applet's own copy of a whole table.
    std::vector<uint64_t> table(int id) {
        std::vector<uint64_t> out(4096);
        for (uint32_t i = 0; i < out.size(); ++i) out[i] = entry(id, i);
        return out;
    }
};

inline const char* const kLutR = "Device1_Process0_LookupTable_R_LUTcontent";
inline const char* const kLutG = "Device1_Process0_LookupTable_G_LUTcontent";
inline const char* const kLutB = "Device1_Process0_LookupTable_B_LUTcontent";
