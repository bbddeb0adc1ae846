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

template <class TEndpoint>
std::unique_ptr<IEndpoint> MakeEndpoint(CTestHost& host) {
    return std::make_unique<TEndpoint>(host);
}
