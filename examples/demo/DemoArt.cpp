// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DemoArt.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>

using namespace Qt::StringLiterals;

namespace
{
const QColor Deep(0x17, 0x47, 0x54);
const QColor Sea(0x2b, 0x78, 0x87);
const QColor Accent(0xe8, 0x83, 0x3a);

QFont serif(qreal pixelSize, bool bold)
{
    QFont font(u"DejaVu Serif"_s);
    font.setStyleHint(QFont::Serif);
    font.setPixelSize(qRound(pixelSize));
    font.setBold(bold);
    return font;
}

QPixmap canvas(QSize size, qreal ratio)
{
    QPixmap pixmap(size * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    return pixmap;
}

// The page with its lines and the paragraph badge, in a square of side s at the origin.
void drawIcon(QPainter &p, qreal s)
{
    p.setRenderHint(QPainter::Antialiasing);
    QLinearGradient ground(0, 0, 0, s);
    ground.setColorAt(0, Sea);
    ground.setColorAt(1, Deep);
    p.setPen(Qt::NoPen);
    p.setBrush(ground);
    p.drawRoundedRect(QRectF(s * 0.04, s * 0.04, s * 0.92, s * 0.92), s * 0.2, s * 0.2);

    p.save();
    p.translate(s * 0.5, s * 0.5);
    p.rotate(-6);
    const QRectF page(-s * 0.27, -s * 0.33, s * 0.54, s * 0.64);
    p.setBrush(QColor(0, 0, 0, 60));
    p.drawRoundedRect(page.translated(s * 0.015, s * 0.025), s * 0.03, s * 0.03);
    p.setBrush(QColor(0xfb, 0xfa, 0xf5));
    p.drawRoundedRect(page, s * 0.03, s * 0.03);
    p.setBrush(QColor(0x9a, 0xa8, 0xac));
    const qreal lengths[] = {0.78, 0.9, 0.84, 0.55, 0.88, 0.7};
    for (int i = 0; i < 6; ++i) {
        const qreal y = page.top() + s * (0.09 + i * 0.085);
        p.drawRoundedRect(
            QRectF(page.left() + s * 0.06, y, (page.width() - s * 0.12) * lengths[i], s * 0.028), s * 0.014, s * 0.014);
    }
    p.restore();

    const QRectF badge(s * 0.56, s * 0.56, s * 0.34, s * 0.34);
    p.setBrush(QColor(0, 0, 0, 50));
    p.drawEllipse(badge.translated(0, s * 0.015));
    p.setBrush(Accent);
    p.drawEllipse(badge);
    p.setPen(Qt::white);
    p.setFont(serif(s * 0.24, true));
    p.drawText(badge.translated(0, -s * 0.005), Qt::AlignCenter, QString(QChar(0x00b6)));
}
} // namespace

QPixmap DemoArt::iconPixmap(int size, qreal ratio)
{
    QPixmap pixmap = canvas(QSize(size, size), ratio);
    QPainter painter(&pixmap);
    drawIcon(painter, size);
    return pixmap;
}

QIcon DemoArt::applicationIcon()
{
    QIcon icon;
    for (int size : {16, 24, 32, 48, 64, 128, 256})
        icon.addPixmap(iconPixmap(size));
    return icon;
}

QPixmap DemoArt::nameImage(const QString &name, QSize size, qreal ratio)
{
    QPixmap pixmap = canvas(size, ratio);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    QFont font = serif(size.height() * 0.5, true);
    // Shrink until the name fits the width.
    while (font.pixelSize() > 8 && QFontMetricsF(font).horizontalAdvance(name) > size.width() - 8)
        font.setPixelSize(font.pixelSize() - 1);
    p.setFont(font);
    const QRectF area(0, 0, size.width(), size.height());
    p.setPen(QColor(0, 0, 0, 90));
    p.drawText(area.translated(0, 2), Qt::AlignCenter, name);
    p.setPen(Qt::white);
    p.drawText(area, Qt::AlignCenter, name);
    return pixmap;
}

QColor DemoArt::splashTextColor()
{
    return QColor(0xd9, 0xee, 0xf0);
}

QPixmap DemoArt::splashPixmap(const QString &name, const QString &version, qreal ratio)
{
    const QSize size(540, 300);
    QPixmap pixmap = canvas(size, ratio);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);

    QLinearGradient ground(0, 0, size.width(), size.height());
    ground.setColorAt(0, Sea);
    ground.setColorAt(1, Deep);
    p.fillRect(QRect(QPoint(), size), ground);
    // Faint circles, like ripples around a harbour light.
    QRadialGradient glow(QPointF(120, 130), 260);
    glow.setColorAt(0, QColor(255, 255, 255, 40));
    glow.setColorAt(1, QColor(255, 255, 255, 0));
    p.fillRect(QRect(QPoint(), size), glow);
    p.setBrush(Qt::NoBrush);
    for (int r = 90; r < 420; r += 46) {
        p.setPen(QPen(QColor(255, 255, 255, 22), 1.5));
        p.drawEllipse(QPointF(120, 130), r, r);
    }

    p.save();
    p.translate(52, 62);
    drawIcon(p, 136);
    p.restore();

    p.setPen(Qt::white);
    p.setFont(serif(34, true));
    p.drawText(QRectF(214, 78, 310, 50), Qt::AlignLeft | Qt::AlignVCenter, name);
    QFont sans(u"DejaVu Sans"_s);
    sans.setStyleHint(QFont::SansSerif);
    sans.setPixelSize(13);
    p.setFont(sans);
    p.setPen(QColor(0xe6, 0xf3, 0xf4));
    p.drawText(
        QRectF(216, 128, 300, 40), Qt::AlignLeft | Qt::TextWordWrap, u"A small writing application built with QJKit"_s);
    p.setPen(QColor(0xb5, 0xd6, 0xda));
    sans.setPixelSize(12);
    p.setFont(sans);
    p.drawText(QRectF(216, 172, 300, 20), Qt::AlignLeft, u"Version %1"_s.arg(version));

    // The band the status text is shown in.
    p.fillRect(QRectF(0, size.height() - 40, size.width(), 40), QColor(0, 0, 0, 55));
    p.setPen(QColor(255, 255, 255, 30));
    p.drawLine(QPointF(0, size.height() - 40.5), QPointF(size.width(), size.height() - 40.5));
    return pixmap;
}
