// SPDX-License-Identifier: LGPL-2.1-or-later
// Settings and strings-table files where writing fails, or where reading meets a file that is
// huge, endless or not a file at all.
#include "QJBundle.h"
#include "QJPropertyListSerialization.h"
#include "QJUserDefaults.h"
#include "qjscratchfs.h"
#include "qjtestsupport.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>

using namespace Qt::StringLiterals;
using PL = QJPropertyListSerialization;

using QJTest::readFile;

class TestQJFiles : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;

private Q_SLOTS:
    void settingsWhereTheyCannotBeWritten_data()
    {
        QTest::addColumn<QString>("place");
        QTest::newRow("full disk") << u"full"_s;
        QTest::newRow("read-only file system") << u"read-only"_s;
        QTest::newRow("folder without write permission") << u"locked folder"_s;
        QTest::newRow("file without write permission") << u"locked file"_s;
    }

    // Synchronizing fails, the file keeps its bytes, nothing is left beside it, and the change stays
    // pending in memory.
    void settingsWhereTheyCannotBeWritten()
    {
        QFETCH(QString, place);
        const QString dir = m_dir.filePath(place);
        QVERIFY(QDir().mkpath(dir));
        const QString file = dir + u"/settings.plist"_s;
        const auto restore = qScopeGuard([&] {
            QFile::setPermissions(dir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
        });
        QJ_RUN_IN_SCRATCH(dir, place == u"full" || place == u"read-only" ? 64 : 0, [&](QJTest::Scratch &scratch) {
            QJUserDefaults defaults(file);
            defaults.setObject(u"one"_s, u"version"_s);
            if (!defaults.synchronize())
                return u"the first settings cannot be written"_s;
            const QByteArray before = readFile(file);
            if (place == u"read-only" && !scratch.remountReadOnly())
                return u"cannot remount read-only"_s;
            if (place.startsWith(u"locked")) {
                if (!QFile::setPermissions(place == u"locked folder" ? dir : file, QFile::ReadOwner | QFile::ExeOwner)
                    || !QJTest::Scratch::obeyPermissions())
                    return u"cannot take the write permission away"_s;
            }
            // 100 kB: more than the whole 64 kB scratch file system.
            const QJValue next = place == u"full" ? QJValue(QString(100000, u'x')) : QJValue(u"two"_s);
            defaults.setObject(next, u"version"_s);
            if (defaults.synchronize())
                return u"synchronize() answered success"_s;
            if (readFile(file) != before)
                return u"the file changed to: "_s + QString::fromUtf8(readFile(file).left(300));
            if (QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden)
                != QStringList {u"settings.plist"_s})
                return u"left beside the file: "_s
                    + QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).join(u' ');
            if (defaults.objectForKey(u"version"_s) != next)
                return u"the change was lost in memory"_s;
            return QString();
        });
    }

    void settingsAtPathsThatAreNoFile()
    {
        const QString dir = m_dir.filePath(u"folder.plist"_s);
        QVERIFY(QDir().mkpath(dir + u"/inside"_s));
        const QString plain = m_dir.filePath(u"plain-file"_s);
        QVERIFY(QJTest::writeFile(plain, "x"));
        for (const QString &path : {dir, plain + u"/settings.plist"_s}) {
            QJUserDefaults defaults(path);
            QVERIFY(defaults.objectForKey(u"k"_s).isNone());
            defaults.setObject(u"v"_s, u"k"_s);
            QVERIFY(!defaults.synchronize());
        }
        QVERIFY(QFileInfo(dir).isDir());
        QCOMPARE(QDir(dir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList {u"inside"_s});
        QCOMPARE(readFile(plain), QByteArray("x"));
    }

    // A property list, settings file or strings table larger than the limit is not read at all:
    // memory does not rise by the file's size.
    void hugeFilesAreRefusedUnread()
    {
        const QString settings = m_dir.filePath(u"huge.plist"_s);
        const QString table = m_dir.filePath(u"bundle/en.lproj/Huge.strings"_s);
        QVERIFY(QDir().mkpath(QFileInfo(table).absolutePath()));
        QVERIFY(QJTest::makeSparseFile(settings, PL::MaximumSize + 1));
        QVERIFY(QJTest::makeSparseFile(table, PL::MaximumSize + 1));
        QJValue value, plist;
        QString localized, plistError, tableError;
        const qint64 rise = QJTest::peakMemoryRiseKiB([&] {
            plist = PL::propertyListFromFile(settings, QJMutability::Immutable, nullptr, &plistError);
            value = QJUserDefaults(settings).objectForKey(u"k"_s);
            localized = QJBundle(m_dir.filePath(u"bundle"_s)).localizedStringForKey(u"k"_s, QString(), u"Huge"_s);
            PL::stringsTableFromFile(table, &tableError);
        });
        QVERIFY(value.isNone() && plist.isNone());
        QCOMPARE(localized, u"k"_s);
        QCOMPARE(plistError, u"the file is larger than %1 bytes"_s.arg(PL::MaximumSize));
        QCOMPARE(tableError, u"the strings table is larger than %1 bytes"_s.arg(PL::MaximumSize));
        if (rise < 0)
            QSKIP("the kernel does not report peak memory");
        QVERIFY2(rise < 64 * 1024, qPrintable(u"memory rose by %1 KiB"_s.arg(rise)));
    }

    // Reading a small file must not reserve room for the largest one: with its address space limited
    // to 128 MB above what it uses, a process still reads a property list, a settings file and a
    // strings table (a reservation it cannot get throws std::bad_alloc).
    void smallFilesReserveLittleMemory()
    {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        QSKIP("a sanitizer reserves terabytes of address space for itself");
#endif
        const QString plist = m_dir.filePath(u"small.plist"_s);
        QVERIFY(PL::writePropertyListToFile(QJDictionary {{u"k"_s, u"v"_s}}, plist, false));
        const QString table = m_dir.filePath(u"small/en.lproj/Small.strings"_s);
        QVERIFY(QDir().mkpath(QFileInfo(table).absolutePath()));
        QVERIFY(QFile::copy(plist, table));
        QJ_RUN_IN_SCRATCH(QString(), 0, [&](QJTest::Scratch &) {
            const rlim_t used = rlim_t(QJTest::residentKiB("VmSize")) * 1024;
            const rlimit limit {used + (rlim_t(128) << 20), used + (rlim_t(128) << 20)};
            if (::setrlimit(RLIMIT_AS, &limit) != 0)
                return u"cannot limit the address space"_s;
            try {
                if (PL::propertyListFromFile(plist).valueForKey(u"k"_s) != QJValue(u"v"_s))
                    return u"the property list did not read"_s;
                if (QJUserDefaults(plist).objectForKey(u"k"_s) != QJValue(u"v"_s))
                    return u"the settings did not read"_s;
                if (QJBundle(m_dir.filePath(u"small"_s)).localizedStringForKey(u"k"_s, QString(), u"Small"_s) != u"v")
                    return u"the strings table did not read"_s;
            } catch (const std::bad_alloc &) {
                return u"reading a small file ran out of address space"_s;
            }
            return QString();
        });
    }
};

QTEST_GUILESS_MAIN(TestQJFiles)
#include "tst_qjfiles.moc"
