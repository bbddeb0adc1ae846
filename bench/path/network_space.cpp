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
#include <stdexcept>
#include <string>
#include <thread>

namespace bench {

namespace {

constexpr char kDevice[] = "path";
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

void SetAddress(int fd, unsigned long what, uint32_t address, const char* name) {
    ifreq request = Request(kDevice);
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

void MakeSpace(uint32_t address, CFileDescriptor& space, CFileDescriptor& cable) {
    if (unshare(CLONE_NEWNET) != 0) Fail("a network namespace");
    space = CFileDescriptor(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
    cable = CFileDescriptor(open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (cable.Get() < 0) Fail("/dev/net/tun");
    ifreq request = Request(kDevice);
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    Ask(cable.Get(), TUNSETIFF, request, "TUNSETIFF");
    const CFileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    SetAddress(socket.Get(), SIOCSIFADDR, address, "SIOCSIFADDR");
    SetAddress(socket.Get(), SIOCSIFNETMASK, 0xFFFFFF00, "SIOCSIFNETMASK");
    request = Request(kDevice);
    request.ifr_qlen = kQueueLength;
    Ask(socket.Get(), SIOCSIFTXQLEN, request, "SIOCSIFTXQLEN");
    BringUp(socket.Get(), kDevice);
    BringUp(socket.Get(), "lo");
}

}  // namespace

CNetworkSpace::CNetworkSpace(uint32_t address) : m_ulAddress(address) {
    std::exception_ptr failure;
    std::thread inside([&] {  // a thread of its own leaves this process's network, and ends there
        try {
            MakeSpace(address, m_space, m_cable);
        } catch (...) {
            failure = std::current_exception();
        }
    });
    inside.join();
    if (failure) std::rethrow_exception(failure);
}

}  // namespace bench
