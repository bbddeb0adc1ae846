// Chooses the UDP endpoint that suits the system.
#include "platform/lumonet/net_real.h"
#include "platform/lumonet/udp_endpoint_asio.h"
#include "platform/lumonet/udp_features.h"
#if defined(__linux__)
#include "platform/lumonet/udp_endpoint_linux.h"
#endif

#include <memory>
#include <utility>

IUdpClient* MakeUdpClient(IUdpClientNotify* notify, const UdpOptions& options) {
    if (!notify) return nullptr;
    try {
        CUdpSocket socket;
        if (!OpenUdpSocket(options, socket)) return nullptr;
#if defined(__linux__)
        const UdpFeatures features = GetUdpFeatures();
        if (features.native) {
            const bool answerFromAsked = options.answerFromAsked && options.localIP == 0;
            auto endpoint = std::make_unique<CUdpEndpointLinux>(notify, std::move(socket), features, answerFromAsked);
            endpoint->Start();
            return endpoint.release();
        }
#endif
        auto endpoint = std::make_unique<CUdpEndpointAsio>(notify, std::move(socket));
        endpoint->Start();
        return endpoint.release();
    } catch (...) {  // no memory, no thread
        return nullptr;
    }
}
