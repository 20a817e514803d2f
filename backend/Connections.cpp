#include "backend/Connections.h"

#include <filesystem>
#include <functional>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>

namespace backend {

namespace {

template <typename Query>
int portOf(Query query, int descriptor) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    const bool known = query(descriptor, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    return known && address.sin_family == AF_INET ? ntohs(address.sin_port) : -1;
}

/// Calls `act` with each connected socket of the local port and its peer's port.
void forEachConnection(int localPort, const std::function<void(int descriptor, int peerPort)>& act) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename().string());
        const int peerPort = portOf(::getpeername, descriptor);
        if (peerPort >= 0 && portOf(::getsockname, descriptor) == localPort)
            act(descriptor, peerPort);
    }
}

} // namespace

void resetConnection(int localPort, int peerPort) {
    forEachConnection(localPort, [peerPort](int descriptor, int port) {
        if (port != peerPort)
            return;
        // Connecting to no address dissolves the connection with a reset and leaves the descriptor to its
        // owner.
        sockaddr none{};
        none.sa_family = AF_UNSPEC;
        ::connect(descriptor, &none, sizeof none);
    });
}

void shutDownConnections(int localPort) {
    forEachConnection(localPort, [](int descriptor, int) { ::shutdown(descriptor, SHUT_RDWR); });
}

} // namespace backend
