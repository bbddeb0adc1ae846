// What the file medium's endpoints of the scenario list share.
#pragma once

#include "lumomedia/file.h"
#include "sim/endpoint_sides.h"
#include "support/session_wire.h"

namespace file_endpoints {

using session_wire::U32;

inline constexpr uint32_t kChannelID = 77;

class CChannel : public CFileChannel {
public:
    explicit CChannel(std::vector<std::string>& upstream) : CFileChannel(kChannelID), m_upstream(upstream) {
        Connect();
    }
    void OnFileSinkData(const void* data, int length) override {
        m_upstream.emplace_back(static_cast<const char*>(data), static_cast<size_t>(length));
    }

private:
    std::vector<std::string>& m_upstream;
};

class CFileEndpoint : public IEndpoint, public IFileSenderNotify, public IFileReceiverNotify {
public:
    explicit CFileEndpoint(CTestHost& host) : m_host(host), m_upstream(delivered), m_channel(m_upstream) {}
    void OnFileSenderNotifyConnected(unsigned long ip, bool connected) override {
        if (connected && ip != 0) ++m_nConnected;
    }
    void OnFileReceiverNotifyConnected(unsigned long ip) override { m_nConnected += ip != 0; }
    void OnFileReceiverNotifyData(const char* data, int length) override {
        delivered.emplace_back(data, static_cast<size_t>(length));
    }
    void Write(const std::string& frame) override {
        m_channel.OnFileChannelData(frame.data(), static_cast<int>(frame.size()));
    }
    uint32_t Buffering() override { return static_cast<uint32_t>(m_channel.GetBufferingFrameCount()); }
    int NotifiedConnected() override { return m_nConnected; }

protected:
    CTestHost& m_host;
    std::vector<std::string>& m_upstream;
    CChannel m_channel;
    int m_nConnected = 0;
};

/// What the three UDP roles share: frames in session packets behind an envelope of their own.
class CFileUdpEndpoint : public CFileEndpoint, protected CUdpSide {
public:
    explicit CFileUdpEndpoint(CTestHost& host) : CFileEndpoint(host), CUdpSide(host) {}

    std::vector<std::string> TakeLeft() override { return TakeSessionFrames(FrameOut(), EnvelopeOut(), FrameIn()); }
    void Arrive(const std::string& frame) override {
        m_host.Deliver(FrameIn() + session_wire::Data(m_usNext++, frame));
        Collect();
    }
    int TakeKeepAlives() override { return Count(KeepAliveOut()); }
    int TakeGoodbyes() override { return Count(GoodbyeOut()); }

protected:
    virtual std::string FrameOut() const = 0;  // kind and command
    virtual size_t EnvelopeOut() const = 0;    // bytes before the packet
    virtual std::string FrameIn() const = 0;   // the whole envelope
    virtual std::string KeepAliveOut() const { return "none"; }
    virtual std::string GoodbyeOut() const { return "none"; }

    uint16_t m_usNext = 0;
};

/// The subscriber over datagrams; who derives makes the receiver.
class CUdpReceiver : public CFileUdpEndpoint {
public:
    using CFileUdpEndpoint::CFileUdpEndpoint;
    ~CUdpReceiver() override {
        if (m_pReceiver) m_pReceiver->ReleaseConnections();
    }
    void Accept() override { m_host.Deliver(ConnectAck()); }
    bool IsDisconnected() override { return m_pReceiver->IsDisconnected(); }
    void Release() override {
        m_pReceiver->ReleaseConnections();
        m_pReceiver = nullptr;
    }
    std::vector<std::string> InboundDatagrams() override {
        return {ConnectAck(), Hex("063c") + U32(m_ulID) + U32(600), FrameIn() + session_wire::Data(0, "down")};
    }

protected:
    std::string ConnectAck() const { return Hex("063a") + U32(m_ulID) + U32(600); }
    std::string FrameOut() const override { return Hex("063e"); }
    size_t EnvelopeOut() const override { return 6; }
    std::string FrameIn() const override { return Hex("063d") + U32(m_ulID) + U32(600); }
    std::string KeepAliveOut() const override { return Hex("063b") + U32(600); }
    std::string GoodbyeOut() const override { return Hex("063f") + U32(600); }

    IFileReceiver* m_pReceiver = nullptr;
    uint32_t m_ulID = 0;
};

/// What the three TCP roles share.
class CFileTcpEndpoint : public CFileEndpoint, protected CTcpSide {
public:
    using CFileEndpoint::CFileEndpoint;

    std::vector<std::string> TakeLeft() override { return TakeFrames(); }
    int TakeKeepAlives() override { return CountKeepAlives(); }
    int TakeGoodbyes() override { return m_pTcp->released ? 1 : 0; }
    void SetQueued(unsigned long frames) override { m_pTcp->queued = frames; }
    void Lose() override { m_pTcp->lost = true; }
};

/// The subscriber over TCP; who derives makes the receiver.
class CTcpReceiver : public CFileTcpEndpoint {
public:
    using CFileTcpEndpoint::CFileTcpEndpoint;
    ~CTcpReceiver() override {
        if (m_pReceiver) m_pReceiver->ReleaseConnections();
    }
    void Accept() override { m_pTcp->clientNotify->OnTcpClientNotifyValidate(13, U32(kChannelID).data(), 4); }
    bool IsDisconnected() override { return m_pReceiver->IsDisconnected(); }
    void Arrive(const std::string& frame) override {
        m_pTcp->clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }
    void Release() override {
        m_pReceiver->ReleaseConnections();
        m_pReceiver = nullptr;
    }

protected:
    IFileReceiver* m_pReceiver = nullptr;
};

}  // namespace file_endpoints
