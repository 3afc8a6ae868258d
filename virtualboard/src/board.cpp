#include "board.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <ctime>
#include <stdexcept>

namespace vboard {

using control::JournalEntry;
using control::Kind;
using control::Operation;

namespace {

int64_t monotonicNs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return int64_t{ts.tv_sec} * 1000000000 + ts.tv_nsec;
}

bool isSigned(int type) {
    return type == FG_PARAM_TYPE_INT32_T || type == FG_PARAM_TYPE_INT64_T;
}

bool fits(uint64_t value, int type, int bits) {
    if (isSigned(type) && static_cast<int64_t>(value) < 0) return false;
    return value <= maxOfWidth(bits);
}

std::invalid_argument unknownName(std::string_view name, int board) {
    return std::invalid_argument("board " + std::to_string(board) + " has no design parameter or register '" +
                                 std::string(name) + "'");
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// SDK parameters and value conversion

const std::vector<SdkParameter>& sdkParameters() {
    static const std::vector<SdkParameter> table = {
        {FG_TIMEOUT, "FG_TIMEOUT", 2, 2147483646, false, 1000000},
        {FG_TURBO_DMA_MODE, "FG_TURBO_DMA_MODE", 0, 1, false, 0},
        {FG_CAMSTATUS_EXTENDED, "FG_CAMSTATUS_EXTENDED", 0, UINT32_MAX, true, 0},
        {FG_DIGIO_INPUT, "FG_DIGIO_INPUT", 0, UINT32_MAX, true, 0},
    };
    return table;
}

const SdkParameter* findSdkParameter(int id) {
    for (const SdkParameter& p : sdkParameters())
        if (p.id == id) return &p;
    return nullptr;
}

const SdkParameter* findSdkParameter(std::string_view name) {
    for (const SdkParameter& p : sdkParameters())
        if (name == p.name) return &p;
    return nullptr;
}

uint64_t doubleToCode(double v, int bits, int fraction) {
    const double scaled = std::ldexp(v, fraction);
    if (!(scaled > 0.0)) return 0;  // also NaN
    const uint64_t max = maxOfWidth(bits);
    // Compare in double before converting: the conversion of an out-of-range double is undefined.
    if (scaled >= std::ldexp(1.0, bits)) return max;
    const double rounded = std::round(scaled);
    if (rounded >= 18446744073709551616.0) return max;
    const uint64_t code = static_cast<uint64_t>(rounded);
    return code > max ? max : code;
}

double codeToDouble(uint64_t code, int fraction) {
    return std::ldexp(static_cast<double>(code), -fraction);
}

// ---------------------------------------------------------------------------------------------
// Board: layout

Board* Board::at(int index) {
    static Board board0(0), board1(1);
    static Board* const boards[kCount] = {&board0, &board1};
    return index >= 0 && index < kCount ? boards[index] : nullptr;
}

Board* Board::from(const ZEdevice* d) {
    if (d == nullptr) return nullptr;
    for (int i = 0; i < kCount; ++i)
        if (at(i)->device() == d) return at(i);
    return nullptr;
}

Board::Board(int index) : index_(index), acquisition_(*this) {
    for (const SdkParameter& p : sdkParameters()) sdk_[p.id] = p.powerOn;
}

void Board::configure(const Design& design) {
    std::lock_guard lock(m_);
    bool same =
        design.registers().size() == registers_.size() && design.parameters().size() == parameters_.size();
    for (size_t i = 0; same && i < registers_.size(); ++i) {
        const RegisterLayout& a = registers_[i].layout;
        const RegisterLayout& b = design.registers()[i];
        same = a.name == b.name && a.width == b.width && a.access == b.access;
    }
    for (size_t i = 0; same && i < parameters_.size(); ++i) {
        const ParameterLayout& a = parameters_[i].layout;
        const ParameterLayout& b = design.parameters()[i];
        same = a.name == b.name && a.kind == b.kind && a.bits == b.bits && a.fraction == b.fraction &&
               a.entries == b.entries && a.access == b.access;
    }
    if (same) return;

    registers_.clear();
    parameters_.clear();
    names_.clear();
    for (const RegisterLayout& r : design.registers()) {
        registers_.push_back(RegisterSlot{r, 0});
        names_[r.name] = static_cast<int>(registers_.size());
    }
    for (const ParameterLayout& p : design.parameters()) {
        parameters_.push_back(ParameterSlot{p, std::vector<uint64_t>(p.entries, 0)});
        names_[p.name] = -static_cast<int>(parameters_.size());
    }
}

void Board::powerOn() {
    {
        std::lock_guard lock(m_);
        for (RegisterSlot& r : registers_) r.value = 0;
        for (ParameterSlot& p : parameters_) {
            std::fill(p.values.begin(), p.values.end(), 0);
            p.commands = 0;
            p.pinned = false;
        }
        journal_.clear();
        reads_.clear();
        failures_.clear();
        writeHook_ = nullptr;
        for (const SdkParameter& p : sdkParameters()) sdk_[p.id] = p.powerOn;
        bench_ = Bench{};
        scene_ = nullptr;
    }
    acquisition_.reset();
    simulation_.reset({});
}

Bench Board::bench() const {
    std::lock_guard lock(m_);
    return bench_;
}

void Board::setBench(Bench bench, std::shared_ptr<SceneRenderer> scene) {
    if (scene == nullptr) scene = std::make_shared<SceneRenderer>(bench);
    std::vector<SignalDescription> inputs = bench.inputs;
    {
        std::lock_guard lock(m_);
        bench_ = std::move(bench);
        scene_ = std::move(scene);
    }
    simulation_.setInputs(std::move(inputs));
}

std::shared_ptr<SceneRenderer> Board::scene() {
    Bench bench;
    {
        std::lock_guard lock(m_);
        if (scene_ != nullptr) return scene_;
        bench = bench_;
    }
    // Made outside the lock: preparing a scene takes a while, and parameter access must not wait.
    auto made = std::make_shared<SceneRenderer>(bench);
    std::lock_guard lock(m_);
    if (scene_ == nullptr && bench_ == bench) scene_ = std::move(made);
    return scene_ != nullptr ? scene_ : made;
}

int Board::registerCount() const {
    std::lock_guard lock(m_);
    return static_cast<int>(registers_.size());
}

int Board::findParameter(std::string_view name) const {
    std::lock_guard lock(m_);
    const int found = lookup(name);
    return found < 0 ? -found - 1 : -1;
}

bool Board::parameterLayout(int position, ParameterLayout* out) const {
    std::lock_guard lock(m_);
    if (position < 0 || position >= static_cast<int>(parameters_.size())) return false;
    *out = parameters_[position].layout;
    return true;
}

int Board::lookup(std::string_view name) const {
    auto it = names_.find(std::string(name));
    return it == names_.end() ? 0 : it->second;
}

// ---------------------------------------------------------------------------------------------
// Board: accesses. Callers hold no lock; each access takes the board's lock once.

int Board::injected(Operation op, const std::string& name) {
    int error = 0;
    for (auto it = failures_.begin(); it != failures_.end();) {
        if (it->op == op && (it->name.empty() || it->name == name) && --it->remaining == 0) {
            if (error == 0) error = it->error;
            it = failures_.erase(it);
        } else {
            ++it;
        }
    }
    return error;
}

void Board::record(JournalEntry entry) {
    entry.timeNs = monotonicNs();
    if (journal_.size() == kJournalCapacity) journal_.pop_front();
    journal_.push_back(std::move(entry));
}

Board::ParameterSlot* Board::slot(int position, ParamKind kind) {
    if (position < 0 || position >= static_cast<int>(parameters_.size())) return nullptr;
    ParameterSlot& s = parameters_[position];
    return s.layout.kind == kind ? &s : nullptr;
}

int Board::writeRegister(int number, uint64_t value) {
    std::lock_guard lock(m_);
    if (number < 1 || number > static_cast<int>(registers_.size())) return FG_INVALID_PARAMETER;
    RegisterSlot& r = registers_[number - 1];
    JournalEntry e;
    e.kind = Kind::Register;
    e.name = r.layout.name;
    e.type = FG_PARAM_TYPE_UINT64_T;
    e.value = value;
    e.error = injected(Operation::Write, r.layout.name);
    if (e.error == 0 && r.layout.access == Access::ReadOnly) e.error = FG_NOT_AVAILABLE;
    if (e.error == 0 && value > maxOfWidth(r.layout.width)) e.error = FG_VALUE_OUT_OF_RANGE;
    if (e.error == 0) r.value = value;
    const int error = e.error;
    record(std::move(e));
    return error;
}

int Board::readRegister(int number, uint64_t* value) {
    std::lock_guard lock(m_);
    if (value == nullptr || number < 1 || number > static_cast<int>(registers_.size()))
        return FG_INVALID_PARAMETER;
    RegisterSlot& r = registers_[number - 1];
    if (int error = injected(Operation::Read, r.layout.name)) return error;
    if (r.layout.access == Access::WriteOnly) return FG_NOT_AVAILABLE;
    *value = r.value;
    return 0;
}

int Board::writeUint(int position, uint64_t value, int type) {
    std::lock_guard lock(m_);
    ParameterSlot* p = slot(position, ParamKind::Uint);
    if (p == nullptr) return FG_INVALID_PARAMETER;
    JournalEntry e;
    e.name = p->layout.name;
    e.type = type;
    e.value = value;
    e.error = injected(Operation::Write, p->layout.name);
    if (e.error == 0 && p->layout.access == Access::ReadOnly) e.error = FG_NOT_AVAILABLE;
    if (e.error == 0 && !fits(value, type, p->layout.bits)) e.error = FG_VALUE_OUT_OF_RANGE;
    if (e.error == 0) p->values[0] = value;
    // The clear command's value 2 is one pulse into the trigger.
    if (e.error == 0 && value == 2 && p->layout.name.ends_with("_Mode")) ++p->commands;
    const int error = e.error;
    record(std::move(e));
    return error;
}

int Board::writeDouble(int position, double value, int type) {
    std::lock_guard lock(m_);
    ParameterSlot* p = slot(position, ParamKind::Double);
    if (p == nullptr) return FG_INVALID_PARAMETER;
    JournalEntry e;
    e.name = p->layout.name;
    e.type = type;
    e.value = std::bit_cast<uint64_t>(value);
    e.doubleValue = value;
    e.error = injected(Operation::Write, p->layout.name);
    if (e.error == 0 && p->layout.access == Access::ReadOnly) e.error = FG_NOT_AVAILABLE;
    if (e.error == 0) p->values[0] = doubleToCode(value, p->layout.bits, p->layout.fraction);
    const int error = e.error;
    record(std::move(e));
    return error;
}

int Board::writeFieldBlock(int position, uint32_t index, uint32_t count, const uint32_t* entries, int type) {
    std::lock_guard lock(m_);
    ParameterSlot* p = slot(position, ParamKind::Field);
    if (p == nullptr || entries == nullptr || count == 0 || index >= p->layout.entries ||
        count > p->layout.entries - index)
        return FG_INVALID_PARAMETER;
    JournalEntry e;
    e.name = p->layout.name;
    e.type = type;
    e.value = entries[0];
    e.index = index;
    e.count = count;
    e.block = true;
    e.error = injected(Operation::Write, p->layout.name);
    if (e.error == 0 && p->layout.access == Access::ReadOnly) e.error = FG_NOT_AVAILABLE;
    const uint64_t max = maxOfWidth(p->layout.bits);
    for (uint32_t i = 0; e.error == 0 && i < count; ++i)
        if (entries[i] > max) e.error = FG_VALUE_OUT_OF_RANGE;  // all or nothing
    if (e.error == 0) std::copy(entries, entries + count, p->values.begin() + index);
    const int error = e.error;
    record(std::move(e));
    return error;
}

int Board::writeFieldEntry(int position, uint32_t index, uint32_t value, int type) {
    std::lock_guard lock(m_);
    ParameterSlot* p = slot(position, ParamKind::Field);
    if (p == nullptr || index >= p->layout.entries) return FG_INVALID_PARAMETER;
    JournalEntry e;
    e.name = p->layout.name;
    e.type = type;
    e.value = value;
    e.index = index;
    e.count = 1;
    e.error = injected(Operation::Write, p->layout.name);
    if (e.error == 0 && p->layout.access == Access::ReadOnly) e.error = FG_NOT_AVAILABLE;
    if (e.error == 0 && value > maxOfWidth(p->layout.bits)) e.error = FG_VALUE_OUT_OF_RANGE;
    if (e.error == 0) p->values[index] = value;
    const int error = e.error;
    record(std::move(e));
    return error;
}

int Board::readUint(int position, uint64_t* value) {
    std::lock_guard lock(m_);
    ParameterSlot* p = slot(position, ParamKind::Uint);
    if (p == nullptr || value == nullptr) return FG_INVALID_PARAMETER;
    if (int error = injected(Operation::Read, p->layout.name)) return error;
    if (p->layout.access == Access::WriteOnly) return FG_NOT_AVAILABLE;
    *value = p->values[0];
    return 0;
}

int Board::readDouble(int position, double* value) {
    std::lock_guard lock(m_);
    ParameterSlot* p = slot(position, ParamKind::Double);
    if (p == nullptr || value == nullptr) return FG_INVALID_PARAMETER;
    if (int error = injected(Operation::Read, p->layout.name)) return error;
    if (p->layout.access == Access::WriteOnly) return FG_NOT_AVAILABLE;
    *value = codeToDouble(p->values[0], p->layout.fraction);
    return 0;
}

int Board::readFieldBlock(int position, uint32_t index, uint32_t count, uint32_t* entries) {
    std::lock_guard lock(m_);
    ParameterSlot* p = slot(position, ParamKind::Field);
    if (p == nullptr || entries == nullptr || count == 0 || index >= p->layout.entries ||
        count > p->layout.entries - index)
        return FG_INVALID_PARAMETER;
    if (int error = injected(Operation::Read, p->layout.name)) return error;
    if (p->layout.access == Access::WriteOnly) return FG_NOT_AVAILABLE;
    for (uint32_t i = 0; i < count; ++i) entries[i] = static_cast<uint32_t>(p->values[index + i]);
    return 0;
}

int Board::readFieldEntry(int position, uint32_t index, uint32_t* value) {
    std::lock_guard lock(m_);
    ParameterSlot* p = slot(position, ParamKind::Field);
    if (p == nullptr || value == nullptr || index >= p->layout.entries) return FG_INVALID_PARAMETER;
    if (int error = injected(Operation::Read, p->layout.name)) return error;
    if (p->layout.access == Access::WriteOnly) return FG_NOT_AVAILABLE;
    *value = static_cast<uint32_t>(p->values[index]);
    return 0;
}

int Board::writeSdk(int id, uint64_t value, int type) {
    const SdkParameter* p = findSdkParameter(id);
    if (p == nullptr) return FG_INVALID_PARAMETER;
    std::lock_guard lock(m_);
    JournalEntry e;
    e.kind = Kind::Sdk;
    e.name = p->name;
    e.type = type;
    e.value = value;
    e.error = injected(Operation::Write, e.name);
    if (e.error == 0 && p->readOnly) e.error = FG_NOT_AVAILABLE;
    if (e.error == 0 &&
        ((isSigned(type) && static_cast<int64_t>(value) < 0) || value < p->min || value > p->max))
        e.error = FG_VALUE_OUT_OF_RANGE;
    if (e.error == 0) sdk_[id] = value;
    const int error = e.error;
    record(std::move(e));
    return error;
}

int Board::readSdk(int id, uint64_t* value) {
    const SdkParameter* p = findSdkParameter(id);
    if (p == nullptr || value == nullptr) return FG_INVALID_PARAMETER;
    std::lock_guard lock(m_);
    if (int error = injected(Operation::Read, p->name)) return error;
    *value = sdk_[id];
    return 0;
}

void Board::recordRead(std::string_view name, int type, int error) {
    static const std::pair<int, const char*> kTypes[] = {{FG_PARAM_TYPE_UINT32_T, "uint32"},
                                                         {FG_PARAM_TYPE_INT32_T, "int32"},
                                                         {FG_PARAM_TYPE_UINT64_T, "uint64"},
                                                         {FG_PARAM_TYPE_INT64_T, "int64"},
                                                         {FG_PARAM_TYPE_DOUBLE, "double"},
                                                         {FG_PARAM_TYPE_AUTO, "auto"},
                                                         {FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS, "block"},
                                                         {FG_PARAM_TYPE_STRUCT_FIELDPARAMINT, "entry"}};
    const char* kind = "?";
    for (auto [code, text] : kTypes)
        if (code == type) kind = text;
    std::string text = std::string(name) + ":" + kind;
    if (error != 0) text += " !" + std::to_string(error);
    std::lock_guard lock(m_);
    if (reads_.size() == kJournalCapacity) reads_.pop_front();
    reads_.push_back(std::move(text));
}

void Board::afterWrite(const std::string& name) {
    std::function<void(std::string_view)> hook;
    {
        std::lock_guard lock(m_);
        hook = writeHook_;
    }
    if (hook) hook(name);
}

// ---------------------------------------------------------------------------------------------
// Board: test control

void Board::setWriteHook(std::function<void(std::string_view)> hook) {
    std::lock_guard lock(m_);
    writeHook_ = std::move(hook);
}

std::vector<JournalEntry> Board::journal() const {
    std::lock_guard lock(m_);
    return {journal_.begin(), journal_.end()};
}

std::vector<std::string> Board::reads() const {
    std::lock_guard lock(m_);
    return {reads_.begin(), reads_.end()};
}

void Board::clearJournal() {
    std::lock_guard lock(m_);
    journal_.clear();
    reads_.clear();
}

void Board::addFailure(Operation op, std::string_view name, unsigned nth, int error) {
    if (nth == 0) throw std::invalid_argument("failure rule: nth counts from 1");
    if (error == 0) throw std::invalid_argument("failure rule: error 0 is no failure");
    std::lock_guard lock(m_);
    if (!name.empty() && lookup(name) == 0 && findSdkParameter(name) == nullptr)
        throw unknownName(name, index_);
    failures_.push_back(FailureRule{op, std::string(name), nth, error});
}

void Board::clearFailures() {
    std::lock_guard lock(m_);
    failures_.clear();
}

Board::ParameterSlot& Board::parameterByName(std::string_view name, ParamKind kind) {
    const int found = lookup(name);
    if (found >= 0) throw unknownName(name, index_);
    ParameterSlot& p = parameters_[-found - 1];
    if (p.layout.kind != kind) {
        static const char* const kinds[] = {"uint", "double", "field"};
        throw std::invalid_argument("'" + std::string(name) + "' is a " +
                                    kinds[static_cast<int>(p.layout.kind)] + " parameter, not a " +
                                    kinds[static_cast<int>(kind)] + " one");
    }
    return p;
}

const Board::ParameterSlot& Board::parameterByName(std::string_view name, ParamKind kind) const {
    return const_cast<Board*>(this)->parameterByName(name, kind);
}

// Registers, uint parameters and (as the raw code) double parameters hold one value.
uint64_t& Board::scalar(std::string_view name, int* bits) {
    const int found = lookup(name);
    if (found > 0) {
        *bits = registers_[found - 1].layout.width;
        return registers_[found - 1].value;
    }
    if (found == 0) throw unknownName(name, index_);
    ParameterSlot& p = parameters_[-found - 1];
    if (p.layout.kind == ParamKind::Field)
        throw std::invalid_argument("'" + p.layout.name + "' is a field; use the field functions");
    *bits = p.layout.bits;
    return p.values[0];
}

uint64_t Board::get(std::string_view name) const {
    const int found = lookup(name);
    if (found > 0) return registers_[found - 1].value;
    if (found < 0) return parameters_[-found - 1].values[0];
    return 0;
}

void Board::setReadout(std::string_view name, uint64_t value) {
    std::lock_guard lock(m_);
    const int found = lookup(name);
    if (found >= 0) return;
    ParameterSlot& p = parameters_[-found - 1];
    if (p.layout.kind == ParamKind::Uint && !p.pinned)
        p.values[0] = std::min(value, maxOfWidth(p.layout.bits));
}

CameraSettings Board::cameraSettings() const {
    static const std::string t = "Device1_Process1_Trigger_TriggerCam0_";
    std::lock_guard lock(m_);
    CameraSettings c;
    c.on = get("AAGenEnable") == 1 && get("AAGenStart") == 1;
    c.port = get("AAGenEnable") == 0;
    c.width = static_cast<uint32_t>(get("AAGenWidth"));
    c.lineWidth = static_cast<uint32_t>(get("AAGenLineWidth"));
    c.height = static_cast<uint32_t>(get("AAGenHeight"));
    c.active = static_cast<uint32_t>(get("AAGenActive"));
    c.passive = static_cast<uint32_t>(get("AAGenPassive"));
    c.mask = static_cast<uint32_t>(get("AAGenMask"));
    c.roll = get("AAGenRoll") != 0;
    static constexpr int kBits[] = {8, 10, 12};
    const uint64_t format = get("Device1_Process0_Camera_Format");
    c.bits = format < 3 ? kBits[format] : 12;
    c.ccSelect = static_cast<uint32_t>(get(t + "CameraControl_Select0_Select_Select"));
    return c;
}

TriggerSettings Board::triggerSettings() const {
    static const std::string t = "Device1_Process1_Trigger_", c = t + "TriggerCam0_",
                             pfg = c + "PulseFormGenerators_PulseFormGenerator";
    std::lock_guard lock(m_);
    const auto u32 = [&](const std::string& name) { return static_cast<uint32_t>(get(name)); };
    const auto commands = [&](const std::string& name) {
        const int found = lookup(name);
        return found < 0 ? parameters_[-found - 1].commands : 0;
    };
    TriggerSettings s;
    s.inputSelect = u32(c + "InputSelect_Select_Select");
    s.inputInvert = get(c + "InputSelect_Polarity_Invert") != 0;
    s.debounce = u32(t + "TriggerInput_Debounce8_Prescale_Period");
    s.bypassSelect = u32(c + "InputSelect_BypassSelect_Select");
    s.inputDownscale = std::max<uint32_t>(u32(c + "Downscale_Downscale_Downscale"), 1);
    s.inputSelected = u32(c + "Downscale_Downscale_SelectedPulse");
    s.selectExternal = get(c + "TriggerMode_SelectExternal_Select") != 0;
    s.pulseFormEnable = get(c + "PulseFormGenerators_Enable_Select") != 0;
    s.queueHeldCleared = get(c + "Generators_ClearQueuePulse_Mode") == 1;
    s.queueInPath = get(c + "Generators_EnableQueue_Select") != 0;
    s.periodTicks = get(c + "Generators_Generator_MinimumPeriod_Number") + 9;
    s.queueCapacity = get(c + "Generators_Queue_QueueEnabled_Select") != 0
                          ? std::max<uint32_t>(u32(c + "Generators_Queue_QueueFullValue_Number"), 1)
                          : 1;
    s.pulsesPerEvent = std::max<uint32_t>(u32(c + "Generators_Sequence_Downscale"), 1);
    for (int g = 0; g < 4; ++g) {
        const std::string n = pfg + std::to_string(g) + "_";
        s.pulseForm[g] = {std::max<uint32_t>(u32(n + "Downscale_Downscale"), 1),
                          u32(n + "Downscale_SelectedPulse"), get(n + "Delay_Delay"), get(n + "Width_Width")};
        s.commands.pulseFormDownscale[g] = commands(n + "ClearDownscale_Mode");
        const std::string line = c + "CameraControl_Select" + std::to_string(g) + "_";
        s.cameraControl[g] = {u32(line + "Select_Select"), get(line + "Polarity_Invert") != 0};
    }
    for (int k = 0; k < 8; ++k) {
        const std::string out = c + "TriggerOutput_Select" + std::to_string(k) + "_";
        s.triggerOutput[k] = {u32(out + "Select_Select"), get(out + "Polarity_Invert") != 0};
    }
    s.queueOnLevel = u32(c + "Hysteresis_OnLevel_Number");
    s.queueOffLevel = u32(c + "Hysteresis_OffLevel_Number");
    s.outputStatisticsSelect = u32(c + "OutputStatistics_Select_Select");
    s.clearMinMax = u32(c + "InputStatistics_ClearMinMax_Value");
    s.commands.inputDownscale = commands(c + "Downscale_Clear_Mode");
    s.commands.inputPulses = commands(c + "InputStatistics_ClearPulses_Mode");
    s.commands.generatorDownscale = commands(c + "Generators_ClearDownscale_Mode");
    s.commands.missing = commands(t + "Monitoring_CheckForMissingFrame_Cam0_ResetMissing_Mode");
    s.commands.exceeded = commands(t + "Monitoring_CheckPeriod_Cam0_ResetExceeded_Mode");
    s.commands.outputPulses = commands(c + "OutputStatistics_ClearPulses_Mode");
    s.commands.softwareTriggers = commands(c + "TriggerMode_SoftwareTrigger_Mode");
    return s;
}

DesignSettings Board::designSettings() const {
    static const std::string p = "Device1_Process0_";
    std::lock_guard lock(m_);
    DesignSettings s;
    s.xOffset = static_cast<uint32_t>(get(p + "Buffer_0_DRAM_A_0_XOffset"));
    s.yOffset = static_cast<uint32_t>(get(p + "Buffer_0_DRAM_A_0_YOffset"));
    s.width = static_cast<uint32_t>(get(p + "Buffer_0_DRAM_A_0_XLength"));
    s.height = static_cast<uint32_t>(get(p + "Buffer_0_DRAM_A_0_YLength"));
    s.bayer = static_cast<uint32_t>(get(p + "Bayer_Bayer_BayerInit")) & 3;
    s.coefficient = {static_cast<uint32_t>(get(p + "Bayer_White_RedCoefficient")),
                     static_cast<uint32_t>(get(p + "Bayer_White_GreenCoefficient")),
                     static_cast<uint32_t>(get(p + "Bayer_White_BlueCoefficient"))};
    static const char* const luts[] = {"LookupTable_R_LUTcontent", "LookupTable_G_LUTcontent",
                                       "LookupTable_B_LUTcontent"};
    for (int c = 0; c < 3; ++c) {
        const int found = lookup(p + luts[c]);
        if (found >= 0) continue;
        const std::vector<uint64_t>& v = parameters_[-found - 1].values;
        for (size_t i = 0; i < s.lut[c].size() && i < v.size(); ++i)
            s.lut[c][i] = static_cast<uint16_t>(std::min<uint64_t>(v[i], 4095));
    }
    s.col24 = get(p + "OutputFormat_FG_FORMAT_SelectSource") == 1;
    s.leftAligned = get(p + "OutputFormat_FG_BITALIGNMENT_Value") == 1;
    s.selectDivisor =
        std::max<uint32_t>(static_cast<uint32_t>(get(p + "ImageSelector_FG_IMG_SELECT_PERIOD_Divisor")), 1);
    s.selectPhase = static_cast<uint32_t>(get(p + "ImageSelector_FG_IMG_SELECT_PHASE_Number"));
    return s;
}

void Board::setValue(std::string_view name, uint64_t value) {
    std::lock_guard lock(m_);
    int bits = 0;
    uint64_t& v = scalar(name, &bits);
    if (value > maxOfWidth(bits)) throw std::out_of_range("value too wide for " + std::string(name));
    v = value;
    // A read-out a test presets keeps its value: the simulation no longer writes it.
    const int found = lookup(name);
    if (found < 0 && parameters_[-found - 1].layout.access == Access::ReadOnly)
        parameters_[-found - 1].pinned = true;
}

uint64_t Board::value(std::string_view name) const {
    std::lock_guard lock(m_);
    int bits = 0;
    return const_cast<Board*>(this)->scalar(name, &bits);
}

void Board::setDouble(std::string_view name, double value) {
    std::lock_guard lock(m_);
    ParameterSlot& p = parameterByName(name, ParamKind::Double);
    p.values[0] = doubleToCode(value, p.layout.bits, p.layout.fraction);
}

double Board::doubleValue(std::string_view name) const {
    std::lock_guard lock(m_);
    const ParameterSlot& p = parameterByName(name, ParamKind::Double);
    return codeToDouble(p.values[0], p.layout.fraction);
}

void Board::setFieldEntry(std::string_view name, uint32_t index, uint64_t value) {
    std::lock_guard lock(m_);
    ParameterSlot& p = parameterByName(name, ParamKind::Field);
    if (index >= p.layout.entries) throw std::out_of_range("index outside " + p.layout.name);
    if (value > maxOfWidth(p.layout.bits)) throw std::out_of_range("value too wide for " + p.layout.name);
    p.values[index] = value;
}

uint64_t Board::fieldEntry(std::string_view name, uint32_t index) const {
    std::lock_guard lock(m_);
    const ParameterSlot& p = parameterByName(name, ParamKind::Field);
    if (index >= p.layout.entries) throw std::out_of_range("index outside " + p.layout.name);
    return p.values[index];
}

std::vector<uint64_t> Board::field(std::string_view name) const {
    std::lock_guard lock(m_);
    return parameterByName(name, ParamKind::Field).values;
}

void Board::setSdkValue(int id, uint64_t value) {
    const SdkParameter* p = findSdkParameter(id);
    if (p == nullptr) throw std::invalid_argument("no SDK parameter " + std::to_string(id));
    if (value > UINT32_MAX) throw std::out_of_range(std::string("value too wide for ") + p->name);
    std::lock_guard lock(m_);
    sdk_[id] = value;
}

uint64_t Board::sdkValue(int id) const {
    if (findSdkParameter(id) == nullptr)
        throw std::invalid_argument("no SDK parameter " + std::to_string(id));
    std::lock_guard lock(m_);
    return sdk_.at(id);
}

}  // namespace vboard
