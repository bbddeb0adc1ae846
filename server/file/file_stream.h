// A file channel at the server.
#pragma once

#include "file/file_channel_state.h"
#include "server/share_stream.h"

class CFileStream : public CShareStream<CFileChannel, CFileChannelState> {
public:
    CFileStream(const CStreamName& name, const CServerLimits& limits) : CShareStream("file", name, limits) {}

    void Open() override { CFileChannel::Connect(); }
    void Close() override { CFileChannel::ReleaseConnections(); }

    void OnFileSinkData(const void* data, int length) override { OnSinkFrame(data, length); }
};
