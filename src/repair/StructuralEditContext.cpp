#include "repair/StructuralEditContext.h"

namespace tessiva {

std::string describeSelection(const std::optional<StructuralSelection>& selection) {
    if (!selection)
        return "<none>";
    std::string text = std::to_string(selection->index);
    if (selection->name)
        text += " \"" + *selection->name + "\"";
    return text;
}

bool StructuralEditContext::isContradictedBy(int capturedMaximum) const {
    switch (kind) {
        case Kind::deletion:
            return capturedMaximum > trustedMaximum;
        case Kind::duplication:
        case Kind::insertion:
            return capturedMaximum < trustedMaximum;
        case Kind::reorder:
        case Kind::undo:
        case Kind::redo:
        case Kind::count:
            break;
    }
    return false;
}

std::string StructuralEditContext::describe() const {
    return "kind=" + std::string(name(kind)) + " source=" + describeSelection(sourceSelection) +
           " trustedMax=" + std::to_string(trustedMaximum) + " reason=" + reason;
}

}  // namespace tessiva
