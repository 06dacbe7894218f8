#include "MGAclValueTransformers.h"
#include "MGImage.h"
#include "MGValueTransformer.h"
#include "NTLocalizedString.h"

#include <QIcon>
#include <QtTest>

namespace {
std::shared_ptr<MGValueTransformer> named(const char *name)
{
    return MGValueTransformer::valueTransformerForName(QString::fromLatin1(name));
}
QVariant forward(const char *name, const QVariant &value)
{
    return named(name)->transformedValue(value);
}
QVariant reverse(const char *name, const QVariant &value)
{
    return named(name)->reverseTransformedValue(value);
}
QVariantList numbers(std::initializer_list<QVariant> values)
{
    return QVariantList(values);
}
}

class tst_MGValueTransformers : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        // Translated texts prove that the reverse mappings work on what is shown, not on keys.
        QVERIFY(NTLocalizedString::installTranslation("de"));
        MGAclValueTransformers::loadTransformers();
    }

    void registryHoldsTheSixNames()
    {
        const QStringList names = {"MGAclTagValueTransformer", "MGFclTagsValueTransformer",
                                   "MGAclPermGroupValueTransformer", "MGAclPermGroupsValueTransformer",
                                   "MGAclInheritedValueTransformer", "MGAclAccessValueTransformer"};
        QList<MGValueTransformer *> first;
        for (const QString &name : names) {
            QVERIFY2(MGValueTransformer::valueTransformerForName(name), qPrintable(name));
            first << MGValueTransformer::valueTransformerForName(name).get();
        }
        QVERIFY(!MGValueTransformer::valueTransformerForName("MGAclTagsValueTransformer"));
        const QString allow = MGAclValueTransformers::text(MGAclTexts::Tags, 1);
        NTLocalizedString::installTranslation("C");
        MGAclValueTransformers::loadTransformers();
        // New instances, but the texts were translated once and stay.
        for (qsizetype i = 0; i < names.size(); ++i)
            QVERIFY(MGValueTransformer::valueTransformerForName(names[i]).get() != first[i]);
        QCOMPARE(MGAclValueTransformers::text(MGAclTexts::Tags, 1), allow);
        NTLocalizedString::installTranslation("de");
        QCOMPARE(named("MGAclTagValueTransformer")->transformedValueClass(), QMetaType::fromType<QString>());
        QCOMPARE(named("MGFclTagsValueTransformer")->transformedValueClass(), QMetaType::fromType<QStringList>());
        QCOMPARE(named("MGAclAccessValueTransformer")->transformedValueClass(), QMetaType::fromType<QIcon>());
        QVERIFY(named("MGAclTagValueTransformer")->allowsReverseTransformation());
        QVERIFY(named("MGAclPermGroupValueTransformer")->allowsReverseTransformation());
        QVERIFY(!named("MGFclTagsValueTransformer")->allowsReverseTransformation());
        QVERIFY(!named("MGAclPermGroupsValueTransformer")->allowsReverseTransformation());
        QVERIFY(!named("MGAclInheritedValueTransformer")->allowsReverseTransformation());
        QVERIFY(!named("MGAclAccessValueTransformer")->allowsReverseTransformation());
    }

    void tags()
    {
        const char *t = "MGAclTagValueTransformer";
        QCOMPARE(forward(t, 1).toString(), QStringLiteral("Zulassen"));
        QCOMPARE(forward(t, 2).toString(), QStringLiteral("Verweigern"));
        for (const QVariant &other : {QVariant(0), QVariant(3), QVariant(-1)})
            QCOMPARE(forward(t, other).toString(), QStringLiteral("Undefiniert"));
        // Judged by the 32-bit reading: 2^32 + 1 reads as 1.
        QCOMPARE(forward(t, (qint64(1) << 32) + 1).toString(), QStringLiteral("Zulassen"));
        QCOMPARE(forward(t, 2.7).toString(), QStringLiteral("Verweigern"));
        QVERIFY(forward(t, QVariant()).isNull());
        QVERIFY(forward(t, QStringLiteral("1")).isNull());
        QCOMPARE(reverse(t, QStringLiteral("Zulassen")).toInt(), 1);
        QCOMPARE(reverse(t, QStringLiteral("Verweigern")).toInt(), 2);
        QCOMPARE(reverse(t, QStringLiteral("Undefiniert")).toInt(), 0);
        QCOMPARE(reverse(t, QStringLiteral("Allow")).toInt(), 0); // the untranslated key is not shown anywhere
        QVERIFY(reverse(t, 1).isNull());
        QVERIFY(reverse(t, QVariant()).isNull());
    }

    void tagLists()
    {
        const char *t = "MGFclTagsValueTransformer";
        QCOMPARE(forward(t, numbers({1, 2, 7})).toStringList(),
                 (QStringList{"Zulassen", "Verweigern", "Undefiniert"}));
        const QVariant empty = forward(t, QVariantList());
        QVERIFY(empty.isValid());
        QVERIFY(empty.toStringList().isEmpty());
        QVERIFY(forward(t, numbers({1, QStringLiteral("x"), 2})).isNull());
        QVERIFY(forward(t, 1).isNull());
    }

    void permissionGroups()
    {
        const char *t = "MGAclPermGroupValueTransformer";
        const QStringList texts = {"Vollzugriff", "Lesen & Schreiben", "Lesen", "Schreiben", "Kein Zugriff",
                                   "Benutzerdefiniert\u2026"};
        for (int code = 1; code <= 6; ++code) {
            QCOMPARE(forward(t, code).toString(), texts[code - 1]);
            QCOMPARE(reverse(t, texts[code - 1]).toInt(), code);
        }
        for (const QVariant &other : {QVariant(0), QVariant(7), QVariant(-1)})
            QCOMPARE(forward(t, other).toString(), QStringLiteral("Undefiniert"));
        QCOMPARE(reverse(t, QStringLiteral("Undefiniert")).toInt(), 0);
        QCOMPARE(reverse(t, QStringLiteral("Read")).toInt(), 0);
        QVERIFY(reverse(t, 3).isNull());
        const char *list = "MGAclPermGroupsValueTransformer";
        QCOMPARE(forward(list, numbers({1, 6, 9})).toStringList(),
                 (QStringList{"Vollzugriff", "Benutzerdefiniert\u2026", "Undefiniert"}));
        QVERIFY(forward(list, numbers({1, QVariant()})).isNull());
        QVERIFY(forward(list, QVariantList()).toStringList().isEmpty());
    }

    void inheritedMarkFollowsTheLanguageAtEveryCall()
    {
        const char *t = "MGAclInheritedValueTransformer";
        QCOMPARE(forward(t, 1).toString(), QStringLiteral("Ja"));
        QCOMPARE(forward(t, 5).toString(), QStringLiteral("Ja"));
        QCOMPARE(forward(t, true).toString(), QStringLiteral("Ja"));
        QCOMPARE(forward(t, 0).toString(), QStringLiteral("Nein"));
        QVERIFY(forward(t, QStringLiteral("1")).isNull());
        NTLocalizedString::installTranslation("C");
        QCOMPARE(forward(t, 1).toString(), QStringLiteral("Yes"));
        NTLocalizedString::installTranslation("de");
    }

    void accessImages()
    {
        const char *t = "MGAclAccessValueTransformer";
        auto image = [&](const QVariant &v) { return forward(t, v).value<QIcon>().pixmap(16).toImage(); };
        const QImage check = MGImage::checkmarkImage().pixmap(16).toImage();
        const QImage x = MGImage::xmarkImage().pixmap(16).toImage();
        QVERIFY(check != x);
        QCOMPARE(image(1), check);
        QCOMPARE(image(2), check);
        QCOMPARE(image(-2), check);
        QCOMPARE(image(0), x);
        QVERIFY(forward(t, -1).isNull());
        QVERIFY(forward(t, QStringLiteral("1")).isNull());
        QVERIFY(forward(t, QVariant()).isNull());
    }
};

QTEST_MAIN(tst_MGValueTransformers)
#include "tst_MGValueTransformers.moc"
