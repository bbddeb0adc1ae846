#include "platform/lumonet/congestion.h"

#include "platform/lumobase/crit_sec.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <set>

namespace net {

namespace {

constexpr size_t kMostNames = 32;   // of a kernel; more are not told apart
constexpr socklen_t kNameLen = 16;  // the kernel's TCP_CA_NAME_MAX

struct Names {
    CCritSec cs;
    std::string wanted LUMO_GUARDED_BY(cs);
    std::set<std::string> seen LUMO_GUARDED_BY(cs);  // never removed: their texts are handed out
};

Names& AllNames() {
    static auto* names = new Names;  // connections may outlive this file's objects
    return *names;
}

}  // namespace

void SetCongestionControl(const std::string& name) {
    Names& names = AllNames();
    CAutoLock lock(&names.cs);
    names.wanted = name;
}

const char* AskForCongestionControl(int socket) {
    Names& names = AllNames();
    CAutoLock lock(&names.cs);
    if (!names.wanted.empty())
        setsockopt(socket, IPPROTO_TCP, TCP_CONGESTION, names.wanted.data(),
                   static_cast<socklen_t>(names.wanted.size()));
    char name[kNameLen + 1] = {};
    socklen_t length = kNameLen;
    if (getsockopt(socket, IPPROTO_TCP, TCP_CONGESTION, name, &length) != 0) return "";
    if (names.seen.size() >= kMostNames && names.seen.count(name) == 0) return "";
    return names.seen.insert(name).first->c_str();
}

}  // namespace net
