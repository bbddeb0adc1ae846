#include "server/file/file_medium.h"

#include "file/local_mcu_file.h"
#include "server/file/file_leg.h"
#include "server/file/file_stream.h"
#include "server/table_classes.h"

namespace {

constexpr CSourceProfile kProfile{.kind = wire::Kind::File,
                                  .medium = "file",
                                  .connect = wire::UDP_FILE_SOURCE_CONNECT,
                                  .connectAck = wire::UDP_FILE_SOURCE_CONNECT_ACK,
                                  .frame = wire::UDP_FILE_SOURCE_FRAME,
                                  .frameAck = wire::UDP_FILE_SOURCE_FRAME_ACK,
                                  .keepAlive = wire::UDP_FILE_SOURCE_KEEP_ALIVE,
                                  .stop = 0,
                                  .disconnect = wire::UDP_FILE_SOURCE_DISCONNECT,
                                  .acknowledgements = 2,
                                  .session = true,
                                  .senderType = wire::TcpType::FileSender,
                                  .receiverType = wire::TcpType::FileReceiver};

class CFileClasses : public CTableClasses<CLocalMCUFile::CTables> {
public:
    explicit CFileClasses(const CServerLimits& limits) : CTableClasses(Mcu().Tables(), limits) {}

    std::shared_ptr<CStream> MakeStream(uint32_t channelID) override {
        return std::make_shared<CFileStream>(channelID, Limits());
    }
    std::unique_ptr<CRelayLeg> MakeLeg(CStream& stream, const CMcuAddress& far, bool tcp,
                                       std::atomic<bool>& news) override {
        return std::make_unique<CFileLeg>(stream, far, tcp, news);
    }
    bool ConnectSink(const CSinkRequest& request) override {
        return Mcu().ConnectSink(request.receiverID, request.channelID, request.peer.ip, request.peer.port);
    }
    uint32_t AcceptSink(ITcpSession* session, const CSinkRequest& request) override {
        return Mcu().AcceptSink(session, request.channelID);
    }

private:
    static CLocalMCUFile& Mcu() { return *GetLocalMCUFile(); }
};

}  // namespace

std::unique_ptr<CMediumServer> MakeFileServer(CServerContext& context) {
    return std::make_unique<CMediumServer>(kProfile, std::make_unique<CFileClasses>(context.options.limits), context);
}
