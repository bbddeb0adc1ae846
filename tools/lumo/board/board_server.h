// The board's pages over HTTP.
#pragma once

#include "tools/lumo/board/board.h"
#include "tools/lumo/board/board_door.h"

#include <httplib.h>

#include <memory>
#include <string>
#include <thread>

class CPageServer;

namespace lumo {

/// GET / and its parts, /events, /picture/ID, /board; POST /do and /picture.
class CBoardServer {
public:
    static constexpr size_t kThreads = 64;

    CBoardServer(CBoard& board, CPageFeeds& feeds);
    ~CBoardServer();
    CBoardServer(const CBoardServer&) = delete;
    CBoardServer& operator=(const CBoardServer&) = delete;

    /// False when address and port are not to be had.
    bool Start(const BoardDoor& door);
    /// As it was opened.
    const BoardDoor& Door() const { return m_door; }

private:
    void AddParts();
    void SendEvents(httplib::Response& response);
    void SendPicture(const std::string& id, httplib::Response& response);
    void TakeActions(const httplib::Request& request, httplib::Response& response);
    void TakePicture(const httplib::Request& request, httplib::Response& response);

    CBoard& m_board;
    CPageFeeds& m_feeds;
    BoardDoor m_door;
    std::unique_ptr<CPageServer> m_pServer;
    std::thread m_thread;
};

}  // namespace lumo
