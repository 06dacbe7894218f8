#pragma once

#include "MGFileItem.h"

#include <optional>

// How many named entries one ACL may hold on an item's file system. File systems keep an
// ACL in an extended attribute of limited size (ext4: one block, shared with the item's
// other attributes), and refuse a larger one with ENOSPC or E2BIG; users are told how many
// fit instead. Measured on an unnamed temporary file in the item's folder (O_TMPFILE), which
// nobody else can see and which is gone when closed; the item itself is never touched.
namespace MGAclCapacity {
// The largest number of named entries, up to `tried` - 1, that an ACL of this file system
// holds; none when it cannot be measured here.
std::optional<int> namedEntriesThatFit(const MGFileItem &item, int tried);

// The error for an ACL of `named` named entries that the item's file system refused with
// `errnoValue`: how many fit, when that is why; the system's own message otherwise.
MGError tooLarge(const MGFileItem &item, int errnoValue, const QString &failure, int named);
}
