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

using CFileUdpEndpoint = CSessionEndpoint<CFileEndpoint>;

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

using CFileTcpEndpoint = CTcpEndpoint<CFileEndpoint>;
using CTcpReceiver = CTcpDialler<CFileEndpoint, IFileReceiver, 13, kChannelID>;

}  // namespace file_endpoints
