#include "bench/path/network_space.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <thread>

namespace bench {

namespace {

constexpr int kQueueLength = 10000;  // packets: the path's queue is the emulator's, not the device's

[[noreturn]] void Fail(const char* what) {
    throw std::runtime_error(std::string("no path can be emulated here: ") + what + ": " + std::strerror(errno));
}

ifreq Request(const char* device) {
    ifreq request{};
    std::strncpy(request.ifr_name, device, IFNAMSIZ - 1);
    return request;
}

void Ask(int fd, unsigned long what, ifreq& request, const char* name) {
    if (ioctl(fd, what, &request) < 0) Fail(name);
}

void SetAddress(int fd, const char* device, unsigned long what, uint32_t address, const char* name) {
    ifreq request = Request(device);
    sockaddr_in in{};
    in.sin_family = AF_INET;
    in.sin_addr.s_addr = htonl(address);
    std::memcpy(&request.ifr_addr, &in, sizeof in);
    Ask(fd, what, request, name);
}

void BringUp(int fd, const char* device) {
    ifreq request = Request(device);
    Ask(fd, SIOCGIFFLAGS, request, "SIOCGIFFLAGS");
    request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP | IFF_RUNNING);
    Ask(fd, SIOCSIFFLAGS, request, "SIOCSIFFLAGS");
}

CFileDescriptor LayCable(uint32_t address, const char* device) {
    CFileDescriptor cable(open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (cable.Get() < 0) Fail("/dev/net/tun");
    ifreq request = Request(device);
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    Ask(cable.Get(), TUNSETIFF, request, "TUNSETIFF");
    const CFileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    SetAddress(socket.Get(), device, SIOCSIFADDR, address, "SIOCSIFADDR");
    SetAddress(socket.Get(), device, SIOCSIFNETMASK, 0xFFFFFF00, "SIOCSIFNETMASK");
    request = Request(device);
    request.ifr_qlen = kQueueLength;
    Ask(socket.Get(), SIOCSIFTXQLEN, request, "SIOCSIFTXQLEN");
    BringUp(socket.Get(), device);
    return cable;
}

/// A thread of its own leaves this process's network, and ends there.
void InNetworkOfItsOwn(const std::function<void()>& action) {
    std::exception_ptr failure;
    std::thread inside([&] {
        try {
            action();
        } catch (...) {
            failure = std::current_exception();
        }
    });
    inside.join();
    if (failure) std::rethrow_exception(failure);
}

}  // namespace

CNetworkSpace::CNetworkSpace(const std::vector<uint32_t>& addresses) {
    InNetworkOfItsOwn([&] {
        if (unshare(CLONE_NEWNET) != 0) Fail("a network namespace");
        m_space = CFileDescriptor(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
        for (const uint32_t address : addresses)
            m_cables.push_back(LayCable(address, ("path" + std::to_string(m_cables.size())).c_str()));
        const CFileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        BringUp(socket.Get(), "lo");
    });
}

void CNetworkSpace::Do(const std::function<void()>& action) const {
    InNetworkOfItsOwn([&] {
        if (setns(m_space.Get(), CLONE_NEWNET) != 0) Fail("a network namespace");
        action();
    });
}

}  // namespace bench
