// SPDX-License-Identifier: LGPL-2.1-or-later
// The example of docs/coding.md: coding data under a key, coded property-list files, and writing a
// file from a worker thread through the main thread. Exits with 1 if anything does not behave as
// the guide says.
#include <QJKit/QJBlowfishCoding.h>
#include <QJKit/QJPropertyListSerialization.h>
#include <QJKit/QJThreadingExtensions.h>

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QThread>

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir folder;
    bool ok = true;

    //! [data]
    const QByteArray coded = QJBlowfishCoding::encodeWithBlowfishKey(QByteArray("Meet at the pier."), u"harbour"_s);
    // 170 bytes: ten per plain byte, each from 1 to 169
    const QByteArray plain = QJBlowfishCoding::decodeWithBlowfishKey(coded, u"harbour"_s); // "Meet at the pier."
    //! [data]
    ok &= coded.size() == 170 && plain == "Meet at the pier.";

    //! [file]
    const QString path = folder.filePath(u"settings.coded"_s);
    const QJDictionary settings {{u"lastFile"_s, u"chapter2.txt"_s}, {u"fontSize"_s, 13}};
    if (!QJBlowfishCoding::writeCodedToFile(settings, path))
        qWarning("could not write the settings");
    const QJValue read = QJBlowfishCoding::readFromCodedFile(path); // none if the file is not coded
    //! [file]
    ok &= read == QJValue(settings);

    //! [thread]
    // A worker prepares the document; the write itself happens on the main thread, which keeps
    // running its event loop meanwhile.
    const QString notes = folder.filePath(u"notes.plist"_s);
    bool saved = false;
    QThread *worker = QThread::create([&] {
        const QJDictionary document {{u"title"_s, u"Harbour notes"_s}, {u"words"_s, 1834}};
        saved = QJThreadingExtensions::threadSecureWriteToFile(document, notes); // waits for the write
    });
    QObject::connect(worker, &QThread::finished, &app, &QCoreApplication::quit);
    worker->start();
    app.exec();
    delete worker;
    //! [thread]
    ok &= saved && QJPropertyListSerialization::propertyListFromFile(notes).toDictionary().count() == 2;
    return ok ? 0 : 1;
}
