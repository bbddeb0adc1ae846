#include "tools/lumo/net/receive_paths.h"

#include "tools/lumo/net/peer_link.h"
#include "tools/lumo/net/relay_link.h"
#include "tools/lumo/transfer/limits.h"

namespace lumo {
namespace {

PathRules FileRules() {
    PathRules rules;
    rules.maxFrame = kMaxDownstreamFrame + kSealOverhead;
    rules.inboxBytes = 32 * 1024 * 1024;  // four times what an honest sender has on its way
    rules.lingerMs = 1000;                // a block that was on its way need not leave again
    return rules;
}

}  // namespace

CReceivePaths::CReceivePaths(PathChoice choice, const RelayRoute& route, CPeerHost& host)
    : m_paths(choice, route, FileRules(), *this, host) {}

std::unique_ptr<CLink> CReceivePaths::MakeRelayLink(const RelayRoute& route, CInbox& inbox, const LinkTimes&) {
    return std::make_unique<CSubscribeLink>(route, inbox);
}

std::unique_ptr<CLink> CReceivePaths::MakeDirectLink(const RelayRoute& route, bool tcp, CInbox& inbox,
                                                     const LinkTimes& times) {
    const PeerRoute peer{SenderUser(route.channel), DirectChannel(route.channel), tcp};
    return std::make_unique<CPeerLink>(peer, inbox, times);
}

void CReceivePaths::Send(const char* data, int length) {
    if (Active()) Active()->Send(data, length);
}

}  // namespace lumo
