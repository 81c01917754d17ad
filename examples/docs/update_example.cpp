// SPDX-License-Identifier: LGPL-2.1-or-later
// The example of docs/update.md: an update check without a window.
//
//   update_example BASE_URL      e.g. http://127.0.0.1:8000/AppServices/Versions/
//
// `make check-example` serves examples/samples/updates on 127.0.0.1 and runs it; exit status 1
// when the server cannot be reached or the sample versions are not found.
#include <QJKit/QJUpdateChecker.h>

#include <QCoreApplication>
#include <QTextStream>

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        QTextStream(stderr) << "usage: update_example BASE_URL\n";
        return 2;
    }
    QTextStream out(stdout);

    //! [check]
    QJUpdateChecker checker; // defaults: the main bundle's CFBundleName and CFBundleVersion
    checker.setBaseUrl(QUrl(QString::fromLocal8Bit(argv[1])));
    checker.setApplicationName(u"Sample Writer"_s); // asks BASE_URL + "samplewriter/"
    checker.setInstalledBuild(u"41"_s);
    checker.setTimeout(5000); // each request, in milliseconds

    const QJUpdateCheckResult result = checker.check(); // waits; start() and finished() do not
    switch (result.status) {
    case QJUpdateCheckResult::UpdateAvailable:
        for (const QJUpdateRecord &record : result.records) // newest first
            out << record.version << " (build " << record.key << "): " << record.description << '\n';
        break;
    case QJUpdateCheckResult::NoUpdate:
        out << "up to date\n";
        break;
    case QJUpdateCheckResult::NotReachable:
        out << "server not reachable: " << result.reason << '\n';
        break;
    case QJUpdateCheckResult::Cancelled:
        break;
    }
    //! [check]
    return result.status == QJUpdateCheckResult::UpdateAvailable && result.records.first().key == u"4a"_s ? 0 : 1;
}
