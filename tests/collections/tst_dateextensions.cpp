// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJDateExtensions.h"

#include <QTest>

#include <ctime>

using namespace Qt::StringLiterals;

// Runs in a fixed zone with daylight-saving time: Central European, CET/CEST.
class TestDateExtensions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void merge_data()
    {
        QTest::addColumn<QDateTime>("dateInfo");
        QTest::addColumn<QDateTime>("timeInfo");
        QTest::addColumn<QDateTime>("expected");

        const auto local = [](int y, int mo, int d, int h, int mi, int s, int ms = 0) {
            return QDateTime(QDate(y, mo, d), QTime(h, mi, s, ms), Qt::LocalTime);
        };
        QTest::newRow("31 January 23:00 with 5 June 08:15:30")
            << local(2023, 1, 31, 23, 0, 0) << local(2021, 6, 5, 8, 15, 30) << local(2023, 1, 31, 8, 15, 30);
        QTest::newRow("fractions of a second dropped")
            << local(2024, 2, 29, 1, 2, 3) << local(2020, 1, 1, 12, 34, 56, 999) << local(2024, 2, 29, 12, 34, 56);
        // Both are read in the local zone: 23:30 UTC on 30 June is already 1 July (01:30 CEST), and
        // 22:30 UTC on 10 March is 23:30 CET.
        QTest::newRow("UTC arguments are read as local time")
            << QDateTime(QDate(2023, 6, 30), QTime(23, 30), Qt::UTC)
            << QDateTime(QDate(2023, 3, 10), QTime(22, 30), Qt::UTC) << local(2023, 7, 1, 23, 30, 0);
        QTest::newRow("invalid date info") << QDateTime() << local(2021, 6, 5, 8, 15, 30) << QDateTime();
    }

    void merge()
    {
        QFETCH(QDateTime, dateInfo);
        QFETCH(QDateTime, timeInfo);
        QFETCH(QDateTime, expected);
        const QDateTime merged = QJDateExtensions::calendarDateByMergingDateInfo(dateInfo, timeInfo);
        QCOMPARE(merged, expected);
        if (expected.isValid()) {
            QCOMPARE(merged.timeSpec(), Qt::LocalTime);
            QCOMPARE(merged.time().msec(), 0);
        }
    }
};

int main(int argc, char **argv)
{
    // The zone must be fixed before Qt reads it.
    qputenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
    tzset();
    QCoreApplication app(argc, argv);
    TestDateExtensions test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_dateextensions.moc"
