// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DocumentComparison.h"
#include "qjtestsupport.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestDocumentComparison : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void marksWordsAndParagraphs_data()
    {
        QTest::addColumn<QString>("saved");
        QTest::addColumn<QString>("current");
        QTest::addColumn<QString>("html");
        QTest::addColumn<float>("match");

        QTest::newRow("same text keeps its paragraphs")
            << u"one two\n\nthree"_s << u"one two\n\nthree"_s
            << u"<div class=\"qj-diff\"><span class=\"qj-same\">one two <br/><br/>three</span></div>"_s << 1.0f;
        // Struck-out and inserted words keep a space between them, or they read as one word.
        QTest::newRow("word changed")
            << u"a b c"_s << u"a x c"_s
            << u"<div class=\"qj-diff\"><span class=\"qj-same\">a</span> <del class=\"qj-changed\">b</del> "
               "<ins class=\"qj-changed\">x</ins> <span class=\"qj-same\">c</span></div>"_s
            << 2.0f / 3.0f;
        QTest::newRow("paragraph split is marked")
            << u"alpha beta"_s << u"alpha\nbeta"_s
            << u"<div class=\"qj-diff\"><span class=\"qj-same\">alpha</span> <ins class=\"qj-added\">\u00b6<br/></ins> "
               "<span class=\"qj-same\">beta</span></div>"_s
            << 1.0f;
        QTest::newRow("paragraphs joined is marked") << u"alpha\nbeta"_s << u"alpha beta"_s
                                                     << u"<div class=\"qj-diff\"><span class=\"qj-same\">alpha</span> "
                                                        u"<del class=\"qj-deleted\">\u00b6<br/></del> "
                                                        "<span class=\"qj-same\">beta</span></div>"_s
                                                     << 1.0f;
        QTest::newRow("control characters in the text are no breaks")
            << u"a\x01 b"_s << u"a\x01 b"_s << u"<div class=\"qj-diff\"><span class=\"qj-same\">a b</span></div>"_s
            << 1.0f;
        QTest::newRow("markup in the text stays text")
            << u"<b>"_s << u"<i>"_s
            << u"<div class=\"qj-diff\"><del class=\"qj-changed\">&lt;b&gt;</del> <ins class=\"qj-changed\">&lt;i&gt;</ins></div>"_s
            << 0.0f;
        QTest::newRow("two empty texts match") << QString() << QString() << u"<div class=\"qj-diff\"></div>"_s << 1.0f;
    }

    void marksWordsAndParagraphs()
    {
        QFETCH(QString, saved);
        QFETCH(QString, current);
        QFETCH(QString, html);
        QFETCH(float, match);

        const DocumentComparison result = DocumentComparison::compare(saved, current);
        QCOMPARE(result.html, html);
        QVERIFY2(qAbs(result.matchValue - match) < 1e-5f, qPrintable(QString::number(result.matchValue)));
        QCOMPARE(result.error, QString());
    }

    void savedFileThatCannotBeRead()
    {
        QTemporaryDir dir;
        const DocumentComparison missing = DocumentComparison::compareWithFile(dir.filePath(u"gone.txt"_s), u"x"_s);
        QVERIFY(!missing.error.isEmpty());
        QCOMPARE(missing.html, QString());

        QVERIFY(QJTest::writeFile(dir.filePath(u"latin1.txt"_s), "caf\xe9"));
        QVERIFY(!DocumentComparison::compareWithFile(dir.filePath(u"latin1.txt"_s), u"café"_s).error.isEmpty());

        QVERIFY(QJTest::writeFile(dir.filePath(u"utf8.txt"_s), "one two"));
        const DocumentComparison read
            = DocumentComparison::compareWithFile(dir.filePath(u"utf8.txt"_s), u"one three"_s);
        QCOMPARE(read.error, QString());
        QCOMPARE(read.changed, 1);
    }
};

QTEST_MAIN(TestDocumentComparison)
#include "tst_documentcomparison.moc"
