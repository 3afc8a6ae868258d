// libfglib5.so: texts of the error numbers.
#include "c_api.h"

extern "C" const char* Fg_getErrorDescription(int errorNumber) {
    switch (errorNumber) {
        case FG_OK:
            return "no error";
        case FG_ERROR:
            return "error";
        case FG_NOT_AVAILABLE:
            return "function or handle not available, or the parameter is read-only";
        case FG_SOFTWARE_TRIGGER_PENDING:
            return "the previous software trigger is still being processed";
        case FG_DESIGN_LOAD_FAILED:
            return "the hardware design could not be loaded";
        case FG_NOT_ENOUGH_MEMORY:
            return "not enough memory, or a buffer too small";
        case FG_INVALID_HANDLE:
            return "invalid handle";
        case FG_INVALID_BOARD:
            return "no board of that index";
        case FG_APPLET_NOT_LOADED:
            return "the applet library or its entry point could not be loaded";
        case FG_APPLET_EXCEPTION:
            return "the applet raised an exception (its message went to standard error)";
        case FG_SDK_NOT_LOADED:
            return "the SDK library or its init function could not be loaded";
        case FG_INVALID_PARAMETER:
            return "invalid parameter, argument or id";
        case FG_VALUE_HAS_NO_CODE:
            return "the value has no design code, or the port is unknown";
        case FG_FILE_NOT_FOUND:
            return "file not found";
        case FG_PULSEFORM_DOWNSCALE_CONFLICT:
            return "pulse form downscale conflicts with its delay or width";
        case FG_TRIGGER_PERIOD_CONFLICT:
            return "trigger period conflicts with the pulse form generators";
        case FG_TIMEOUT_ERR:
            return "timeout";
        case FG_SHADING_NOT_SUPPORTED:
            return "shading is not supported";
        case FG_SOFTWARE_TRIGGER_WRONG_MODE:
            return "software trigger outside software trigger mode";
        case FG_SOFTWARE_TRIGGER_NOT_ACTIVE:
            return "software trigger while the trigger is not active";
        case FG_ACQUISITION_RUNNING:
            return "the acquisition is already running";
        case FG_ACQUISITION_NOT_RUNNING:
            return "the acquisition is not running";
        case FG_INVALID_MEMORY:
            return "invalid or foreign DMA memory";
        case FG_CONFIG_LOAD_FAILED:
            return "the configuration could not be loaded";
        case FG_FILE_ACCESS_FAILED:
            return "the file cannot be read or written";
        case FG_VALUE_OUT_OF_RANGE:
            return "value out of range";
        case FG_NOT_ALIGNED:
            return "value not a multiple of 16 pixels";
        case FG_CONFIG_KEY_NOT_FOUND:
            return "configuration key not found";
        default:
            return "unknown error";
    }
}
