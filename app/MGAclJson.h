#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

// How the command line writes JSON: UTF-8, one object per line, and names and paths that
// are not UTF-8 kept exactly: the field holds the text with U+FFFD for bytes that are not
// UTF-8, and a field of the same name ending in "Base64" holds the bytes themselves.
namespace MGAclJson {
void putBytes(QJsonObject &object, const QString &key, const QByteArray &bytes);
// The object as one line, newline included.
QByteArray line(const QJsonObject &object);
}
