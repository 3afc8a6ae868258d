// An applet object on board 0 of the virtual board, held in an SDK-shaped handle as the SDK
// would hold it, with the board's journal and failure rules cleared first.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "applet_library.h"
#include "fg_constants.h"
#include "qorviolibrt.h"
#include "vboard/control.h"

inline const AppletLibrary& A() {
    return AppletLibrary::get();
}

class AppletOnBoard : public ::testing::Test {
  protected:
    void SetUp() override {
        vboard::control::reset();
        int error = 1;
        fg.Master = A().Std_entry(QorvBoardOpen(0), &error, 0);
        ASSERT_EQ(error, 0);
        ASSERT_NE(fg.Master, nullptr);
    }
    void TearDown() override {
        if (fg.Master != nullptr) A().Fg_FreeGrabber(&fg);
        vboard::control::reset();
    }

    // A fresh applet object on the same board, as after closing and opening it again.
    void reopen() {
        A().Fg_FreeGrabber(&fg);
        int error = 1;
        fg.Master = A().Std_entry(QorvBoardOpen(0), &error, 0);
        ASSERT_EQ(error, 0);
    }
    uint32_t getUInt(int id) {
        uint32_t v = 0;
        EXPECT_EQ(A().Fg_getParameterWithType(&fg, id, &v, 0, FG_PARAM_TYPE_UINT32_T), 0) << id;
        return v;
    }
    double getDouble(int id) {
        double v = 0;
        EXPECT_EQ(A().Fg_getParameterWithType(&fg, id, &v, 0, FG_PARAM_TYPE_DOUBLE), 0) << id;
        return v;
    }
    int setUInt(int id, uint32_t v) {
        return A().Fg_setParameterWithType(&fg, id, &v, 0, FG_PARAM_TYPE_UINT32_T);
    }
    int setDouble(int id, double v) {
        return A().Fg_setParameterWithType(&fg, id, &v, 0, FG_PARAM_TYPE_DOUBLE);
    }
    int lastError() { return A().Fg_getLastErrorNumber(&fg); }

    // The description record the applet publishes for `id`, or null.
    const RegisterInfo* description(int id) {
        const RegisterInfo* found = nullptr;
        auto search = [&](const RegisterInfo* r, auto&& self) -> void {
            if (r == nullptr || found != nullptr) return;
            if (r->format != REG_FORMAT_GROUP) {
                if (r->id == id) found = r;
                return;
            }
            for (int i = 0; i < r->u.gReg.nrOfElements; ++i) self(r->u.gReg.elements[i], self);
        };
        for (const RegisterInfo* g = A().Fg_getParameterInfo(&fg, 0); g != nullptr; g = g->next)
            search(g, search);
        return found;
    }

    Fg_Struct fg{};
};
