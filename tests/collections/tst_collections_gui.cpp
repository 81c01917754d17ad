// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJArchiving.h"
#include "QJMenuExtensions.h"

#include <QAction>
#include <QColor>
#include <QFont>
#include <QMenu>
#include <QTest>

using namespace Qt::StringLiterals;

class TestCollectionsGui : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void archiveGuiValues_data()
    {
        QTest::addColumn<bool>("keyed");
        QTest::newRow("sequential") << false;
        QTest::newRow("keyed") << true;
    }

    void archiveGuiValues()
    {
        QFETCH(bool, keyed);
        QFont font(u"DejaVu Serif"_s, 13);
        font.setItalic(true);
        const QColor colour = QColor::fromRgbF(0.25f, 0.5f, 0.75f, 0.5f);
        const QJDictionary tree {
            {u"colour"_s, QJValue::fromObject(colour)}, {u"font"_s, QJValue::fromObject(font)}, {u"name"_s, u"Body"_s}};

        const QJDictionary archived = QJArchiving::archive(tree, false, false, false, keyed);
        QVERIFY(archived.objectForKey(u"colour"_s).isData());
        QVERIFY(archived.objectForKey(u"font"_s).isData());
        QCOMPARE(archived.objectForKey(u"name"_s), QJValue(u"Body"_s));

        const QJDictionary back = QJArchiving::archive(archived, true, true, true, keyed);
        QVERIFY(back.isMutable());
        QCOMPARE(back, tree); // object leaves compare as values of their own types
    }

    void itemWithAction()
    {
        QMenu menu;
        QAction *open = menu.addAction(u"Open"_s);
        open->setObjectName(u"openDocument"_s);
        QAction *again = menu.addAction(u"Open Again"_s);
        again->setObjectName(u"openDocument"_s);
        QMenu *recent = menu.addMenu(u"Recent"_s);
        recent->addAction(u"Clear"_s)->setObjectName(u"clearRecent"_s);

        QCOMPARE(QJMenuExtensions::itemWithAction(&menu, u"openDocument"_s), open); // the earlier one
        QCOMPARE(QJMenuExtensions::itemWithAction(&menu, u"clearRecent"_s), nullptr); // only in a submenu
        QCOMPARE(QJMenuExtensions::itemWithAction(recent, u"clearRecent"_s)->text(), u"Clear"_s);
        QCOMPARE(QJMenuExtensions::itemWithAction(&menu, u"missing"_s), nullptr);
    }
};

QTEST_MAIN(TestCollectionsGui)
#include "tst_collections_gui.moc"
