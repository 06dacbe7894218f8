#pragma once

#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <memory>

// Turns a model value into what a view shows, and for reversible transformers back.
// Views find transformers by name in a process-wide registry.
class MGValueTransformer
{
public:
    virtual ~MGValueTransformer() = default;

    virtual QVariant transformedValue(const QVariant &value) const = 0;
    virtual QVariant reverseTransformedValue(const QVariant &) const { return {}; }
    virtual QMetaType transformedValueClass() const = 0;
    virtual bool allowsReverseTransformation() const { return false; }

    static void setValueTransformer(std::shared_ptr<MGValueTransformer> transformer, const QString &name);
    static std::shared_ptr<MGValueTransformer> valueTransformerForName(const QString &name);

    // A value holding an integer, floating-point or boolean type.
    static bool isNumber(const QVariant &value);
    // The number read as a 32-bit integer (wider values wrap, as a C cast does).
    static qint32 intValue(const QVariant &number);
    static qint64 integerValue(const QVariant &number);
    static bool boolValue(const QVariant &number) { return integerValue(number) != 0 || number.toDouble() != 0.0; }

    // Maps a list of numbers to a list of texts; nothing when `value` is not a list or
    // holds anything but numbers (no partial result).
    template <typename Map>
    static QVariant mapNumberList(const QVariant &value, Map map)
    {
        if (value.metaType().id() != QMetaType::QVariantList)
            return {};
        QStringList texts;
        for (const QVariant &element : value.toList()) {
            if (!isNumber(element))
                return {};
            texts << map(element);
        }
        return texts;
    }
};
