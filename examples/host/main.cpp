// SPDX-License-Identifier: LGPL-2.1-or-later
// A minimal host program built against the installed QJKit package.
#include <QJKit/QJBundle.h>
#include <QJKit/QJPropertyListSerialization.h>
#include <QJKit/QJValue.h>
#include <QJKit/qjkitversion.h>

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Example Host"));
    QCoreApplication::setApplicationVersion(QStringLiteral("1.0"));

    QJDictionary settings{{QStringLiteral("name"), QStringLiteral("Draft")}, {QStringLiteral("size"), 12}};
    const QByteArray xml = QJPropertyListSerialization::dataFromPropertyList(settings);
    const QJValue back = QJPropertyListSerialization::propertyListFromData(xml);

    QTextStream out(stdout);
    out << "QJKit " << QJKIT_VERSION_STRING << " in " << QJBundle::mainBundle().objectForInfoDictionaryKey(QStringLiteral("CFBundleName")).toString()
        << ": round trip " << (back == QJValue(settings) ? "ok" : "FAILED") << '\n';
    return back == QJValue(settings) ? 0 : 1;
}
