#pragma once

#include <QIcon>

namespace tessiva {

// The shell's icons, drawn rather than shipped so the build carries no image files. The status
// item's icon is a template (mask) image, so macOS tints it for light and dark menu bars. The
// review's three icons stand in for the system images "checkmark.circle",
// "rectangle.grid.1x2.fill" and "square.stack.3d.up.fill".
QIcon statusItemIcon();
QIcon checkmarkCircleIcon();
QIcon bankIcon();
QIcon groupIcon();

}  // namespace tessiva
