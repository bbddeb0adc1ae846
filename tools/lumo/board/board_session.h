// The board's own seat in a channel of this process.
#pragma once

#include "tools/lumo/board/board.h"
#include "tools/lumo/board/board_channel.h"
#include "tools/lumo/net/inbox.h"

#include <lumomedia/whiteboard.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace lumo {

/// What has been heard at the seat, in its order.
struct HeardAtSeat {
    enum class Kind { Message, FarBegin, FarList, FarOffer, FarData, FarEcho };
    Kind kind = Kind::Message;
    std::string bytes;    ///< the message, the list, or the object
    uint32_t number = 0;  ///< of the echo, or the object
};

/// The channel calls with its locks held, so what it sends is queued here, and the loop answers.
class CBoardSession final : public CWBSession, public IBoardPort, public IFarSideObserver {
public:
    CBoardSession(CBoardChannel* channel, CWake& wake) : CWBSession(channel), m_channel(*channel), m_wake(wake) {}

    /// Any thread, with locks of the channel held.
    void SendWBSessionData(const char* data, int len) override;
    bool IsDisconnected() override { return false; }
    void OnFarBegin() override { Push({HeardAtSeat::Kind::FarBegin, {}, 0}); }
    void OnFarList(const char* message, int length) override;
    void OnFarOffer(uint32_t id) override { Push({HeardAtSeat::Kind::FarOffer, {}, id}); }
    void OnFarData(const char* message, int length) override;
    void OnFarEcho(uint32_t number) override;
    /// Into the channel, which may answer into the queue before this returns.
    void Say(const std::string& message) override;
    bool Probe(uint32_t number, bool home) override { return m_channel.Probe(number, home); }
    void Fetch(uint32_t id) override { m_channel.Fetch(id); }
    void SayToFarSide(const std::string& message) override { m_channel.SayToFarSide(message); }
    void HearFromFarSide(const std::string& message) override { m_channel.HearFromFarSide(message); }

    /// The next of what was heard. The loop's thread.
    bool Pop(HeardAtSeat& heard);
    /// Whether something had to be thrown away since the last call; the queue is empty then, and the channel must tell
    /// everything again.
    bool TakeOverflow();
    /// Leaves the channel and comes back: what it had sent is forgotten. Gives the numbers of what it holds.
    std::vector<uint32_t> Rejoin();

    /// All that a channel may answer at once: 256 MiB of records, their heads, and some room.
    static constexpr size_t kMaxBytes = 320U * 1024 * 1024;

private:
    void Push(HeardAtSeat heard);
    void DropMessages();
    std::vector<uint32_t> TakeList();

    CBoardChannel& m_channel;
    CWake& m_wake;
    std::mutex m_mutex;
    std::deque<HeardAtSeat> m_heard;
    size_t m_nBytes = 0;
    bool m_bOverflow = false;
};

}  // namespace lumo
