// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DemoSplash.h"

#include "DemoArt.h"
#include "QJBundle.h"

#include <QApplication>
#include <QPainter>

using namespace Qt::StringLiterals;

DemoSplash::DemoSplash()
    : QJSplashStatusPanel(
        DemoArt::splashPixmap(QJBundle::mainBundle().objectForInfoDictionaryKey(u"CFBundleName"_s).toString(),
            QJBundle::mainBundle().objectForInfoDictionaryKey(u"CFBundleShortVersionString"_s).toString(),
            qApp->devicePixelRatio()))
{ }

void DemoSplash::setBootStatusPanelInfo(const QString &info)
{
    // The manager clears the text when the last step is done and only the minimum time is left.
    QJSplashStatusPanel::setBootStatusPanelInfo(info.isEmpty() ? tr("Ready") : info);
    Q_EMIT infoChanged(info);
}

void DemoSplash::drawContents(QPainter *painter)
{
    QFont font(u"DejaVu Sans"_s);
    font.setPixelSize(13);
    painter->setFont(font);
    painter->setPen(DemoArt::splashTextColor());
    const QRect band(0, height() - 40, width(), 40);
    painter->drawText(band.adjusted(16, 0, -16, 0), Qt::AlignCenter | Qt::TextSingleLine, message());
}
