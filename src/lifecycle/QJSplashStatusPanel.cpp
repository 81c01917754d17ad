// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJSplashStatusPanel.h"
#include "QJBundle.h"

#include <QApplication>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>

using namespace Qt::StringLiterals;

QJSplashStatusPanel::QJSplashStatusPanel(const QPixmap &pixmap)
    : QSplashScreen(pixmap.isNull() ? defaultPixmap() : pixmap)
{ }

QJSplashStatusPanel::~QJSplashStatusPanel() = default;

void QJSplashStatusPanel::openBootStatusPanel()
{
    show();
    raise();
}

void QJSplashStatusPanel::setBootStatusPanelInfo(const QString &info)
{
    // Shown as plain text; a participant's name never becomes markup.
    showMessage(info, Qt::AlignBottom | Qt::AlignHCenter, palette().color(QPalette::WindowText));
}

void QJSplashStatusPanel::closeBootStatusPanel()
{
    close();
}

QPixmap QJSplashStatusPanel::defaultPixmap()
{
    const QJBundle main = QJBundle::mainBundle();
    const QString name = main.objectForInfoDictionaryKey(u"CFBundleName"_s).toString();
    const QString version = main.objectForInfoDictionaryKey(u"CFBundleShortVersionString"_s).toString();
    const qreal ratio = qApp ? qApp->devicePixelRatio() : 1.0;
    QPixmap pixmap(QSize(420, 220) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    const QPalette palette = QApplication::palette();
    pixmap.fill(palette.color(QPalette::Window));
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(palette.color(QPalette::Mid));
    painter.drawRect(QRectF(0.5, 0.5, 419, 219));
    QFont title = QFontDatabase::systemFont(QFontDatabase::TitleFont);
    title.setPointSizeF(title.pointSizeF() * 1.8);
    title.setBold(true);
    painter.setFont(title);
    painter.setPen(palette.color(QPalette::WindowText));
    painter.drawText(QRectF(20, 50, 380, 60), Qt::AlignCenter | Qt::TextSingleLine, name);
    painter.setFont(QFontDatabase::systemFont(QFontDatabase::GeneralFont));
    painter.setPen(palette.color(QPalette::PlaceholderText));
    if (!version.isEmpty())
        painter.drawText(QRectF(20, 110, 380, 30), Qt::AlignCenter | Qt::TextSingleLine, version);
    return pixmap;
}
