// Bytes on the HTTP side of the relay server, over loopback as a browser would send them.
#include "server/pages/http_server.h"
#include "support/raw_tcp.h"
#include "support/target.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace fuzz::http_request {

void TakeInput(const uint8_t* data, size_t size);
CFuzzTarget g_target("http_request", {"page", "streams", "metrics", "health", "foreign host", "not found", "refused"},
                     TakeInput);

class CQuietServer final : public IStatusSource {
public:
    std::vector<CMediumStatus> Media() override { return {}; }
    CServerStatus Status() override { return {}; }
};

CHttpServer& Server() {
    static CQuietServer source;
    static CHttpServer server(source, 0x7f000001, 0);
    static const bool started = server.Start();
    if (!started) std::abort();
    return server;
}

/// What one connection answers to these bytes.
std::string Ask(const std::string& request, uint16_t port) {
    const CRawPeer peer = CRawPeer::Dial(port, request);
    if (request.find("\r\n\r\n") == std::string::npos) shutdown(peer.Fd(), SHUT_WR);  // nothing more will come
    return peer.ReadAll();
}

const char* Kind(const std::string& answer) {
    const auto has = [&](const char* text) { return answer.find(text) != std::string::npos; };
    const std::string status = answer.substr(0, std::min<size_t>(12, answer.size()));
    if (status == "HTTP/1.1 404") return "not found";
    if (status == "HTTP/1.1 403" || status == "HTTP/1.1 421") return "foreign host";
    if (status != "HTTP/1.1 200") return "refused";
    if (has("uptime_seconds")) return "streams";
    if (has("# TYPE")) return "metrics";
    return has("<html") ? "page" : "health";
}

void TakeInput(const uint8_t* data, size_t size) {
    const std::string request(reinterpret_cast<const char*>(data), std::min<size_t>(size, 8192));
    g_target.Hit(Kind(Ask(request, Server().Port())));
}

}  // namespace fuzz::http_request
