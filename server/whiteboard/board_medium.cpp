#include "server/whiteboard/board_medium.h"

#include "server/table_classes.h"
#include "server/whiteboard/board_leg.h"
#include "server/whiteboard/board_stream.h"
#include "whiteboard/wb_memory.h"
#include "whiteboard/wb_session_server_udp.h"

namespace {

class CBoardClasses : public CTableClasses<CLocalMCUWB::CTables, CBoardStream, CBoardLeg> {
public:
    explicit CBoardClasses(const CServerOptions& options) : CTableClasses(Mcu().Tables(), options.limits) {
        CWBMemory::Get().SetLimit(options.limits.boardBytes, CServerLimits::Share(options.limits.boardBytes),
                                  options.Trusted());
    }
    ~CBoardClasses() override { CWBMemory::Get().SetLimit(UINT64_MAX); }

    bool ConnectSink(ChannelKey channel, const CSinkRequest& request) override {
        return Mcu().ConnectWBSession(request.receiverID, channel, request.peer.ip, request.peer.port);
    }
    uint32_t AcceptSink(ChannelKey channel, ITcpSession* session, const CSinkRequest&) override {
        return Mcu().AcceptWBSession(session, channel);
    }
    /// Only now it joins, since its list may be long.
    void Unhold(uint32_t sinkID, uint64_t queueBytes) override {
        CTableClasses::Unhold(sinkID, queueBytes);
        Mcu().Tables().sinks.With(sinkID, [](CWBServerSession& session) {
            if (CWBSessionServerUDP* udp = session.AsUDP()) udp->JoinAsProved();
        });
    }

private:
    static CLocalMCUWB& Mcu() { return *GetLocalMCUWB(); }
};

}  // namespace

std::unique_ptr<CMediumServer> MakeWhiteboardServer(CServerContext& context) {
    return std::make_unique<CMediumServer>(media::kWhiteboard, std::make_unique<CBoardClasses>(context.options),
                                           context);
}
