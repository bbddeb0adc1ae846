// How a medium's local MCU object takes a datagram apart.
#pragma once

#include "core/wire/wire_io.h"
#include "link/process/instances.h"
#include "link/process/server_hooks.h"

#include <cstdint>
#include <span>
#include <type_traits>

/// Which function of a class acts on which command.
template <class T>
struct CDispatchRow {
    uint8_t code;
    void (T::*handler)(const CServerDatagram&);
    bool longForm = false;
};

/// The row that acts on a command, or null.
template <class T>
const CDispatchRow<T>* FindRow(std::span<const CDispatchRow<T>> table, const wire::CommandRow& command) {
    for (const CDispatchRow<T>& row : table)
        if (row.code == command.code && row.longForm == command.longForm) return &row;
    return nullptr;
}

/// A command that names a sink: only a far side that received the sink's ID can send it.
inline bool NamesSink(const wire::CommandRow& row) {
    return row.fields[0] == wire::Field::SinkID || row.fields[0] == wire::Field::ServerSessionID;
}

/// A command of a subscriber, which a relay server may want to refuse.
inline bool IsFromSubscriber(const wire::CommandRow& row) {
    const bool asks = row.fields[0] == wire::Field::ReceiverID || row.fields[0] == wire::Field::ClientSessionID;
    return NamesSink(row) || (asks && row.fields[1] == wire::Field::ChannelID);
}

/// The fields of a datagram behind its command byte.
inline wire::CWireReader Fields(const CServerDatagram& datagram) { return {datagram.body + 1, datagram.length - 1}; }

/// One datagram of `kind` without its kind byte, to the function that acts on it; `before` is called with its row
/// first. UDP thread.
template <class TMcu, class Before = void (*)(const wire::CommandRow&)>
void DispatchDatagram(
    TMcu& mcu, std::span<const CDispatchRow<std::type_identity_t<TMcu>>> table, wire::Kind kind, const char* data,
    int length, uint32_t ip, uint16_t port, Before before = [](const wire::CommandRow&) {}) {
    if (!data || length < 2) return;
    const wire::CommandRow* row = wire::FindCommand(kind, reinterpret_cast<const uint8_t*>(data), length);
    if (!row) return;
    const CServerDatagram datagram{*row, data, length, ip, port};
    IServerHooks* hooks = GetServerHooks();
    const CDispatchRow<TMcu>* found = FindRow<TMcu>(table, *row);
    if (!found) {  // addressed to a server
        if (hooks) hooks->OnCommand(datagram);
        return;
    }
    if (hooks && IsFromSubscriber(*row) && !hooks->AdmitCommand(datagram)) return;
    if (!hooks && NamesSink(*row)) mcu.OnSinkNamed(datagram);
    before(*row);
    (mcu.*(found->handler))(datagram);
}
