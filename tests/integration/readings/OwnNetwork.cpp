#include "integration/readings/OwnNetwork.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "integration/readings/Tool.h"

namespace {

std::string reason(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

bool writeFile(const char* path, const std::string& text) {
    std::ofstream file(path);
    file << text;
    file.close();
    return !file.fail();
}

/// Root of its own user namespace, as somebody who is not root has to be.
bool becomeRootInside(uid_t user, gid_t group) {
    return writeFile("/proc/self/setgroups", "deny") &&
           writeFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") &&
           writeFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

}  // namespace

std::string EnterOwnNetwork() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    const int users = user == 0 ? 0 : CLONE_NEWUSER;
    if (unshare(users | CLONE_NEWNET | CLONE_NEWNS) != 0) return reason("no network namespace");
    if (users != 0 && !becomeRootInside(user, group)) return reason("no user namespace");
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return reason("no mount namespace");
    if (!succeeds("ip link set lo up")) return "ip (iproute2) cannot set up a loopback";
    return {};
}
