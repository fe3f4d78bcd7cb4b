#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/ax/AXElement.h"
#include "platform/ax/AXValue.h"

namespace tessiva {

// What a node of the simulated Logic stands for; the reads and actions dispatch on it.
enum class SimulatedNodeKind {
    application,
    window,
    sheet,
    group,
    trackList,  // the Arrange track list: an outline (10) or the header rail (12)
    header,     // one track header: a row (10) or a layout item (12)
    nameField,
    button,
    slider,
    text,
    contentsRow,  // a track's row under "Tracks contents"
    mixerTracks,  // the container of the Mixer's strips
    mixerStrip,
    itemContainer,  // another container of layout items (the Library)
    item,
};

// The element store of the simulated Logic: nodes with the attributes Logic shows, their
// parent/child links, and the handles (AXElement) that stand for them. Node ids are unique for
// the life of the process, so an element of a quit Logic never matches one of a relaunched
// Logic. Not thread-safe: SimulatedLogic calls it under its own lock. No test double.
class SimulatedAXTree {
  public:
    struct Node {
        std::uint64_t id = 0;
        SimulatedNodeKind kind = SimulatedNodeKind::group;
        std::string role;
        std::optional<std::string> subrole;
        std::optional<std::string> title;
        std::optional<std::string> description;
        AXValue value;
        std::optional<std::string> valueDescription;
        std::optional<std::string> document;
        std::uint64_t parent = 0;
        std::vector<std::uint64_t> children;
        AXFrame frame;
        std::uint64_t trackKey = 0;
    };

    // What an AXElement of this tree refers to: the node, and when the handle was fetched (the
    // held-element staleness of Logic 12 depends on it).
    struct Handle {
        const SimulatedAXTree* tree = nullptr;
        std::uint64_t node = 0;
        double fetchedAt = 0;
    };

    std::uint64_t make(SimulatedNodeKind kind, std::string role, std::uint64_t parent,
                       std::optional<std::string> title = std::nullopt,
                       std::optional<std::string> description = std::nullopt);
    // Adds a made node under `parent` at `index` (appends when past the end).
    void attach(std::uint64_t id, std::uint64_t parent, std::size_t index = SIZE_MAX);
    void removeSubtree(std::uint64_t id);
    void clear() { nodes_.clear(); }

    Node& at(std::uint64_t id) { return nodes_.at(id); }
    const Node& at(std::uint64_t id) const { return nodes_.at(id); }
    bool contains(std::uint64_t id) const { return id != 0 && nodes_.count(id) != 0; }

    // A handle on the node, fetched at `now`; null for a missing node.
    AXElement element(std::uint64_t id, double now) const;
    std::vector<AXElement> elements(const std::vector<std::uint64_t>& ids, double now) const;
    // The handle's target when it is an element of this tree that still exists.
    const Handle* handle(const AXElement& element) const;
    const Node* node(const AXElement& element) const;
    // Nodes in the subtree under `id`, itself included.
    std::size_t subtreeSize(std::uint64_t id) const;

  private:
    std::unordered_map<std::uint64_t, Node> nodes_;
};

}  // namespace tessiva
