#include "support/fake_net.h"

#include <new>
#include <stdexcept>
#include <utility>

namespace {

CFakeNet* g_pNet = nullptr;

IUdpClient* MakeUdp(IUdpClientNotify* notify, const UdpOptions&) {
    if (g_pNet->refuseUdp) return nullptr;
    if (g_pNet->makeUdp) return g_pNet->makeUdp();
    g_pNet->udps.push_back(std::make_unique<CFakeUdp>(notify));
    return g_pNet->udps.back().get();
}

ITcpServer* MakeServer(ITcpServerNotify* notify, const TcpServerOptions&) {
    if (g_pNet->refuseTcpServer) return nullptr;
    g_pNet->servers.push_back(std::make_unique<CFakeTcpServer>(notify));
    return g_pNet->servers.back().get();
}

ITcpClient* MakeClient(ITcpClientNotify* notify, const std::string& host, unsigned short port, int proxyType,
                       const std::string& proxyHost, unsigned short proxyPort, const std::string& proxyUser,
                       const std::string& proxyPassword) {
    if (g_pNet->refuseTcpClient) return nullptr;
    g_pNet->clients.push_back(std::make_unique<CFakeTcp>(notify));
    CFakeTcp& client = *g_pNet->clients.back();
    client.dialledHost = host;
    client.dialledPort = port;
    client.proxy = std::to_string(proxyType) + " " + proxyHost + " " + std::to_string(proxyPort) + " " + proxyUser +
                   " " + proxyPassword;
    return &client;
}

}  // namespace

void CFakeUdp::Deliver(const std::string& bytes, uint32_t ip, uint16_t port) {
    std::string copy = bytes;  // the receiver may write into it
    m_pNotify->OnUdpClientNotifyBurstBegin();
    try {
        m_pNotify->OnUdpClientNotifyReceivedFrame(copy.data(), static_cast<int>(copy.size()), ip, port);
    } catch (const std::bad_alloc&) {  // the real endpoint drops the datagram
    }
    m_pNotify->OnUdpClientNotifyBurstEnd();
}

std::vector<CSentDatagram> CFakeUdp::TakeSent() { return std::exchange(sent, {}); }

std::vector<CSentMessage> CFakeTcp::TakeSent() { return std::exchange(sent, {}); }

std::vector<std::string> CFakeTcp::TakeFrames() {
    std::vector<std::string> frames;
    for (CSentMessage& message : TakeSent())
        if (message.mode == 0) frames.push_back(std::move(message.bytes));
    return frames;
}

bool CFakeTcp::Answer(uint32_t type, const std::string& payload) {
    return clientNotify->OnTcpClientNotifyValidate(type, payload.data(), static_cast<int>(payload.size()));
}

bool CFakeTcp::Hear(const std::string& frame) {
    const auto length = static_cast<int>(frame.size());
    return clientNotify ? clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), length)
                        : sessionNotify->OnTcpSessionNotifyReceivedFrame(frame.data(), length);
}

CFakeNet::CFakeNet() {
    if (g_pNet) throw std::logic_error("one fake network at a time");
    g_pNet = this;
    NetFactories factories;
    factories.createUdpClient = MakeUdp;
    factories.createTcpServer = MakeServer;
    factories.createTcpClient = MakeClient;
    SetNetFactories(factories);
}

CFakeNet::~CFakeNet() {
    SetNetFactories(NetFactories());
    g_pNet = nullptr;
}

CFakeTcp& CFakeNet::NewSession() {
    sessions.push_back(std::make_unique<CFakeTcp>());
    return *sessions.back();
}

std::string Hex(const std::string& text) {
    std::string digits;
    for (char c : text)
        if (c != ' ') digits += c;
    std::string bytes;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

std::string ToHex(const std::string& bytes) {
    static const char* digits = "0123456789abcdef";
    std::string text;
    for (char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}
