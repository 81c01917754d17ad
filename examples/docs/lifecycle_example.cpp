// SPDX-License-Identifier: LGPL-2.1-or-later
// The example of docs/lifecycle.md: a program without windows whose start-up loads a dictionary
// in the background and whose shut-down saves the recent files. Exits with 1 if the sequences do
// not run as the guide says.
#include <QJKit/QJBootManager.h>
#include <QJKit/QJBootSequence.h>
#include <QJKit/QJCoreApplication.h>

#include <QStringList>
#include <QTextStream>
#include <QThread>
#include <QTimer>

using namespace Qt::StringLiterals;

static QStringList journal; // what happened, in order

//! [participant]
// A start-up step that finishes later: it loads its word list on a worker thread and reports
// back on the main thread.
class SpellingDictionary : public QObject, public QJBootSequence, public QJBootSequenceName
{
    Q_OBJECT
public:
    QString bootSequenceName() const override { return u"Loading the spelling dictionary"_s; }

    bool bootSequence() override
    {
        QThread *loader = QThread::create([this] {
            const QStringList words {u"harbour"_s, u"lantern"_s, u"quay"_s}; // stands for the real loading
            QMetaObject::invokeMethod(this, [this, words] {
                m_words = words;
                journal << u"dictionary loaded"_s;
                QJBootManager::objectFinishedBootSequence(this); // the next participant runs now
            });
        });
        connect(loader, &QThread::finished, loader, &QObject::deleteLater);
        loader->start();
        return false; // not finished yet
    }

private:
    QStringList m_words;
};

// A step that is done at once, at start-up and again at shut-down.
class RecentFiles : public QObject, public QJBootSequence, public QJShutdownSequence
{
    Q_OBJECT
public:
    static RecentFiles *sharedInstance()
    {
        static RecentFiles instance;
        return &instance;
    }
    bool bootSequence() override
    {
        journal << u"recent files read"_s;
        return true;
    }
    bool shutdownSequence() override
    {
        journal << u"recent files saved"_s;
        return true;
    }
};
//! [participant]

int main(int argc, char **argv)
{
    //! [main]
    QJCoreApplication app(argc, argv); // makes the boot manager
    QJBootManager::registerClassForBootSequence<SpellingDictionary>(); // a fresh object, owned by the manager
    QJBootManager::registerClassForBootSequence<RecentFiles>(); // its sharedInstance()
    QJBootManager::registerObjectForShutdownSequence(RecentFiles::sharedInstance());

    QObject::connect(app.bootManager(), &QJBootManager::bootFinished, &app, [] {
        journal << u"ready"_s;
        QTimer::singleShot(0, qApp, &QCoreApplication::quit); // a real program would work here
    });
    const int status = app.exec(); // start-up begins when the event loop starts
    //! [main]

    QTextStream(stdout) << journal.join(u"; "_s) << '\n';
    const QStringList expected {u"dictionary loaded"_s, u"recent files read"_s, u"ready"_s, u"recent files saved"_s};
    return status == 0 && journal == expected ? 0 : 1;
}

#include "lifecycle_example.moc"
