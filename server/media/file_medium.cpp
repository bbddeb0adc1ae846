#include "server/media/make_servers.h"

#include "file/file_channel_state.h"
#include "file/file_receiver.h"
#include "server/channels/share_server_channel.h"
#include "server/media/table_adapter.h"
#include "server/relays/share_leg.h"

namespace {

/// A file channel at the server.
class CFileServerChannel : public CShareServerChannel<CFileChannel, CFileChannelState> {
public:
    CFileServerChannel(const CServerChannelName& name, const CLiveOptions& options)
        : CShareServerChannel("file", name, options) {}

    void Open() override { CFileChannel::Connect(); }
    void Close() override { CFileChannel::ReleaseConnections(); }

    void OnFileSinkData(const void* data, int length) override { OnSinkFrame(data, length); }
};

/// A file channel subscribed to at another server.
class CFileLeg : public CShareLeg<IFileReceiverNotify, IFileReceiver, CLocalMCUFile::CreateFileReceiverUDP,
                                  CLocalMCUFile::CreateFileReceiverTCP> {
public:
    using CShareLeg::CShareLeg;
    ~CFileLeg() override { Close(); }

    void OnFileReceiverNotifyData(const char* data, int length) override { OnFrame(data, length); }
    void OnFileReceiverNotifyConnected(unsigned long) override { OnAccepted(); }
};

}  // namespace

std::unique_ptr<CMediumServer> MakeFileServer(CServerContext& context) {
    auto adapter = std::make_unique<CShareAdapter<CFileServerChannel, CFileLeg>>(*GetLocalMCUFile(), context.live);
    return std::make_unique<CMediumServer>(media::kFile, std::move(adapter), context);
}
