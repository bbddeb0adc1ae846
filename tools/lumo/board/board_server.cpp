#include "tools/lumo/board/board_server.h"

#include "platform/lumonet/lumonet.h"
#include "server/pages/http_queue.h"
#include "server/pages/page_server.h"
#include "tools/lumo/board/page_parts.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/net/target.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <utility>

namespace lumo {
namespace {

using httplib::Request;
using httplib::Response;
using std::chrono::milliseconds;

constexpr size_t kWaitingConnections = 64;
constexpr milliseconds kPause{3000};  // a page that has gone is noticed by then

PageLimits Limits() {
    PageLimits limits;
    limits.request = kMaxPosted + (64U << 10);
    limits.whole = milliseconds(20000);
    limits.endless = true;
    return limits;
}

void SetHeaders(Response& response) {
    response.set_header("Content-Security-Policy",
                        "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
                        "img-src 'self' blob: data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Referrer-Policy", "no-referrer");
    response.set_header("Cross-Origin-Resource-Policy", "same-origin");
    response.set_header("Cross-Origin-Opener-Policy", "same-origin");
    response.set_header("Cache-Control", "no-store");
}

void Refuse(Response& response, int status, const char* why) {
    response.status = status;
    response.set_content(std::string(why) + "\n", "text/plain");
}

const char* TypeOf(BoardPictureFormat format) { return format == BoardPictureFormat::Png ? "image/png" : "image/jpeg"; }

/// One page's events: first what there is, then what happens.
class CEventStream {
public:
    CEventStream(CBoard& board, PageFeedPtr feed, std::vector<uint32_t> objects)
        : m_board(board), m_feed(std::move(feed)), m_objects(std::move(objects)) {}
    ~CEventStream() { m_board.LeavePage(m_feed); }
    CEventStream(const CEventStream&) = delete;
    CEventStream& operator=(const CEventStream&) = delete;

    bool Send(httplib::DataSink& sink) {
        EventText event;
        if (m_nSent == 0) {
            m_nSent = 1;
            return Write(sink, R"({"type":"reset"})");
        }
        const size_t done = m_nSent - 1;
        if (done < m_objects.size()) {
            const size_t count = std::min(kAtOnce, m_objects.size() - done);
            m_nSent += count;
            return !m_feed->Closed() && Write(sink, m_board.Objects(m_objects.data() + done, count));
        }
        if (!m_feed->Wait(kPause, event)) return false;
        return event ? Write(sink, *event) : sink.write(": still here\n\n", 14);
    }

private:
    static constexpr size_t kAtOnce = 100;

    static bool Write(httplib::DataSink& sink, const std::string& event) {
        const std::string text = "data: " + event + "\n\n";
        return sink.write(text.data(), text.size());
    }

    CBoard& m_board;
    const PageFeedPtr m_feed;
    const std::vector<uint32_t> m_objects;
    size_t m_nSent = 0;  // the reset, and objects
};

}  // namespace

CBoardServer::CBoardServer(CBoard& board, CPageFeeds& feeds)
    : m_board(board), m_feeds(feeds), m_pServer(std::make_unique<CPageServer>(Limits())) {}

CBoardServer::~CBoardServer() {
    m_feeds.Close();
    m_pServer->CutAll();
    m_pServer->stop();
    if (m_thread.joinable()) m_thread.join();
}

bool CBoardServer::Start(const BoardDoor& door) {
    m_door = door;
    const std::string address = GetIpAddr(door.ip);
    m_pServer->new_task_queue = [] { return new CHttpQueue(kThreads, kWaitingConnections); };
    m_pServer->set_payload_max_length(kMaxPosted);
    AddParts();
    if (door.port == 0) {
        const int free = m_pServer->bind_to_any_port(address);
        if (free <= 0) return false;
        m_door.port = static_cast<uint16_t>(free);
    } else if (!m_pServer->bind_to_port(address, door.port)) {
        return false;
    }
    m_thread = std::thread([this] { m_pServer->listen_after_bind(); });
    while (!m_pServer->is_running()) std::this_thread::yield();  // stop() before that would be lost
    return true;
}

void CBoardServer::AddParts() {
    m_pServer->set_pre_routing_handler([this](const Request& request, Response& response) {
        SetHeaders(response);
        if (m_door.Opens(request.path) && IsOwnRequest(request, m_door))
            return httplib::Server::HandlerResponse::Unhandled;
        Refuse(response, 403, "This board answers to its own page only.");
        return httplib::Server::HandlerResponse::Handled;
    });
    const std::string at = m_door.Prefix();
    if (!at.empty())  // its last character may get lost on the way
        m_pServer->Get(at, [at](const Request&, Response& response) { response.set_redirect(at + "/"); });
    for (const PagePart& part : PageParts()) {
        m_pServer->Get(at + std::string(part.path), [part](const Request&, Response& response) {
            response.set_content(part.content.data(), part.content.size(), std::string(part.type));
        });
    }
    m_pServer->Get(at + "/events", [this](const Request&, Response& response) { SendEvents(response); });
    m_pServer->Get(at + "/board", [this](const Request&, Response& response) {
        response.set_content(m_board.Text(), "application/json");
    });
    m_pServer->Get(at + R"(/picture/(\d{1,10}))",
                   [this](const Request& request, Response& response) { SendPicture(request.matches[1], response); });
    m_pServer->Post(at + "/do", [this](const Request& request, Response& response) { TakeActions(request, response); });
    m_pServer->Post(at + "/picture",
                    [this](const Request& request, Response& response) { TakePicture(request, response); });
}

void CBoardServer::SendEvents(Response& response) {
    std::vector<uint32_t> objects;
    PageFeedPtr feed = m_board.OpenPage(objects);
    if (!feed) return Refuse(response, 503, "Too many pages of this board are open.");
    const auto stream = std::make_shared<CEventStream>(m_board, std::move(feed), std::move(objects));
    response.set_chunked_content_provider("text/event-stream",
                                          [stream](size_t, httplib::DataSink& sink) { return stream->Send(sink); });
}

void CBoardServer::SendPicture(const std::string& id, Response& response) {
    std::string bytes;
    BoardPictureFormat format{};
    if (!m_board.Picture(static_cast<uint32_t>(ParseNumber(id, UINT32_MAX)), bytes, format))
        return Refuse(response, 404, "There is no such picture.");
    response.set_content(bytes, TypeOf(format));
}

void CBoardServer::TakeActions(const Request& request, Response& response) {
    std::vector<BoardAction> actions;
    if (!ParseActions(request.body, actions)) return Refuse(response, 400, "This is no list of actions.");
    response.set_content(DumpJson(m_board.Do(actions, CToolLoop::Now())), "application/json");
}

void CBoardServer::TakePicture(const Request& request, Response& response) {
    BoardAction action;
    Shape shape;
    shape.type = ShapeType::Picture;
    if (!ParseBox(request.get_param_value("box"), shape.box) || request.body.size() > kMaxBoardPicture ||
        !FormatOf(request.body, shape.format))
        return Refuse(response, 400, "A picture is PNG or JPEG of at most 1 MiB.");
    shape.bytes = request.body;
    action.kind = BoardAction::Kind::Add;
    action.shapes.push_back(std::move(shape));
    response.set_content(DumpJson(m_board.Do({std::move(action)}, CToolLoop::Now())), "application/json");
}

}  // namespace lumo
