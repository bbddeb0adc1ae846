// What the session itself costs a packet: two ends joined by a queue, no network and no locks contended.
#include "core/sctp_session.h"
#include "core/wire/wire_io.h"

#include <benchmark/benchmark.h>

#include <deque>
#include <string>

namespace {

class CEnd : public CSCTPSession {
public:
    CEnd() { OpenSession(); }
    ~CEnd() override { CloseSession(); }

    void OnSCTPSessionReceivedFrame(char*, int) override { ++frames; }
    void SendSCTPData(char* packet, int length) override { out.emplace_back(packet, static_cast<size_t>(length)); }

    std::deque<std::string> out;
    uint64_t frames = 0;
};

/// Everything that one end has sent reaches the other.
void Carry(CEnd& from, CEnd& to) {
    while (!from.out.empty()) {
        std::string packet = std::move(from.out.front());
        from.out.pop_front();
        to.OnSCTPSessionReceivedData(packet.data(), static_cast<int>(packet.size()));
    }
}

void SessionFrame(benchmark::State& state) {
    CEnd sender;
    CEnd receiver;
    std::string frame(static_cast<size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        sender.SendFrame(frame.data(), static_cast<int>(frame.size()));
        while (!sender.IsSendIdle()) {
            while (sender.ProcessSend()) {}
            Carry(sender, receiver);
            Carry(receiver, sender);
        }
    }
    if (receiver.frames != static_cast<uint64_t>(state.iterations())) state.SkipWithError("frames were lost");
    const auto packets = (state.range(0) + session::kPayloadLen - 1) / session::kPayloadLen;
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * packets);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(SessionFrame)->Arg(1000)->Arg(64 * 1024)->ArgName("bytes");

void DatagramWriter(benchmark::State& state) {
    const std::string packet(session::kHeaderLen, 'x');
    uint32_t id = 0;
    for (auto _ : state) {
        wire::CWireWriter datagram(wire::Kind::File, wire::UDP_FILE_SINK_FRAME);
        ++id;
        datagram.U32(id).U32(id).Bytes(packet.data(), static_cast<int>(packet.size()));
        benchmark::DoNotOptimize(datagram.Data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(DatagramWriter);

void FindCommand(benchmark::State& state) {
    const uint8_t body[21] = {wire::UDP_FILE_SINK_FRAME};
    for (auto _ : state) benchmark::DoNotOptimize(wire::FindCommand(wire::Kind::File, body, sizeof body));
}
BENCHMARK(FindCommand);

}  // namespace
