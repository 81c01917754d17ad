// SPDX-License-Identifier: LGPL-2.1-or-later
// The example of docs/collections.md: merging settings, listing key paths, searching by key path,
// archiving non-property-list leaves and guarded mutation. Exits with 1 if anything does not
// behave as the guide says.
#include <QJKit/QJArchiving.h>
#include <QJKit/QJArraySearch.h>
#include <QJKit/QJDictionaryExtensions.h>
#include <QJKit/QJPropertyListSerialization.h>
#include <QJKit/QJSecurityExtensions.h>

#include <QRect>
#include <QTextStream>

using namespace Qt::StringLiterals;

int main()
{
    QTextStream out(stdout);
    bool ok = true;

    //! [merge]
    // The application's defaults, read with mutable containers, and the user's changes on top.
    const QJDictionary settings = QJPropertyListSerialization::propertyListFromData(
        QJPropertyListSerialization::dataFromPropertyList(
            QJDictionary {{u"fontSize"_s, 12}, {u"window"_s, QJDictionary {{u"width"_s, 800}, {u"height"_s, 600}}}}),
        QJMutability::Mutable)
                                      .toDictionary();
    const QJDictionary changes {{u"window"_s, QJDictionary {{u"width"_s, 1024}}}, {u"theme"_s, u"dark"_s}};
    QJDictionaryExtensions::recursiveAddEntriesFromDictionary(settings, changes);
    // window.width is 1024, window.height stays 600, theme is added

    const QStringList paths = QJDictionaryExtensions::allKeyPaths(settings);
    // fontSize, window.height, window.width, theme: the file's order, then the keys added
    //! [merge]
    ok &= settings.valueForKeyPath(u"window.width").toInteger() == 1024
        && settings.valueForKeyPath(u"window.height").toInteger() == 600;
    ok &= paths == QStringList {u"fontSize"_s, u"window.height"_s, u"window.width"_s, u"theme"_s};
    out << paths.join(u", "_s) << '\n';

    //! [search]
    const QJArray files {QJDictionary {{u"name"_s, u"chapter1.txt"_s}, {u"status"_s, u"draft"_s}},
        QJDictionary {{u"name"_s, u"chapter2.txt"_s}, {u"status"_s, u"final"_s}},
        QJDictionary {{u"name"_s, u"chapter3.txt"_s}, {u"status"_s, u"draft"_s}}};
    const QJArray drafts = QJArraySearch::objectsContainingValue(files, u"draft"_s, u"status"_s); // 1 and 3
    const QJArray statuses = QJArraySearch::arrayWithAllDifferentValuesForKeyPath(files, u"status"_s); // draft, final
    //! [search]
    ok &= drafts.count() == 2 && statuses.count() == 2;

    //! [archive]
    // A QRect is no property-list value: archive it into data before writing, and back after reading.
    const QJDictionary window {{u"frame"_s, QJValue::fromObject(QRect(40, 40, 800, 600))}};
    const QJDictionary storable = QJArchiving::keyedArchive(window); // frame is now data
    const QByteArray xml = QJPropertyListSerialization::dataFromPropertyList(storable);
    const QJDictionary restored
        = QJArchiving::keyedUnarchive(QJPropertyListSerialization::propertyListFromData(xml).toDictionary());
    const QRect frame = restored.objectForKey(u"frame"_s).toObject().toRect(); // 40, 40, 800 x 600
    //! [archive]
    ok &= storable.objectForKey(u"frame"_s).isData() && frame == QRect(40, 40, 800, 600);

    //! [guarded]
    QJDictionary recent;
    QJSecurityExtensions::secureSetObject(recent, QJValue(), u"lastFile"_s);
    // nothing set; logs: error caught: tried to set "(null)" for key "lastFile"
    //! [guarded]
    ok &= recent.isEmpty();
    return ok ? 0 : 1;
}
