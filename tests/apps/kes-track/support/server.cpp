#include "support/server.hpp"

#include <stdexcept>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kes::track::test {

Server::Server() : listening(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (bind(listening, any, size) != 0 || listen(listening, 8) != 0 ||
        getsockname(listening, any, &size) != 0) {
        throw std::runtime_error("cannot listen");
    }
    port = ntohs(address.sin_port);
}

Server::~Server() { close(listening); }

bool Server::WasReached() const {
    pollfd waiting{listening, POLLIN, 0};
    return poll(&waiting, 1, 0) == 1;
}

}  // namespace kes::track::test
