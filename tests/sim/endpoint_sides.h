// The wire's side of an endpoint, as far as it is the same for every medium.
#pragma once

#include "sim/endpoint.h"

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
    int CountKeepAlives() {
        int count = 0;
        for (const std::string& frame : TakeFrames()) count += frame == std::string(1, '\0');
        return count;
    }

    CFakeTcp* m_pTcp = nullptr;
};

template <class TEndpoint>
std::unique_ptr<IEndpoint> MakeEndpoint(CTestHost& host) {
    return std::make_unique<TEndpoint>(host);
}
