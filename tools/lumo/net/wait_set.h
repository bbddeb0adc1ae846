// Several descriptors waited for as one.
#pragma once

#include "platform/lumonet/file_descriptor.h"

#include <sys/epoll.h>

namespace lumo {

/// One thread.
class CWaitSet {
public:
    CWaitSet() : m_set(epoll_create1(EPOLL_CLOEXEC)) {}

    /// Files, which are always ready, and -1 are ignored.
    void Add(int fd) {
        epoll_event event{};
        event.events = EPOLLIN;
        if (fd >= 0) epoll_ctl(m_set.Get(), EPOLL_CTL_ADD, fd, &event);
    }
    void Drop(int fd) {
        if (fd >= 0) epoll_ctl(m_set.Get(), EPOLL_CTL_DEL, fd, nullptr);
    }
    /// Readable when one of them is.
    int Fd() const { return m_set.Get(); }

private:
    CFileDescriptor m_set;
};

}  // namespace lumo
