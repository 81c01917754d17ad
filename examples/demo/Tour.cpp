// SPDX-License-Identifier: LGPL-2.1-or-later
#include "Tour.h"
#include "WindowPicture.h"

#include <QApplication>
#include <QDir>
#include <QKeyEvent>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <memory>

using namespace Qt::StringLiterals;

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
    if (!WindowPicture::save(widget, path)) {
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
