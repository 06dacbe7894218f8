#pragma once

#include <QByteArray>
#include <QCborMap>
#include <QString>
#include <optional>

// A request's outline: the request read as a stream, holding at most one entry at a time,
// so that it can be checked in full before anyone is asked whether its caller may make it,
// without the service holding what a refused caller sent.
//
// Each entry list of the method (the argument table's Entries) is checked entry by entry,
// as MGAclLists::fromCbor checks it, and left empty in the outline; every other list or map
// below the request's fields is left empty too, which keeps its kind (and so its type
// error). Scalars are kept as they are. The outline then answers to every check of the
// request's shape exactly as the request does (MGAclServiceDispatcher::refusal).
namespace MGRequestOutline {
// The outline of an encoded request, or nothing with `problem` said when the request
// cannot be read or one of its entries is malformed.
std::optional<QCborMap> of(const QByteArray &request, QString *problem);
// An entry, encoded, may not be larger than this: the largest holds two names and a title
// of some thousand characters each.
inline constexpr qsizetype MaximumItemBytes = 64 * 1024;
}
