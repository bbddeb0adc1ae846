// The board's pages over HTTP, on loopback.
#pragma once

#include "tools/lumo/board/board.h"

#include <httplib.h>

#include <cstdint>
#include <memory>
#include <string>
#include <thread>

class CPageServer;

namespace lumo {

/// Whether a request comes from a page of this server on this port, or for a GET from the address line of a browser.
/// Other sites' pages can make a browser ask here, too, but not under this name and not as this origin.
bool IsOwnRequest(const httplib::Request& request, uint16_t port);

/// GET / and its parts, /events, /picture/ID, /board; POST /do and /picture.
class CBoardServer {
public:
    static constexpr size_t kThreads = 64;

    CBoardServer(CBoard& board, CPageFeeds& feeds);
    ~CBoardServer();
    CBoardServer(const CBoardServer&) = delete;
    CBoardServer& operator=(const CBoardServer&) = delete;

    /// Port 0 takes a free one. False when it is not to be had.
    bool Start(uint16_t port);
    uint16_t Port() const { return m_usPort; }
    std::string Url() const { return "http://127.0.0.1:" + std::to_string(m_usPort) + "/"; }

private:
    void AddParts();
    void SendEvents(httplib::Response& response);
    void SendPicture(const std::string& id, httplib::Response& response);
    void TakeActions(const httplib::Request& request, httplib::Response& response);
    void TakePicture(const httplib::Request& request, httplib::Response& response);

    CBoard& m_board;
    CPageFeeds& m_feeds;
    uint16_t m_usPort = 0;
    std::unique_ptr<CPageServer> m_pServer;
    std::thread m_thread;
};

}  // namespace lumo
