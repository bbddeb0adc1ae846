// One who draws and many who watch, for `lumo load whiteboard`: each with a board of its own.
#pragma once

#include "tools/lumo/board/board_link.h"
#include "tools/lumo/load/load_medium.h"

#include <lumomedia/whiteboard.h>

#include <cstdint>
#include <deque>
#include <utility>

namespace lumo {

/// A channel that shows the records of objects when they come.
class CLoadBoard final : public CWBChannel {
public:
    CLoadBoard(uint32_t channel, LoadSink sink) : CWBChannel(channel), m_sink(std::move(sink)) {}
    void OnWBChannelData(unsigned long sessionID, const char* data, int len) override;

private:
    const LoadSink m_sink;
};

/// All boards have one number, and a client takes the one that is registered when it is made.
class CBoardLoadLink final : public CBoardRelayLink {
public:
    CBoardLoadLink(const RelayRoute& route, CInbox& inbox, LoadSink sink)
        : CBoardRelayLink(route, inbox, PatientTimes()), m_board(route.channel, std::move(sink)) {}
    ~CBoardLoadLink() override { Close(); }
    CWBChannel& Board() { return m_board; }

protected:
    IWBSessionClient* MakeClient(::IWBSessionClientNotify& notify) override {
        m_board.Connect();
        return CBoardRelayLink::MakeClient(notify);
    }

private:
    /// As long as the library has patience.
    static LinkTimes PatientTimes();

    CLoadBoard m_board;
};

/// Each frame is an object, deleted after a while: every board here keeps a copy of it. The first one of no number
/// stays, for who joins is told of what there is.
class CBoardLoadPublisher final : public ILoadPublisher {
public:
    CBoardLoadPublisher(const RelayRoute& route, CInbox& inbox) : m_link(route, inbox, [](const char*, int) {}) {}
    void Send(std::string& frame, bool) override;
    CLink& Link() override { return m_link; }

    static constexpr uint64_t kKeptMs = 5000;

private:
    void Say(const std::string& message);
    void DeleteOld(uint64_t now);

    CBoardLoadLink m_link;
    std::deque<std::pair<uint64_t, uint32_t>> m_drawn;  // when, and its number
    uint32_t m_nLast = 0;
    bool m_bGreeted = false;
};

}  // namespace lumo
