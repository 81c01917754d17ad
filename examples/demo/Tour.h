// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QList>
#include <QObject>
#include <QString>

#include <functional>

class QWidget;

/**
 * A scripted walk through the application: steps run one after another, each when the one before
 * has said it is done, and screenshots of windows are saved into a folder.
 *
 * A step that does not finish within its time limit ends the tour as failed, so a tour run by a
 * script never hangs.
 */
class Tour : public QObject
{
    Q_OBJECT

public:
    /** Calls the next step; a step calls it once, now or later. */
    using Next = std::function<void()>;
    /** What one step does. */
    using Step = std::function<void(const Next &next)>;

    /** A tour saving its screenshots into @p directory (made when missing). */
    explicit Tour(const QString &directory, QObject *parent = nullptr);

    /** Adds a step described by @p what, which must finish within @p timeout milliseconds. */
    void add(const QString &what, Step step, int timeout = 30000);
    /** Adds a step that does @p action and goes on after @p milliseconds. */
    void addAfter(const QString &what, int milliseconds, std::function<void()> action);
    /** Adds a step that goes on as soon as @p condition holds (tested every 50 ms). */
    void addWait(const QString &what, std::function<bool()> condition, int timeout = 30000);
    /** Adds a step that saves a screenshot of @p widget() as "<name>.png". */
    void addShot(const QString &name, std::function<QWidget *()> widget);

    /** Runs the steps. */
    void start();
    /** Ends the tour as failed, saying @p why. */
    void fail(const QString &why);

    /**
     * Saves a picture of the window @p widget into the tour's folder as "<name>.png". A window
     * with a title bar gets one drawn, with its title, since a virtual screen has none.
     * @return the file's path, or an empty string when it could not be saved.
     */
    QString shoot(QWidget *widget, const QString &name);
    /** @return the tour's folder. */
    QString directory() const { return m_directory; }
    /** @return the screenshots saved so far. */
    QStringList shots() const { return m_shots; }

    /** Types @p text into @p target one character every @p interval ms, as key presses; then @p done. */
    static void typeText(QWidget *target, const QString &text, int interval, const Next &done);
    /** Sends @p count presses of @p key to @p target. */
    static void pressKey(QWidget *target, int key, int count = 1, Qt::KeyboardModifiers modifiers = Qt::NoModifier);

Q_SIGNALS:
    /** The tour ended: every step ran (@p ok) or one failed. */
    void finished(bool ok);

private:
    struct Entry
    {
        QString what;
        Step step;
        int timeout;
    };
    void runNext();

    QString m_directory;
    QList<Entry> m_steps;
    QStringList m_shots;
    int m_current = -1;
    quint64 m_generation = 0;
    bool m_over = false;
};
