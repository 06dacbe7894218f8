#include "MGAnimationEffect.h"

#include <QPainter>
#include <QVariantAnimation>
#include <QWidget>
#include <cmath>

namespace {
class PoofWindow : public QWidget
{
public:
    explicit PoofWindow(const QPoint &centre)
        : QWidget(nullptr, Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowTransparentForInput)
    {
        setObjectName(QStringLiteral("MGAnimationEffectPoof"));
        setAttribute(Qt::WA_TranslucentBackground);
        setAttribute(Qt::WA_ShowWithoutActivating);
        setAttribute(Qt::WA_DeleteOnClose);
        resize(Size, Size);
        move(centre - QPoint(Size / 2, Size / 2));
        auto *animation = new QVariantAnimation(this);
        animation->setStartValue(0.0);
        animation->setEndValue(1.0);
        animation->setDuration(350);
        connect(animation, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
            m_progress = value.toReal();
            update();
        });
        connect(animation, &QVariantAnimation::finished, this, &QWidget::close);
        animation->start();
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        // Five puffs that swell and fade as they drift apart.
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        const QPointF centre(Size / 2.0, Size / 2.0);
        const qreal spread = 4 + 12 * m_progress;
        const qreal radius = 6 + 8 * m_progress;
        QColor smoke = palette().color(QPalette::Mid);
        smoke.setAlphaF(0.85 * (1 - m_progress));
        painter.setBrush(smoke);
        for (int i = 0; i < 5; ++i) {
            const qreal angle = i * 2 * M_PI / 5 - M_PI / 2;
            painter.drawEllipse(centre + QPointF(std::cos(angle), std::sin(angle)) * spread, radius, radius);
        }
        painter.drawEllipse(centre, radius, radius);
    }

private:
    static constexpr int Size = 64;
    qreal m_progress = 0;
};
}

void MGAnimationEffect::showPoof(const QPoint &screenCentre)
{
    (new PoofWindow(screenCentre))->show();
}
