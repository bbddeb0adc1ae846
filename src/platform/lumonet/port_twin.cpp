#include "platform/lumonet/port_twin.h"

#include "platform/lumobase/crit_sec.h"
#include "platform/lumonet/file_descriptor.h"
#include "platform/lumonet/net_real.h"
#include "platform/lumonet/socket_address.h"

#include <sys/socket.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace {

struct Entry {
    uint64_t id;
    uint32_t localIP;
    uint16_t port;
    CFileDescriptor socket;
};

struct Table {
    CCritSec cs;
    std::vector<Entry> entries LUMO_GUARDED_BY(cs);
    uint64_t lastID LUMO_GUARDED_BY(cs) = 0;

    template <typename Match>
    CFileDescriptor Remove(Match match) LUMO_EXCLUDES(cs) {
        CAutoLock lock(&cs);
        const auto it = std::find_if(entries.begin(), entries.end(), match);
        if (it == entries.end()) return {};
        CFileDescriptor socket = std::move(it->socket);
        entries.erase(it);
        return socket;
    }
};

Table& GetTable() {
    static Table* table = new Table;  // endpoints may end after the static objects
    return *table;
}

}  // namespace

CPortTwin::CPortTwin(CPortTwin&& other) noexcept : m_nID(std::exchange(other.m_nID, 0)) {}

CPortTwin& CPortTwin::operator=(CPortTwin&& other) noexcept {
    std::swap(m_nID, other.m_nID);
    return *this;
}

CPortTwin::~CPortTwin() {
    if (m_nID != 0) GetTable().Remove([this](const Entry& entry) { return entry.id == m_nID; });
}

bool CPortTwin::Reserve(uint32_t localIP, uint16_t port) {
    // Without SO_REUSEADDR: two bound sockets that both have it do not exclude each other.
    CFileDescriptor socket = OpenSocket(SOCK_STREAM);
    const sockaddr_in address = ToSocketAddress(localIP, port);
    if (!socket || ::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return false;
    Table& table = GetTable();
    CAutoLock lock(&table.cs);
    table.entries.push_back({++table.lastID, localIP, port, std::move(socket)});
    m_nID = table.lastID;
    return true;
}

int TakeReservedTcpSocket(uint32_t localIP, uint16_t port) {
    const auto match = [&](const Entry& entry) { return entry.localIP == localIP && entry.port == port; };
    CFileDescriptor socket = GetTable().Remove(match);
    // From now on, so that old connections do not keep a later listener from the port: they inherit it.
    const int yes = 1;
    if (socket) static_cast<void>(setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes));
    return socket.Take();
}
