#include "MGValueTransformer.h"

#include <QHash>
#include <QMutex>
#include <cmath>

namespace {
QMutex registryLock;
QHash<QString, std::shared_ptr<MGValueTransformer>> &registry()
{
    static QHash<QString, std::shared_ptr<MGValueTransformer>> transformers;
    return transformers;
}

bool isFloating(const QVariant &value)
{
    const int type = value.metaType().id();
    return type == QMetaType::Double || type == QMetaType::Float;
}
}

void MGValueTransformer::setValueTransformer(std::shared_ptr<MGValueTransformer> transformer, const QString &name)
{
    QMutexLocker locker(&registryLock);
    if (transformer)
        registry().insert(name, std::move(transformer));
    else
        registry().remove(name);
}

std::shared_ptr<MGValueTransformer> MGValueTransformer::valueTransformerForName(const QString &name)
{
    QMutexLocker locker(&registryLock);
    return registry().value(name);
}

bool MGValueTransformer::isNumber(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Float:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

qint64 MGValueTransformer::integerValue(const QVariant &number)
{
    if (isFloating(number)) {
        const double d = number.toDouble();
        if (!std::isfinite(d))
            return 0;
        return d >= 9.2e18 ? INT64_MAX : d <= -9.2e18 ? INT64_MIN : qint64(d);
    }
    if (number.metaType().id() == QMetaType::ULongLong || number.metaType().id() == QMetaType::ULong)
        return qint64(number.toULongLong());
    return number.toLongLong();
}

qint32 MGValueTransformer::intValue(const QVariant &number)
{
    return qint32(quint32(quint64(integerValue(number))));
}
