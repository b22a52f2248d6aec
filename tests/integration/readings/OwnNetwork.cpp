#include "integration/readings/OwnNetwork.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "integration/readings/Tool.h"

namespace {

std::string Reason(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

bool WriteFile(const char* path, const std::string& text) {
    std::ofstream file(path);
    file << text;
    file.close();
    return !file.fail();
}

/// Root of its own user namespace, as somebody who is not root has to be.
bool BecomeRootInside(uid_t user, gid_t group) {
    return WriteFile("/proc/self/setgroups", "deny") &&
           WriteFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") &&
           WriteFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

}  // namespace

std::string EnterOwnNetwork() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    const int users = user == 0 ? 0 : CLONE_NEWUSER;
    if (unshare(users | CLONE_NEWNET | CLONE_NEWNS) != 0) return Reason("no network namespace");
    if (users != 0 && !BecomeRootInside(user, group)) return Reason("no user namespace");
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return Reason("no mount namespace");
    if (!Succeeds("ip link set lo up")) return "ip (iproute2) cannot set up a loopback";
    return {};
}
