// A server that accepts whoever comes and says nothing.
#pragma once

#include <string>

namespace kes::track::test {

class Server {
public:
    Server();
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;
    ~Server();

    unsigned int Port() const { return port; }
    std::string Address() const { return "127.0.0.1:" + std::to_string(port); }

    // Whether anybody has come.
    bool WasReached() const;

private:
    int listening;
    unsigned int port = 0;
};

}  // namespace kes::track::test
