#include "platform/lumonet/bind_problem.h"

#include "platform/lumonet/socket_address.h"

#include <cerrno>
#include <system_error>

namespace {

/// 0 or an errno value.
int TryToListen(uint32_t ip, uint16_t port, int type) {
    const CFileDescriptor socket = OpenSocket(type);
    const sockaddr_in address = ToSocketAddress(ip, port);
    const int yes = 1;
    // As a listener: connections of an earlier one do not keep it from the port.
    if (socket && type == SOCK_STREAM) setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const bool bound = socket && bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    return bound && (type != SOCK_STREAM || listen(socket.Get(), 1) == 0) ? 0 : errno;
}

}  // namespace

std::string BindProblem(uint32_t ip, uint16_t port, ListenOver over) {
    const int udp = over == ListenOver::Tcp ? 0 : TryToListen(ip, port, SOCK_DGRAM);
    const int tcp = over == ListenOver::Udp ? 0 : TryToListen(ip, port, SOCK_STREAM);
    if (udp == 0 && tcp == 0) return "";
    const char* which = udp != 0 && tcp != 0 ? " (UDP and TCP)" : udp != 0 ? " (UDP)" : " (TCP)";
    return std::generic_category().message(udp != 0 ? udp : tcp) + which;
}
