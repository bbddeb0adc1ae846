// What the UDP endpoint costs a datagram on its way to the kernel, alone and in batches, and with each faster way off.
#include "platform/lumonet/file_descriptor.h"
#include "platform/lumonet/lumonet.h"

#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

namespace {

constexpr uint32_t kLoopback = 0x7F000001;
constexpr int kDatagram = 1062;

class CNobody : public IUdpClientNotify {
public:
    virtual ~CNobody() = default;
    void OnUdpClientNotifyReceivedFrame(const char*, int, unsigned long, unsigned short) override {}
};

/// A port behind which nobody reads: what comes is dropped once the buffer is full.
class CHole {
public:
    CHole() : m_fd(socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(kLoopback);
        socklen_t length = sizeof address;
        if (bind(m_fd.Get(), reinterpret_cast<sockaddr*>(&address), length) != 0 ||
            getsockname(m_fd.Get(), reinterpret_cast<sockaddr*>(&address), &length) != 0)
            return;
        port = ntohs(address.sin_port);
    }

    uint16_t port = 0;

private:
    CFileDescriptor m_fd;
};

/// range(0): datagrams a batch; range(1): 0 everything allowed, 1 no segmentation offload, 2 plain calls.
void UdpSend(benchmark::State& state) {
    UdpFeatures features;
    features.sendOffload = state.range(1) < 1;
    features.multiMessage = state.range(1) < 2;
    SetUdpFeatures(features);
    CHole hole;
    CNobody nobody;
    IUdpClient* endpoint = CreateUdpClient(&nobody, 0);
    SetUdpFeatures({});
    if (!endpoint || hole.port == 0) {
        state.SkipWithError("no endpoint");
        return;
    }
    const std::vector<char> datagram(kDatagram, 'x');
    for (auto _ : state) {
        endpoint->BeginBatch();
        for (int64_t i = 0; i < state.range(0); ++i)
            endpoint->SendData(datagram.data(), kDatagram, kLoopback, hole.port);
        endpoint->EndBatch();
    }
    endpoint->ReleaseConnections();
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(UdpSend)->ArgNames({"batch", "without"})->ArgsProduct({{1, 16, 64}, {0, 1, 2}});

}  // namespace
