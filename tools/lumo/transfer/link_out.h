// The way out of an engine: a file channel, seen without the library.
#pragma once

#include <cstdint>
#include <string>

namespace lumo {

class ILinkOut {
public:
    /// Whether the relay has taken us: what is sent before that is lost.
    virtual bool Ready() const = 0;
    /// Frames that still wait in the library.
    virtual uint32_t Queued() const = 0;
    virtual void Send(const char* data, int length) = 0;
    /// There are kSealRoomBefore bytes before `data` and kSealRoomAfter behind them; none of it keeps what it was.
    virtual void SendInPlace(char* data, int length) { Send(data, length); }
    void Send(const std::string& frame) { Send(frame.data(), static_cast<int>(frame.size())); }

protected:
    ~ILinkOut() = default;
};

}  // namespace lumo
