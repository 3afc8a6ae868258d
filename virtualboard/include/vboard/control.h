// Test control of the virtual board (libvboard_control.so): what the design was told, making
// accesses fail, and the values that read-outs return. Tests link it; applets never do.
//
// Every function works on board 0 unless a board index is given. Names are those of the design's
// parameters and raw registers as listed in the design file, or the SDK's own parameter names
// ("FG_TIMEOUT", "FG_TURBO_DMA_MODE", "FG_CAMSTATUS_EXTENDED", "FG_DIGIO_INPUT") where noted.
// An unknown name or board index throws std::invalid_argument; nothing is ever created by asking.
// A design name is known once an SDK handle was initialised on the board with a design.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#define VBOARD_CONTROL_API __attribute__((visibility("default")))

namespace vboard {
struct Bench;  // src/bench.h
}

namespace vboard::control {

enum class Kind { Parameter, Register, Sdk };
enum class Operation { Write, Read };

// One write that reached the board: a design parameter (through the SDK), a raw register
// (QorvRegisterWrite) or one of the SDK's own parameters.
//
// Every attempt on a known target is journaled, also when it failed (error != 0): a refused
// value, a write to a read-only target or an injected failure. Calls rejected before the target
// is touched (unknown id or register number, null value, wrong value type, DMA index other than
// 0, field index outside the field) are not.
struct VBOARD_CONTROL_API JournalEntry {
    Kind kind = Kind::Parameter;
    std::string name;
    int type = 0;              // value type code of the call (FG_PARAM_TYPE_*); registers: UINT64
    uint64_t value = 0;        // the value; doubles: the bit pattern of `doubleValue`;
                               // field blocks: the first entry
    double doubleValue = 0.0;  // doubles only
    uint32_t index = 0;        // fields: first entry
    uint32_t count = 0;        // fields: number of entries (1 for a single entry); else 0
    bool block = false;        // fields: written as a block (type 4096) rather than one entry
    int64_t timeNs = 0;        // CLOCK_MONOTONIC
    int error = 0;             // 0, or the error number the write returned

    // "Name=5", "Name=1.5", "Name[0+4096]" (a block), "Name[17]=5" (one entry); a failed write
    // ends in " !<error>", e.g. "Name=9 !-6000".
    std::string text() const;
};

// The newest 65536 writes, oldest first.
VBOARD_CONTROL_API std::vector<JournalEntry> journal(unsigned board = 0);
VBOARD_CONTROL_API void clearJournal(unsigned board = 0);
// The journal in text form, oldest first.
VBOARD_CONTROL_API std::vector<std::string> writes(unsigned board = 0);
// Only the entries whose text contains `part`.
VBOARD_CONTROL_API std::vector<std::string> writesMatching(std::string_view part, unsigned board = 0);

// The newest 65536 reads of design and SDK parameters through the SDK, oldest first, as
// "Name:type" with the value type the caller asked for (uint32, int32, uint64, int64, double,
// auto for the untyped get, block, entry), and " !<error>" when the read failed. clearJournal
// clears them too.
VBOARD_CONTROL_API std::vector<std::string> reads(unsigned board = 0);

// Makes the nth (1 = the next) write or read of `name` after this call fail with `error`
// (nothing is changed or read then); an empty name counts every access of that operation on the
// board. Each rule fires once; several may be pending. `name` may also be an SDK parameter name.
// Throws std::invalid_argument for nth 0 or error 0.
VBOARD_CONTROL_API void failWrite(std::string_view name, unsigned nth, int error, unsigned board = 0);
VBOARD_CONTROL_API void failRead(std::string_view name, unsigned nth, int error, unsigned board = 0);
VBOARD_CONTROL_API void clearFailures(unsigned board = 0);

// Calls `hook` with the parameter's name after every write of a design parameter through the
// SDK (failed ones too), on the writing thread and outside the board's lock, so that a test can
// act in the middle of an applet's call; null removes it, as reset() does.
VBOARD_CONTROL_API void setWriteHook(std::function<void(std::string_view name)> hook, unsigned board = 0);

// Stored values, set and read past access rules and the journal. A value wider than the target
// throws std::out_of_range. setValue/value work on uint parameters, raw registers and (as the
// raw code) double parameters; setDouble/doubleValue on double parameters (code = value * 2^frac,
// rounded and clamped as the SDK does); the field functions on field parameters.
VBOARD_CONTROL_API void setValue(std::string_view name, uint64_t value, unsigned board = 0);
VBOARD_CONTROL_API uint64_t value(std::string_view name, unsigned board = 0);
VBOARD_CONTROL_API void setDouble(std::string_view name, double value, unsigned board = 0);
VBOARD_CONTROL_API double doubleValue(std::string_view name, unsigned board = 0);
VBOARD_CONTROL_API void setFieldEntry(std::string_view name, uint32_t index, uint64_t value,
                                      unsigned board = 0);
VBOARD_CONTROL_API uint64_t fieldEntry(std::string_view name, uint32_t index, unsigned board = 0);
VBOARD_CONTROL_API std::vector<uint64_t> field(std::string_view name, unsigned board = 0);

// The SDK's own parameters by id: FG_TIMEOUT (600), FG_TURBO_DMA_MODE (3051),
// FG_CAMSTATUS_EXTENDED (2050), FG_DIGIO_INPUT (14010); the last two are what the board reports.
VBOARD_CONTROL_API void setSdkValue(int id, uint64_t value, unsigned board = 0);
VBOARD_CONTROL_API uint64_t sdkValue(int id, unsigned board = 0);

// Completes `count` pictures without images on DMA channel 0 of a running acquisition, beside the
// board's own frame source (waking blocked picture-number waits). Does nothing while no
// acquisition runs.
VBOARD_CONTROL_API void deliverFrames(unsigned count = 1, unsigned board = 0);

// The board's simulated time (ns since power-on) runs `factor` (> 0, at most 1e9) times as fast as
// real time from now on; reset() returns it to 1. Throws std::invalid_argument otherwise.
VBOARD_CONTROL_API void setTimeScale(double factor, unsigned board = 0);
// Held, simulated time stands still but for advanceTime(), so a test decides exactly how far the
// camera and the trigger block get; reset() releases it.
VBOARD_CONTROL_API void holdTime(bool held, unsigned board = 0);
VBOARD_CONTROL_API void advanceTime(int64_t ns, unsigned board = 0);
VBOARD_CONTROL_API int64_t simulatedNs(unsigned board = 0);
// What the trigger block drives now, which the board shows nowhere else: the levels of the eight
// trigger outputs (bit k: output k), and whether the queue's fill-level event is on, with how often
// it turned on and off.
VBOARD_CONTROL_API uint32_t triggerOutputLevels(unsigned board = 0);
struct QueueFillLevelEvent {
    bool on = false;
    uint32_t turnedOn = 0, turnedOff = 0;
};
VBOARD_CONTROL_API QueueFillLevelEvent queueFillLevelEvent(unsigned board = 0);

// Configures the board from a design file the way an SDK handle does, so that failure rules and
// values can be set before an applet opens the board. Throws std::invalid_argument with the
// reader's message when the file cannot be loaded.
VBOARD_CONTROL_API void loadDesign(const std::string& path, unsigned board = 0);

// The bench the board stands on (README.md, "Bench descriptions"). loadBench reads and checks a
// description file and throws std::invalid_argument with the reader's text (file, key or line,
// reason), leaving the board's bench as it was; setBench takes one as it is.
VBOARD_CONTROL_API void loadBench(const std::string& path, unsigned board = 0);
VBOARD_CONTROL_API void setBench(const Bench& bench, unsigned board = 0);
VBOARD_CONTROL_API Bench bench(unsigned board = 0);

// Every board back to power-on: journal and failure rules cleared, registers and parameter values
// 0, SDK parameters at their defaults (FG_TIMEOUT 1000000, the others 0), acquisition stopped and
// picture numbers 0, the default bench. The loaded design's layout stays.
VBOARD_CONTROL_API void reset();

}  // namespace vboard::control
