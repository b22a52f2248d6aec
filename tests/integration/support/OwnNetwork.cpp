#include "integration/support/OwnNetwork.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace support {
namespace {

ifreq Named(const char* interface) {
    ifreq request = {};
    std::strncpy(request.ifr_name, interface, sizeof request.ifr_name - 1);
    return request;
}

bool BringUpLoopback(int control) {
    ifreq request = Named("lo");
    if (ioctl(control, SIOCGIFFLAGS, &request) != 0) return false;
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
    return ioctl(control, SIOCSIFFLAGS, &request) == 0;
}

bool AddAddress(int control, const char* literal) {
    ifreq request = Named("lo:1");
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, literal, &address.sin_addr);
    std::memcpy(&request.ifr_addr, &address, sizeof address);
    return ioctl(control, SIOCSIFADDR, &request) == 0;
}

}  // namespace

OwnNetwork::OwnNetwork() {
    m_before = open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
    if (m_before < 0 || unshare(CLONE_NEWNET) != 0) {
        m_problem = "this process may make no network of its own";
        return;
    }
    const int control = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (!BringUpLoopback(control) || !AddAddress(control, kAddress))
        m_problem = "the network takes no address";
    close(control);
}

OwnNetwork::~OwnNetwork() {
    if (m_before < 0) return;
    static_cast<void>(setns(m_before, CLONE_NEWNET));
    close(m_before);
}

}  // namespace support
