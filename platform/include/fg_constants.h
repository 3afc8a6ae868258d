/* Named constants of the frame-grabber SDK: value type codes, error numbers, parameter ids
 * and event names. */
#ifndef PLATFORM_FG_CONSTANTS_H
#define PLATFORM_FG_CONSTANTS_H

/* ---- value type codes (FgParamTypes) passed with every typed get and set ---- */
enum FgParamTypes {
    FG_PARAM_TYPE_INVALID = 0,
    FG_PARAM_TYPE_INT32_T = 1,
    FG_PARAM_TYPE_UINT32_T = 2,
    FG_PARAM_TYPE_INT64_T = 3,
    FG_PARAM_TYPE_UINT64_T = 4,
    FG_PARAM_TYPE_DOUBLE = 5,
    FG_PARAM_TYPE_CHAR_PTR = 6,
    FG_PARAM_TYPE_SIZE_T = 7,
    FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS = 4096,
    FG_PARAM_TYPE_STRUCT_FIELDPARAMINT = 4098,
    FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE = 4101,
    FG_PARAM_TYPE_COMPLEX_DATATYPE = 8192,
    FG_PARAM_TYPE_AUTO = -1
};

/* ---- access flags of parameter description records ---- */
#define FG_ACCESS_READ 1
#define FG_ACCESS_READ_WRITE 3
#define FG_ACCESS_READ_WRITE_CHANGE 7

/* ---- error numbers (negative) ---- */
#define FG_OK 0                           /* no error */
#define FG_ERROR (-1)                     /* unspecified error */
#define FG_NOT_AVAILABLE (-12)            /* SDK function or handle missing; set of a read-only parameter */
#define FG_SOFTWARE_TRIGGER_PENDING (-60) /* previous software trigger still being processed */
#define FG_DESIGN_LOAD_FAILED (-100)      /* the hardware design could not be loaded */
#define FG_NOT_ENOUGH_MEMORY (-500)       /* out of memory, or a buffer too small */
#define FG_INVALID_HANDLE (-2001)         /* null handle or no applet object */
#define FG_INVALID_BOARD (-2002)          /* no board of that index */
#define FG_APPLET_NOT_LOADED (-2010)      /* applet library or its entry point missing */
#define FG_APPLET_EXCEPTION (-2011)       /* the applet raised an exception (SDK's message on stderr) */
#define FG_SDK_NOT_LOADED (-2031)         /* SDK library or its init function missing */
#define FG_INVALID_PARAMETER (-2070)      /* invalid argument, null pointer, unknown id, not allowed now */
#define FG_VALUE_HAS_NO_CODE (-2075)      /* value without design code, or unknown port */
#define FG_FILE_NOT_FOUND (-2076)         /* file not found */
#define FG_PULSEFORM_DOWNSCALE_CONFLICT (-2078) /* pulse form downscale conflicts with its delay or width */
#define FG_TRIGGER_PERIOD_CONFLICT (-2079)      /* trigger period conflicts with the pulse form generators */
#define FG_TIMEOUT_ERR (-2120)                  /* a blocking wait ran out of time */
#define FG_SHADING_NOT_SUPPORTED (-2130)        /* this design has no shading */
#define FG_SOFTWARE_TRIGGER_WRONG_MODE (-2140)  /* software trigger outside software trigger mode */
#define FG_SOFTWARE_TRIGGER_NOT_ACTIVE (-2141)  /* software trigger while the trigger is not active */
#define FG_ACQUISITION_RUNNING (-2200)          /* the DMA channel is already acquiring */
#define FG_ACQUISITION_NOT_RUNNING (-2201)      /* stop without a running acquisition */
#define FG_INVALID_MEMORY (-2210)               /* no buffer set, or one that belongs elsewhere */
#define FG_CONFIG_LOAD_FAILED (-5000)           /* a configuration file could not be loaded */
#define FG_FILE_ACCESS_FAILED (-5001)           /* file cannot be read or written */
#define FG_VALUE_OUT_OF_RANGE (-6000)           /* out of range or not in the enumeration */
#define FG_NOT_ALIGNED (-7080)                  /* not a multiple of 16 pixels */
#define FG_CONFIG_KEY_NOT_FOUND (-8000)         /* a key the configuration file lacks */

/* ---- reserved id ranges ---- */
#define FG_DIRECT_REGISTER_ID_BASE 1000000 /* id - base: design register number */
#define FG_BASE_WRAPPER_ID_BASE 2000000    /* id - base: the base wrapper's own parameter */

/* ---- parameter ids ---- */
#define FG_TRIGGER_FRAMESPERSECOND 90
#define FG_WIDTH 100
#define FG_HEIGHT 200
#define FG_XOFFSET 300
#define FG_YOFFSET 400
#define FG_TIMEOUT 600
#define FG_APC_STOP_TIMEOUT 601
#define FG_FORMAT 700
#define FG_CAMSTATUS 2000
#define FG_CAMSTATUS_EXTENDED 2050
#define FG_NR_OF_DMAS 3050
#define FG_TURBO_DMA_MODE 3051
#define FG_PIXELDEPTH 4000
#define FG_BITALIGNMENT 4010
#define FG_USEDVAL 5025
#define FG_TRANSFER_LEN 5210
#define FG_TRIGGERMODE 8100
#define FG_TRIGGERIN_SRC 8110
#define FG_TRIGGERIN_POLARITY 8116
#define FG_EXSYNCON 8300
#define FG_EXSYNCDELAY 8400
#define FG_EXSYNCPOLARITY 8420
#define FG_FLASHON 8600
#define FG_STROBEPULSEDELAY 8700
#define FG_SENDSOFTWARETRIGGER 8800
#define FG_EXPOSURE 10020
#define FG_PRESCALER 10050
#define FG_CAMERA_LINK_CAMTYPE 11011
#define FG_SCALINGFACTOR_RED 13000
#define FG_SCALINGFACTOR_BLUE 13010
#define FG_BAYERINIT 13020
#define FG_SCALINGFACTOR_GREEN 13030
#define FG_CCSEL0 14001
#define FG_CCSEL1 14002
#define FG_CCSEL2 14003
#define FG_CCSEL3 14004
#define FG_DIGIO_INPUT 14010
#define FG_DIGIO_OUTPUT 14020
#define FG_APPLET_ID 24010
#define FG_APPLET_VERSION 24020
#define FG_APPLET_REVISION 24030
#define FG_FLASH_POLARITY 24060
#define FG_DMASTATUS 24092
#define FG_HAP_FILE 24108
#define FG_IMG_SELECT_PERIOD 25110
#define FG_IMG_SELECT 25111
#define FG_GEN_ENABLE 30099
#define FG_GEN_PASSIVE 30100
#define FG_GEN_ACTIVE 30101
#define FG_GEN_WIDTH 30102
#define FG_GEN_LINE_WIDTH 30103
#define FG_GEN_HEIGHT 30104
#define FG_GEN_LINE_GAP 30105
#define FG_GEN_FREQ 30106
#define FG_GEN_ACCURACY 30107
#define FG_GEN_TAP1 30108
#define FG_GEN_TAP2 30109
#define FG_GEN_TAP3 30110
#define FG_GEN_TAP4 30111
#define FG_GEN_ROLL 30112
#define FG_GEN_START 30113
#define FG_LUT_TYPE 110017
#define FG_LUT_SAVE_FILE 110021
#define FG_SOFTWARETRIGGER_IS_BUSY 110075
#define FG_FILLLEVEL 110086
#define FG_OVERFLOW 110087
#define FG_LUT_CUSTOM_FILE 300000
#define FG_PROCESSING_GAIN 300002
#define FG_PROCESSING_GAMMA 300003
#define FG_PROCESSING_OFFSET 300004
#define FG_PROCESSING_INVERT 300005
#define FG_LUT_IMPLEMENTATION_TYPE 300006
#define FG_LUT_IN_BITS 300007
#define FG_LUT_OUT_BITS 300008
#define FG_LUT_VALUE_RED 300009
#define FG_LUT_VALUE_GREEN 300010
#define FG_LUT_VALUE_BLUE 300011
#define FG_AREATRIGGERMODE 300200
#define FG_TRIGGERSTATE 300201
#define FG_TRIGGER_EXCEEDED_PERIOD_LIMITS 300202
#define FG_TRIGGER_EXCEEDED_PERIOD_LIMITS_CLEAR 300203
#define FG_TRIGGERIN_DEBOUNCE 300204
#define FG_TRIGGERIN_DOWNSCALE 300205
#define FG_TRIGGERIN_DOWNSCALE_PHASE 300206
#define FG_TRIGGERIN_STATS_PULSECOUNT 300207
#define FG_TRIGGERIN_STATS_PULSECOUNT_CLEAR 300208
#define FG_TRIGGERIN_STATS_FREQUENCY 300209
#define FG_TRIGGERIN_STATS_MINFREQUENCY 300210
#define FG_TRIGGERIN_STATS_MAXFREQUENCY 300211
#define FG_TRIGGERIN_STATS_MINMAXFREQUENCY_CLEAR 300212
#define FG_TRIGGER_MULTIPLY_PULSES 300213
#define FG_TRIGGERQUEUE_MODE 300214
#define FG_TRIGGERQUEUE_FILLLEVEL 300215
#define FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE 300216
#define FG_TRIGGER_PULSEFORMGEN0_DOWNSCALE_PHASE 300217
#define FG_TRIGGER_PULSEFORMGEN0_DELAY 300218
#define FG_TRIGGER_PULSEFORMGEN0_WIDTH 300219
#define FG_TRIGGER_PULSEFORMGEN1_DOWNSCALE 300220
#define FG_TRIGGER_PULSEFORMGEN1_DOWNSCALE_PHASE 300221
#define FG_TRIGGER_PULSEFORMGEN1_DELAY 300222
#define FG_TRIGGER_PULSEFORMGEN1_WIDTH 300223
#define FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE 300224
#define FG_TRIGGER_PULSEFORMGEN2_DOWNSCALE_PHASE 300225
#define FG_TRIGGER_PULSEFORMGEN2_DELAY 300226
#define FG_TRIGGER_PULSEFORMGEN2_WIDTH 300227
#define FG_TRIGGER_PULSEFORMGEN3_DOWNSCALE 300228
#define FG_TRIGGER_PULSEFORMGEN3_DOWNSCALE_PHASE 300229
#define FG_TRIGGER_PULSEFORMGEN3_DELAY 300230
#define FG_TRIGGER_PULSEFORMGEN3_WIDTH 300231
#define FG_TRIGGEROUT_SELECT0 300232
#define FG_TRIGGEROUT_SELECT1 300233
#define FG_TRIGGEROUT_SELECT2 300234
#define FG_TRIGGEROUT_SELECT3 300235
#define FG_TRIGGEROUT_STATS_SOURCE 300236
#define FG_TRIGGEROUT_STATS_PULSECOUNT 300237
#define FG_TRIGGEROUT_STATS_PULSECOUNT_CLEAR 300238
#define FG_SOFTWARETRIGGER_QUEUE_FILLLEVEL 300239
#define FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_ON_THRESHOLD 300240
#define FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_OFF_THRESHOLD 300241
#define FG_TRIGGER_OUTPUT_EVENT_SELECT 300242
#define FG_TRIGGERIN_BYPASS_SRC 300243
#define FG_TRIGGEROUT_SELECT4 300244
#define FG_TRIGGEROUT_SELECT5 300245
#define FG_TRIGGEROUT_SELECT6 300246
#define FG_TRIGGEROUT_SELECT7 300247
#define FG_MISSING_CAMERA_FRAME_RESPONSE 300248
#define FG_MISSING_CAMERA_FRAME_RESPONSE_CLEAR 300249
#define FG_TRIGGERCC_SELECT0 300250
#define FG_TRIGGERCC_SELECT1 300251
#define FG_TRIGGERCC_SELECT2 300252
#define FG_TRIGGERCC_SELECT3 300253
#define FG_TRIGGER_LEGACY_MODE 300254

/* ---- event names, in the order the design numbers its events (mask 1 << position) ---- */
#define FG_EVENT_COUNT 24
#define FG_EVENT_NAME_LIST                                                                    \
    "FG_OVERFLOW_CAM0", "FG_START_OF_FRAME_CAM_PORT_0", "FG_END_OF_FRAME_CAM_PORT_0",         \
        "FG_MISSING_CAM0_FRAME_RESPONSE", "FG_TRIGGER_EXCEEDED_PERIOD_LIMITS_CAM0",           \
        "FG_TRIGGER_INPUT0_RISING", "FG_TRIGGER_INPUT0_FALLING", "FG_TRIGGER_INPUT1_RISING",  \
        "FG_TRIGGER_INPUT1_FALLING", "FG_TRIGGER_INPUT2_RISING", "FG_TRIGGER_INPUT2_FALLING", \
        "FG_TRIGGER_INPUT3_RISING", "FG_TRIGGER_INPUT3_FALLING", "FG_TRIGGER_INPUT4_RISING",  \
        "FG_TRIGGER_INPUT4_FALLING", "FG_TRIGGER_INPUT5_RISING", "FG_TRIGGER_INPUT5_FALLING", \
        "FG_TRIGGER_INPUT6_RISING", "FG_TRIGGER_INPUT6_FALLING", "FG_TRIGGER_INPUT7_RISING",  \
        "FG_TRIGGER_INPUT7_FALLING", "FG_TRIGGER_OUTPUT_CAM0",                                \
        "FG_TRIGGER_QUEUE_FILLLEVEL_THRESHOLD_CAM0_ON", "FG_TRIGGER_QUEUE_FILLLEVEL_THRESHOLD_CAM0_OFF"

#endif
