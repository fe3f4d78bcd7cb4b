#include "ui/ShellIcons.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace tessiva {

namespace {

constexpr int kIconSize = 32;

template <typename Draw>
QIcon drawnIcon(Draw draw) {
    QPixmap pixmap(kIconSize, kIconSize);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    draw(painter);
    painter.end();
    return QIcon(pixmap);
}

}  // namespace

QIcon statusItemIcon() {
    QIcon icon = drawnIcon([](QPainter& painter) {
        // Two stacked bars and a focus dot: a bank being focused.
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::black);
        painter.drawRoundedRect(QRectF(4, 6, 24, 7), 2, 2);
        painter.drawRoundedRect(QRectF(4, 17, 16, 7), 2, 2);
        painter.drawEllipse(QRectF(22, 17, 7, 7));
    });
    icon.setIsMask(true);
    return icon;
}

QIcon checkmarkCircleIcon() {
    return drawnIcon([](QPainter& painter) {
        painter.setPen(QPen(QColor(0x1f, 0x9d, 0x55), 3));
        painter.drawEllipse(QRectF(3, 3, 26, 26));
        QPainterPath tick;
        tick.moveTo(9, 16);
        tick.lineTo(14, 21);
        tick.lineTo(23, 11);
        painter.drawPath(tick);
    });
}

QIcon bankIcon() {
    return drawnIcon([](QPainter& painter) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0x2f, 0x6f, 0xde));
        painter.drawRoundedRect(QRectF(4, 5, 24, 9), 2, 2);
        painter.drawRoundedRect(QRectF(4, 18, 24, 9), 2, 2);
    });
}

QIcon groupIcon() {
    return drawnIcon([](QPainter& painter) {
        painter.setPen(QPen(Qt::white, 1));
        for (int layer = 2; layer >= 0; --layer) {
            painter.setBrush(QColor(0x8a, 0x4f, 0xd8).lighter(100 + layer * 25));
            painter.drawRoundedRect(QRectF(4 + layer * 3, 14 - layer * 5, 18, 12), 2, 2);
        }
    });
}

}  // namespace tessiva
