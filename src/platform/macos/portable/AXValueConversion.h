#pragma once

#include <string_view>

#include "platform/ax/AXError.h"
#include "platform/ax/AXValue.h"
#include "platform/macos/portable/CFValueView.h"

namespace tessiva {

// The rules by which the macOS Accessibility adapter turns what AXUIElementCopyAttributeValue
// returns into the port's values, and the system's error numbers into the port's errors. Pure,
// compiled on every platform so the rules are tested on Linux.

// A CFArray becomes a list of elements when it holds only elements (AXChildren, AXRows,
// AXSelectedChildren); an empty array is an empty list. An array of anything else has no shape
// in the port and reads as absent, as does a value of an unknown type.
AXValue axValueFromCF(const CFValueView& value);

// The system's AXError number; numbers the port does not know are `failure`, so a new code in a
// later macOS still reads as an error rather than as success.
AXError axErrorFromSystemCode(int code);

// Settable values: what a write of `value` needs on the Core Foundation side. Writes the port
// makes are booleans (AXSelected), lists of elements (AXSelectedChildren, AXSelectedRows),
// strings and numbers; anything else is refused before reaching Logic.
enum class CFWriteShape { boolean, string, integer, real, elementArray, element, unsupported };
CFWriteShape cfWriteShape(const AXValue& value);

// Mouse locations from AppKit have their origin at the bottom left of the primary screen; the
// Accessibility tree and the event tap use the top left. `primaryScreenHeight` is the height of
// the screen holding the menu bar.
AXPoint topLeftFromBottomLeft(AXPoint point, double primaryScreenHeight);

}  // namespace tessiva
