#pragma once

#include "MGAclList.h"

#include <QByteArray>
#include <QUrl>

// How `list` shows an item on a file server: its owner and group, whether its entries are in
// canonical order, what the list says beyond its entries (protected from inheritance,
// entries of kinds it does not show), and each entry in the form `set` takes, with its row
// and SID.
namespace MGAclServerListOutput {
QByteArray text(const MGAclList &list, const QUrl &url);
QByteArray json(const MGAclList &list, const QUrl &url);
}
