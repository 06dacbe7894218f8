#include "MGPosixAcl.h"

#include <QtEndian>
#include <algorithm>

namespace {
constexpr quint32 XattrVersion = 2;
constexpr qsizetype HeaderSize = 4;
constexpr qsizetype EntrySize = 8;
}

MGPosixAcl MGPosixAcl::fromMode(mode_t mode)
{
    MGPosixAcl acl;
    acl.set(UserObj, (mode >> 6) & 7);
    acl.set(GroupObj, (mode >> 3) & 7);
    acl.set(Other, mode & 7);
    return acl;
}

std::optional<MGPosixAcl> MGPosixAcl::fromXattr(const QByteArray &value)
{
    if (value.size() < HeaderSize || (value.size() - HeaderSize) % EntrySize != 0)
        return std::nullopt;
    if (qFromLittleEndian<quint32>(value.constData()) != XattrVersion)
        return std::nullopt;
    MGPosixAcl acl;
    for (qsizetype offset = HeaderSize; offset < value.size(); offset += EntrySize) {
        const char *p = value.constData() + offset;
        acl.m_entries << Entry{qFromLittleEndian<quint16>(p), quint16(qFromLittleEndian<quint16>(p + 2) & 7),
                               qFromLittleEndian<quint32>(p + 4)};
    }
    return acl;
}

MGPosixAcl MGPosixAcl::sorted() const
{
    MGPosixAcl copy = *this;
    std::sort(copy.m_entries.begin(), copy.m_entries.end(), [](const Entry &a, const Entry &b) {
        return a.tag != b.tag ? a.tag < b.tag : a.id < b.id;
    });
    return copy;
}

QByteArray MGPosixAcl::toXattr() const
{
    // The kernel wants entries ordered by tag, named ones by id.
    const MGPosixAcl ordered = sorted();
    QByteArray value(HeaderSize + EntrySize * ordered.m_entries.size(), Qt::Uninitialized);
    qToLittleEndian<quint32>(XattrVersion, value.data());
    char *p = value.data() + HeaderSize;
    for (const Entry &e : ordered.m_entries) {
        qToLittleEndian<quint16>(e.tag, p);
        qToLittleEndian<quint16>(e.perm, p + 2);
        qToLittleEndian<quint32>(e.id, p + 4);
        p += EntrySize;
    }
    return value;
}

void MGPosixAcl::set(quint16 tag, quint16 perm, quint32 id)
{
    if (tag != User && tag != Group)
        id = UndefinedId;
    for (Entry &e : m_entries) {
        if (e.tag == tag && e.id == id) {
            e.perm = perm & 7;
            return;
        }
    }
    m_entries << Entry{tag, quint16(perm & 7), id};
}

std::optional<quint16> MGPosixAcl::perm(quint16 tag, quint32 id) const
{
    if (tag != User && tag != Group)
        id = UndefinedId;
    for (const Entry &e : m_entries) {
        if (e.tag == tag && e.id == id)
            return e.perm;
    }
    return std::nullopt;
}

bool MGPosixAcl::hasNamedEntries() const
{
    return std::any_of(m_entries.begin(), m_entries.end(), [](const Entry &e) { return e.tag == User || e.tag == Group; });
}

bool MGPosixAcl::isMinimal() const
{
    return std::all_of(m_entries.begin(), m_entries.end(),
                       [](const Entry &e) { return e.tag == UserObj || e.tag == GroupObj || e.tag == Other; });
}

bool MGPosixAcl::grantsExecute() const
{
    return std::any_of(m_entries.cbegin(), m_entries.cend(), [](const Entry &e) { return e.tag != Mask && (e.perm & 1); });
}

quint16 MGPosixAcl::groupClassUnion() const
{
    quint16 bits = 0;
    for (const Entry &e : m_entries) {
        if (isGroupClass(e.tag))
            bits |= e.perm;
    }
    return bits;
}

mode_t MGPosixAcl::permissionBits() const
{
    const quint16 group = perm(Mask).value_or(perm(GroupObj).value_or(0));
    return mode_t(perm(UserObj).value_or(0)) << 6 | mode_t(group) << 3 | perm(Other).value_or(0);
}

void MGPosixAcl::limitTo(mode_t mode)
{
    const quint16 groupClassTag = contains(Mask) ? Mask : GroupObj;
    for (Entry &e : m_entries) {
        if (e.tag == UserObj)
            e.perm &= quint16((mode >> 6) & 7);
        else if (e.tag == groupClassTag)
            e.perm &= quint16((mode >> 3) & 7);
        else if (e.tag == Other)
            e.perm &= quint16(mode & 7);
    }
}
