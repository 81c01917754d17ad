// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// A version directory in a temporary folder, served by the demo's VersionServer: an index and one
// record per version, for the application "Test Writer" (directory "testwriter").

#include "QJPropertyListSerialization.h"
#include "VersionServer.h"
#include "qjtestsupport.h"

#include <QTemporaryDir>
#include <QTest>

class VersionDirectory
{
public:
    VersionDirectory() : server(folder.path()) { QVERIFY2(server.listen(), qPrintable(server.errorString())); }

    /** The directory's path as the server receives it. */
    static QString directoryPath() { return QStringLiteral("/AppServices/Versions/testwriter/"); }

    /** Writes @p bytes at @p relative below the version directory. */
    void writeFile(const QString &relative, const QByteArray &bytes)
    {
        QVERIFY(QJTest::writeFile(folder.path() + QStringLiteral("/testwriter/") + relative, bytes));
    }

    /** Publishes @p keys in the index. */
    void publish(const QStringList &keys)
    {
        QJDictionary index;
        for (const QString &key : keys)
            index.setObject(QJDictionary {{QStringLiteral("date"), QStringLiteral("2026-11-21")}}, key);
        writeFile(QStringLiteral("info.plist"), QJPropertyListSerialization::dataFromPropertyList(index));
    }

    /** Writes the record of @p key, stored under the file name @p fileName (default "<key>.plist"). */
    void addRecord(
        const QString &key, const QString &version, const QString &description, const QString &fileName = QString())
    {
        const QJDictionary record {{QStringLiteral("version"), version}, {QStringLiteral("en"), description},
            {QStringLiteral("de"), QStringLiteral("Beschreibung")}};
        writeFile(fileName.isEmpty() ? key + QStringLiteral(".plist") : fileName,
            QJPropertyListSerialization::dataFromPropertyList(record));
    }

    /** Three versions newer than build 41 ("4a" the newest), one equal and one older. */
    void publishStandardDirectory()
    {
        publish({QStringLiteral("40"), QStringLiteral("41"), QStringLiteral("42"), QStringLiteral("4a"),
            QStringLiteral("43")});
        addRecord(QStringLiteral("42"), QStringLiteral("4.2"), QStringLiteral("Faster saving."));
        addRecord(QStringLiteral("43"), QStringLiteral("4.3"), QStringLiteral("A word counter."));
        addRecord(QStringLiteral("4a"), QStringLiteral("5.0"), QStringLiteral("A new look."));
    }

    QTemporaryDir folder;
    VersionServer server;
    QString installed = QStringLiteral("41"); // the build a check runs as
    QString language; // the user's language (a locale name); empty: the test's own
    QString descriptionKey; // a record key chosen with setDescriptionKey(); empty: the language's
};
