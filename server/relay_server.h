// The whole relay server in one object: endpoints, channels, pages.
#pragma once

#include "server/server_log.h"
#include "server/server_options.h"

#include <functional>
#include <memory>
#include <string>

class CHttpServer;
class CReflector;
class CServerManager;

/// One per process, as the library has one local MCU per process.
class CRelayServer {
public:
    explicit CRelayServer(const CServerOptions& options);
    /// For tests: the server's lines go to `takeLine`.
    CRelayServer(const CServerOptions& options, std::function<void(const std::string&)> takeLine);
    ~CRelayServer();
    CRelayServer(const CRelayServer&) = delete;
    CRelayServer& operator=(const CRelayServer&) = delete;

    /// False with a reason when an endpoint is not to be had.
    bool Start(std::string& error);
    /// Takes what may change from these options, and says in the log what did not.
    void Change(const CServerOptions& next);
    /// Lets TCP queues drain, for 5 s at most, and ends.
    void Stop();

    uint16_t Port() const;
    /// 0 without pages.
    uint16_t HttpPort() const;
    CServerLog& Log() { return m_log; }
    CServerManager& Manager() { return *m_pManager; }

private:
    bool StartReflector(std::string& error);
    bool StartPages(std::string& error);

    CServerOptions m_options;
    CServerLog m_log;
    CServerManager* m_pManager = nullptr;  // deletes itself when it is released
    std::unique_ptr<CReflector> m_pReflector;
    std::unique_ptr<CHttpServer> m_pPages;
};
