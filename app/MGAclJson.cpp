#include "MGAclJson.h"

#include <QJsonDocument>
#include <QStringDecoder>

namespace MGAclJson {

void putBytes(QJsonObject &object, const QString &key, const QByteArray &bytes)
{
    // Stateless: a name ending in the start of a sequence is not waiting for more bytes.
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decode(bytes);
    object.insert(key, text);
    if (decode.hasError())
        object.insert(key + QStringLiteral("Base64"), QString::fromLatin1(bytes.toBase64()));
}

QByteArray line(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}
}
