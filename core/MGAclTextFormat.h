#pragma once

#include "MGPosixLists.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMutex>
#include <optional>

// The text form in which POSIX ACLs are backed up, restored and typed: one block per item,
//
//     # file: PATH
//     # owner: NAME
//     # group: NAME
//     # flags: -s-
//     user::rwx
//     user:NAME:r-x
//     group::r-x
//     mask::r-x
//     other::---
//     default:user::rwx
//     ...
//
// followed by an empty line, as the system's getfacl writes it and setfacl --restore reads
// it. Line breaks in a path are written as \ooo octal escapes and a backslash as two (white
// space in a name as \ooo as well); names are account names where the system knows them,
// numbers otherwise. An entry typed on a
// command line has the same form ("u:NAME:rwx", "d:g:NAME:r-x", "m::rx").
namespace MGAclTextFormat {

// Account names by id, looked up once each; safe to share between threads.
class Names
{
public:
    QByteArray user(uid_t uid);
    QByteArray group(gid_t gid);
    // Looks up together the names of these ids not known yet, which user() and group() then
    // answer: one by one, thousands of ids would each read the whole account database.
    void lookUp(const QList<uid_t> &uids, const QList<gid_t> &gids);

private:
    QMutex m_lock;
    QHash<quint32, QByteArray> m_users, m_groups;
};

QByteArray block(const QByteArray &path, const MGPosixItemState &state, Names &names);
QByteArray escapePath(const QByteArray &path);
// The state on one line, ids as numbers, for records: "owner 0 group 0 mode 0644 acl
// user::rw-,user:1000:r--,group::r--,mask::r--,other::r--,default:user::rwx,...".
QByteArray oneLine(const MGPosixItemState &state);
// A user's or group's name as entries write it: white space as \ooo and a backslash
// doubled, so that a name is one word of a line.
QByteArray escapeName(const QByteArray &name);
// `bytes` with every byte `escapes` answers true for written as \ooo, as getfacl writes them.
QByteArray octalEscaped(const QByteArray &bytes, bool (*escapes)(unsigned char byte));
// The bytes an escaped path or name stands for.
QByteArray unescapePath(const QByteArray &text);

// One entry as typed or backed up, its qualifier resolved to an id.
struct Entry
{
    bool isDefault = false;
    quint16 tag = 0; // MGPosixAcl::Tag
    quint32 id = MGPosixAcl::UndefinedId;
    std::optional<quint16> perm; // absent: the entry was named without permissions ("-x u:NAME")
    // "X" without "x": execute only for a folder or an item someone may execute already.
    bool executeIfSearchable = false;
};
// Reads the forms setfacl -m and -x take: "[d[efault]:]u[ser]|g[roup]:[QUALIFIER][:PERMS]"
// and "[d[efault]:]m[ask]|o[ther][:][:PERMS]"; `withPerms` says whether permissions must
// follow (r, w, x, X in any order, each once, - for none; or one octal digit).
std::optional<Entry> parseEntry(const QString &text, bool withPerms, QString *why);
struct Permissions
{
    quint16 bits = 0;
    bool executeIfSearchable = false;
};
std::optional<Permissions> permissionsOf(const QString &letters);

// One item of a backup.
struct Block
{
    QByteArray path; // unescaped, as written (relative paths stay relative)
    bool hasPath = false;
    std::optional<uid_t> owner;
    std::optional<gid_t> group;
    bool ownerGiven = false, groupGiven = false;
    QString unknownOwner, unknownGroup; // named, but no account has the name here
    std::optional<mode_t> flags; // S_ISUID, S_ISGID, S_ISVTX; absent: none
    MGPosixAcl access;
    MGPosixAcl defaultAcl;
    int line = 0; // where the block began, for messages
    // Entries given "X" without "x": execute only for a folder or an item someone may execute
    // already, which the restore knows (resolveExecute); until then without execute.
    QList<Entry> executeIfSearchable;
    bool maskGiven[2] = {false, false}; // the access ACL's, the default ACL's
};
// Gives a block's "X" entries execute as setfacl --restore does: for a folder, or when another
// entry of the ACL restored grants execute (setfacl -m asks the ACL before the change,
// MGPosixEdits); and an ACL whose mask was not given the mask that limits none of its
// entries then.
void resolveExecute(Block &block, bool folder);
// The entry of a restore file's line without its comment and the blanks around its fields.
QByteArray entryOfLine(const QByteArray &line);
// Reads a whole backup as setfacl --restore reads it; nothing, with `why` naming the line,
// when a block is malformed: a file line given twice, an owner or group line after one that
// named an account, flags other than s, s and t or -, an empty path (or one with a NUL byte),
// an item without entries, an ACL without its owner's, owning group's or others' entry. A
// later entry for the same user or group replaces an earlier one, a later flags line an
// earlier one; comments among entries (a file line too) are passed over, and blank lines
// among the header's comments; a default ACL takes the base entries it lacks from the access
// ACL; an ACL with named entries and no mask gets the one that limits none of them; an
// owner or group no account has here is kept by name, for the restore to say.
std::optional<QList<Block>> parse(const QByteArray &text, QString *why);
}
