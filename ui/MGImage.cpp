#include "MGImage.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPixmap>
#include <QtMath>
#include <functional>

namespace {
// Draws one image at 16 and 32 pixels into an icon; `draw` works in a 16 × 16 space.
QIcon drawnIcon(const std::function<void(QPainter &)> &draw)
{
    QIcon icon;
    for (int size : {16, 32}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(size / 16.0, size / 16.0);
        draw(painter);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

QColor foreground()
{
    return QGuiApplication::palette().color(QPalette::WindowText);
}

void strokeLines(QPainter &painter, const QColor &color, const QList<QLineF> &lines, qreal width = 2.0)
{
    painter.setPen(QPen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawLines(lines);
}
}

QIcon MGImage::plusImage()
{
    return drawnIcon([](QPainter &p) { strokeLines(p, foreground(), {{8, 3, 8, 13}, {3, 8, 13, 8}}); });
}

QIcon MGImage::minusImage()
{
    return drawnIcon([](QPainter &p) { strokeLines(p, foreground(), {{3, 8, 13, 8}}); });
}

QIcon MGImage::settingsImage()
{
    return drawnIcon([](QPainter &p) {
        // A gear: eight teeth around a ring.
        QPainterPath gear;
        for (int i = 0; i < 8; ++i) {
            const qreal angle = qDegreesToRadians(i * 45.0);
            const QPointF centre(8 + 5.5 * qCos(angle), 8 + 5.5 * qSin(angle));
            gear.addEllipse(centre, 1.6, 1.6);
        }
        gear.addEllipse(QPointF(8, 8), 5, 5);
        p.setPen(Qt::NoPen);
        p.setBrush(foreground());
        p.drawPath(gear.simplified());
        p.setBrush(Qt::transparent);
        p.setCompositionMode(QPainter::CompositionMode_Clear);
        p.drawEllipse(QPointF(8, 8), 2, 2);
    });
}

QIcon MGImage::checkmarkImage()
{
    return drawnIcon([](QPainter &p) { strokeLines(p, QColor(0x2e, 0x9e, 0x44), {{3, 8.5, 6.5, 12}, {6.5, 12, 13, 4}}); });
}

QIcon MGImage::xmarkImage()
{
    return drawnIcon([](QPainter &p) { strokeLines(p, QColor(0xd0, 0x33, 0x2b), {{4, 4, 12, 12}, {12, 4, 4, 12}}); });
}

QIcon MGImage::userImage()
{
    return drawnIcon([](QPainter &p) {
        // A head and shoulders.
        p.setPen(Qt::NoPen);
        p.setBrush(foreground());
        p.drawEllipse(QPointF(8, 5), 3, 3);
        QPainterPath body;
        body.moveTo(2.5, 15);
        body.cubicTo(2.5, 9.5, 13.5, 9.5, 13.5, 15);
        body.closeSubpath();
        p.drawPath(body);
    });
}

QIcon MGImage::groupImage()
{
    return drawnIcon([](QPainter &p) {
        // Two heads and shoulders, one behind the other.
        p.setPen(Qt::NoPen);
        const QColor front = foreground();
        QColor back = front;
        back.setAlphaF(0.55);
        for (const auto &[x, color] : {std::pair{10.5, back}, std::pair{5.5, front}}) {
            p.setBrush(color);
            p.drawEllipse(QPointF(x, 5.5), 2.5, 2.5);
            QPainterPath body;
            body.moveTo(x - 4.5, 15);
            body.cubicTo(x - 4.5, 10, x + 4.5, 10, x + 4.5, 15);
            body.closeSubpath();
            p.drawPath(body);
        }
    });
}
