// The local MCU: owner of the one UDP endpoint and of the TCP listener, dispatcher of datagrams, and the worker thread.
#pragma once

#include "audio/local_mcu_audio.h"
#include "desktop/local_mcu_desktop.h"
#include "file/local_mcu_file.h"
#include "lumomedia/local_mcu.h"
#include "platform/lumobase/thread.h"
#include "platform/lumonet/lumonet.h"
#include "video/local_mcu_video.h"
#include "whiteboard/local_mcu_wb.h"

#include <atomic>
#include <cstdint>

/// Holds no lock. The endpoint pointers are atomics: the receive thread may run before they are stored.
class CLocalMCUManager : public CThread, public IUdpClientNotify, public ITcpServerNotify, public ILocalMcuMgr {
public:
    CLocalMCUManager();
    ~CLocalMCUManager() override;

    /// Opens the endpoints and starts the worker. The port appears in the log only.
    bool Connect(unsigned long port);
    void ReleaseConnections() override;
    unsigned short GetLocalPort() override;

    /// The only way out over UDP. Any thread; never blocks.
    void SendUdpData(const char* data, int length, uint32_t ip, uint16_t port);
    bool AcceptTcpSession(ITcpSession* session);
    /// Within a CManagerUse, or in a callback of the endpoint itself.
    IUdpClient* UdpEndpoint() const { return m_pUdpClient.load(std::memory_order_seq_cst); }

    void OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip, unsigned short port) override;
    void OnUdpClientNotifyBurstBegin() override;
    void OnUdpClientNotifyBurstEnd() override;
    bool OnTcpServerNotifyValidate(ITcpSession* session, unsigned long type, const char* data, int length) override;

    /// One turn of the worker: the work of every second when it is due, then the pumps. True when a pump sent
    /// something.
    bool RunTurn();

protected:
    uint32_t ThreadProcMain() override;
    /// Opens the UDP endpoint and the listener, those that are not open yet. False gives up. A server opens a given
    /// address and port here.
    virtual bool OpenEndpoints(unsigned long port);
    /// What else is due every second, and every turn (true when it sent something); the server's.
    virtual void OnSecond() {}
    virtual bool OnTurn() { return false; }
    /// Whether a datagram of that length may go to that address now; it is dropped otherwise. Any thread.
    virtual bool MaySend(uint32_t /*ip*/, int /*length*/) { return true; }
    /// A datagram of a kind that no medium takes: peer probes, their answers, the reflector's answers. Body without the
    /// kind byte. UDP thread.
    virtual void OnOtherDatagram(wire::Kind kind, const char* body, int length, uint32_t ip, uint16_t port);

    std::atomic<IUdpClient*> m_pUdpClient{nullptr};
    std::atomic<ITcpServer*> m_pTcpServer{nullptr};

private:
    bool TryTurn();
    void RunSecond();
    bool Pump();
    void ReleaseMedia();
    void CloseListener();
    void CloseEndpoint();

    std::atomic<bool> m_bStop{false};
    uint32_t m_ulLastSecond;  // worker thread
    CLocalMCUDesktop m_localMCUDesktop;
    CLocalMCUFile m_localMCUFile;
    CLocalMCUAudio m_localMCUAudio;
    CLocalMCUVideo m_localMCUVideo;
    CLocalMCUWB m_localMCUWB;
};
