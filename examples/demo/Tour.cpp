// SPDX-License-Identifier: LGPL-2.1-or-later
#include "Tour.h"

#include <QApplication>
#include <QDir>
#include <QKeyEvent>
#include <QPainter>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <memory>

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

Tour::Tour(const QString &directory, QObject *parent) : QObject(parent), m_directory(directory)
{
    QDir().mkpath(directory);
}

void Tour::add(const QString &what, Step step, int timeout)
{
    m_steps.append({what, std::move(step), timeout});
}

void Tour::addAfter(const QString &what, int milliseconds, std::function<void()> action)
{
    add(what, [this, milliseconds, action = std::move(action)](const Next &next) {
        action();
        QTimer::singleShot(milliseconds, this, next);
    });
}

void Tour::addWait(const QString &what, std::function<bool()> condition, int timeout)
{
    add(
        what,
        [this, condition = std::move(condition)](const Next &next) {
            auto *poll = new QTimer(this);
            poll->setInterval(50);
            auto test = [poll, condition, next] {
                if (!condition())
                    return;
                poll->stop();
                poll->deleteLater();
                next();
            };
            connect(poll, &QTimer::timeout, this, test);
            poll->start();
        },
        timeout);
}

void Tour::addShot(const QString &name, std::function<QWidget *()> widget)
{
    add(u"screenshot "_s + name, [this, name, widget = std::move(widget)](const Next &next) {
        QWidget *window = widget();
        if (!window || !window->isVisible()) {
            fail(u"the window for "_s + name + u" is not on screen"_s);
            return;
        }
        if (shoot(window, name).isEmpty())
            return;
        next();
    });
}

void Tour::start()
{
    m_current = -1;
    m_over = false;
    runNext();
}

void Tour::runNext()
{
    if (m_over)
        return;
    ++m_current;
    const quint64 generation = ++m_generation;
    if (m_current >= m_steps.size()) {
        m_over = true;
        std::printf("tour: done, %lld screenshots in %s\n", qlonglong(m_shots.size()), qPrintable(m_directory));
        std::fflush(stdout);
        Q_EMIT finished(true);
        return;
    }
    const Entry &entry = m_steps.at(m_current);
    std::printf("tour: %s\n", qPrintable(entry.what));
    std::fflush(stdout);
    QTimer::singleShot(entry.timeout, this, [this, generation, what = entry.what] {
        if (generation == m_generation && !m_over)
            fail(u"timed out: "_s + what);
    });
    // A step's "next" counts once, and only while its step is the current one.
    auto called = std::make_shared<bool>(false);
    entry.step([this, generation, called] {
        if (*called || generation != m_generation)
            return;
        *called = true;
        // Always from the event loop, so steps never nest.
        QTimer::singleShot(0, this, [this] { runNext(); });
    });
}

void Tour::fail(const QString &why)
{
    if (m_over)
        return;
    m_over = true;
    std::fprintf(stderr, "tour: failed: %s\n", qPrintable(why));
    Q_EMIT finished(false);
}

QString Tour::shoot(QWidget *widget, const QString &name)
{
    const QString path = m_directory + u'/' + name + u".png"_s;
    const QPixmap picture = widget->grab();
    const bool saved = !picture.isNull()
        && (hasTitleBar(widget) ? framed(picture, shownTitle(widget)).save(path) : picture.save(path));
    if (!saved) {
        fail(u"could not save "_s + path);
        return QString();
    }
    m_shots.append(path);
    std::printf("tour: saved %s\n", qPrintable(path));
    std::fflush(stdout);
    return path;
}

void Tour::typeText(QWidget *target, const QString &text, int interval, const Next &done)
{
    auto *timer = new QTimer(target);
    timer->setInterval(interval);
    auto index = std::make_shared<qsizetype>(0);
    connect(timer, &QTimer::timeout, target, [target, text, timer, index, done] {
        if (*index >= text.size()) {
            timer->stop();
            timer->deleteLater();
            done();
            return;
        }
        const QChar c = text.at((*index)++);
        const int key = c == u'\n' ? int(Qt::Key_Return) : int(c.toUpper().unicode());
        const QString typed = c == u'\n' ? u"\r"_s : QString(c);
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, typed);
        QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, typed);
        QApplication::sendEvent(target, &press);
        QApplication::sendEvent(target, &release);
    });
    timer->start();
}

void Tour::pressKey(QWidget *target, int key, int count, Qt::KeyboardModifiers modifiers)
{
    for (int i = 0; i < count; ++i) {
        QKeyEvent press(QEvent::KeyPress, key, modifiers);
        QKeyEvent release(QEvent::KeyRelease, key, modifiers);
        QApplication::sendEvent(target, &press);
        QApplication::sendEvent(target, &release);
    }
}
