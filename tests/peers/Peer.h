#ifndef ZIN_PEERS_PEER_H
#define ZIN_PEERS_PEER_H

#include <string>

// What every library under comparison can do; one source file implements it for
// each of them, in its asynchronous mode or in the one that comes nearest.

// Writes files that begin with "app" in the directory, rotated at 1 MiB, with
// no limit on their number that a test would reach.
void PeerStart(const std::string& directory);
// One line; the text comes without a newline, and nothing is put before it
// except by ours.
void PeerLog(const std::string& text);
// Returns when what was logged is written, as far as the library can tell.
void PeerStop();

#endif  // ZIN_PEERS_PEER_H
