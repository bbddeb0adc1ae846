#include "file/file_sink.h"

#include "link/callback.h"

void CFileSink::ReleaseConnections() { m_pFileChannel->RemoveFileSink(GetFileSinkID()); }

void CFileSink::DeliverUpstream(const void* data, int length) {
    CallApplication([&] { m_pFileChannel->OnFileSinkData(data, length); });
}
