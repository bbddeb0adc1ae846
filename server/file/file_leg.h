// A file channel subscribed to at another server, with the library's own receivers.
#pragma once

#include "link/mcu_address.h"
#include "lumomedia/file.h"
#include "server/relay_leg.h"

class CFileReceiverUDP;
class CStream;

class CFileLeg : public CRelayLeg, public IFileReceiverNotify {
public:
    CFileLeg(CStream& stream, const CMcuAddress& far, bool tcp, std::atomic<bool>& news)
        : m_stream(stream), m_far(far), m_bTcp(tcp), m_news(news) {}
    ~CFileLeg() override { Close(); }

    bool Open() override;
    void Close() override;
    bool IsLost() override { return !m_pReceiver || m_pReceiver->IsDisconnected(); }
    uint32_t LastHeard() override;
    void AskForSign() override;

    void OnFileReceiverNotifyData(const char* data, int length) override;
    void OnFileReceiverNotifyConnected(unsigned long ip) override;

private:
    CStream& m_stream;
    const CMcuAddress m_far;
    const bool m_bTcp;
    std::atomic<bool>& m_news;
    IFileReceiver* m_pReceiver = nullptr;        // ends by its own release
    CFileReceiverUDP* m_pReceiverUDP = nullptr;  // the same, when it is one
};
