// The local MCU: the one UDP endpoint and TCP listener through which everything of this process travels.
#ifndef LUMOMEDIA_LOCAL_MCU_H
#define LUMOMEDIA_LOCAL_MCU_H

#include <lumomedia/export.h>

/// The running local MCU. One per process.
class ILocalMcuMgr {
public:
    /// Stops the worker thread, releases every medium, closes the listener and the endpoint and deletes the object.
    /// Release every sender and receiver first. Other threads may still write frames into channels, which go nowhere
    /// then; but nobody may create a sender or receiver, or connect, release or delete a channel, before this has
    /// returned. Inside a callback of any object it does nothing but log a line: do it on a thread of your own. Hold no
    /// lock that one of your callbacks takes.
    virtual void ReleaseConnections() = 0;

    /// The port (host byte order) of the UDP endpoint and of the TCP listener; 0 when there is no endpoint.
    virtual unsigned short GetLocalPort() = 0;

protected:
    ~ILocalMcuMgr() {}
};

/// Opens the endpoints and starts the worker thread. The port is chosen by the system, whatever `usUDPPort` says; it
/// appears in the log only. Null when no endpoint can be opened.
LUMO_API ILocalMcuMgr* CreateLocalMcuMgr(unsigned short usUDPPort);

/// Whether reliable links over UDP that open from now on offer the far side a wide session, which fills a path however
/// long its round trip is, and take the far side's offer. Towards a far side that does not answer nothing changes but
/// eight bytes of each data packet that are not read. At first they do not. Any thread.
LUMO_API void SetWideSessions(bool bWide);

/// Which congestion control TCP connections that open from now on ask the kernel for, "bbr" for example; empty, as at
/// first: none in particular. A kernel that does not have it, or does not give it, keeps its own. Any thread.
LUMO_API void SetTcpCongestionControl(const char* szName);

#endif
