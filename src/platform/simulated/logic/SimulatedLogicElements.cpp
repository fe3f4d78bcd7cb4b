// The simulated Logic's elements as tests reach them directly, each fetched now. Part of
// SimulatedLogic.
#include "platform/simulated/logic/SimulatedLogic.h"

namespace tessiva {

AXElement SimulatedLogic::applicationElementNow() const {
    std::lock_guard lock(mutex_);
    return elementFor(app_);
}
AXElement SimulatedLogic::mainWindowElement() const {
    std::lock_guard lock(mutex_);
    return elementFor(mainWindow_);
}
AXElement SimulatedLogic::trackListElement() const {
    std::lock_guard lock(mutex_);
    return elementFor(outline_);
}
AXElement SimulatedLogic::decoyTableElement() const {
    std::lock_guard lock(mutex_);
    return elementFor(decoy_);
}
AXElement SimulatedLogic::inspectorOutlineElement() const {
    std::lock_guard lock(mutex_);
    return elementFor(inspectorOutline_);
}
AXElement SimulatedLogic::rowElement(int number) const {
    std::lock_guard lock(mutex_);
    if (number < 1 || number > static_cast<int>(tracks_.size()))
        return {};
    return elementFor(headerNodeOf(tracks_[static_cast<std::size_t>(number - 1)].key));
}
AXElement SimulatedLogic::nameFieldElement(int number) const {
    std::lock_guard lock(mutex_);
    if (number < 1 || number > static_cast<int>(tracks_.size()))
        return {};
    return elementFor(nameFieldNodeOf(tracks_[static_cast<std::size_t>(number - 1)].key));
}
AXElement SimulatedLogic::contentsRowElement(int number) const {
    std::lock_guard lock(mutex_);
    if (number < 1 || number > static_cast<int>(tracks_.size()) || !isLogic12())
        return {};
    const int position = visiblePositionOf(tracks_[static_cast<std::size_t>(number - 1)].key);
    if (position < 0 || position >= static_cast<int>(slots_.size()))
        return {};
    return elementFor(slots_[static_cast<std::size_t>(position)].contentsRow);
}
AXElement SimulatedLogic::disclosureTriangleElement(int stackNumber) const {
    std::lock_guard lock(mutex_);
    if (stackNumber < 1 || stackNumber > static_cast<int>(tracks_.size()) || !isLogic12())
        return {};
    const int position = visiblePositionOf(tracks_[static_cast<std::size_t>(stackNumber - 1)].key);
    if (position < 0 || position >= static_cast<int>(slots_.size()))
        return {};
    return elementFor(slots_[static_cast<std::size_t>(position)].triangle);
}
AXElement SimulatedLogic::mixerStripsElement() const {
    std::lock_guard lock(mutex_);
    return elementFor(mixerTracks_);
}
AXElement SimulatedLogic::mixerStripElement(int number) const {
    std::lock_guard lock(mutex_);
    if (number < 1 || number > static_cast<int>(tracks_.size()))
        return {};
    return elementFor(tracks_[static_cast<std::size_t>(number - 1)].stripNode);
}
AXElement SimulatedLogic::modalElement() const {
    std::lock_guard lock(mutex_);
    return elementFor(sheet_);
}
AXElement SimulatedLogic::pluginWindowElement() const {
    std::lock_guard lock(mutex_);
    return pluginWindows_.empty() ? AXElement{} : elementFor(pluginWindows_.back());
}
AXElement SimulatedLogic::tempoSliderElement() const {
    std::lock_guard lock(mutex_);
    return elementFor(slider_);
}

std::size_t SimulatedLogic::mainWindowElementCount() const {
    std::lock_guard lock(mutex_);
    return tree_.subtreeSize(mainWindow_);
}

}  // namespace tessiva
