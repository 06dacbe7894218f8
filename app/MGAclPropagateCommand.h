#pragma once

#include <QUrl>

#include <QByteArray>

// propagate FOLDER [--dry-run] [--json]: gives everything below a folder the folder's owner, group,
// permissions and inheritable ACL, as the window's Propagate does, showing how far it has
// come (a line that updates itself on a terminal, a line a second otherwise). Ctrl+C stops
// it at the next folder, keeping what was done; a second Ctrl+C leaves at once. It ends with
// the summary: changed, already right, skipped and why, failed. --dry-run walks and counts
// what would change, changing nothing. --json writes the summary as one JSON object:
//   {"folder", "dryRun", "stopped", "changed", "alreadyRight", "skipped", "links",
//    "otherMounts", "special", "hardLinks", "changedWhileWalking", "protectedItems", "failed",
//    "failedPaths"}; "protectedItems" counts items on a file server that take nothing from
//    their folder, left as they are with what is below them.
namespace MGAclPropagateCommand {
int run(const QByteArray &path, bool dryRun, bool json);
// The same for an item named by URL (a folder on a file server).
int runOnUrl(const QUrl &url, bool dryRun, bool json);
}
