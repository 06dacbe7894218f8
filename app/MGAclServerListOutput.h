#pragma once

#include "MGAclList.h"

#include <QByteArray>
#include <QUrl>

// How `list` shows an item on a file server: its owner and group, whether its entries are in
// canonical order, and each entry in the form `set` takes, with its row and SID.
namespace MGAclServerListOutput {
QByteArray text(const MGAclList &list, const QUrl &url);
QByteArray json(const MGAclList &list, const QUrl &url);
}
