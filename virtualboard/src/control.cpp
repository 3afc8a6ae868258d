// libvboard_control.so: the test control, a thin layer over the boards' state.
#include "vboard/control.h"

#include <charconv>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "board.h"

namespace vboard::control {

namespace {

Board& board(unsigned index) {
    Board* b = index < static_cast<unsigned>(Board::kCount) ? Board::at(static_cast<int>(index)) : nullptr;
    if (b == nullptr) throw std::invalid_argument("no board " + std::to_string(index));
    return *b;
}

std::string shortest(double v) {
    char buffer[64];
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, v);
    return ec == std::errc() ? std::string(buffer, end) : std::string("?");
}

}  // namespace

std::string JournalEntry::text() const {
    std::string t = name;
    if (count > 0) {
        t += "[" + std::to_string(index);
        t += block ? "+" + std::to_string(count) + "]" : "]=" + std::to_string(value);
    } else if (type == FG_PARAM_TYPE_DOUBLE) {
        t += "=" + shortest(doubleValue);
    } else if (type == FG_PARAM_TYPE_INT32_T || type == FG_PARAM_TYPE_INT64_T) {
        t += "=" + std::to_string(static_cast<int64_t>(value));
    } else {
        t += "=" + std::to_string(value);
    }
    if (error != 0) t += " !" + std::to_string(error);
    return t;
}

std::vector<JournalEntry> journal(unsigned b) {
    return board(b).journal();
}

void clearJournal(unsigned b) {
    board(b).clearJournal();
}

std::vector<std::string> writes(unsigned b) {
    std::vector<std::string> texts;
    for (const JournalEntry& e : board(b).journal()) texts.push_back(e.text());
    return texts;
}

std::vector<std::string> reads(unsigned b) {
    return board(b).reads();
}

std::vector<std::string> writesMatching(std::string_view part, unsigned b) {
    std::vector<std::string> texts;
    for (const JournalEntry& e : board(b).journal()) {
        std::string t = e.text();
        if (t.find(part) != std::string::npos) texts.push_back(std::move(t));
    }
    return texts;
}

void failWrite(std::string_view name, unsigned nth, int error, unsigned b) {
    board(b).addFailure(Operation::Write, name, nth, error);
}

void failRead(std::string_view name, unsigned nth, int error, unsigned b) {
    board(b).addFailure(Operation::Read, name, nth, error);
}

void setWriteHook(std::function<void(std::string_view)> hook, unsigned b) {
    board(b).setWriteHook(std::move(hook));
}

void clearFailures(unsigned b) {
    board(b).clearFailures();
}

void setValue(std::string_view name, uint64_t v, unsigned b) {
    board(b).setValue(name, v);
}
uint64_t value(std::string_view name, unsigned b) {
    return board(b).value(name);
}
void setDouble(std::string_view name, double v, unsigned b) {
    board(b).setDouble(name, v);
}
double doubleValue(std::string_view name, unsigned b) {
    return board(b).doubleValue(name);
}

void setFieldEntry(std::string_view name, uint32_t index, uint64_t v, unsigned b) {
    board(b).setFieldEntry(name, index, v);
}

uint64_t fieldEntry(std::string_view name, uint32_t index, unsigned b) {
    return board(b).fieldEntry(name, index);
}
std::vector<uint64_t> field(std::string_view name, unsigned b) {
    return board(b).field(name);
}

void setSdkValue(int id, uint64_t v, unsigned b) {
    board(b).setSdkValue(id, v);
}
uint64_t sdkValue(int id, unsigned b) {
    return board(b).sdkValue(id);
}

void deliverFrames(unsigned count, unsigned b) {
    board(b).acquisition().deliver(count);
}

void setTimeScale(double factor, unsigned b) {
    if (!(factor > 0.0) || factor > 1e9) throw std::invalid_argument("time scale must be above 0");
    board(b).simulation().setTimeScale(factor);
}

void holdTime(bool held, unsigned b) {
    board(b).simulation().hold(held);
}

void advanceTime(int64_t ns, unsigned b) {
    board(b).simulation().advance(ns);
}

int64_t simulatedNs(unsigned b) {
    return board(b).simulation().nowNs();
}

uint32_t triggerOutputLevels(unsigned b) {
    return board(b).simulation().readouts().outputLevels;
}

QueueFillLevelEvent queueFillLevelEvent(unsigned b) {
    const TriggerReadouts r = board(b).simulation().readouts();
    return {r.queueFillEvent, r.queueEventsOn, r.queueEventsOff};
}

void loadDesign(const std::string& path, unsigned b) {
    Board& target = board(b);
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::invalid_argument("cannot open design file '" + path + "'");
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::unique_ptr<fpga_design, int (*)(fpga_design*)> design(
        HapLoadDesignFromBuffer(text.data(), text.size(), 0), HapUnloadHapFile);
    if (design == nullptr) throw std::invalid_argument(path + ": " + HapGetLastErrorText());
    target.configure(*designOf(design.get()));
}

void loadBench(const std::string& path, unsigned b) {
    Board& target = board(b);
    try {
        target.setBench(readBench(path));
    } catch (const BenchError& e) {
        throw std::invalid_argument(e.what());
    }
}

void setBench(const Bench& bench, unsigned b) {
    Board& target = board(b);
    try {
        target.setBench(bench);
    } catch (const BenchError& e) {
        throw std::invalid_argument(e.what());
    }
}

Bench bench(unsigned b) {
    return board(b).bench();
}

void reset() {
    for (int i = 0; i < Board::kCount; ++i) Board::at(i)->powerOn();
}

}  // namespace vboard::control
