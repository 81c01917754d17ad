// SPDX-License-Identifier: LGPL-2.1-or-later
#include "StringSizingWidgets.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace StringSizing;

class TestStringSizingWidgets : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void fitsWithFonts_data()
    {
        QTest::addColumn<float>("width");
        for (const float w : {1.f, 40.f, 90.f, 200.f})
            QTest::addRow("width %g", double(w)) << w;
    }
    void fitsWithFonts()
    {
        QFETCH(float, width);
        const QString text = u"/home/ada/Documents/Drafts/chapter twelve, second revision.txt"_s;
        const QFont small = smallSystemFont();
        const float dots = widthOfString(ellipsis(), small);

        // Keeping the end: the longest tail that stays strictly below the width.
        const QString end = shortenedStringWithSize(text, width);
        QVERIFY(end.startsWith(ellipsis()));
        const qsizetype tail = end.size() - ellipsis().size();
        QVERIFY(text.endsWith(end.sliced(ellipsis().size())));
        QVERIFY(tail == 0 || widthOfString(QStringView(text).last(tail), small) + dots < width);
        QVERIFY(widthOfString(QStringView(text).last(tail + 1), small) + dots >= width);

        // Keeping the start, in a larger font: the longest head that reaches the width at most.
        QFont large = small;
        large.setPixelSize(20);
        const QString start = stringAdjustedToSize(text, QSizeF(width, 10), large);
        const qsizetype head = start.size() - ellipsis().size();
        QVERIFY(start.endsWith(ellipsis()) && text.startsWith(start.first(head)));
        QVERIFY(head == 0
            || widthOfString(QStringView(text).first(head), large) + widthOfString(ellipsis(), large) <= width);
        QVERIFY(widthOfString(QStringView(text).first(head + 1), large) + widthOfString(ellipsis(), large) > width);
    }

    void fittingTextIsKept()
    {
        const QString text = u"notes.txt"_s;
        QCOMPARE(shortenedStringWithSize(text, widthOfString(text, smallSystemFont())), text);
        QCOMPARE(stringAdjustedToSize(u" notes\n"_s, QSizeF(1000, 0), smallSystemFont()), u"notes"_s);
    }
};

QTEST_MAIN(TestStringSizingWidgets)
#include "tst_stringsizingwidgets.moc"
