// The wire's side of an endpoint, as far as it is the same for every medium.
#pragma once

#include "sim/endpoint.h"
#include "support/session_wire.h"

/// Datagrams that have left.
class CUdpSide {
public:
    explicit CUdpSide(CTestHost& host) : m_udpHost(host) {}

protected:
    void Collect() {
        for (CSentDatagram& datagram : m_udpHost.TakeSent()) m_out.push_back(std::move(datagram.bytes));
    }
    /// Those that begin so; all are forgotten.
    int Count(const std::string& start) {
        Collect();
        int count = 0;
        for (const std::string& datagram : m_out) count += datagram.compare(0, start.size(), start) == 0;
        m_out.clear();
        return count;
    }

    /// Frames that have left behind this envelope, each in a datagram.
    std::vector<std::string> TakePlainFrames(const std::string& envelope) {
        std::vector<std::string> frames;
        Collect();
        for (const std::string& datagram : m_out)
            if (datagram.compare(0, envelope.size(), envelope) == 0) frames.push_back(datagram.substr(envelope.size()));
        m_out.clear();
        return frames;
    }
    /// Frames that have left in session packets behind an envelope that begins so, acknowledged behind that of the way
    /// back.
    std::vector<std::string> TakeSessionFrames(const std::string& start, size_t envelope, const std::string& back) {
        std::vector<std::string> frames;
        Collect();
        for (size_t i = 0; i < m_out.size(); ++i) {  // grows while acknowledgements let more out
            if (m_out[i].compare(0, start.size(), start) != 0) continue;
            const std::string packet = m_out[i].substr(envelope);
            if (!session_wire::IsData(packet)) continue;
            frames.push_back(session_wire::Payload(packet));
            m_udpHost.Deliver(back + session_wire::Ack(session_wire::Sequence(packet)));
            Collect();
        }
        m_out.clear();
        return frames;
    }

    std::vector<std::string> m_out;

private:
    CTestHost& m_udpHost;
};

/// Frames that have left.
class CTcpSide {
protected:
    std::vector<std::string> TakeFrames() {
        std::vector<std::string> frames;
        for (CSentMessage& message : m_pTcp->TakeSent())
            if (message.mode == 0) frames.push_back(std::move(message.bytes));
        return frames;
    }
    int CountKeepAlives(char keepAlive = 0) {
        int count = 0;
        for (const std::string& frame : TakeFrames()) count += frame == std::string(1, keepAlive);
        return count;
    }

    CFakeTcp* m_pTcp = nullptr;
};

/// An endpoint whose frames travel in session packets behind an envelope of its own.
template <class TBase>
class CSessionEndpoint : public TBase, protected CUdpSide {
public:
    explicit CSessionEndpoint(CTestHost& host) : TBase(host), CUdpSide(host) {}

    std::vector<std::string> TakeLeft() override {
        std::vector<std::string> frames;
        Collect();
        for (size_t i = 0; i < m_out.size(); ++i) {  // grows while acknowledgements let more out
            if (m_out[i].compare(0, FrameOut().size(), FrameOut()) != 0) continue;
            const std::string packet = m_out[i].substr(EnvelopeOut());
            if (!session_wire::IsData(packet)) continue;
            frames.push_back(session_wire::Payload(packet));
            this->m_host.Deliver(FrameIn() + session_wire::Ack(session_wire::Sequence(packet)));
            Collect();
        }
        m_out.clear();
        return frames;
    }
    void Arrive(const std::string& frame) override {
        this->m_host.Deliver(FrameIn() + session_wire::Data(m_usNext++, frame));
        Collect();
    }
    int TakeKeepAlives() override { return Count(KeepAliveOut()); }
    int TakeGoodbyes() override { return Count(GoodbyeOut()); }

protected:
    virtual std::string FrameOut() const = 0;  // how datagrams with frames begin
    virtual size_t EnvelopeOut() const = 0;    // bytes before the packet
    virtual std::string FrameIn() const = 0;   // the whole envelope
    virtual std::string KeepAliveOut() const { return "none"; }
    virtual std::string GoodbyeOut() const { return "none"; }

    uint16_t m_usNext = 0;
};

/// An endpoint over TCP.
template <class TBase>
class CTcpEndpoint : public TBase, protected CTcpSide {
public:
    using TBase::TBase;

    std::vector<std::string> TakeLeft() override { return TakeFrames(); }
    int TakeKeepAlives() override { return CountKeepAlives(); }
    int TakeGoodbyes() override { return m_pTcp->released ? 1 : 0; }
    void SetQueued(unsigned long frames) override { m_pTcp->queued = frames; }
    void Lose() override { m_pTcp->lost = true; }
};

/// One that the application releases; who derives makes it. Answered with the channel ID and `kType`.
template <class TBase, class TObject, uint32_t kType, uint32_t kChannelID>
class CTcpDialler : public CTcpEndpoint<TBase> {
public:
    using CTcpEndpoint<TBase>::CTcpEndpoint;
    ~CTcpDialler() override {
        if (m_pObject) m_pObject->ReleaseConnections();
    }
    void Accept() override {
        this->m_pTcp->clientNotify->OnTcpClientNotifyValidate(kType, session_wire::U32(kChannelID).data(), 4);
    }
    bool IsDisconnected() override { return m_pObject->IsDisconnected(); }
    void Arrive(const std::string& frame) override {
        this->m_pTcp->clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }
    bool TryRelease() override {
        m_pObject->ReleaseConnections();
        return true;
    }
    void Release() override {
        TryRelease();
        m_pObject = nullptr;
    }

protected:
    TObject* m_pObject = nullptr;
};

template <class TEndpoint>
std::unique_ptr<IEndpoint> MakeEndpoint(CTestHost& host) {
    return std::make_unique<TEndpoint>(host);
}
