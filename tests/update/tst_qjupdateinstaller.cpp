// SPDX-License-Identifier: LGPL-2.1-or-later
// Installing updates from a real local HTTP server, with packages and signatures made by the real
// signing tool: what verifies, what is refused, and that every failure leaves the install folder
// exactly as it was, with nothing beside it.
#include "QJPropertyListSerialization.h"
#include "QJUpdateInstaller.h"
#include "QJUpdateSignature.h"
#include "VersionServer.h"
#include "qjscratchfs.h"
#include "qjtestsupport.h"

#include <QDir>
#include <QDirIterator>
#include <QTemporaryDir>
#include <QTest>

#include <archive.h>
#include <archive_entry.h>

#include <sys/stat.h>
#include <sys/wait.h>

using namespace Qt::StringLiterals;

namespace
{
// Every entry below a folder with its mode and bytes (a link's target): equal snapshots, equal folders.
QStringList snapshot(const QString &folder)
{
    QStringList entries;
    QDirIterator it(
        folder, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo info = it.nextFileInfo();
        struct stat status;
        ::lstat(QFile::encodeName(info.filePath()).constData(), &status);
        QString line = QDir(folder).relativeFilePath(info.filePath()) + u' ' + QString::number(status.st_mode, 8);
        if (info.isSymLink())
            line += u" -> "_s + info.symLinkTarget();
        else if (info.isFile())
            line += u' ' + QString::fromLatin1(QJTest::readFile(info.filePath()).toHex());
        entries.append(line);
    }
    entries.sort();
    return entries;
}

// One entry of a hand-made archive.
struct Entry
{
    Entry(const QByteArray &path = {}, const QByteArray &contents = {}, mode_t type = AE_IFREG,
        const QByteArray &link = {}, int perm = 0644)
        : path(path), contents(contents), type(type), link(link), perm(perm)
    { }
    QByteArray path;
    QByteArray contents;
    mode_t type;
    QByteArray link; // a symbolic link's target or a hard link's source
    int perm;
};

// Writes a gzip-compressed tar archive of @p entries, including ones no honest tool would write.
bool writeArchive(const QString &path, const QList<Entry> &entries)
{
    archive *a = archive_write_new();
    archive_write_set_format_pax_restricted(a);
    archive_write_add_filter_gzip(a);
    bool ok = archive_write_open_filename(a, QFile::encodeName(path).constData()) == ARCHIVE_OK;
    for (const Entry &e : entries) {
        archive_entry *entry = archive_entry_new();
        archive_entry_set_pathname(entry, e.path.constData());
        archive_entry_set_filetype(entry, e.type);
        archive_entry_set_perm(entry, e.type == AE_IFDIR ? 0755 : e.perm);
        if (e.type == AE_IFLNK)
            archive_entry_set_symlink(entry, e.link.constData());
        if (e.type == AE_IFREG && !e.link.isEmpty())
            archive_entry_set_hardlink(entry, e.link.constData());
        archive_entry_set_size(entry, e.contents.size());
        ok = ok && archive_write_header(a, entry) == ARCHIVE_OK;
        if (!e.contents.isEmpty())
            ok = ok && archive_write_data(a, e.contents.constData(), size_t(e.contents.size())) == e.contents.size();
        archive_entry_free(entry);
    }
    ok = archive_write_close(a) == ARCHIVE_OK && ok;
    archive_write_free(a);
    return ok;
}
} // namespace

class TestQJUpdateInstaller : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<VersionServer> m_server;
    QString m_keys; // folder of the key pairs
    QString m_installRoot; // holds only the install folder "app"
    QString m_install;
    QStringList m_oldVersion;
    enum Fault { None, ChangedByte, OtherKey, LengthShort, LengthLong, CutShort, NoSignature, NoKey };

    QString versions() const { return m_dir.filePath(u"srv/testwriter"_s); }
    QString publicKey(const QString &name = u"good"_s) const
    {
        return QString::fromUtf8(QJTest::readFile(m_keys + u'/' + name + u".pub"_s));
    }

    // Signs @p package with the key pair @p key; @p legacy signs its bytes instead of their hash.
    QString sign(const QString &package, const QString &key = u"good"_s, bool legacy = false)
    {
        QStringList arguments {u"-S"_s, u"-s"_s, m_keys + u'/' + key + u".sec"_s, u"-m"_s, package};
        if (legacy)
            arguments.insert(1, u"-l"_s);
        if (!QJTest::runProgram(u"minisign"_s, arguments, m_keys))
            return QString();
        return QString::fromUtf8(QJTest::readFile(package + u".minisig"_s));
    }

    // Publishes version "42" with @p package, the record saying @p length and @p signature.
    void publish(const QString &package, qint64 length, const QString &signature)
    {
        QDir().mkpath(versions());
        const QString name = QFileInfo(package).fileName();
        if (QFileInfo(package).absolutePath() != versions())
            QVERIFY(QFile::copy(package, versions() + u'/' + name));
        QJDictionary record {{u"version"_s, u"4.2"_s}, {u"en"_s, u"New."_s}, {u"package"_s, name}};
        if (length >= 0)
            record.setObject(length, u"length"_s);
        if (!signature.isEmpty())
            record.setObject(signature, u"signature"_s);
        QVERIFY(QJPropertyListSerialization::writePropertyListToFile(record, versions() + u"/42.plist"_s, false));
        QVERIFY(QJPropertyListSerialization::writePropertyListToFile(
            QJDictionary {{u"42"_s, u"2026-11-24"_s}}, versions() + u"/info.plist"_s, false));
    }

    // The good package: a program, a folder and a link, with their modes.
    QString goodPackage()
    {
        const QString package = m_dir.filePath(u"good-1.tar.gz"_s);
        if (!QFileInfo::exists(package)) {
            writeArchive(package,
                {{"bin/", {}, AE_IFDIR}, {"bin/writer", "#!/bin/sh\necho 4.2\n", AE_IFREG, {}, 0755},
                    {"README", "Version 4.2\n"}, {"docs/", {}, AE_IFDIR}, {"docs/readme", {}, AE_IFLNK, "../README"}});
            ::chmod(QFile::encodeName(package).constData(), 0644);
        }
        return package;
    }

    QJUpdateInstaller *makeInstaller(QObject *parent)
    {
        auto *installer = new QJUpdateInstaller(parent);
        installer->setBaseUrl(m_server->baseUrl());
        installer->setApplicationName(u"Test Writer"_s);
        installer->setInstalledBuild(u"41"_s);
        installer->setPublicKey(publicKey());
        installer->setInstallPath(m_install);
        installer->setTimeout(5000);
        return installer;
    }

    void expectUntouched()
    {
        QCOMPARE(snapshot(m_install), m_oldVersion);
        QCOMPARE(QDir(m_installRoot).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
            QStringList {u"app"_s});
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_keys = m_dir.filePath(u"keys"_s);
        QVERIFY(QDir().mkpath(m_keys));
        for (const QString &name : {u"good"_s, u"other"_s}) {
            QVERIFY2(QJTest::runProgram(u"minisign"_s,
                         {u"-G"_s, u"-W"_s, u"-p"_s, name + u".pub"_s, u"-s"_s, name + u".sec"_s}, m_keys),
                "the signing tool cannot make a key pair");
        }
        m_server = std::make_unique<VersionServer>(m_dir.filePath(u"srv"_s));
        QVERIFY(m_server->listen());
    }

    void init()
    {
        // The installed version: two files with distinct modes in a folder of its own.
        m_installRoot
            = m_dir.filePath(u"installed-%1"_s.arg(QString::fromLatin1(QTest::currentDataTag())).replace(u' ', u'-'));
        m_install = m_installRoot + u"/app"_s;
        QVERIFY(QDir().mkpath(m_install + u"/bin"_s));
        QVERIFY(QJTest::writeFile(m_install + u"/bin/writer"_s, "#!/bin/sh\necho 4.1\n"));
        QVERIFY(QJTest::writeFile(m_install + u"/README"_s, "Version 4.1\n"));
        ::chmod(QFile::encodeName(m_install + u"/bin/writer"_s).constData(), 0750);
        m_oldVersion = snapshot(m_install);
        QDir(versions()).removeRecursively();
    }

    // Signatures verify exactly when they were made by the trusted key over these very bytes; damaged
    // or foreign signature files are refused with a reason.
    void signatures_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("legacy");
        QTest::addColumn<QByteArray>("change"); // appended to the package after signing
        QTest::addColumn<int>("line"); // of the signature file, replaced (-1: none)
        QTest::addColumn<QString>("replacement"); // null: the line removed
        QTest::addColumn<QString>("error");
        const QString good = u"good"_s, mismatch = u"the package does not match its signature"_s;
        // Both algorithms of the key are accepted.
        QTest::newRow("hashed") << good << false << QByteArray() << -1 << QString() << QString();
        QTest::newRow("legacy") << good << true << QByteArray() << -1 << QString() << QString();
        // One byte more, for either algorithm, no longer verifies.
        QTest::newRow("hashed, a byte added") << good << false << "x"_ba << -1 << QString() << mismatch;
        QTest::newRow("legacy, a byte added") << good << true << "x"_ba << -1 << QString() << mismatch;
        // A key pair the host does not trust is refused by its id, before any arithmetic.
        QTest::newRow("another key") << u"other"_s << false << QByteArray() << -1 << QString()
                                     << u"the package is signed with another key"_s;
        // The trusted comment is signed: changing it breaks the global signature.
        QTest::newRow("trusted comment") << good << false << QByteArray() << 2 << u"trusted comment: timestamp:0"_s
                                         << u"the signature's trusted comment does not verify"_s;
        QTest::newRow("signature line") << good << false << QByteArray() << 1 << u"RWQ="_s
                                        << u"the signature is damaged"_s;
        // An algorithm other than the two known ones, with everything else intact.
        QTest::newRow("algorithm") << good << false << QByteArray() << 1 << u"algorithm"_s
                                   << u"the signature uses an unknown algorithm"_s;
        QTest::newRow("missing line") << good << false << QByteArray() << 3 << QString()
                                      << u"the signature is not a four-line signature file"_s;
    }
    void signatures()
    {
        QFETCH(QString, key);
        QFETCH(bool, legacy);
        QFETCH(QByteArray, change);
        QFETCH(int, line);
        QFETCH(QString, replacement);
        QFETCH(QString, error);
        const QString package = m_dir.filePath(u"signed.bin"_s);
        QVERIFY(QJTest::writeFile(package, QByteArray(100000, 'p')));
        QStringList lines = sign(package, key, legacy).split(u'\n');
        QVERIFY(lines.size() > 3);
        if (!change.isEmpty())
            QVERIFY(QJTest::writeFile(package, QByteArray(100000, 'p') + change));
        if (replacement == u"algorithm") {
            QByteArray bytes = QByteArray::fromBase64(lines[line].toLatin1());
            bytes[1] = 'X';
            replacement = QString::fromLatin1(bytes.toBase64());
        }
        if (line >= 0 && replacement.isNull())
            lines.removeAt(line);
        else if (line >= 0)
            lines[line] = replacement;
        QString why;
        QCOMPARE(QJUpdateSignature::verifyFile(package, lines.join(u'\n'), publicKey(), &why), error.isEmpty());
        QCOMPARE(why, error);
    }

    // Every way an install can fail leaves the install folder as it was, with nothing beside it; a
    // good package replaces its contents, modes and links kept.
    void install_data()
    {
        QTest::addColumn<QList<Entry>>("entries"); // empty: the good package
        QTest::addColumn<int>("fault");
        QTest::addColumn<QString>("error"); // empty: installed
        const QList<Entry> good;
        QTest::newRow("installed") << good << int(None) << QString();
        QTest::newRow("package changed by a byte")
            << good << int(ChangedByte) << u"the package does not match its signature"_s;
        QTest::newRow("signed with another key")
            << good << int(OtherKey) << u"the package is signed with another key"_s;
        // The server sends more than the record announced: the download stops there.
        QTest::newRow("more than the length") << good << int(LengthShort) << u"the server sent more than"_s;
        QTest::newRow("less than the length") << good << int(LengthLong) << u"the download ended after"_s;
        QTest::newRow("download cut in the middle") << good << int(CutShort) << u"download"_s;
        // Without a signature there is no package to install, and without a key nothing installs.
        QTest::newRow("record without signature") << good << int(NoSignature) << u"no newer version to install"_s;
        QTest::newRow("host without a key") << good << int(NoKey) << u"names no public key"_s;
        QTest::newRow("dot-dot entry") << QList<Entry> {{"../escaped", "x"}} << int(None) << u"outside its folder"_s;
        QTest::newRow("nested dot-dot") << QList<Entry> {{"bin/../../escaped", "x"}} << int(None)
                                        << u"outside its folder"_s;
        QTest::newRow("absolute path") << QList<Entry> {{"/tmp/escaped", "x"}} << int(None) << u"outside its folder"_s;
        QTest::newRow("link pointing outside")
            << QList<Entry> {{"bin/", {}, AE_IFDIR}, {"bin/up", {}, AE_IFLNK, "../../x"}} << int(None)
            << u"link pointing outside"_s;
        QTest::newRow("absolute link") << QList<Entry> {{"etc", {}, AE_IFLNK, "/etc"}} << int(None)
                                       << u"link pointing outside"_s;
        // Through a link the archive made itself: refused by the unpacker's own guard.
        QTest::newRow("write through a link")
            << QList<Entry> {{"d", {}, AE_IFLNK, "."}, {"d/x", "x"}} << int(None) << u"cannot be written"_s;
        QTest::newRow("hard link") << QList<Entry> {{"a", "x"}, {"b", {}, AE_IFREG, "a"}} << int(None)
                                   << u"hard link"_s;
        QTest::newRow("device") << QList<Entry> {{"dev", {}, AE_IFCHR}} << int(None) << u"special file"_s;
        QTest::newRow("huge expansion") << QList<Entry> {{"big", QByteArray(8 << 20, '\0')}} << int(None)
                                        << u"unpacks to more than"_s;
        QTest::newRow("not an archive") << QList<Entry> {{"#garbage", {}}} << int(None) << u"archive"_s;
    }
    void install()
    {
        QFETCH(QList<Entry>, entries);
        QFETCH(int, fault);
        QFETCH(QString, error);
        QString package = goodPackage();
        if (!entries.isEmpty()) {
            package
                = m_dir.filePath(u"%1.tar.gz"_s.arg(QString::fromLatin1(QTest::currentDataTag())).replace(u' ', u'-'));
            if (entries.constFirst().path == "#garbage")
                QVERIFY(QJTest::writeFile(package, QByteArray(5000, 'g')));
            else
                QVERIFY(writeArchive(package, entries));
        }
        const QString signature = sign(package, fault == OtherKey ? u"other"_s : u"good"_s);
        QVERIFY(!signature.isEmpty());
        const qint64 wrongBy = fault == LengthShort ? -10 : fault == LengthLong ? 10 : 0;
        publish(package, QFileInfo(package).size() + wrongBy, fault == NoSignature ? QString() : signature);
        const QString published = versions() + u'/' + QFileInfo(package).fileName();
        if (fault == ChangedByte) {
            QByteArray bytes = QJTest::readFile(published);
            bytes[bytes.size() / 2] = char(bytes.at(bytes.size() / 2) ^ 1);
            QVERIFY(QJTest::writeFile(published, bytes));
        }
        m_server->setBehaviour(
            QFileInfo(package).fileName(), fault == CutShort ? VersionServer::CutShort : VersionServer::Serve);

        QObject parent;
        QJUpdateInstaller *installer = makeInstaller(&parent);
        if (fault == NoKey)
            installer->setPublicKey(QString());
        const QJUpdateInstaller::Outcome outcome = installer->install();
        if (error.isEmpty()) {
            QCOMPARE(outcome, QJUpdateInstaller::Installed);
            QVERIFY(installer->confirm());
            QCOMPARE(installer->record().key, u"42"_s);
            QCOMPARE(QJTest::readFile(m_install + u"/docs/readme"_s), QByteArray("Version 4.2\n"));
            QCOMPARE(QFileInfo(m_install + u"/bin/writer"_s).permissions() & QFile::ExeOwner, QFile::ExeOwner);
            QCOMPARE(QDir(m_installRoot).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                QStringList {u"app"_s});
        } else {
            QVERIFY2(installer->errorString().contains(error), qPrintable(installer->errorString()));
            expectUntouched();
        }
    }

    // An install killed at any step, the swap included, is rolled back by the next run, which then
    // installs; killed once installed but not yet kept, the old version comes back too.
    void killedBetweenSteps_data()
    {
        QTest::addColumn<int>("step"); // -1: after install(), before confirm()
        QTest::newRow("downloading") << int(QJUpdateInstaller::Downloading);
        QTest::newRow("verifying") << int(QJUpdateInstaller::Verifying);
        QTest::newRow("unpacking") << int(QJUpdateInstaller::Unpacking);
        QTest::newRow("swapping") << int(QJUpdateInstaller::Swapping);
        QTest::newRow("installed, not kept") << -1;
    }
    void killedBetweenSteps()
    {
        QFETCH(int, step);
        const QString package = goodPackage();
        publish(package, QFileInfo(package).size(), sign(package));
        const pid_t child = ::fork();
        if (child == 0) {
            QObject parent;
            QJUpdateInstaller *installer = makeInstaller(&parent);
            QObject::connect(installer, &QJUpdateInstaller::stepChanged, [step](QJUpdateInstaller::Step now) {
                if (now == step)
                    ::_exit(9); // as sudden as a kill: no clean-up runs
            });
            ::_exit(installer->install() == QJUpdateInstaller::Installed ? 9 : 1);
        }
        int status = 0;
        QCOMPARE(::waitpid(child, &status, 0), child);
        QCOMPARE(WEXITSTATUS(status), 9);
        if (step == QJUpdateInstaller::Downloading || step == -1)
            QVERIFY(QFileInfo::exists(m_installRoot + u"/.app.update"_s)); // there is something to undo
        QVERIFY(QJUpdateInstaller::recover(m_install));
        expectUntouched();
        QObject parent;
        QJUpdateInstaller *installer = makeInstaller(&parent);
        QCOMPARE(installer->install(), QJUpdateInstaller::Installed);
        QVERIFY(installer->rollBack()); // and a rollback after a good install restores the old version
        expectUntouched();
    }

    // A full file system and a folder that cannot be changed: refused, nothing changed or left.
    void placesThatCannotTakeIt_data()
    {
        QTest::addColumn<QString>("place");
        QTest::newRow("full file system") << u"full"_s;
        QTest::newRow("read-only file system") << u"read-only"_s;
        QTest::newRow("install folder without write permission") << u"locked"_s;
    }
    void placesThatCannotTakeIt()
    {
        QFETCH(QString, place);
        // A package of 50 kB that unpacks to 600 kB: more than the 512 kB scratch file system holds.
        QByteArray noise(600 * 1024, Qt::Uninitialized);
        for (qsizetype i = 0; i < noise.size(); ++i)
            noise[i] = char((i * 7919 + i / 13) % 251);
        const QString package = m_dir.filePath(u"large.tar.gz"_s);
        QVERIFY(writeArchive(package, {{"data", noise}}));
        publish(package, QFileInfo(package).size(), sign(package));
        QJ_RUN_IN_SCRATCH(m_installRoot, place == u"locked" ? 0 : 512, [&](QJTest::Scratch &scratch) {
            QDir().mkpath(m_install);
            QJTest::writeFile(m_install + u"/README"_s, "Version 4.1\n");
            const QStringList before = snapshot(m_install);
            if (const QString failed = scratch.makeUnwritable(place, m_install); !failed.isEmpty())
                return failed;
            QObject parent;
            QJUpdateInstaller *installer = makeInstaller(&parent);
            if (installer->install() != QJUpdateInstaller::Failed)
                return u"the install did not fail"_s;
            QFile::setPermissions(m_install, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            if (snapshot(m_install) != before)
                return u"the install folder changed"_s;
            if (QDir(m_installRoot).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden)
                != QStringList {u"app"_s})
                return u"something was left beside the install folder"_s;
            return QString();
        });
    }
};

QTEST_GUILESS_MAIN(TestQJUpdateInstaller)
#include "tst_qjupdateinstaller.moc"
