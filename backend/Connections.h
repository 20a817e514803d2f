#pragma once

namespace backend {

// The HTTP library hands no socket to a handler, so a connection is found among the process's descriptors by
// its ports.

/// Resets the connection whose local and peer ports are these: the peer sees ECONNRESET, nothing more is
/// sent.
void resetConnection(int localPort, int peerPort);
/// Ends all connections accepted on the local port, so that threads which read from them go on at once.
void shutDownConnections(int localPort);

} // namespace backend
