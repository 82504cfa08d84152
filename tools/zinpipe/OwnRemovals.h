// Knows which files the limits of this process removed.
#ifndef ZINPIPE_OWN_REMOVALS_H
#define ZINPIPE_OWN_REMOVALS_H

#include "FileIdentity.h"

// A file without a name was removed by the limits that the user set, or by
// somebody else, and then its lines are lost. The logger tells nobody which
// files it removes; but it removes them with remove(), and this program brings
// its own, which takes note.
//
// Thread-safe: the logger's threads remove, the main thread asks.
namespace OwnRemovals {

bool Contain(const FileIdentity& file);

// The number may belong to another file from now on.
void Forget(const FileIdentity& file);

}  // namespace OwnRemovals

#endif  // ZINPIPE_OWN_REMOVALS_H
