// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJPropertyListSerialization.h"
#include "QJThreadingExtensions.h"
#include "qjtestsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSize>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using namespace QJThreadingExtensions;
using PL = QJPropertyListSerialization;

using QJTest::readFile;

namespace
{
QJDictionary unserializable()
{
    return QJDictionary {{u"size"_s, QJValue::fromObject(QVariant(QSize(3, 4)))}};
}

QJFileWrapper tree(int n)
{
    return QJFileWrapper::directory({{u"readme.txt"_s, QJFileWrapper::regularFile("tree " + QByteArray::number(n))},
        {u"sub"_s, QJFileWrapper::directory({{u"deep.bin"_s, QJFileWrapper::regularFile(QByteArray(n + 1, 'x'))}})}});
}
} // namespace

class TestThreadingExtensions : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }

private Q_SLOTS:
    // Every worker writes each kind at once with the others and gets its own writes' results.
    void workersWriteThroughTheMainThread()
    {
        constexpr int Workers = 6;
        std::vector<QList<bool>> outcomes(Workers); // the writes' results, in the order below
        std::vector<std::thread> threads;
        std::atomic<int> finished = 0; // publishes the outcomes to this thread
        // The failed writes log where they run, which must be the main thread.
        static std::atomic<int> loggedOnMain, loggedElsewhere;
        loggedOnMain = loggedElsewhere = 0;
        const QtMessageHandler testHandler
            = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) {
                  if (text.startsWith(u"Error while writing file"_s) && text.endsWith(u": No such file or directory"_s))
                      ++(QThread::currentThread() == qApp->thread() ? loggedOnMain : loggedElsewhere);
              });
        for (int i = 0; i < Workers; ++i) {
            // Inputs are made here; the workers only write them.
            const QString stem = path(u"w%1"_s.arg(i));
            const QString missing = path(u"missing/w%1.bin"_s.arg(i));
            const QByteArray data = "data " + QByteArray::number(i);
            const QJDictionary dictionary {{u"worker"_s, i}};
            const QJArray array {u"worker"_s, i};
            const QJFileWrapper wrapper = tree(i);
            threads.emplace_back([=, &outcome = outcomes[i], &finished] {
                outcome = {threadSecureWriteToFile(data, stem + u".bin"_s), threadSecureWriteToFile(data, missing),
                    threadSecureWriteToFile(dictionary, stem + u".plist"_s),
                    threadSecureWriteToFile(array, stem + u"-array.plist"_s),
                    threadSecureWriteToFile(wrapper, stem + u".d"_s)};
                ++finished;
            });
        }
        QTRY_COMPARE_WITH_TIMEOUT(finished.load(), Workers, 60000);
        for (std::thread &thread : threads)
            thread.join();
        qInstallMessageHandler(testHandler);
        QCOMPARE(loggedOnMain.load(), Workers);
        QCOMPARE(loggedElsewhere.load(), 0);

        for (int i = 0; i < Workers; ++i) {
            const QString stem = path(u"w%1"_s.arg(i));
            QCOMPARE(outcomes[i], (QList<bool> {true, false, true, true, true}));
            QCOMPARE(readFile(stem + u".bin"_s), "data " + QByteArray::number(i));
            QCOMPARE(PL::propertyListFromFile(stem + u".plist"_s), QJValue(QJDictionary {{u"worker"_s, i}}));
            QCOMPARE(PL::propertyListFromFile(stem + u"-array.plist"_s), QJValue(QJArray {u"worker"_s, i}));
            QVERIFY(QJFileWrapper::fromPath(stem + u".d"_s) == tree(i));
        }
    }

    // A regular-file wrapper reports its own write; on the main thread it is written at once.
    void regularFileWrappers()
    {
        QVERIFY(threadSecureWriteToFile(QJFileWrapper::regularFile("leaf"), path(u"leaf.bin"_s)));
        QCOMPARE(readFile(path(u"leaf.bin"_s)), QByteArray("leaf"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Error while writing file \".*/nowhere/leaf\": "_s));
        QVERIFY(!threadSecureWriteToFile(QJFileWrapper::regularFile("leaf"), path(u"nowhere/leaf"_s)));
        QVERIFY(QJThreadingExtensionsSaveResult == false);
    }

    void encodingFailureKeepsPreviousResult_data()
    {
        QTest::addColumn<bool>("previous");
        QTest::addColumn<bool>("array");
        QTest::newRow("dictionary after success") << true << false;
        QTest::newRow("dictionary after failure") << false << false;
        QTest::newRow("array after success") << true << true;
        QTest::newRow("array after failure") << false << true;
    }

    void encodingFailureKeepsPreviousResult()
    {
        QFETCH(bool, previous);
        QFETCH(bool, array);
        if (!previous)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Error while writing file "_s));
        QCOMPARE(
            threadSecureWriteToFile(QByteArray("x"), path(previous ? u"prev.bin"_s : u"none/prev.bin"_s)), previous);

        const QString target = path(u"unencodable.plist"_s);
        QTest::ignoreMessage(QtWarningMsg,
            qPrintable(u"Error while encoding file \"%1\": a property list cannot hold an object of type QSize"_s.arg(
                target)));
        const bool result = array ? threadSecureWriteToFile(QJArray {unserializable()}, target)
                                  : threadSecureWriteToFile(unserializable(), target);
        QCOMPARE(result, previous);
        QVERIFY(!QFile::exists(target));
    }

    void directoryWrappers()
    {
        // Over an existing directory: children are added or replaced, other files stay.
        const QString dir = path(u"existing"_s);
        QVERIFY(QDir().mkpath(dir + u"/sub"_s));
        QVERIFY(QJTest::writeFile(dir + u"/keep.txt"_s, "kept"));
        QVERIFY(threadSecureWriteToFile(tree(1), dir));
        QCOMPARE(readFile(dir + u"/keep.txt"_s), QByteArray("kept"));
        QCOMPARE(readFile(dir + u"/sub/deep.bin"_s), QByteArray("xx"));

        // Children that all fail, and a name that would leave the directory: still a success.
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Error while writing file \".*/existing/sub\": "_s));
        QTest::ignoreMessage(QtWarningMsg,
            qPrintable(u"Error while writing file \"%1/../escaped\": the name is not a single file name"_s.arg(dir)));
        const QJFileWrapper failing = QJFileWrapper::directory({{u"sub"_s, QJFileWrapper::regularFile("not a folder")},
            {u"../escaped"_s, QJFileWrapper::regularFile("out")}});
        QVERIFY(threadSecureWriteToFile(failing, dir));
        QVERIFY(!QFile::exists(path(u"escaped"_s)));

        QVERIFY(threadSecureWriteToFile(QJFileWrapper::symbolicLink(u"/tmp"_s), path(u"link"_s)));
        QVERIFY(!QFileInfo(path(u"link"_s)).exists() && !QFileInfo(path(u"link"_s)).isSymLink());
    }
};

QTEST_GUILESS_MAIN(TestThreadingExtensions)
#include "tst_threadingextensions.moc"
