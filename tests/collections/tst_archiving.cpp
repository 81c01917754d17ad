// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJArchiving.h"

#include <QCborArray>
#include <QCborMap>
#include <QCborValue>
#include <QDataStream>
#include <QLineF>
#include <QRandomGenerator>
#include <QRect>
#include <QTest>
#include <QUrl>
#include <QUuid>

using namespace Qt::StringLiterals;
using D = QJDictionary;
using A = QJArray;
constexpr auto Immutable = QJMutability::Immutable;

// A value type a host might keep in its settings: written field by field in keyed archives, and
// not streamable, so a sequential archive cannot hold it.
struct Margins
{
    Q_GADGET
    Q_PROPERTY(int left MEMBER left)
    Q_PROPERTY(QString label MEMBER label)
    Q_PROPERTY(QRectF frame MEMBER frame)
public:
    int left = 0;
    QString label;
    QRectF frame;
    friend bool operator==(const Margins &, const Margins &) = default;
};

class TestArchiving : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip_data()
    {
        QTest::addColumn<QVariant>("object");
        QTest::addColumn<bool>("keyed");
        const QVariantList values {QRect(1, -2, 30, 40), QRectF(0.5, 1, 2.25, 3), QPointF(-1.5, 2), QSize(7, 8),
            QLineF(0, 1, 2, 3), QUrl(u"https://example.org/a b?q=1#x"_s),
            QUuid::fromString(u"{67c8770b-44f1-410a-ab9a-f9b5446f13ee}"_s),
            QVariant(QVariantList {1, u"a"_s, QRect(1, 2, 3, 4), QVariantMap {{u"k"_s, 2.5}}}),
            QVariant(QVariantHash {{u"h"_s, QVariantList {}}}), QVariant::fromValue(quint64(18446744073709551615ULL)),
            QVariant::fromValue(QStringList {u"x"_s, u"y"_s})};
        for (bool keyed : {false, true}) {
            for (const QVariant &v : values)
                QTest::addRow("%s %s", v.typeName(), keyed ? "keyed" : "sequential") << v << keyed;
        }
        QTest::newRow("gadget keyed") << QVariant::fromValue(Margins {4, u"side"_s, QRectF(1, 2, 3, 4)}) << true;
    }

    void roundTrip()
    {
        QFETCH(QVariant, object);
        QFETCH(bool, keyed);
        const A tree {u"text"_s, 5, QJValue::fromObject(object)};
        const A archived = QJArchiving::archive(tree, false, false, false, keyed);
        QVERIFY(!archived.isMutable());
        QCOMPARE(archived.at(0), QJValue(u"text"_s));
        QCOMPARE(archived.at(1), QJValue(5));
        QVERIFY(archived.at(2).isData());

        const A back = keyed ? QJArchiving::keyedUnarchive(archived) : QJArchiving::unarchive(archived);
        QCOMPARE(back.at(2).toObject().metaType(), object.metaType());
        QCOMPARE(back.at(2).toObject(), object);
    }

    void formatsAreDistinct()
    {
        const QVariant rect = QRect(1, 2, 3, 4);
        const QByteArray sequential = QJArchiving::archivedDataWithRootObject(rect, false);
        const QByteArray keyed = QJArchiving::archivedDataWithRootObject(rect, true);
        QVERIFY(sequential.startsWith("QJSA"));
        QVERIFY(keyed.startsWith(QByteArray::fromHex("d9d9f7836e") + "QJKeyedArchive"));
        QVERIFY(!QJArchiving::unarchiveObjectWithData(sequential, true).isValid());
        QVERIFY(!QJArchiving::unarchiveObjectWithData(keyed, false).isValid());

        // Unarchived with the other kind, a leaf stays the data it was.
        const A tree {QJValue(keyed)};
        QCOMPARE(QJArchiving::unarchive(tree).at(0), QJValue(keyed));
    }

    void sequentialBodyIsAQVariantStream()
    {
        const QVariant nested
            = QVariantList {1, QVariantMap {{u"r"_s, QRect(0, 0, 2, 2)}}, QVariant::fromValue(QList<int> {4, 5})};
        const QByteArray archive = QJArchiving::archivedDataWithRootObject(nested, false);
        QDataStream in(archive);
        in.skipRawData(4);
        quint16 format = 0;
        quint16 version = 0;
        in >> format >> version;
        QCOMPARE(format, quint16(1));
        in.setVersion(version);
        QVariant read;
        in >> read;
        QCOMPARE(in.status(), QDataStream::Ok);
        QVERIFY(in.atEnd());
        QCOMPARE(read, nested);
    }

    void leavesThatStay()
    {
        QObject node;
        const QDateTime date = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);
        const QByteArray notAnArchive("QJSA but not really");
        const A tree {
            date, true, 2.5, notAnArchive, QJValue(&node), QJValue::fromObject(QVariant::fromValue(Margins {}))};
        for (bool keyed : {false, true}) {
            const A archived = QJArchiving::archive(tree, false, false, false, keyed);
            QCOMPARE(archived.at(0), QJValue(date)); // a date is never archived
            QVERIFY(archived.at(0).isDate());
            QCOMPARE(archived.at(3), QJValue(notAnArchive));
            QCOMPARE(archived.at(4).toNode(), &node); // a QObject cannot be archived: kept
            QCOMPARE(archived.at(5).isData(), keyed); // the gadget has no stream operators
            const A back = QJArchiving::archive(archived, true, false, false, keyed);
            QCOMPARE(back, tree);
        }
    }

    void mutabilityFlags_data()
    {
        QTest::addColumn<bool>("dictionariesMutable");
        QTest::addColumn<bool>("arraysMutable");
        // Mutability of: top dictionary, its dictionary d, its array a, the dictionary inside a, the array inside d.
        QTest::addColumn<QList<bool>>("expected");

        QTest::newRow("both") << true << true << QList<bool> {true, true, true, true, true};
        QTest::newRow("neither") << false << false << QList<bool> {false, false, false, false, false};
        QTest::newRow("dictionaries only: below an array, the arrays flag rules")
            << true << false << QList<bool> {true, true, false, false, false};
        QTest::newRow("arrays only") << false << true << QList<bool> {false, false, true, true, true};
    }

    void mutabilityFlags()
    {
        QFETCH(bool, dictionariesMutable);
        QFETCH(bool, arraysMutable);
        QFETCH(QList<bool>, expected);
        const D tree({{u"d"_s, D({{u"inner"_s, A({1}, Immutable)}}, Immutable)},
                         {u"a"_s, A({D({{u"x"_s, QJValue::fromObject(QRect(1, 1, 1, 1))}}, Immutable)}, Immutable)}},
            Immutable);
        for (bool keyed : {false, true}) {
            const D archived
                = QJArchiving::archiveWithDictionariesMutable(tree, dictionariesMutable, arraysMutable, keyed);
            const D out
                = QJArchiving::unarchiveWithDictionariesMutable(archived, dictionariesMutable, arraysMutable, keyed);
            const D d = out.objectForKey(u"d"_s).toDictionary();
            const A a = out.objectForKey(u"a"_s).toArray();
            const QList<bool> got {out.isMutable(), d.isMutable(), a.isMutable(), a.at(0).toDictionary().isMutable(),
                d.objectForKey(u"inner"_s).toArray().isMutable()};
            QCOMPARE(got, expected);
            QCOMPARE(out, tree);
        }
        // The fixed members of the family.
        const D archived = QJArchiving::keyedArchive(tree);
        QVERIFY(!QJArchiving::keyedUnarchive(archived).isMutable());
        QVERIFY(QJArchiving::mutableKeyedUnarchive(archived).objectForKey(u"a"_s).toArray().isMutable());
        QCOMPARE(QJArchiving::mutableKeyedUnarchive(archived), tree);
        QCOMPARE(QJArchiving::mutableUnarchive(QJArchiving::archive(tree)), tree);
    }

    void hostileBytes_data()
    {
        QTest::addColumn<bool>("keyed");
        QTest::newRow("sequential") << false;
        QTest::newRow("keyed") << true;
    }

    void hostileBytes()
    {
        QFETCH(bool, keyed);
        const QVariant sample
            = QVariantList {u"text"_s, QRect(1, 2, 3, 4), QVariantMap {{u"u"_s, QUrl(u"file:///x"_s)}},
                QVariant::fromValue(QStringList {u"a"_s}), QUuid::createUuid()};
        const QByteArray good = QJArchiving::archivedDataWithRootObject(sample, keyed);
        QVERIFY(!good.isEmpty());

        // Every truncation is refused.
        for (qsizetype n = 0; n < good.size(); ++n)
            QVERIFY2(
                !QJArchiving::unarchiveObjectWithData(good.left(n), keyed).isValid(), qPrintable(QString::number(n)));

        // Random damage never crashes; whatever comes back is a value or nothing.
        QRandomGenerator random(20240611);
        for (int round = 0; round < 3000; ++round) {
            QByteArray damaged = good;
            const int flips = 1 + random.bounded(4);
            for (int i = 0; i < flips; ++i)
                damaged[random.bounded(int(damaged.size()))] = char(random.bounded(256));
            QJArchiving::unarchiveObjectWithData(damaged, keyed);
        }

        if (!keyed) {
            // Crafted bodies: huge counts, unknown types, nesting far beyond the bound.
            auto body = [](auto write) {
                QByteArray data("QJSA");
                QDataStream s(&data, QIODevice::WriteOnly | QIODevice::Append);
                s << quint16(1) << quint16(QDataStream::Qt_6_0);
                write(s);
                return data;
            };
            const QList<QByteArray> crafted {
                body([](QDataStream &s) { s << quint32(QMetaType::QStringList) << qint8(0) << quint32(0xfffffff0u); }),
                body([](QDataStream &s) { s << quint32(QMetaType::QVariantList) << qint8(0) << quint32(0xffffffffu); }),
                body([](QDataStream &s) { s << quint32(QMetaType::QString) << qint8(0) << quint32(0x7ffffffe); }),
                body([](QDataStream &s) { s << quint32(QMetaType::User) << qint8(0) << "NoSuchType" << quint32(1); }),
                body([](QDataStream &s) { s << quint32(QMetaType::QVariant) << qint8(0) << quint32(QMetaType::Int); }),
                body([](QDataStream &s) {
                    for (int i = 0; i < 200000; ++i)
                        s << quint32(QMetaType::QVariantList) << qint8(0) << quint32(1);
                }),
            };
            for (const QByteArray &data : crafted)
                QVERIFY(!QJArchiving::unarchiveObjectWithData(data, false).isValid());
        } else {
            QByteArray deep = good.left(19) + QByteArray(1, '\x01');
            for (int i = 0; i < 200000; ++i)
                deep += "\xa2\x64type\x6bQVariantMap\x67"
                        "entries\xa1\x61k";
            QVERIFY(!QJArchiving::unarchiveObjectWithData(deep, true).isValid());
        }
    }

    void depthIsBounded()
    {
        QVariant nested = QVariantList {1};
        for (int i = 0; i < QJArchiving::MaximumDepth + 5; ++i)
            nested = QVariantList {nested};
        for (bool keyed : {false, true}) {
            QVERIFY(QJArchiving::archivedDataWithRootObject(nested, keyed).isEmpty());
            const A archived = QJArchiving::archive(A {QJValue::fromObject(nested)}, false, false, false, keyed);
            QVERIFY(archived.at(0).isObject()); // kept as it was
        }
    }

    // Keyed archives whose numbers do not fit where they go: a real where an integer belongs, a value
    // beyond its type. Converting such a number would be undefined behaviour (the sanitizer build
    // stops at it); each is refused instead.
    void numbersOutsideTheirTypeAreRefused_data()
    {
        QTest::addColumn<QByteArray>("data");
        auto document = [](const QCborValue &version, const QCborValue &object) {
            return QCborValue(QCborKnownTags::Signature, QCborArray {u"QJKeyedArchive"_s, version, object}).toCbor();
        };
        auto scalar = [](const QString &type, const QCborValue &value) {
            return QCborMap {{u"type"_s, type}, {u"value"_s, value}};
        };
        QTest::newRow("format version as a huge real") << document(1e300, scalar(u"int"_s, 1));
        QTest::newRow("stream version as a huge real") << document(
            1, QCborMap {{u"type"_s, u"QUuid"_s}, {u"stream"_s, QByteArray(16, '\0')}, {u"streamVersion"_s, 1e300}});
        auto point = [&](double x) {
            return QCborMap {{u"type"_s, u"QPoint"_s},
                {u"fields"_s, QCborMap {{u"x"_s, scalar(u"double"_s, x)}, {u"y"_s, scalar(u"int"_s, 0)}}}};
        };
        QTest::newRow("point coordinate beyond an int") << document(1, point(3e9));
        QTest::newRow("point coordinate not a number") << document(1, point(qQNaN()));
        QTest::newRow("integer given as a real") << document(1, scalar(u"int"_s, 1e300));
        QTest::newRow("float given a real beyond floats") << document(1, scalar(u"float"_s, 1e300));
    }

    void numbersOutsideTheirTypeAreRefused()
    {
        QFETCH(QByteArray, data);
        QVERIFY(!QJArchiving::unarchiveObjectWithData(data, true).isValid());
        // The same point with a coordinate that fits is read.
        const QByteArray fits = QByteArray(data).replace(QCborValue(3e9).toCbor(), QCborValue(-7.0).toCbor());
        if (fits != data)
            QCOMPARE(QJArchiving::unarchiveObjectWithData(fits, true), QVariant(QPoint(-7, 0)));
    }
};

QTEST_GUILESS_MAIN(TestArchiving)
#include "tst_archiving.moc"
