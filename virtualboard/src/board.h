// State of one virtual board, kept by libqorviolibrt and shared by the other board libraries and
// the test control: the raw register file and design parameter values configured from a design,
// the SDK's own parameters, the journal of writes, failure injection and the DMA channel.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "acquisition.h"
#include "bench.h"
#include "c_api.h"
#include "design.h"
#include "pipeline.h"
#include "scene.h"
#include "simulation.h"
#include "trigger_chain.h"
#include "vboard/control.h"

namespace vboard {

// One of the SDK's own parameters.
struct SdkParameter {
    int id;
    const char* name;
    uint64_t min, max;
    bool readOnly;  // for SDK callers; the test control sets the value
    uint64_t powerOn;
};

VBOARD_EXPORT const SdkParameter* findSdkParameter(int id);
VBOARD_EXPORT const SdkParameter* findSdkParameter(std::string_view name);
VBOARD_EXPORT const std::vector<SdkParameter>& sdkParameters();

// Rounds a double to a code of `bits` bits with `fraction` fraction bits, clamped to the code's
// range; NaN gives 0.
VBOARD_EXPORT uint64_t doubleToCode(double v, int bits, int fraction);
VBOARD_EXPORT double codeToDouble(uint64_t code, int fraction);

inline uint64_t maxOfWidth(int bits) {
    return bits >= 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1;
}

// The camera simulator's and the trigger block's registers and parameters, as the design holds
// them, for the frame source.
struct CameraSettings {
    bool on = false;                                // simulator enabled (not the camera port) and started
    bool port = false;                              // the camera port is the source
    uint32_t width = 0, lineWidth = 0, height = 0;  // tap clocks, tap clocks, lines
    uint32_t active = 0, passive = 0;               // design clocks of the pixel clock pattern
    uint32_t mask = 0;                              // enabled taps
    bool roll = false;
    int bits = 8;
    uint32_t ccSelect = 5;  // camera-control line 0: 0..3 pulse form generator, 4 bypass, else constant
};

class VBOARD_EXPORT Board {
  public:
    static constexpr int kCount = 2;

    static Board* at(int index);            // null outside 0..kCount-1
    static Board* from(const ZEdevice* d);  // null for anything that is not one of the boards
    ZEdevice* device() { return reinterpret_cast<ZEdevice*>(this); }
    int index() const { return index_; }

    explicit Board(int index);
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    // Takes the design's registers and parameters. Values start at 0, unless the layout is the one
    // already configured: then they stay (so a test may preset read-outs before an applet opens).
    void configure(const Design& design);
    void powerOn();

    // ---- layout ----
    int registerCount() const;
    int findParameter(std::string_view name) const;  // position, or -1
    bool parameterLayout(int position, ParameterLayout* out) const;

    // ---- accesses of the SDK and the register library: 0 or a negative error number ----
    int writeRegister(int number, uint64_t value);
    int readRegister(int number, uint64_t* value);
    // Signed types (FG_PARAM_TYPE_INT32_T/INT64_T) pass the value sign-extended; negatives are
    // out of range.
    int writeUint(int position, uint64_t value, int type);
    int writeDouble(int position, double value, int type);
    int writeFieldBlock(int position, uint32_t index, uint32_t count, const uint32_t* entries, int type);
    int writeFieldEntry(int position, uint32_t index, uint32_t value, int type);
    int readUint(int position, uint64_t* value);
    int readDouble(int position, double* value);
    int readFieldBlock(int position, uint32_t index, uint32_t count, uint32_t* entries);
    int readFieldEntry(int position, uint32_t index, uint32_t* value);
    int writeSdk(int id, uint64_t value, int type);
    int readSdk(int id, uint64_t* value);
    // Notes a read through the SDK: the target, the value type asked for and the outcome.
    void recordRead(std::string_view name, int type, int error);
    // Runs the test control's write hook, if any, after a write of a design parameter.
    void afterWrite(const std::string& name);

    // ---- test control; unknown names throw std::invalid_argument ----
    std::vector<control::JournalEntry> journal() const;
    std::vector<std::string> reads() const;
    void clearJournal();
    void addFailure(control::Operation op, std::string_view name, unsigned nth, int error);
    void clearFailures();
    void setValue(std::string_view name, uint64_t value);
    uint64_t value(std::string_view name) const;
    void setDouble(std::string_view name, double value);
    double doubleValue(std::string_view name) const;
    void setFieldEntry(std::string_view name, uint32_t index, uint64_t value);
    uint64_t fieldEntry(std::string_view name, uint32_t index) const;
    std::vector<uint64_t> field(std::string_view name) const;
    void setWriteHook(std::function<void(std::string_view)> hook);
    void setSdkValue(int id, uint64_t value);
    uint64_t sdkValue(int id) const;

    Acquisition& acquisition() { return acquisition_; }
    Simulation& simulation() { return simulation_; }

    // The bench the board stands on; power-on gives the default one.
    Bench bench() const;
    // Prepares the scene unless it comes along; throws BenchError for a scene that cannot be used,
    // and then keeps the bench it had.
    void setBench(Bench bench, std::shared_ptr<SceneRenderer> scene = nullptr);
    // What the camera on the port shows; made for the bench when first asked for.
    std::shared_ptr<SceneRenderer> scene();

    // ---- frame source ----
    CameraSettings cameraSettings() const;
    DesignSettings designSettings() const;
    // Sets a read-only status value of the design; a design without it is left alone.
    void setReadout(std::string_view name, uint64_t value);
    // The trigger block's settings and the commands written to it so far.
    TriggerSettings triggerSettings() const;

  private:
    struct RegisterSlot {
        RegisterLayout layout;
        uint64_t value = 0;
    };
    struct ParameterSlot {
        ParameterLayout layout;
        std::vector<uint64_t> values;
        uint64_t commands = 0;  // writes of the command value 2 to a command (_Mode) parameter
        bool pinned = false;    // a read-out the test control preset
    };
    struct FailureRule {
        control::Operation op;
        std::string name;
        unsigned remaining;
        int error;
    };

    int injected(control::Operation op, const std::string& name);  // 0 or the error to fail with
    void record(control::JournalEntry entry);
    ParameterSlot* slot(int position, ParamKind kind);
    ParameterSlot& parameterByName(std::string_view name, ParamKind kind);
    const ParameterSlot& parameterByName(std::string_view name, ParamKind kind) const;
    uint64_t& scalar(std::string_view name, int* bits);
    uint64_t get(std::string_view name) const;  // 0 for an unknown name; caller holds m_
    int lookup(std::string_view name) const;    // > 0 register number, < 0 -(position + 1), 0 unknown

    const int index_;
    mutable std::mutex m_;
    std::vector<RegisterSlot> registers_;
    std::vector<ParameterSlot> parameters_;
    std::unordered_map<std::string, int> names_;  // as lookup()
    // The newest writes only, so that a long-running program does not grow without bound.
    static constexpr size_t kJournalCapacity = 1 << 16;
    std::deque<control::JournalEntry> journal_;
    std::deque<std::string> reads_;
    std::vector<FailureRule> failures_;
    std::function<void(std::string_view)> writeHook_;
    std::unordered_map<int, uint64_t> sdk_;
    Bench bench_;
    std::shared_ptr<SceneRenderer> scene_;
    Simulation simulation_{*this};
    Acquisition acquisition_;  // last: its thread reads the board until it is destroyed
};

}  // namespace vboard
