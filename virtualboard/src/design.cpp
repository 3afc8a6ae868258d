#include "design.h"

namespace vboard {

int Design::findRegister(std::string_view name) const {
    auto it = names_.find(std::string(name));
    return it != names_.end() && it->second > 0 ? it->second : -1;
}

int Design::findParameter(std::string_view name) const {
    auto it = names_.find(std::string(name));
    return it != names_.end() && it->second < 0 ? -it->second - 1 : -1;
}

int Design::findEvent(std::string_view name) const {
    for (size_t i = 0; i < events_.size(); ++i)
        if (name == events_[i].name) return static_cast<int>(i);
    return -1;
}

bool Design::addRegister(RegisterLayout layout) {
    if (!names_.emplace(layout.name, static_cast<int>(registers_.size()) + 1).second) return false;
    registers_.push_back(std::move(layout));
    return true;
}

bool Design::addParameter(ParameterLayout layout) {
    if (!names_.emplace(layout.name, -static_cast<int>(parameters_.size()) - 1).second) return false;
    parameters_.push_back(std::move(layout));
    return true;
}

bool Design::addEvent(std::string name) {
    if (events_.size() >= kMaxEvents || findEvent(name) >= 0) return false;
    eventNames_.push_back(std::make_unique<std::string>(std::move(name)));
    events_.push_back(HapEvent{eventNames_.back()->c_str(), uint64_t{1} << events_.size()});
    return true;
}

}  // namespace vboard
