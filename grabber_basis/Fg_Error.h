// The applet's last error number.
#pragma once

#include <atomic>

#include "fg_constants.h"

class Fg_Error {
  public:
    Fg_Error() = default;
    Fg_Error(const Fg_Error&) = delete;
    Fg_Error& operator=(const Fg_Error&) = delete;

    // Stores `error` and returns it, so callers can write `return err.setErr(code);`.
    int setErr(int error) {
        error_number_buffer.store(error, std::memory_order_relaxed);
        return error;
    }
    int getErrorNumberBuffer() const { return error_number_buffer.load(std::memory_order_relaxed); }
    // Detailed error texts are not kept by this library.
    int setErrLevel2(int, const char*) { return FG_SHADING_NOT_SUPPORTED; }

  private:
    // Read by other threads asking for the last error while a parameter call is running.
    std::atomic<int> error_number_buffer{0};
};
