// The far side of one connection, on a thread of its own.
#pragma once

#include "support/raw_tcp.h"

#include <functional>
#include <thread>

/// Plays a script with the first who comes to its port; somebody must.
class CScriptedPeer {
public:
    using Script = std::function<void(const CRawPeer&)>;

    explicit CScriptedPeer(Script script)
        : m_thread([this, script = std::move(script)] { script(m_listener.Accept()); }) {}
    ~CScriptedPeer() { m_thread.join(); }
    uint16_t Port() const { return m_listener.Port(); }

private:
    CRawListener m_listener;
    std::thread m_thread;
};
