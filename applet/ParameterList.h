// The applet's parameters: the one list from which the description tree, the name and id maps,
// the get/set dispatch, the value caches and the per-parameter method declarations all follow.
// No include guard: include it after defining the row macros you need (undefined ones expand to
// nothing through ParameterListDefaults.h).
//
// Rows, in the order the description tree is built:
//   PARAM_GROUP(key, parentKey, "Display name")            parentKey TOP for a top-level group
//   PARAM_UINT(NAME, group, from, to, step, access, rangeFlag, unit, set, get, "help")
//   PARAM_DOUBLE(NAME, group, from, to, step, access, rangeFlag, unit, set, get, "help")
//   PARAM_ENUM(NAME, group, table, access, rangeFlag, unit, set, get, "help")
//   PARAM_STRING(NAME, group, "file pattern", access, rangeFlag, unit, set, get, "help")
//   PARAM_FIELD(NAME, group, entries, from, to, access, rangeFlag, unit, set, get, "help")
// set: OWN (a setter set_sdk_param_NAME_P0 and a cache cache_NAME_P0), RO (refused as read-only)
//      or NONE (no setter: an unknown id to the set dispatch).
// get: CACHE (answers the cache), OWN (a getter get_sdk_param_NAME_P0 of its own) or NONE.
// Access: ACC_RWC read-write-change, ACC_RW read-write, ACC_R read only.
// clang-format off
#include "ParameterListDefaults.h"

#define PARAM_UNIT_US "\xB5s"

PARAM_GROUP(CameraLink, TOP, "Camera Link")
PARAM_ENUM(FG_CAMERA_LINK_CAMTYPE, CameraLink, CameraFormatGrayAreaMedium, ACC_RWC, 1, "", OWN, CACHE,
           "Camera Link configuration and bit depth of the connected camera.")
PARAM_ENUM(FG_USEDVAL, CameraLink, YesNo, ACC_RWC, 1, "", OWN, CACHE,
           "Use the Camera Link DVAL signal or ignore it.")

PARAM_GROUP(Roi, TOP, "ROI")
PARAM_UINT(FG_WIDTH, Roi, 16, 16384, 16, ACC_RW, 2, "pixel", OWN, CACHE, "Image width of the acquisition ROI.")
PARAM_UINT(FG_HEIGHT, Roi, 4, 65535, 1, ACC_RW, 2, "pixel", OWN, CACHE, "Image height of the acquisition ROI.")
PARAM_UINT(FG_XOFFSET, Roi, 0, 16368, 16, ACC_RW, 2, "pixel", OWN, CACHE,
           "Horizontal offset of the acquisition ROI.")
PARAM_UINT(FG_YOFFSET, Roi, 0, 65534, 1, ACC_RW, 2, "pixel", OWN, CACHE, "Vertical offset of the acquisition ROI.")

PARAM_GROUP(Trigger, TOP, "Trigger")
PARAM_GROUP(Legacy, Trigger, "Legacy")
PARAM_ENUM(FG_TRIGGERMODE, Legacy, TriggerModes, ACC_RWC, 1, "", OWN, CACHE,
           "Trigger mode of the legacy trigger interface.")
PARAM_ENUM(FG_EXSYNCON, Legacy, OnOff, ACC_RWC, 1, "", OWN, CACHE, "Enables the exsync signal (legacy trigger).")
PARAM_ENUM(FG_FLASHON, Legacy, OnOff, ACC_RWC, 1, "", OWN, CACHE, "Enables the flash signal (legacy trigger).")
PARAM_UINT(FG_EXPOSURE, Legacy, 10, 124990, 10, ACC_RWC, 1, "", OWN, CACHE,
           "Exposure time in microseconds: the width of the exsync pulse (legacy trigger).")
PARAM_DOUBLE(FG_EXSYNCDELAY, Legacy, 0.0, 10230.0, 10.0, ACC_RWC, 2, PARAM_UNIT_US, OWN, CACHE,
             "Delay of the exsync pulse after the trigger (legacy trigger).")
PARAM_ENUM(FG_EXSYNCPOLARITY, Legacy, LowOnZero, ACC_RWC, 1, "", OWN, CACHE,
           "Polarity of the exsync signal (legacy trigger).")
PARAM_DOUBLE(FG_STROBEPULSEDELAY, Legacy, 0.0, 10230.0, 10.0, ACC_RWC, 2, PARAM_UNIT_US, OWN, CACHE,
             "Delay of the flash pulse after the trigger (legacy trigger).")
PARAM_ENUM(FG_FLASH_POLARITY, Legacy, LowOnZero, ACC_RWC, 1, "", OWN, CACHE,
           "Polarity of the flash signal (legacy trigger).")
PARAM_DOUBLE(FG_PRESCALER, Legacy, 0.032, 1048.56, 0.016, ACC_RWC, 1, PARAM_UNIT_US, OWN, CACHE,
             "Time base of the legacy trigger. Stored only: this design's time base is fixed at 16 ns.")
PARAM_ENUM(FG_CCSEL0, Legacy, CcSignalMappingLegacy, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on camera-control line 0 (legacy trigger).")
PARAM_ENUM(FG_CCSEL1, Legacy, CcSignalMappingLegacy, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on camera-control line 1 (legacy trigger).")
PARAM_ENUM(FG_CCSEL2, Legacy, CcSignalMappingLegacy, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on camera-control line 2 (legacy trigger).")
PARAM_ENUM(FG_CCSEL3, Legacy, CcSignalMappingLegacy, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on camera-control line 3 (legacy trigger).")
PARAM_UINT(FG_DIGIO_OUTPUT, Legacy, 0, 3, 1, ACC_RWC, 1, "", OWN, CACHE,
           "Levels of trigger outputs 0 and 1, one bit each (legacy trigger).")

PARAM_GROUP(TriggerInput, Trigger, "Trigger Input")
PARAM_GROUP(External, TriggerInput, "External")
PARAM_DOUBLE(FG_TRIGGERIN_DEBOUNCE, External, 0.096, 3.024, 0.048, ACC_RWC, 1, PARAM_UNIT_US, OWN, OWN,
             "Debounce time of the trigger inputs.")
PARAM_UINT(FG_DIGIO_INPUT, External, 0, 255, 1, ACC_R, 1, "", RO, OWN, "Current levels of the eight trigger inputs.")
PARAM_ENUM(FG_TRIGGERIN_SRC, External, TriggerInSource, ACC_RWC, 1, "", OWN, CACHE,
           "Input line of the external trigger.")
PARAM_ENUM(FG_TRIGGERIN_POLARITY, External, TriggerPolarity, ACC_RWC, 1, "", OWN, CACHE,
           "Active level of the external trigger input.")
PARAM_UINT(FG_TRIGGERIN_DOWNSCALE, External, 1, 4294967295u, 1, ACC_RWC, 2, "", OWN, CACHE,
           "Only one in this many external trigger events is used.")
PARAM_UINT(FG_TRIGGERIN_DOWNSCALE_PHASE, External, 0, 4294967294u, 1, ACC_RWC, 2, "", OWN, CACHE,
           "Which of the downscaled external trigger events is used, counted from 0.")
PARAM_ENUM(FG_TRIGGERIN_BYPASS_SRC, External, TriggerInSource, ACC_RWC, 1, "", OWN, CACHE,
           "Input line that bypasses the trigger logic to the outputs.")

PARAM_GROUP(SoftwareTrigger, TriggerInput, "Software Trigger")
PARAM_UINT(FG_SENDSOFTWARETRIGGER, SoftwareTrigger, 1, 1, 1, ACC_RWC, 2, "pulses", OWN, CACHE,
           "Sends this many software trigger pulses.")
PARAM_ENUM(FG_SOFTWARETRIGGER_IS_BUSY, SoftwareTrigger, BusyFlag, ACC_R, 1, "", NONE, OWN,
           "Tells whether a software trigger is still being processed.")
PARAM_UINT(FG_SOFTWARETRIGGER_QUEUE_FILLLEVEL, SoftwareTrigger, 0, 2040, 1, ACC_R, 2, "", NONE, OWN,
           "Number of software trigger events waiting in the trigger queue.")

PARAM_GROUP(TriggerInputStatistics, TriggerInput, "Statistics")
PARAM_UINT(FG_TRIGGERIN_STATS_PULSECOUNT, TriggerInputStatistics, 0, 65535, 1, ACC_R, 1, "pulses", NONE, OWN,
           "Number of pulses seen on the trigger input.")
PARAM_ENUM(FG_TRIGGERIN_STATS_PULSECOUNT_CLEAR, TriggerInputStatistics, Apply, ACC_RWC, 1, "", OWN, CACHE,
           "Clears the trigger input pulse count.")
PARAM_DOUBLE(FG_TRIGGERIN_STATS_FREQUENCY, TriggerInputStatistics, 0.0, 6.25e7, PARAM_DBL_EPSILON, ACC_R, 1, "Hz",
             NONE, OWN, "Frequency of the trigger input pulses.")
PARAM_DOUBLE(FG_TRIGGERIN_STATS_MINFREQUENCY, TriggerInputStatistics, 0.0, 6.25e7, PARAM_DBL_EPSILON, ACC_R, 1,
             "Hz", NONE, OWN, "Lowest trigger input frequency since the last clear.")
PARAM_DOUBLE(FG_TRIGGERIN_STATS_MAXFREQUENCY, TriggerInputStatistics, 0.0, 6.25e7, PARAM_DBL_EPSILON, ACC_R, 1,
             "Hz", NONE, OWN, "Highest trigger input frequency since the last clear.")
PARAM_ENUM(FG_TRIGGERIN_STATS_MINMAXFREQUENCY_CLEAR, TriggerInputStatistics, Apply, ACC_RWC, 1, "", OWN, CACHE,
           "Clears the lowest and highest trigger input frequency.")

PARAM_GROUP(Sequencer, Trigger, "Sequencer")
PARAM_UINT(FG_TRIGGER_MULTIPLY_PULSES, Sequencer, 1, 65535, 1, ACC_RWC, 1, "pulses", OWN, CACHE,
           "Number of output pulses for each trigger event.")

PARAM_GROUP(Queue, Trigger, "Queue")
PARAM_ENUM(FG_TRIGGERQUEUE_MODE, Queue, OnOff, ACC_RWC, 1, "", OWN, CACHE,
           "Stores trigger events that arrive faster than the trigger period allows.")
PARAM_UINT(FG_TRIGGERQUEUE_FILLLEVEL, Queue, 0, 2040, 1, ACC_R, 1, "pulses", NONE, OWN,
           "Number of trigger events in the trigger queue.")
PARAM_UINT(FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_ON_THRESHOLD, Queue, 2, 2047, 1, ACC_RWC, 1, "pulses", OWN, CACHE,
           "Queue fill level at which the fill-level event turns on.")
PARAM_UINT(FG_TRIGGER_QUEUE_FILLLEVEL_EVENT_OFF_THRESHOLD, Queue, 2, 2047, 1, ACC_RWC, 1, "pulses", OWN, CACHE,
           "Queue fill level at which the fill-level event turns off.")

#define PARAM_PULSE_FORM_GENERATOR(g)                                                                      \
    PARAM_GROUP(PulseFormGenerator##g, Trigger, "Pulse Form Generator " #g)                              \
    PARAM_UINT(FG_TRIGGER_PULSEFORMGEN##g##_DOWNSCALE, PulseFormGenerator##g, 1, 7, 1, ACC_RWC, 2, "", OWN, \
               CACHE, "Pulse form generator " #g " uses one in this many trigger pulses.")                  \
    PARAM_UINT(FG_TRIGGER_PULSEFORMGEN##g##_DOWNSCALE_PHASE, PulseFormGenerator##g, 0, 6, 1, ACC_RWC, 2, "", \
               OWN, CACHE, "Which of the downscaled pulses pulse form generator " #g " uses.")             \
    PARAM_DOUBLE(FG_TRIGGER_PULSEFORMGEN##g##_DELAY, PulseFormGenerator##g, 0.0, 3.4e7, 0.016, ACC_RWC, 1,   \
                 PARAM_UNIT_US, OWN, OWN, "Delay of the pulse of pulse form generator " #g ".")          \
    PARAM_DOUBLE(FG_TRIGGER_PULSEFORMGEN##g##_WIDTH, PulseFormGenerator##g, 1.0, 6.8e7, 0.016, ACC_RWC, 1,   \
                 PARAM_UNIT_US, OWN, OWN, "Width of the pulse of pulse form generator " #g ".")
PARAM_PULSE_FORM_GENERATOR(0)
PARAM_PULSE_FORM_GENERATOR(1)
PARAM_PULSE_FORM_GENERATOR(2)
PARAM_PULSE_FORM_GENERATOR(3)
#undef PARAM_PULSE_FORM_GENERATOR

PARAM_GROUP(CcSignalMapping, Trigger, "CC Signal Mapping")
PARAM_ENUM(FG_TRIGGERCC_SELECT0, CcSignalMapping, AcqCcSignalMapping_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on camera-control line 0.")
PARAM_ENUM(FG_TRIGGERCC_SELECT1, CcSignalMapping, AcqCcSignalMapping_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on camera-control line 1.")
PARAM_ENUM(FG_TRIGGERCC_SELECT2, CcSignalMapping, AcqCcSignalMapping_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on camera-control line 2.")
PARAM_ENUM(FG_TRIGGERCC_SELECT3, CcSignalMapping, AcqCcSignalMapping_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on camera-control line 3.")

PARAM_GROUP(DigitalOutput, Trigger, "Digital Output")
PARAM_GROUP(DigitalOutputStatistics, DigitalOutput, "Statistics")
PARAM_ENUM(FG_TRIGGER_EXCEEDED_PERIOD_LIMITS, DigitalOutputStatistics, YesNo, ACC_R, 1, "", NONE, OWN,
           "Tells whether trigger events came faster than the trigger period allows.")
PARAM_ENUM(FG_TRIGGER_EXCEEDED_PERIOD_LIMITS_CLEAR, DigitalOutputStatistics, Apply, ACC_RWC, 1, "", OWN, CACHE,
           "Clears the exceeded-period flag.")
PARAM_ENUM(FG_TRIGGEROUT_STATS_SOURCE, DigitalOutputStatistics, TriggerOutStatsSources_Gen4, ACC_RWC, 1, "", OWN,
           CACHE, "Pulse form generator whose pulses are counted.")
PARAM_UINT(FG_TRIGGEROUT_STATS_PULSECOUNT, DigitalOutputStatistics, 0, 65535, 1, ACC_R, 1, "pulses", NONE, OWN,
           "Number of pulses of the counted pulse form generator.")
PARAM_ENUM(FG_TRIGGEROUT_STATS_PULSECOUNT_CLEAR, DigitalOutputStatistics, Apply, ACC_RWC, 1, "", OWN, CACHE,
           "Clears the output pulse count.")
PARAM_ENUM(FG_MISSING_CAMERA_FRAME_RESPONSE, DigitalOutputStatistics, YesNo, ACC_R, 1, "", NONE, OWN,
           "Tells whether the camera missed a frame for a trigger pulse.")
PARAM_ENUM(FG_MISSING_CAMERA_FRAME_RESPONSE_CLEAR, DigitalOutputStatistics, Apply, ACC_RWC, 1, "", OWN, CACHE,
           "Clears the missing-frame flag.")
PARAM_ENUM(FG_TRIGGEROUT_SELECT0, DigitalOutputStatistics, TriggerOutSelection_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on trigger output 0.")
PARAM_ENUM(FG_TRIGGEROUT_SELECT1, DigitalOutputStatistics, TriggerOutSelection_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on trigger output 1.")
PARAM_ENUM(FG_TRIGGEROUT_SELECT2, DigitalOutputStatistics, TriggerOutSelection_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on trigger output 2.")
PARAM_ENUM(FG_TRIGGEROUT_SELECT3, DigitalOutputStatistics, TriggerOutSelection_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on trigger output 3.")
PARAM_ENUM(FG_TRIGGEROUT_SELECT4, DigitalOutputStatistics, TriggerOutSelection_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on trigger output 4.")
PARAM_ENUM(FG_TRIGGEROUT_SELECT5, DigitalOutputStatistics, TriggerOutSelection_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on trigger output 5.")
PARAM_ENUM(FG_TRIGGEROUT_SELECT6, DigitalOutputStatistics, TriggerOutSelection_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on trigger output 6.")
PARAM_ENUM(FG_TRIGGEROUT_SELECT7, DigitalOutputStatistics, TriggerOutSelection_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Signal on trigger output 7.")

PARAM_GROUP(OutputEvent, Trigger, "Output Event")
PARAM_ENUM(FG_TRIGGER_OUTPUT_EVENT_SELECT, OutputEvent, TriggerOutStatsSources_Gen4, ACC_RWC, 1, "", OWN, CACHE,
           "Pulse form generator whose output raises the trigger output event.")

PARAM_ENUM(FG_AREATRIGGERMODE, Trigger, AreaTriggerModes, ACC_RWC, 1, "", OWN, CACHE,
           "Trigger mode for the area trigger signal generation.")
PARAM_ENUM(FG_TRIGGERSTATE, Trigger, TriggerStates, ACC_RWC, 1, "", OWN, CACHE,
           "Starts and stops the trigger system.")
PARAM_DOUBLE(FG_TRIGGER_FRAMESPERSECOND, Trigger, 0.01455191522836685, 6.25e6, PARAM_DBL_EPSILON, ACC_RWC, 2, "Hz",
             OWN, CACHE, "Base frequency (=frame rate) of the trigger output.")
PARAM_ENUM(FG_TRIGGER_LEGACY_MODE, Trigger, OnOff, ACC_RWC, 1, "", OWN, CACHE,
           "Lets the legacy trigger parameters drive the trigger system.")

PARAM_GROUP(Overflow, TOP, "Overflow")
PARAM_UINT(FG_FILLLEVEL, Overflow, 0, 100, 1, ACC_R, 1, "%", NONE, OWN, "Fill level of the image buffer.")
PARAM_UINT(FG_OVERFLOW, Overflow, 0, 1, 1, ACC_R, 1, "", NONE, OWN, "Tells whether the image buffer overflowed.")

PARAM_GROUP(ImageSelector, TOP, "Image Selector")
PARAM_UINT(FG_IMG_SELECT_PERIOD, ImageSelector, 1, 256, 1, ACC_RWC, 1, "image", OWN, CACHE,
           "Length of the image selector period: one image of this many is passed on.")
PARAM_UINT(FG_IMG_SELECT, ImageSelector, 0, 255, 1, ACC_RWC, 1, "image", OWN, CACHE,
           "Which image of each image selector period is passed on, counted from 0.")

PARAM_GROUP(WhiteBalance, TOP, "White Balance")
PARAM_DOUBLE(FG_SCALINGFACTOR_GREEN, WhiteBalance, 0.0, 3.9990234375, 0.0009765625, ACC_RWC, 1, "", OWN, CACHE,
             "White balance factor of the green channel.")
PARAM_DOUBLE(FG_SCALINGFACTOR_RED, WhiteBalance, 0.0, 3.9990234375, 0.0009765625, ACC_RWC, 1, "", OWN, CACHE,
             "White balance factor of the red channel.")
PARAM_DOUBLE(FG_SCALINGFACTOR_BLUE, WhiteBalance, 0.0, 3.9990234375, 0.0009765625, ACC_RWC, 1, "", OWN, CACHE,
             "White balance factor of the blue channel.")

PARAM_GROUP(BayerFilter, TOP, "Bayer Filter")
PARAM_ENUM(FG_BAYERINIT, BayerFilter, BayerInitValues, ACC_RW, 1, "", OWN, CACHE,
           "Select the Bayer pattern starting at the top left corner.")

PARAM_GROUP(LookupTable, TOP, "Lookup Table")
PARAM_STRING(FG_LUT_CUSTOM_FILE, LookupTable, "*.txt", ACC_RWC, 1, "", OWN, CACHE,
             "Lookup table file loaded when the lookup table type is user file.")
PARAM_STRING(FG_LUT_SAVE_FILE, LookupTable, "*.txt", ACC_RWC, 1, "", OWN, CACHE,
             "Writes the current lookup tables to this file.")
PARAM_FIELD(FG_LUT_VALUE_RED, LookupTable, 4096, 0, 4095, ACC_RWC, 1, "", OWN, CACHE,
            "Entries of the red lookup table.")
PARAM_FIELD(FG_LUT_VALUE_GREEN, LookupTable, 4096, 0, 4095, ACC_RWC, 1, "", OWN, CACHE,
            "Entries of the green lookup table.")
PARAM_FIELD(FG_LUT_VALUE_BLUE, LookupTable, 4096, 0, 4095, ACC_RWC, 1, "", OWN, CACHE,
            "Entries of the blue lookup table.")
PARAM_GROUP(AppletProperties, LookupTable, "Applet Properties")
PARAM_ENUM(FG_LUT_IMPLEMENTATION_TYPE, AppletProperties, LookupTableImplementations, ACC_R, 1, "", RO, OWN,
           "How the lookup table is built in the design.")
PARAM_UINT(FG_LUT_IN_BITS, AppletProperties, 12, 12, 1, ACC_R, 1, "", RO, OWN,
           "Bits per value going into the lookup table.")
PARAM_UINT(FG_LUT_OUT_BITS, AppletProperties, 12, 12, 1, ACC_R, 1, "", RO, OWN,
           "Bits per value coming out of the lookup table.")
PARAM_ENUM(FG_LUT_TYPE, AppletProperties, AcqLutTypes, ACC_RWC, 1, "", OWN, CACHE,
           "Fills the lookup table from the processing values or from a user file.")
PARAM_GROUP(Processing, LookupTable, "Processing")
PARAM_DOUBLE(FG_PROCESSING_OFFSET, Processing, -1.0, 1.0, 0.001, ACC_RWC, 1, "", OWN, CACHE,
             "Offset added to the normalised pixel value before the gain.")
PARAM_DOUBLE(FG_PROCESSING_GAIN, Processing, 0.0, 4096.0, 0.001, ACC_RWC, 1, "", OWN, CACHE,
             "Gain applied to the pixel value.")
PARAM_DOUBLE(FG_PROCESSING_GAMMA, Processing, -1000.0, 1000.0, 0.001, ACC_RWC, 1, "", OWN, CACHE,
             "Gamma correction of the pixel value.")
PARAM_ENUM(FG_PROCESSING_INVERT, Processing, OnOff, ACC_RWC, 1, "", OWN, CACHE, "Inverts the pixel values.")

PARAM_GROUP(OutputFormat, TOP, "Output Format")
PARAM_ENUM(FG_FORMAT, OutputFormat, FormatColor, ACC_RWC, 1, "", OWN, CACHE, "Pixel format of the output images.")
PARAM_ENUM(FG_BITALIGNMENT, OutputFormat, AlignmentModesBoth, ACC_RWC, 1, "", OWN, CACHE,
           "Alignment of the 12 processed bits in a 16-bit output channel.")
PARAM_UINT(FG_PIXELDEPTH, OutputFormat, 0, 128, 1, ACC_R, 1, "", RO, OWN,
           "Bits per colour of the image processing.")

PARAM_GROUP(CameraSimulator, TOP, "Camera Simulator")
PARAM_ENUM(FG_GEN_ENABLE, CameraSimulator, GeneratorSource, ACC_RWC, 1, "", OWN, CACHE,
           "Image source: the camera port or the camera simulator.")
PARAM_ENUM(FG_GEN_START, CameraSimulator, GeneratorStart, ACC_RWC, 1, "", OWN, CACHE,
           "Starts and stops the camera simulator.")
PARAM_UINT(FG_GEN_WIDTH, CameraSimulator, 0, 65535, 1, ACC_RWC, 1, "", OWN, CACHE,
           "Width of the simulated images in pixels.")
PARAM_UINT(FG_GEN_HEIGHT, CameraSimulator, 0, 65535, 1, ACC_RWC, 1, "", OWN, CACHE,
           "Height of the simulated images in lines.")
PARAM_UINT(FG_GEN_LINE_GAP, CameraSimulator, 0, 65535, 1, ACC_RWC, 1, "", OWN, CACHE,
           "Pixels between two simulated lines.")
PARAM_DOUBLE(FG_GEN_FREQ, CameraSimulator, 1.0, 62.5, 0.001, ACC_RWC, 1, "MHz", OWN, CACHE,
             "Pixel clock of the camera simulator.")
PARAM_UINT(FG_GEN_ACCURACY, CameraSimulator, 1, 255, 1, ACC_RWC, 1, "", OWN, CACHE,
           "Length of the clock pattern that approximates the simulator's pixel clock.")
PARAM_ENUM(FG_GEN_TAP1, CameraSimulator, OnOff, ACC_RWC, 1, "", OWN, CACHE, "Enables tap 1 of the camera simulator.")
PARAM_ENUM(FG_GEN_TAP2, CameraSimulator, OnOff, ACC_RWC, 1, "", OWN, CACHE, "Enables tap 2 of the camera simulator.")
PARAM_ENUM(FG_GEN_TAP3, CameraSimulator, OnOff, ACC_RWC, 1, "", OWN, CACHE, "Enables tap 3 of the camera simulator.")
PARAM_ENUM(FG_GEN_TAP4, CameraSimulator, OnOff, ACC_RWC, 1, "", OWN, CACHE, "Enables tap 4 of the camera simulator.")
PARAM_UINT(FG_GEN_ROLL, CameraSimulator, 0, 1, 1, ACC_RWC, 1, "", OWN, CACHE,
           "Moves the simulated test pattern from image to image.")
PARAM_UINT(FG_GEN_ACTIVE, CameraSimulator, 0, 255, 1, ACC_R, 1, "", RO, OWN,
           "Design clocks with a pixel in each clock pattern.")
PARAM_UINT(FG_GEN_PASSIVE, CameraSimulator, 0, 255, 1, ACC_R, 1, "", RO, OWN,
           "Design clocks without a pixel in each clock pattern.")
PARAM_UINT(FG_GEN_LINE_WIDTH, CameraSimulator, 0, 65535, 1, ACC_R, 1, "", RO, OWN,
           "Simulated line length in pixels: width plus line gap.")

PARAM_GROUP(Miscellaneous, TOP, "Miscellaneous")
PARAM_UINT(FG_TIMEOUT, Miscellaneous, 2, 2147483646, 1, ACC_RWC, 1, "seconds", OWN, CACHE,
           "Time after which a wait for an image gives up.")
PARAM_UINT(FG_TURBO_DMA_MODE, Miscellaneous, 0, 1, 1, ACC_RW, 1, "", OWN, CACHE,
           "Switches the DMA transfer to turbo mode.")
PARAM_UINT(FG_APPLET_VERSION, Miscellaneous, 0, 0, 0, ACC_R, 1, "", RO, OWN, "Returns the applet version.")
PARAM_UINT(FG_APPLET_REVISION, Miscellaneous, 0, 0, 0, ACC_R, 1, "", RO, OWN, "Returns the applet revision.")
PARAM_UINT(FG_APPLET_ID, Miscellaneous, 0, 0, 0, ACC_R, 1, "", NONE, OWN, "Returns the applet id.")
PARAM_STRING(FG_HAP_FILE, Miscellaneous, "*.hap", ACC_R, 1, "", NONE, OWN,
             "Returns the file name of the applet's hardware design.")
PARAM_UINT(FG_DMASTATUS, Miscellaneous, 0, 0, 0, ACC_R, 1, "", RO, OWN, "Returns the DMA error status.")
PARAM_UINT(FG_CAMSTATUS, Miscellaneous, 0, 1, 1, ACC_R, 1, "", NONE, OWN,
           "Tells whether a camera is connected.")
PARAM_UINT(FG_CAMSTATUS_EXTENDED, Miscellaneous, 0, 255, 1, ACC_R, 1, "", NONE, OWN,
           "Camera and buffer status bits.")

#undef PARAM_UNIT_US
#include "ParameterListDefaults.h"
