#include "server/file/file_medium.h"

#include "file/file_sink_udp.h"
#include "file/local_mcu_file.h"
#include "server/file/file_leg.h"
#include "server/file/file_stream.h"

namespace {

constexpr CSourceProfile kProfile{wire::Kind::File,
                                  "file",
                                  wire::UDP_FILE_SOURCE_CONNECT,
                                  wire::UDP_FILE_SOURCE_CONNECT_ACK,
                                  wire::UDP_FILE_SOURCE_FRAME,
                                  wire::UDP_FILE_SOURCE_FRAME_ACK,
                                  wire::UDP_FILE_SOURCE_KEEP_ALIVE,
                                  wire::UDP_FILE_SOURCE_KEEP_ALIVE_ACK,
                                  wire::UDP_FILE_SOURCE_DISCONNECT,
                                  2,
                                  wire::TcpType::FileSender,
                                  wire::TcpType::FileReceiver};

/// The manager, and with it the local MCU, outlives this.
class CFileClasses : public IMediumClasses {
public:
    explicit CFileClasses(const CServerLimits& limits) : m_limits(limits) { Mcu().SetMaxSinks(limits.sinks); }

    std::shared_ptr<CStream> MakeStream(uint32_t channelID) override {
        return std::make_shared<CFileStream>(channelID, m_limits);
    }
    std::unique_ptr<CRelayLeg> MakeLeg(CStream& stream, const CMcuAddress& far, bool tcp,
                                       std::atomic<bool>& news) override {
        return std::make_unique<CFileLeg>(stream, far, tcp, news);
    }
    bool ConnectSink(const CSinkRequest& request) override {
        return Mcu().ConnectFileSink(request.receiverID, request.channelID, request.peer.ip, request.peer.port);
    }
    uint32_t AcceptSink(ITcpSession* session, uint32_t channelID) override {
        return Mcu().AcceptFileSink(session, channelID);
    }
    void EndSink(uint32_t sinkID) override { Mcu().EndFileSink(sinkID); }
    SinkOwner OwnerOf(const CSinkRequest& request) override {
        SinkOwner owner = SinkOwner::None;
        Mcu().WithFileSinkOf(request.channelID, request.receiverID, [&](CFileSink& sink) {
            owner = IsAt(sink, request.peer) ? SinkOwner::Same : SinkOwner::Other;
        });
        return owner;
    }
    bool IsSinkAt(uint32_t sinkID, const CPeer& peer) override {
        bool is = false;
        Mcu().WithFileSink(sinkID, [&](CFileSink& sink) { is = IsAt(sink, peer); });
        return is;
    }
    void Unhold(uint32_t sinkID, uint64_t queueBytes) override {
        Mcu().WithFileSink(sinkID, [&](CFileSink& sink) {
            if (CFrameLink* link = sink.GetFrameLink()) {
                link->SetQueueLimit(queueBytes);
                link->SetHeld(false);
            }
        });
    }
    size_t SinkCount() override { return Mcu().FileSinkCount(); }
    void CloseTcpSinks() override {
        Mcu().ForEachFileSink([](CFileSink& sink) { sink.CloseWhenSent(); });
    }
    size_t CountTcpSinks() override {
        size_t count = 0;
        Mcu().ForEachFileSink([&](CFileSink& sink) { count += !sink.AsUDP() && !sink.IsDisconnected() ? 1 : 0; });
        return count;
    }

private:
    static CLocalMCUFile& Mcu() { return *GetLocalMCUFile(); }
    static bool IsAt(CFileSink& sink, const CPeer& peer) {
        const CFileSinkUDP* udp = sink.AsUDP();
        return udp && udp->GetRemoteIP() == peer.ip && udp->GetRemotePort() == peer.port;
    }

    const CServerLimits& m_limits;
};

}  // namespace

std::unique_ptr<CMediumServer> MakeFileServer(CServerContext& context) {
    return std::make_unique<CMediumServer>(kProfile, std::make_unique<CFileClasses>(context.options.limits), context);
}
