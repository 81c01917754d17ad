// SPDX-License-Identifier: LGPL-2.1-or-later
// The example of docs/foundation.md: values, property lists, notifications, user defaults and
// formatting. Exits with 1 if anything does not behave as the guide says.
#include <QJKit/QJBundle.h>
#include <QJKit/QJFormat.h>
#include <QJKit/QJNotificationCenter.h>
#include <QJKit/QJPropertyListSerialization.h>
#include <QJKit/QJUserDefaults.h>
#include <QJKit/QJValue.h>

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTextStream>

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"Sample Writer"_s);
    QCoreApplication::setApplicationVersion(u"1.4"_s);
    QTextStream out(stdout);
    bool ok = true;

    //! [values]
    QJDictionary settings {{u"name"_s, u"Chapter One"_s}, {u"fontSize"_s, 12},
        {u"window"_s, QJDictionary {{u"width"_s, 800}, {u"height"_s, 600}}}};
    QJDictionary alias = settings; // the same dictionary, not a copy
    alias.setObject(true, u"spellCheck"_s); // settings has it too
    const QJDictionary snapshot = settings.copy(); // a new, immutable dictionary
    const qint64 width = settings.valueForKeyPath(u"window.width").toInteger(); // 800
    //! [values]
    ok &= settings.contains(u"spellCheck"_s) && width == 800;
    ok &= snapshot.isEqual(settings) && !snapshot.isSameObject(settings) && !snapshot.isMutable();

    //! [plist]
    const QByteArray xml = QJPropertyListSerialization::dataFromPropertyList(settings);
    QString error;
    const QJValue back = QJPropertyListSerialization::propertyListFromData(xml, QJMutability::Mutable, nullptr, &error);
    if (back.isNone())
        qWarning() << "not a property list:" << error;
    //! [plist]
    ok &= back == QJValue(settings);

    //! [notifications]
    QObject window; // stands for the observing object: its observers go when it goes
    QJNotificationCenter::defaultCenter()->addObserver(u"DocumentSaved"_s, &window, [&](const QJNotification &note) {
        out << "saved " << note.userInfo.objectForKey(u"path"_s).toString() << '\n';
    });
    QJNotificationCenter::defaultCenter()->post(
        u"DocumentSaved"_s, nullptr, QJDictionary {{u"path"_s, u"chapter1.txt"_s}});
    //! [notifications]

    QTemporaryDir folder;
    //! [defaults]
    QJUserDefaults::setStandardUserDefaultsPath(folder.filePath(u"defaults.plist"_s)); // tests do this
    QJUserDefaults *defaults = QJUserDefaults::standardUserDefaults();
    defaults->registerDefaults(QJDictionary {{u"autosave"_s, true}}); // answered, never written
    defaults->setObject(QJArray {u"chapter1.txt"_s, u"chapter2.txt"_s}, u"recentFiles"_s);
    defaults->synchronize();
    //! [defaults]
    ok &= defaults->boolForKey(u"autosave"_s) && defaults->objectForKey(u"recentFiles"_s).toArray().count() == 2;

    //! [format]
    const QJBundle bundle = QJBundle::mainBundle();
    const QString title = QJFormat::format(u"%@ %@ (build %@)"_s,
        {bundle.objectForInfoDictionaryKey(u"CFBundleName"_s),
            bundle.objectForInfoDictionaryKey(u"CFBundleShortVersionString"_s),
            bundle.objectForInfoDictionaryKey(u"CFBundleVersion"_s)}); // "Sample Writer 1.4 (build 1.4)"
    //! [format]
    out << title << '\n';
    ok &= title == u"Sample Writer 1.4 (build 1.4)"_s;
    return ok ? 0 : 1;
}
