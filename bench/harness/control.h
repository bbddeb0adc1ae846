// The line between the program and the processes of a run: JSON messages over a socket that keeps their boundaries.
#pragma once

#include "platform/lumonet/file_descriptor.h"

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <utility>

namespace bench {

/// Owns its descriptor. Sending is safe from any thread, receiving from one.
class CControl {
public:
    explicit CControl(int fd) : m_fd(fd) {}

    /// A connected pair of descriptors; the second one survives exec.
    static std::pair<int, int> MakePair();

    /// False when the other end is gone.
    bool Send(const nlohmann::json& message);
    /// Nothing on a time-out; a null message when the other end is gone. Negative waits without end.
    std::optional<nlohmann::json> Receive(int timeoutMs);
    int Descriptor() const { return m_fd.Get(); }

private:
    CFileDescriptor m_fd;
};

}  // namespace bench
