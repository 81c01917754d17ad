// SPDX-License-Identifier: LGPL-2.1-or-later
#include "WindowPicture.h"

#include <QApplication>
#include <QFile>
#include <QPainter>
#include <QWidget>

using namespace Qt::StringLiterals;

namespace
{
// The title a window manager would show: "[*]" becomes "*" for a modified window.
QString shownTitle(const QWidget *window)
{
    QString title = window->windowTitle();
    return title.replace(u"[*]"_s, window->isWindowModified() ? u"*"_s : QString());
}

bool hasTitleBar(const QWidget *window)
{
    const Qt::WindowFlags flags = window->windowFlags();
    const Qt::WindowType type = window->windowType();
    return window->isWindow() && !flags.testFlag(Qt::FramelessWindowHint) && type != Qt::SplashScreen
        && type != Qt::Popup && type != Qt::ToolTip;
}

// A plain title bar and a hairline border around the window's own picture.
QImage framed(const QPixmap &content, const QString &title)
{
    const qreal ratio = content.devicePixelRatio();
    const QSize inner = content.deviceIndependentSize().toSize();
    constexpr int Bar = 30;
    QImage image(QSize(inner.width() + 2, inner.height() + Bar + 1) * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(QColor(0x9a, 0x9c, 0xa3));
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QLinearGradient bar(0, 0, 0, Bar);
    bar.setColorAt(0, QColor(0xf1, 0xf1, 0xf3));
    bar.setColorAt(1, QColor(0xdf, 0xe0, 0xe4));
    p.fillRect(QRect(1, 1, inner.width(), Bar - 1), bar);
    QFont font = QApplication::font();
    font.setBold(true);
    p.setFont(font);
    p.setPen(QColor(0x33, 0x35, 0x3a));
    const QRect titleArea(60, 1, inner.width() - 118, Bar - 1);
    p.drawText(titleArea, Qt::AlignCenter, QFontMetrics(font).elidedText(title, Qt::ElideMiddle, titleArea.width()));
    // Window buttons: minimise, maximise, close.
    p.setPen(QPen(QColor(0x5a, 0x5c, 0x63), 1.4));
    const int y = Bar / 2 + 1;
    int x = inner.width() - 54;
    p.drawLine(x - 4, y + 3, x + 4, y + 3);
    x += 18;
    p.drawRect(QRectF(x - 4, y - 4, 8, 8));
    x += 18;
    p.drawLine(x - 4, y - 4, x + 4, y + 4);
    p.drawLine(x - 4, y + 4, x + 4, y - 4);
    p.drawPixmap(QPoint(1, Bar), content);
    return image;
}
} // namespace

bool WindowPicture::save(QWidget *window, const QString &path)
{
    const QPixmap picture = window->grab();
    if (picture.isNull())
        return false;
    const QString partial = path + u".part"_s;
    const bool written
        = hasTitleBar(window) ? framed(picture, shownTitle(window)).save(partial, "PNG") : picture.save(partial, "PNG");
    QFile::remove(path);
    return written && QFile::rename(partial, path);
}
