#include "platform/simulated/logic/SimulatedAXTree.h"

#include <algorithm>
#include <atomic>

namespace tessiva {

namespace {

std::atomic<std::uint64_t> gNextNodeId{1};

}  // namespace

std::uint64_t SimulatedAXTree::make(SimulatedNodeKind kind, std::string role, std::uint64_t parent,
                                    std::optional<std::string> title,
                                    std::optional<std::string> description) {
    Node node;
    node.id = gNextNodeId++;
    node.kind = kind;
    node.role = std::move(role);
    node.title = std::move(title);
    node.description = std::move(description);
    const auto id = node.id;
    nodes_.emplace(id, std::move(node));
    if (parent != 0)
        attach(id, parent);
    return id;
}

void SimulatedAXTree::attach(std::uint64_t id, std::uint64_t parent, std::size_t index) {
    auto& node = nodes_.at(id);
    node.parent = parent;
    auto& children = nodes_.at(parent).children;
    children.insert(
        children.begin() + static_cast<std::ptrdiff_t>(std::min(index, children.size())), id);
}

void SimulatedAXTree::removeSubtree(std::uint64_t id) {
    auto found = nodes_.find(id);
    if (found == nodes_.end())
        return;
    const auto children = found->second.children;
    for (auto child : children)
        removeSubtree(child);
    const auto parent = found->second.parent;
    nodes_.erase(id);
    if (auto p = nodes_.find(parent); p != nodes_.end())
        std::erase(p->second.children, id);
}

AXElement SimulatedAXTree::element(std::uint64_t id, double now) const {
    if (!contains(id))
        return {};
    return AXElement(std::make_shared<const Handle>(Handle{this, id, now}), id);
}

std::vector<AXElement> SimulatedAXTree::elements(const std::vector<std::uint64_t>& ids,
                                                 double now) const {
    std::vector<AXElement> list;
    list.reserve(ids.size());
    for (auto id : ids)
        list.push_back(element(id, now));
    return list;
}

const SimulatedAXTree::Handle* SimulatedAXTree::handle(const AXElement& element) const {
    if (!element || !contains(element.identity()))
        return nullptr;
    // Every AXElement in this process comes from a SimulatedAXTree, so the cast is safe; the
    // tree pointer tells this Logic's elements from another instance's.
    const auto* handle = static_cast<const Handle*>(element.ref());
    if (handle->tree != this || !contains(handle->node))
        return nullptr;
    return handle;
}

const SimulatedAXTree::Node* SimulatedAXTree::node(const AXElement& element) const {
    const Handle* found = handle(element);
    return found ? &nodes_.at(found->node) : nullptr;
}

std::size_t SimulatedAXTree::subtreeSize(std::uint64_t id) const {
    std::size_t count = 0;
    std::vector<std::uint64_t> stack{id};
    while (!stack.empty()) {
        const auto next = stack.back();
        stack.pop_back();
        auto found = nodes_.find(next);
        if (found == nodes_.end())
            continue;
        ++count;
        for (auto child : found->second.children)
            stack.push_back(child);
    }
    return count;
}

}  // namespace tessiva
